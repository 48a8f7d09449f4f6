// Standard error: lines of the log, and what the platform has to say itself.
#pragma once

#include <string>

namespace standin {

/// What a line of log level `level` begins with: "<3>" and the like where standard error is the
/// journal, which takes the line's priority from it, else nothing. Callable from any thread.
const char* journalPriority(int level);

/// Says in a line why something cannot be done. One write; callable from any thread.
void complain(const char* text);
inline void complain(const std::string& text) { complain(text.c_str()); }

}  // namespace standin
