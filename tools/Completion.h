// What may come next on a command line: the shells ask with 'oamctl complete WORDS...'.
#pragma once

#include <string>

#include "tools/Arguments.h"

namespace tools {

/// What the last word may become, a line each: the word, and perhaps a tab and what it is. Of
/// --option=VALUE it is the value. The line ":files" means the names of files.
std::string completions(const Words& words);

}  // namespace tools
