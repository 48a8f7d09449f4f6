// Bytes and numbers as hexadecimal text.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Zel {

/// A number in lower case, without prefix or leading zeros.
inline std::string hexText(std::uint32_t number) {
  char text[9];
  const auto end = std::to_chars(text, text + sizeof text, number, 16).ptr;
  return std::string(text, end);
}

/// The two lower-case digits of each byte.
inline constexpr auto hexPairs = [] {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t byte = 0; byte < pairs.size(); ++byte) {
    pairs[byte] = {digits[byte >> 4], digits[byte & 0xF]};
  }
  return pairs;
}();

/// Appends two lower-case digits per byte.
inline void appendHex(std::string& out, const std::uint8_t* bytes, std::size_t count) {
  const std::size_t start = out.size();
  out.resize(start + 2 * count);
  char* to = out.data() + start;
  for (std::size_t i = 0; i < count; ++i) std::memcpy(to + 2 * i, hexPairs[bytes[i]].data(), 2);
}

/// The bytes of an even number of digits of either case; nothing for any other text.
inline std::optional<std::vector<std::uint8_t>> fromHex(std::string_view text) {
  const auto digit = [](char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
  };
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes(text.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const int high = digit(text[2 * i]);
    const int low = digit(text[2 * i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return bytes;
}

}  // namespace Zel
