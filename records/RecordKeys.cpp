#include "records/RecordKeys.h"

namespace Zel {

LogStream& RecordKeys::print(LogStream& out, unsigned int indent) const {
  out.indent(indent) << "Record: " << recordName() << " Id: " << LogStream::Hex32{id} << "\n";
  out.indent(indent) << "Keys: "
                     << "\n";
  printPayload(out, indent);
  return out;
}

}  // namespace Zel
