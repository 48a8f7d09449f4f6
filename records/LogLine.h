// Writing one line: to the log, if its threshold admits it, to the console, or plainly to standard
// output.
#pragma once

#include <concepts>
#include <cstdio>
#include <string_view>

#include "platform/LogStream.h"

namespace Zel {

/// Builds a log line of `level` with `build(stream)`; below the threshold nothing is built.
template <std::invocable<LogStream&> Build>
void logLine(ZelLogLevel level, Build&& build) {
  if (zelLogLevelThreshold < level) return;
  LogStream line(level, nullptr, -1, nullptr);
  build(line);
  line.done();
}

/// A log line of `level` made of the parts in order.
template <typename... Parts>
void logLine(ZelLogLevel level, const Parts&... parts) {
  logLine(level, [&](LogStream& line) { (line << ... << parts); });
}

/// A console line built with `build(stream)`. Whether quiet mode wants it is the caller's matter.
template <std::invocable<LogStream&> Build>
void consoleLine(Build&& build) {
  LogStream line(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
  build(line);
  std::puts(line.text());
}

template <typename... Parts>
void consoleLine(const Parts&... parts) {
  consoleLine([&](LogStream& line) { (line << ... << parts); });
}

/// Writes `line`, which ends in a line end, to standard output and flushes it. Callable from any
/// thread: the line is handed over whole, and no state of std::cout is looked at.
inline void plainLine(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace Zel
