#include "records/Record.h"

#include "records/Framing.h"

namespace Zel {

SerialStream& Record::deserialize(SerialStream& stream) {
  return readFramed(*this, stream, [] {});
}

SerialStream& Record::serialize(SerialStream& stream, bool payloadOnly) const {
  return writeFramed(*this, stream, payloadOnly, [] {});
}

LogStream& Record::print(LogStream& out, unsigned int indent) const {
  out.indent(indent) << "Record: " << recordName() << " Id: " << LogStream::Hex32{id} << "\n";
  printPayload(out, indent);
  return out;
}

}  // namespace Zel
