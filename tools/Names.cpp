#include "tools/Names.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/join.hpp>
#include <limits>
#include <numeric>

#include "records/MgmtEnums.h"
#include "tools/Arguments.h"
#include "tools/ExitStatus.h"

namespace tools {
namespace {

using boost::algorithm::to_lower_copy;

const char* registrationTypeText(std::uint32_t type) {
  constexpr const char* texts[] = {"list", "range", "all"};
  return type < std::size(texts) ? texts[type] : "???";
}

struct Numbers {
  const char* member;
  std::uint32_t first, last;
  std::int64_t min;
  const char* (*textOf)(std::uint32_t);
};

constexpr std::int64_t unsignedMax = std::numeric_limits<std::uint32_t>::max();

const Numbers numbers[] = {
    {"result", 0, 33, std::numeric_limits<std::int32_t>::min(),
     [](std::uint32_t n) { return Zel::mgmtResultText(static_cast<Zel::MgmtResult>(n)); }},
    {"opType", Zel::MGMT_OPTYPE_INSERT, Zel::MGMT_OPTYPE_ACTION, 0,
     [](std::uint32_t n) { return Zel::mgmtOpTypeText(static_cast<Zel::MgmtOpType>(n)); }},
    {"applyAction", Zel::APPLY_NO_ACTION_REQUIRED, Zel::APPLY_REBOOT_REQUIRED, 0,
     [](std::uint32_t n) { return Zel::applyActionText(static_cast<Zel::ApplyActionType>(n)); }},
    {"type", 0, 2, 0, registrationTypeText},
};

const Numbers* numbersOf(std::string_view member) {
  const auto* found = std::find_if(std::begin(numbers), std::end(numbers),
                                   [&](const Numbers& one) { return one.member == member; });
  return found == std::end(numbers) ? nullptr : found;
}

std::int64_t numberNamed(const std::string& given, const char* what, const char* member) {
  const Numbers& kind = *numbersOf(member);
  if (const auto number = parsedNumber(given)) {
    // A result may be written without its sign.
    if (*number >= kind.min && *number <= unsignedMax) return *number;
  }
  const std::vector<std::string> names = namesOf(member);
  const auto found = std::find(names.begin(), names.end(), to_lower_copy(given));
  if (found != names.end()) return kind.first + (found - names.begin());
  throw UsageError{std::string(what) + " must be a number or one of: " + listed(names) + "; not '" +
                   given + "'"};
}

std::size_t distance(const std::string& left, const std::string& right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

std::string plain(const std::string& word) {
  return boost::algorithm::erase_all_copy(to_lower_copy(word), "-");
}

}  // namespace

std::string nameOf(std::string_view member, std::int64_t number) {
  const Numbers* kind = numbersOf(member);
  if (kind == nullptr || number < kind->first || number > kind->last) return {};
  return kind->textOf(static_cast<std::uint32_t>(number));
}

std::string namedText(std::string_view member, std::int64_t number) {
  std::string name = nameOf(member, number);
  const bool isPlain = member != "result" || number == 0;
  if (!name.empty() && isPlain) return name;
  return (name.empty() ? "???" : name) + " (" + std::to_string(number) + ")";
}

std::vector<std::string> namesOf(std::string_view member) {
  const Numbers& kind = *numbersOf(member);
  std::vector<std::string> names;
  for (std::uint32_t value = kind.first; value <= kind.last; ++value) {
    names.push_back(to_lower_copy(std::string(kind.textOf(value))));
  }
  return names;
}

std::int64_t opTypeNamed(const std::string& word) { return numberNamed(word, "--op", "opType"); }

std::int64_t applyActionNamed(const std::string& word) {
  return numberNamed(word, "--apply-action", "applyAction");
}

std::int64_t managementResultNamed(const std::string& word) {
  return numberNamed(word, "RESULT", "result");
}

const std::vector<std::string>& daemonMethods() {
  static const std::vector<std::string> names = {"get",       "getKeys",      "set",
                                                 "notify",    "clear",        "initProvComplete",
                                                 "svcRegInd", "svcRegResult", "setIndResult"};
  return names;
}

const std::vector<std::string>& notificationMethods() {
  static const std::vector<std::string> names = {
      "svcRegInd", "svcRegSetUpdateInd", "svcRegEndInd",  "setInd", "event",
      "alarm",     "recordUpdateEvent",  "deferredSetRsp"};
  return names;
}

std::string oneOf(const std::vector<std::string>& names, const std::string& word,
                  const char* what) {
  for (const std::string& name : names) {
    if (plain(name) == plain(word)) return name;
  }
  throw UsageError{std::string(what) + " must be one of: " + listed(names) + "; not '" + word +
                   "'"};
}

std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
  const std::string lower = to_lower_copy(word);
  const std::string* nearest = nullptr;
  // A third of the letters may be wrong.
  std::size_t least = std::min<std::size_t>(word.size(), 60) / 3 + 1;
  for (const std::string& name : names) {
    if (word.size() > 2 * name.size() + 2) continue;
    const std::size_t far = distance(lower, to_lower_copy(name));
    if (far < least) {
      least = far;
      nearest = &name;
    }
  }
  return nearest == nullptr ? "" : "; did you mean " + *nearest + "?";
}

std::string listed(const std::vector<std::string>& names) {
  return boost::algorithm::join(names, ", ");
}

}  // namespace tools
