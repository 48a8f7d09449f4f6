// Base of a key set: the keys of one table row of a statistics record.
//
//   key block      0  2        total length: the bytes that follow
//   then per key      2        tag: 1, 2, ... in key order
//                     1        wildcard marker, only when wildcardAllowed
//                     2        field length L     } only without a marker,
//                     L        value              } or where it is 0
#pragma once

#include <cstdint>

#include "platform/LogStream.h"
#include "platform/SerialStream.h"

namespace Zel {

/// One key: its value and, non-zero, the marker that it carries none.
template <typename T>
struct Key {
  T value = 0;
  std::uint8_t wildcard = 0;

  friend bool operator==(const Key&, const Key&) = default;
};

/// Owned like a record. The id says whose keys these are; it is not part of the block.
class RecordKeys {
 public:
  /// Reads a key block up to the first failure, which is logged and clears `valid`. The stream's
  /// position stays where reading stopped.
  virtual SerialStream& deserialize(SerialStream& stream) = 0;

  /// Writes a key block. Ranges are not checked. A full stream loses its good flag.
  virtual SerialStream& serialize(SerialStream& stream) const = 0;

  /// True when wildcards are allowed and a key is one.
  virtual bool hasWildcard() const = 0;

  virtual const char* recordName() const = 0;

  virtual bool isOpaque() const { return false; }

  virtual void printPayload(LogStream& out, unsigned int indent) const = 0;

  LogStream& print(LogStream& out, unsigned int indent) const;

  std::uint32_t id;
  bool wildcardAllowed;
  bool valid = true;

 protected:
  RecordKeys(std::uint32_t recordId, bool withWildcards)
      : id(recordId), wildcardAllowed(withWildcards) {}
  RecordKeys(const RecordKeys&) = default;
  RecordKeys& operator=(const RecordKeys&) = default;
  ~RecordKeys() = default;
};

}  // namespace Zel
