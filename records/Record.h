// Base of every record, event, alarm and record-update event.
//
//   record block   0  4        record id
//                  4  2        payload length P
//                  6  P        payload
#pragma once

#include <cstdint>

#include "platform/LogStream.h"
#include "platform/SerialStream.h"

namespace Zel {

/// Owned by a boost::shared_ptr made for the concrete class, which deletes it as that class; used
/// by one thread at a time.
class Record {
 public:
  /// Reads a record block. When the block does not read, `valid` becomes false. A field out of
  /// range ends the reading: those after it keep what they held. A block that is too short does
  /// not: a field that does not fit keeps what it held, and later, narrower ones take the bytes
  /// left.
  virtual SerialStream& deserialize(SerialStream& stream);

  /// Writes a record block, or with `payloadOnly` its payload without id and length. Ranges are
  /// not checked. A full stream loses its good flag.
  virtual SerialStream& serialize(SerialStream& stream, bool payloadOnly) const;

  virtual const char* recordName() const = 0;

  /// Appends a header line and what `printPayload` adds.
  virtual LogStream& print(LogStream& out, unsigned int indent) const;

  virtual bool isOpaque() const { return false; }

  /// Reads the payload length and the payload; clears `valid` when it does not read.
  virtual void deserializePayload(SerialStream& stream) = 0;

  virtual void serializePayload(SerialStream& stream) const = 0;

  virtual void printPayload(LogStream& out, unsigned int indent) const = 0;

  std::uint32_t id;
  bool valid = true;

 protected:
  explicit Record(std::uint32_t recordId) : id(recordId) {}
  Record(const Record&) = default;
  Record& operator=(const Record&) = default;
  ~Record() = default;
};

}  // namespace Zel
