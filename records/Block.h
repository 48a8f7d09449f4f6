// Whole blocks in network order, as hexadecimal text.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/SerialStream.h"
#include "records/Hex.h"

namespace Zel {

/// Whether integers in network order have the other byte order than this host.
inline constexpr bool swapsInNetworkOrder = std::endian::native == std::endian::little;

/// The block that `write(stream)` writes, as text; nothing when it does not fit its length fields.
template <typename Write>
std::optional<std::string> blockText(Write&& write) {
  const auto writeInto = [&](std::uint8_t* bytes, std::size_t room) -> std::optional<std::string> {
    SerialStream stream(bytes, static_cast<std::uint32_t>(room), 0, swapsInNetworkOrder);
    write(stream);
    if (!stream.good) return std::nullopt;
    std::string text;
    appendHex(text, bytes, stream.writePos);
    return text;
  };
  std::array<std::uint8_t, 512> few;
  if (auto text = writeInto(few.data(), few.size())) return text;
  constexpr std::size_t longestHeader = 64;
  std::vector<std::uint8_t> many(longestHeader + 0xFFFF);
  return writeInto(many.data(), many.size());
}

/// A stream that reads a block. It writes nothing: `bytes` must outlive it and stays unchanged.
inline SerialStream blockReader(std::vector<std::uint8_t>& bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  return SerialStream(bytes.data(), size, size, swapsInNetworkOrder);
}

}  // namespace Zel
