// The time stamp of a notification.
#pragma once

#include <cstdint>
#include <string>

#include "platform/SerialStream.h"

namespace Zel {

/// On the wire: seconds and microseconds, each sign-extended to 64 bits.
struct DateTime {
  std::int32_t seconds = 0;       ///< since 1970-01-01 00:00:00 UTC
  std::int32_t microseconds = 0;  ///< 0 to 999999
  bool isSet = false;             ///< false after a failed read

  /// The current time of day.
  static DateTime now();

  /// Such as 20240305T070809.004500, in UTC; empty for a time that cannot be written so.
  std::string toIsoStr() const;

  void serialize(SerialStream& stream) const;
  /// Keeps the low 32 bits. The microseconds are not read from a stream that is not good. What was
  /// not read stays as it was, and `isSet` becomes false.
  void deserialize(SerialStream& stream);
};

}  // namespace Zel
