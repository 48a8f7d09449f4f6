// Read and write operations of Zel::SerialStream. Room and data are checked on every operation.
#include "platform/SerialStream.h"

#include <cstring>

#include "records/ByteOrder.h"

namespace Zel {
namespace {

template <typename Integer>
SerialStream& readReversing(SerialStream& stream, Integer& destination) {
  stream.read(&destination, sizeof destination);
  if (stream.swapBytes) destination = byteReversed(destination);
  return stream;
}

template <typename Integer>
SerialStream& writeInteger(SerialStream& stream, Integer value) {
  if (stream.swapBytes) value = byteReversed(value);
  return stream.write(&value, sizeof value);
}

}  // namespace

SerialStream& SerialStream::read(void* destination, std::uint32_t bytes) {
  if (!canRead(bytes)) {
    good = false;
    return *this;
  }
  if (bytes != 0) std::memcpy(destination, buffer + readPos, bytes);
  readPos += bytes;
  return *this;
}

SerialStream& SerialStream::operator>>(std::uint16_t& destination) {
  return readReversing(*this, destination);
}

SerialStream& SerialStream::operator>>(std::uint32_t& destination) {
  return readReversing(*this, destination);
}

SerialStream& SerialStream::operator>>(std::uint8_t& destination) {
  return read(&destination, sizeof destination);
}

SerialStream& SerialStream::operator>>(std::uint64_t& destination) {
  std::uint64_t value = 0;
  if (!canRead(sizeof value)) {
    good = false;
    return *this;
  }
  read(&value, sizeof value);
  destination = swapBytes ? byteReversed(value) : value;
  return *this;
}

SerialStream& SerialStream::write(const void* source, std::uint32_t bytes) {
  if (!canWrite(bytes)) {
    good = false;
    return *this;
  }
  if (bytes != 0) std::memcpy(buffer + writePos, source, bytes);
  writePos += bytes;
  validSize = writePos;
  return *this;
}

SerialStream& SerialStream::operator<<(std::uint8_t value) { return write(&value, sizeof value); }

SerialStream& SerialStream::operator<<(std::uint16_t value) { return writeInteger(*this, value); }

SerialStream& SerialStream::operator<<(std::uint32_t value) { return writeInteger(*this, value); }

SerialStream& SerialStream::operator<<(std::uint64_t value) { return writeInteger(*this, value); }

}  // namespace Zel
