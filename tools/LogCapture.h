// The client's own end of the log: what the record classes say about a block they cannot read.
#pragma once

#include <string>

namespace tools {

/// The texts logged since they were last cleared, without their "Messaging: ", joined by "; ".
std::string loggedText();
void clearLoggedText();

}  // namespace tools
