// Using the query keys of a request. They come from a peer and may be of any class.
#pragma once

#include <cstdint>

#include "platform/OamTypes.h"
#include "records/LogLine.h"
#include "records/RecordKeys.h"

namespace handlers {

/// The keys of Test3-Stats7 and -8 run from 1 to this: so does a wildcard key of Test3-Stats8.
constexpr std::uint32_t lastSmallTableKey = 40;

/// Whether every query key is of class `Keys` and passes `check`, so that `keysAs` may be used.
template <class Keys, typename Check>
bool allAre(const Zel::RecordKeysList& queryKeys, Check&& check) {
  for (const auto& entry : queryKeys) {
    const auto* keys = dynamic_cast<const Keys*>(entry.get());
    if (keys == nullptr || !check(*keys)) return false;
  }
  return true;
}

template <class Keys>
bool allAre(const Zel::RecordKeysList& queryKeys) {
  return allAre<Keys>(queryKeys, [](const Keys&) { return true; });
}

template <class Keys>
const Keys& keysAs(const boost::shared_ptr<Zel::RecordKeys>& entry) {
  return static_cast<const Keys&>(*entry);
}

/// Logs `text` and the printed key set.
inline void logKeys(ZelLogLevel level, const char* text, const Zel::RecordKeys& keys) {
  Zel::logLine(level, [&](Zel::LogStream& line) {
    line << text;
    keys.print(line, 4);
  });
}

}  // namespace handlers
