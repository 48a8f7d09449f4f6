// The byte stream through which records cross the OAM client API.
//
// The platform constructs streams and owns their storage. The read and write operations are this
// system's own (records/SerialStream.cpp).
#pragma once

#include <cstdint>

namespace Zel {

/// Used by one thread at a time. An operation that runs out of data or room clears `good` and
/// changes nothing else, except as noted; `good` is never set back to true.
class SerialStream {
 public:
  /// A stream over `room` bytes at `bytes`, which must outlive it, of which the first
  /// `readable` can be read.
  SerialStream(std::uint8_t* bytes, std::uint32_t room, std::uint32_t readable, bool swap)
      : swapBytes(swap), buffer(bytes), validSize(readable), capacity(room) {}
  virtual ~SerialStream() = default;
  SerialStream(const SerialStream&) = delete;
  SerialStream& operator=(const SerialStream&) = delete;

  // These two are called through the table: a stream of the platform's may override them.
  /// Number of valid bytes.
  virtual std::uint32_t size() const { return validSize; }
  /// Sets the number of valid bytes and returns 0; past the capacity: clears `good`, returns -1.
  virtual int size(std::uint32_t bytes) {
    if (bytes > capacity) {
      good = false;
      return -1;
    }
    validSize = bytes;
    return 0;
  }

  /// Reads. The 16 and 32-bit operators reverse the destination's bytes when `swapBytes`, also
  /// after a failed read: start from a value that may be reversed, such as 0.
  SerialStream& operator>>(std::uint16_t& destination);
  SerialStream& operator>>(std::uint32_t& destination);
  SerialStream& operator>>(std::uint8_t& destination);
  SerialStream& operator>>(std::uint64_t& destination);
  SerialStream& read(void* destination, std::uint32_t bytes);

  /// Writes. `validSize` becomes the end of the write, even when it was further on before.
  SerialStream& operator<<(std::uint8_t value);
  SerialStream& operator<<(std::uint16_t value);
  SerialStream& operator<<(std::uint32_t value);
  SerialStream& operator<<(std::uint64_t value);
  SerialStream& write(const void* source, std::uint32_t bytes);

  bool canRead(std::uint32_t bytes) const {
    return readPos <= validSize && bytes <= validSize - readPos;
  }
  bool canWrite(std::uint32_t bytes) const {
    return writePos <= capacity && bytes <= capacity - writePos;
  }

  std::uint32_t readPos = 0;
  std::uint32_t writePos = 0;
  /// True when integers in the stream have the other byte order than this host.
  bool swapBytes;
  bool good = true;
  std::uint8_t* buffer;
  std::uint32_t validSize;
  std::uint32_t capacity;
};

}  // namespace Zel
