// Read and write operations of Zel::SerialStream. Room and data are checked on every operation.
#include "platform/SerialStream.h"

#include <cstring>

#include "records/StreamIntegers.h"

namespace Zel {

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
  return takeReversing(*this, destination);
}

SerialStream& SerialStream::operator>>(std::uint32_t& destination) {
  return takeReversing(*this, destination);
}

SerialStream& SerialStream::operator>>(std::uint8_t& destination) {
  takeInteger(*this, destination);
  return *this;
}

SerialStream& SerialStream::operator>>(std::uint64_t& destination) {
  takeInteger(*this, destination);
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

SerialStream& SerialStream::operator<<(std::uint8_t value) { return putInteger(*this, value); }

SerialStream& SerialStream::operator<<(std::uint16_t value) { return putInteger(*this, value); }

SerialStream& SerialStream::operator<<(std::uint32_t value) { return putInteger(*this, value); }

SerialStream& SerialStream::operator<<(std::uint64_t value) { return putInteger(*this, value); }

}  // namespace Zel
