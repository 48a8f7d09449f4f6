// What the handlers of get and get-keys share.
#pragma once

#include <cstdint>

#include "records/LogLine.h"
#include "records/RecordKeys.h"

namespace handlers {

/// The keys of Test3-Stats7 and -8 run from 1 to this: so does a wildcard key of Test3-Stats8.
constexpr std::uint32_t lastSmallTableKey = 40;

/// Logs `text` and the printed key set.
inline void logKeys(ZelLogLevel level, const char* text, const Zel::RecordKeys& keys) {
  Zel::logLine(level, [&](Zel::LogStream& line) {
    line << text;
    keys.print(line, 4);
  });
}

}  // namespace handlers
