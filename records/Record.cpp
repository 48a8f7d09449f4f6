#include "records/Record.h"

#include "records/LengthPatch.h"
#include "records/StreamIntegers.h"

namespace Zel {

SerialStream& Record::deserialize(SerialStream& stream) {
  takeReversing(stream, id);
  deserializePayload(stream);
  if (!stream.good) valid = false;
  return stream;
}

SerialStream& Record::serialize(SerialStream& stream, bool payloadOnly) const {
  if (payloadOnly) {
    serializePayload(stream);
    return stream;
  }
  putInteger(stream, id);
  writeWithLength(stream, [&] { serializePayload(stream); });
  return stream;
}

LogStream& Record::print(LogStream& out, unsigned int indent) const {
  out.indent(indent) << "Record: " << recordName() << " Id: " << LogStream::Hex32{id} << "\n";
  printPayload(out, indent);
  return out;
}

}  // namespace Zel
