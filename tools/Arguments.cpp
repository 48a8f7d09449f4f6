#include "tools/Arguments.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <sstream>
#include <string_view>

#include "tools/ExitStatus.h"

namespace tools {
namespace {

Assignment assignment(const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw UsageError{word + " is not of the form name=value"};
  }
  return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace

std::optional<std::int64_t> parsedNumber(const std::string& text) {
  const bool negative = text.starts_with('-');
  std::string_view digits = std::string_view(text).substr(negative ? 1 : 0);
  const bool hex = digits.starts_with("0x") || digits.starts_with("0X");
  if (hex) digits.remove_prefix(2);
  std::int64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, number, hex ? 16 : 10);
  if (error != std::errc() || stopped != end || number < 0) return std::nullopt;
  return negative ? -number : number;
}

std::vector<Assignment> assignments(const Words& words, std::size_t first) {
  std::vector<Assignment> result;
  for (std::size_t i = first; i < words.size(); ++i) result.push_back(assignment(words[i]));
  return result;
}

std::vector<std::vector<Assignment>> keySets(const Words& words, std::size_t first) {
  std::vector<std::vector<Assignment>> sets;
  for (Assignment& key : assignments(words, first)) {
    const auto isNamed = [&](const Assignment& other) { return other.name == key.name; };
    if (sets.empty() || std::any_of(sets.back().begin(), sets.back().end(), isNamed)) {
      sets.emplace_back();
    }
    sets.back().push_back(std::move(key));
  }
  return sets;
}

bool hasWildcard(const std::vector<std::vector<Assignment>>& sets) {
  for (const auto& set : sets) {
    for (const Assignment& key : set) {
      if (key.value == "*") return true;
    }
  }
  return false;
}

std::int64_t number(const std::string& word, const char* what, std::int64_t max, std::int64_t min) {
  const auto parsed = parsedNumber(word);
  if (!parsed || *parsed < min || *parsed > max) {
    throw UsageError{std::string(what) + " must be a number from " + std::to_string(min) + " to " +
                     std::to_string(max) + ", not '" + word + "'"};
  }
  return *parsed;
}

double seconds(const std::string& word, const char* what, double max) {
  double parsed = -1;
  const char* end = word.data() + word.size();
  const auto [stopped, error] = std::from_chars(word.data(), end, parsed);
  if (error != std::errc() || stopped != end || !(parsed >= 0 && parsed <= max)) {
    std::ostringstream limit;
    limit << std::setprecision(10) << max;
    throw UsageError{std::string(what) + " must be a number of seconds from 0 to " + limit.str() +
                     ", not '" + word + "'"};
  }
  return parsed;
}

}  // namespace tools
