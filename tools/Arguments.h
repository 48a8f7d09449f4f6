// Reading the words of a command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/RecordTypes.h"

namespace tools {

using Words = std::vector<std::string>;

/// All of these throw a UsageError that says what was expected.

void expectWords(const Words& words, std::size_t min, std::size_t max, const char* synopsis);

/// The words from `first` on, each of the form name=value.
std::vector<Assignment> assignments(const Words& words, std::size_t first);

/// The key sets that the words name: where a name comes again, the next key set begins.
std::vector<std::vector<Assignment>> keySets(const Words& words, std::size_t first);
bool hasWildcard(const std::vector<std::vector<Assignment>>& sets);

/// A number from 0 to `max`, `what` in messages.
std::int64_t number(const std::string& word, const char* what, std::int64_t max);

/// A time from 0 to a year.
double seconds(const std::string& word, const char* what);

/// By number or by text, whatever the case.
std::int64_t opTypeNamed(const std::string& word);
std::int64_t applyActionNamed(const std::string& word);
std::int64_t managementResultNamed(const std::string& word);

}  // namespace tools
