// Integers in stream order.
#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>

namespace Zel {

template <std::unsigned_integral Integer>
constexpr Integer byteReversed(Integer value) {
  if constexpr (sizeof(Integer) == 1) {
    return value;
  } else if constexpr (sizeof(Integer) == 2) {
    return __builtin_bswap16(value);
  } else if constexpr (sizeof(Integer) == 4) {
    return __builtin_bswap32(value);
  } else {
    static_assert(sizeof(Integer) == 8);
    return __builtin_bswap64(value);
  }
}

/// Swapped in a register and stored whole: single-byte stores keep compilers from merging them.
template <std::unsigned_integral Integer>
void storeInteger(std::uint8_t* to, Integer value, bool swapBytes) {
  if (swapBytes) value = byteReversed(value);
  std::memcpy(to, &value, sizeof value);
}

template <std::unsigned_integral Integer>
Integer loadInteger(const std::uint8_t* from, bool swapBytes) {
  Integer value;
  std::memcpy(&value, from, sizeof value);
  return swapBytes ? byteReversed(value) : value;
}

}  // namespace Zel
