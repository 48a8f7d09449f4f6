// Whole blocks in network order, as hexadecimal text.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/SerialStream.h"
#include "records/Hex.h"

namespace Zel {

/// Whether integers in network order have the other byte order than this host.
inline constexpr bool swapsInNetworkOrder = std::endian::native == std::endian::little;

/// Appends the block that `write(stream)` writes, as text; false, and nothing appended, when it
/// does not fit its length fields.
template <typename Write>
bool appendBlock(std::string& out, Write&& write) {
  const auto writeInto = [&](std::uint8_t* bytes, std::size_t room) {
    SerialStream stream(bytes, static_cast<std::uint32_t>(room), 0, swapsInNetworkOrder);
    write(stream);
    if (stream.good) appendHex(out, bytes, stream.writePos);
    return stream.good;
  };
  std::uint8_t few[512];
  if (writeInto(few, sizeof few)) return true;
  constexpr std::size_t longestHeader = 64;
  std::vector<std::uint8_t> many(longestHeader + 0xFFFF);
  return writeInto(many.data(), many.size());
}

/// The same as a text of its own.
template <typename Write>
std::optional<std::string> blockText(Write&& write) {
  std::string text;
  return appendBlock(text, write) ? std::optional(std::move(text)) : std::nullopt;
}

/// A stream that reads a block. It writes nothing: `bytes` must outlive it and stays unchanged.
inline SerialStream blockReader(std::vector<std::uint8_t>& bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  return SerialStream(bytes.data(), size, size, swapsInNetworkOrder);
}

}  // namespace Zel
