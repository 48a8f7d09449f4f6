// What frames a payload: an id, a head of the kind, and a length that is written before its content
// is known.
#pragma once

#include <algorithm>

#include "records/StreamIntegers.h"

namespace Zel {

/// Writes what `writeContent()` writes, after its length in bytes (modulo 65536).
template <typename WriteContent>
void writeWithLength(SerialStream& stream, WriteContent&& writeContent) {
  const std::uint32_t mark = stream.writePos;
  putInteger(stream, std::uint16_t{0});
  writeContent();
  const std::uint32_t end = stream.writePos;
  const std::uint32_t saved = stream.size();
  stream.writePos = std::min(mark, stream.size());
  putInteger(stream, static_cast<std::uint16_t>(end - mark - 2));
  stream.size(saved);
  stream.writePos = std::min(end, stream.size());
}

/// Writes a record or notification, or its payload alone. `writeHead()` writes what its kind has
/// between the id and the payload length.
template <class Framed, typename WriteHead>
SerialStream& writeFramed(const Framed& framed, SerialStream& stream, bool payloadOnly,
                          WriteHead&& writeHead) {
  if (payloadOnly) {
    framed.serializePayload(stream);
    return stream;
  }
  putInteger(stream, framed.id);
  writeHead();
  writeWithLength(stream, [&] { framed.serializePayload(stream); });
  return stream;
}

/// Reads the same; the payload reads its length itself. A stream that runs out clears `valid`.
template <class Framed, typename ReadHead>
SerialStream& readFramed(Framed& framed, SerialStream& stream, ReadHead&& readHead) {
  takeReversing(stream, framed.id);
  readHead();
  framed.deserializePayload(stream);
  if (!stream.good) framed.valid = false;
  return stream;
}

}  // namespace Zel
