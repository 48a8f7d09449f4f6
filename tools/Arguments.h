// Reading the words of a command.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/RecordTypes.h"

namespace tools {

using Words = std::vector<std::string>;

/// All of these throw a UsageError that says what was expected.

/// The words from `first` on, each of the form name=value.
std::vector<Assignment> assignments(const Words& words, std::size_t first);

/// The key sets that the words name: where a name comes again, the next key set begins.
std::vector<std::vector<Assignment>> keySets(const Words& words, std::size_t first);
bool hasWildcard(const std::vector<std::vector<Assignment>>& sets);

/// A number from `min` to `max`, `what` in messages.
std::int64_t number(const std::string& word, const char* what, std::int64_t max,
                    std::int64_t min = 0);

constexpr double aYear = 365 * 86400.0;
double seconds(const std::string& word, const char* what, double max = aYear);

/// Decimal, or in hexadecimal after 0x; nothing for anything else.
std::optional<std::int64_t> parsedNumber(const std::string& text);

}  // namespace tools
