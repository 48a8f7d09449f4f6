// Bytes as hexadecimal text, for tests that compare blocks with literals.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/LogStream.h"
#include "platform/SerialStream.h"
#include "records/Block.h"
#include "records/Hex.h"

namespace blocks {

/// The integer order of a stream. `network` has the most significant byte first.
enum Order { network, little };

inline bool swaps(Order order) { return Zel::swapsInNetworkOrder == (order == network); }

/// Literals are grouped with blanks.
inline std::string plain(std::string hex) {
  std::erase(hex, ' ');
  return hex;
}

inline std::vector<std::uint8_t> bytes(const std::string& hex) {
  return Zel::fromHex(plain(hex)).value();
}

inline std::string hexOf(const std::uint8_t* from, std::size_t count) {
  std::string text;
  Zel::appendHex(text, from, count);
  return text;
}

/// A stream over a heap buffer of exactly its size, so that AddressSanitizer sees what leaves it.
class Stream {
 public:
  /// For reading the first `count` bytes of a block.
  explicit Stream(const std::string& hex, std::size_t count = std::string::npos,
                  Order order = network)
      : bytes_(cut(bytes(hex), count)), stream(bytes_.data(), size(), size(), swaps(order)) {}
  /// For writing.
  explicit Stream(std::uint32_t room, Order order = network)
      : bytes_(room, std::uint8_t{0xee}), stream(bytes_.data(), room, 0, swaps(order)) {}

  std::string written() const { return hexOf(bytes_.data(), stream.writePos); }
  std::string buffer() const { return hexOf(bytes_.data(), bytes_.size()); }

 private:
  static std::vector<std::uint8_t> cut(const std::vector<std::uint8_t>& all, std::size_t count) {
    return {all.data(), all.data() + std::min(count, all.size())};
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }

  std::vector<std::uint8_t> bytes_;

 public:
  Zel::SerialStream stream;
};

/// What `object` writes, in a stream that has room.
template <class Object, typename... Arguments>
std::string written(const Object& object, Order order, Arguments... arguments) {
  Stream to(std::uint32_t{200}, order);
  object.serialize(to.stream, arguments...);
  EXPECT_TRUE(to.stream.good);
  EXPECT_EQ(to.stream.validSize, to.stream.writePos);
  return to.written();
}

template <class Object>
std::string printed(const Object& object, unsigned int indent) {
  Zel::LogStream out(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
  EXPECT_EQ(&object.print(out, indent), &out);
  return out.text();
}

/// Calls `visit(copy, byte)` with each copy of the block that differs from it in one bit.
template <typename Visit>
void everyBitFlip(const std::string& hex, Visit&& visit) {
  const std::vector<std::uint8_t> block = bytes(hex);
  for (std::size_t bit = 0; bit < 8 * block.size(); ++bit) {
    std::vector<std::uint8_t> flipped = block;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1u << bit % 8));
    visit(hexOf(flipped.data(), flipped.size()), bit / 8);
  }
}

}  // namespace blocks
