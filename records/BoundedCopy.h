// String copies into fixed buffers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Zel {

/// Copies `source`, which is NUL-terminated, into `capacity` (at least 1) bytes at `destination`,
/// cut where it does not fit, always NUL-terminated. Returns the length of `source`.
inline std::size_t boundedCopy(char* destination, const char* source, std::size_t capacity) {
  const std::size_t length = std::strlen(source);
  const std::size_t copied = std::min(length, capacity - 1);
  std::memcpy(destination, source, copied);
  destination[copied] = '\0';
  return length;
}

/// Fills a whole text buffer of `capacity` (at least 1) bytes: at most `capacity` - 1 characters of
/// `source`, of which no more are read, and NULs after them, so that nothing old is left.
inline void fillText(char* destination, const char* source, std::size_t capacity) {
  const std::size_t length = ::strnlen(source, capacity - 1);
  std::memcpy(destination, source, length);
  std::memset(destination + length, 0, capacity - length);
}

template <std::size_t Capacity>
void fillText(char (&destination)[Capacity], const char* source) {
  fillText(destination, source, Capacity);
}

}  // namespace Zel
