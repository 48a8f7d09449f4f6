#include "tools/Arguments.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "records/MgmtEnums.h"
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

std::string lowerCase(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return text;
}

std::optional<std::int64_t> parsedNumber(const std::string& text) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

/// A number, or one of the texts that `textOf` gives for `first` to `last`, whatever the case.
std::int64_t numberOrText(const std::string& given, const char* what, std::int64_t min,
                          std::uint32_t first, std::uint32_t last,
                          const char* (*textOf)(std::uint32_t)) {
  const auto number = parsedNumber(given);
  if (number && *number >= min && *number <= 0xFFFFFFFF) return *number;
  std::string names;
  for (std::uint32_t value = first; value <= last; ++value) {
    const std::string name = lowerCase(textOf(value));
    if (name == lowerCase(given)) return value;
    names += (names.empty() ? "" : ", ") + name;
  }
  throw UsageError{std::string(what) + " is a number or one of: " + names};
}

}  // namespace

void expectWords(const Words& words, std::size_t min, std::size_t max, const char* synopsis) {
  if (words.size() < min || words.size() > max) {
    throw UsageError{std::string("usage: oamctl ") + synopsis};
  }
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

std::int64_t number(const std::string& word, const char* what, std::int64_t max) {
  const auto parsed = parsedNumber(word);
  if (!parsed || *parsed < 0 || *parsed > max) {
    throw UsageError{std::string(what) + " is a number from 0 to " + std::to_string(max)};
  }
  return *parsed;
}

double seconds(const std::string& word, const char* what) {
  constexpr double aYear = 365 * 86400.0;
  double parsed = -1;
  const char* end = word.data() + word.size();
  const auto [stopped, error] = std::from_chars(word.data(), end, parsed);
  if (error != std::errc() || stopped != end || !(parsed >= 0 && parsed <= aYear)) {
    throw UsageError{std::string(what) + " is a number of seconds"};
  }
  return parsed;
}

std::int64_t opTypeNamed(const std::string& word) {
  return numberOrText(
      word, "--op", 0, Zel::MGMT_OPTYPE_INSERT, Zel::MGMT_OPTYPE_ACTION,
      [](std::uint32_t value) { return Zel::mgmtOpTypeText(static_cast<Zel::MgmtOpType>(value)); });
}

std::int64_t applyActionNamed(const std::string& word) {
  return numberOrText(word, "--apply-action", 0, 0, Zel::APPLY_REBOOT_REQUIRED,
                      [](std::uint32_t value) {
                        return Zel::applyActionText(static_cast<Zel::ApplyActionType>(value));
                      });
}

std::int64_t managementResultNamed(const std::string& word) {
  constexpr std::uint32_t last = 33;
  return numberOrText(
      word, "RESULT", std::numeric_limits<std::int32_t>::min(), 0, last,
      [](std::uint32_t value) { return Zel::mgmtResultText(static_cast<Zel::MgmtResult>(value)); });
}

}  // namespace tools
