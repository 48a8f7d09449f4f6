// What oamctl says of its own commands.
#pragma once

#include <string>

#include "tools/Commands.h"

namespace tools {

/// Takes the one or two words of a command from the front. Throws a UsageError.
const Command& takeCommand(Words& words);

/// "usage: oamctl get RECORD [KEYS...] [--batch-size N] ..."
std::string usage(const Command& command);
std::string helpOf(const Command& command);
std::string helpOfAll();

}  // namespace tools
