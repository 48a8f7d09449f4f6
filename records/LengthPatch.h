// A 2-byte length that is written before its content is known.
#pragma once

#include <algorithm>

#include "records/StreamIntegers.h"

namespace Zel {

/// Writes what `writeContent()` writes, behind its length in bytes (modulo 65536).
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

}  // namespace Zel
