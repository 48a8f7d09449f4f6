// The integer operations of a stream, inline: a block is many small integers, and a call of each
// would cost more than its work.
#pragma once

#include "platform/SerialStream.h"
#include "records/ByteOrder.h"

namespace Zel {

template <std::unsigned_integral Integer>
inline SerialStream& putInteger(SerialStream& stream, Integer value) {
  if (!stream.canWrite(sizeof value)) [[unlikely]] {
    stream.good = false;
    return stream;
  }
  const std::uint32_t at = stream.writePos;
  storeInteger(stream.buffer + at, value, stream.swapBytes);
  stream.writePos = stream.validSize = at + static_cast<std::uint32_t>(sizeof value);
  return stream;
}

/// When the stream runs out, `destination` keeps what it held and the result is false.
template <std::unsigned_integral Integer>
inline bool takeInteger(SerialStream& stream, Integer& destination) {
  if (!stream.canRead(sizeof destination)) [[unlikely]] {
    stream.good = false;
    return false;
  }
  const std::uint32_t at = stream.readPos;
  stream.readPos = at + static_cast<std::uint32_t>(sizeof destination);
  destination = loadInteger<Integer>(stream.buffer + at, stream.swapBytes);
  return true;
}

/// As the 16 and 32-bit operators: reverses the destination when `swapBytes`, also after a failed
/// read.
template <std::unsigned_integral Integer>
inline SerialStream& takeReversing(SerialStream& stream, Integer& destination) {
  if (!takeInteger(stream, destination) && stream.swapBytes) {
    destination = byteReversed(destination);
  }
  return stream;
}

}  // namespace Zel
