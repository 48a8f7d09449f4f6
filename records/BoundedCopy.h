// String copies into fixed buffers.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#if !defined(QUORIN_HAVE_STRLCPY)
#include <bsd/string.h>
#endif

namespace Zel {

/// Copies `source` into `capacity` (at least 1) bytes at `destination`, cut where it does not
/// fit, always NUL-terminated. Returns the length of `source`.
inline std::size_t boundedCopy(char* destination, const char* source, std::size_t capacity) {
  return ::strlcpy(destination, source, capacity);
}

/// Fills a whole text buffer: `source`, cut to leave room for a NUL, and NULs behind it.
template <std::size_t Capacity>
void fillText(char (&destination)[Capacity], const char* source) {
  std::strncpy(destination, source, Capacity - 1);
  destination[Capacity - 1] = '\0';
}

}  // namespace Zel
