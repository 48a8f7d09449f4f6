// Numbers with names: management results, operations, apply actions and the rest.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

/// The text of a number that is in the member `member` of a message; empty without one.
std::string nameOf(std::string_view member, std::int64_t number);

/// "reboot-required", "Bad-Value (2)", or "??? (77)".
std::string namedText(std::string_view member, std::int64_t number);

/// By number or by text, whatever the case. These throw a UsageError.
std::int64_t opTypeNamed(const std::string& word);
std::int64_t applyActionNamed(const std::string& word);
std::int64_t managementResultNamed(const std::string& word);

/// The texts of all numbers that have one, in lower case.
std::vector<std::string> namesOf(std::string_view member);

/// The methods that the daemon serves, and the notifications that it sends, as the socket names
/// them.
const std::vector<std::string>& daemonMethods();
const std::vector<std::string>& notificationMethods();

/// One of `names`, whatever the case and with or without '-' in between. Throws a UsageError.
std::string oneOf(const std::vector<std::string>& names, const std::string& word, const char* what);

/// "; did you mean X?" where a name is much like `word`.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

/// The names with ", " between them.
std::string listed(const std::vector<std::string>& names);

}  // namespace tools
