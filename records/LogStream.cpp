// Append operators of Zel::LogStream: bounded, without allocation.
#include "platform/LogStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "records/BoundedCopy.h"

namespace Zel {

// `length` is what the whole text would have taken.
void LogStream::advance(std::size_t length) {
  if (length < room()) {
    position_ += static_cast<std::uint32_t>(length);
  } else {
    position_ = capacity - 1;
    overflow_ = true;
  }
}

LogStream& LogStream::append(const char* string) {
  advance(boundedCopy(end(), string, room()));
  return *this;
}

// `length` is what the formatter returned for the number.
LogStream& LogStream::appended(int length, const char* fallback) {
  if (length == -1) return append(fallback);
  advance(static_cast<unsigned int>(length));
  return *this;
}

LogStream& LogStream::operator<<(const char* string) { return append(string); }

LogStream& LogStream::operator<<(unsigned short number) {
  return appended(std::snprintf(end(), room(), "%u", number), "<%u>");
}

LogStream& LogStream::operator<<(unsigned int number) {
  return appended(std::snprintf(end(), room(), "%u", number), "<%u>");
}

LogStream& LogStream::operator<<(int number) {
  return appended(std::snprintf(end(), room(), "%d", number), "<%d>");
}

LogStream& LogStream::operator<<(unsigned long long number) {
  return appended(std::snprintf(end(), room(), "%llu", number), "<%llu>");
}

LogStream& LogStream::operator<<(const Hex32& number) {
  return appended(std::snprintf(end(), room(), "0x%x", number.value), "<%x>");
}

LogStream& LogStream::operator<<(const Hex16& number) {
  return appended(std::snprintf(end(), room(), "0x%x", number.value), "<%x>");
}

LogStream& LogStream::operator<<(bool truth) { return append(truth ? "true" : "false"); }

LogStream& LogStream::operator<<(char character) {
  if (position_ <= capacity - 2) {
    text_[position_] = character;
    ++position_;
  } else {
    overflow_ = true;
  }
  return *this;
}

LogStream& LogStream::indent(unsigned int count) {
  if (count == 0) return *this;
  const std::uint32_t room = capacity - 1 - position_;
  const std::uint32_t blanks = std::min<std::uint32_t>(count, room);
  std::memset(text_ + position_, ' ', blanks);
  position_ += blanks;
  if (count > room) overflow_ = true;
  return *this;
}

}  // namespace Zel
