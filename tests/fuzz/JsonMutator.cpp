// Mutations of lines of JSON, for targets whose inputs hold such: bytes that change at random
// seldom leave JSON behind, and so seldom reach what reads the members. Only for libFuzzer.
#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tests/fuzz/Input.h"

namespace json = boost::json;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t count, std::size_t room);

namespace fuzz {
namespace {

using Random = std::minstd_rand;

void collect(json::value& value, std::vector<json::value*>& all) {
  all.push_back(&value);
  if (json::object* object = value.if_object()) {
    for (auto& member : *object) collect(member.value(), all);
  } else if (json::array* array = value.if_array()) {
    for (json::value& element : *array) collect(element, all);
  }
}

/// Changes one value of a JSON text: to another of it, to one of another type, or, in an object or
/// a list, by what it holds less or more.
void mutate(json::value& whole, Random& random) {
  static const json::value others[] = {
      nullptr, true, 0, -1, 1.5, ~std::uint64_t{0}, "", json::object(), "0x111f", json::array()};
  std::vector<json::value*> all;
  collect(whole, all);
  json::value& value = *all[random() % all.size()];
  const json::value other =
      random() % 2 == 0 ? *all[random() % all.size()] : others[random() % std::size(others)];
  if (json::array* array = value.if_array(); array != nullptr && random() % 2 == 0) {
    array->push_back(other);
  } else if (json::object* object = value.if_object(); object != nullptr && !object->empty()) {
    object->erase(
        std::next(object->begin(), static_cast<std::ptrdiff_t>(random() % object->size())));
  } else {
    value = other;
  }
}

/// Mutates the JSON text of one line of `text`; false where that line holds none.
bool mutateLine(std::string& text, Random& random) {
  const std::size_t end = text.find('\n', random() % (text.size() + 1));
  const std::size_t before = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
  // In front of the first line there may be bytes that choose.
  const std::size_t begin = text.find_first_of("{[", before == std::string::npos ? 0 : before);
  if (begin >= end || begin == std::string::npos) return false;
  const std::size_t length = std::min(end, text.size()) - begin;
  json::error_code error;
  json::value value = json::parse(std::string_view(text).substr(begin, length), error);
  if (error) return false;
  mutate(value, random);
  text.replace(begin, length, json::serialize(value));
  return true;
}

}  // namespace
}  // namespace fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t count,
                                               std::size_t room, unsigned int seed) {
  fuzz::Random random(seed);
  std::string text(bytes, bytes + count);
  if (random() % 2 == 0 || !fuzz::mutateLine(text, random) || text.size() > room) {
    return LLVMFuzzerMutate(bytes, count, room);
  }
  std::copy(text.begin(), text.end(), bytes);
  return text.size();
}
