// One connection on its own: what is sent, and waiting for what must come next. A wait in vain, and
// what is wrong, is a Wrong.
#pragma once

#include <chrono>
#include <string>

#include "tests/harness/LineClient.h"

namespace soak {

/// The longest that anything may take.
constexpr auto patience = std::chrono::seconds(20);

void sendLine(LineClient& link, const std::string& line);

/// `what` says in a failure what the line was to be.
std::string awaitLine(LineClient& link, const std::string& what);
void expectLine(LineClient& link, const std::string& what, const std::string& expected);
/// The other side closes the connection, and says nothing before.
void expectEnd(LineClient& link, const std::string& what);

}  // namespace soak
