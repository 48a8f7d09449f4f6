#include "records/DateTime.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

#include "records/StreamIntegers.h"

namespace Zel {
namespace {

constexpr char compactTimestampFormat[] = "%Y%m%dT%H%M%S";

std::uint64_t signExtended(std::int32_t value) {
  return static_cast<std::uint64_t>(std::int64_t{value});
}

void readLowHalf(SerialStream& stream, std::int32_t& value) {
  std::uint64_t whole = 0;
  if (takeInteger(stream, whole)) {
    value = static_cast<std::int32_t>(static_cast<std::uint32_t>(whole));
  }
}

}  // namespace

DateTime DateTime::now() {
  timeval time{};
  ::gettimeofday(&time, nullptr);
  return {static_cast<std::int32_t>(time.tv_sec), static_cast<std::int32_t>(time.tv_usec), true};
}

std::string DateTime::toIsoStr() const {
  const std::time_t time = seconds;
  tm parts{};
  ::gmtime_r(&time, &parts);
  char text[50];
  if (std::strftime(text, sizeof text, compactTimestampFormat, &parts) == 0) return "";
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%06d", microseconds);
  return std::string(text) + fraction;
}

void DateTime::serialize(SerialStream& stream) const {
  stream << signExtended(seconds) << signExtended(microseconds);
}

void DateTime::deserialize(SerialStream& stream) {
  readLowHalf(stream, seconds);
  if (stream.good) readLowHalf(stream, microseconds);
  isSet = stream.good;
}

}  // namespace Zel
