// Blocks as hexadecimal literals, the fields of a class as texts, and streams of exactly a size.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "ScriptedPlatform.h"
#include "catalogue/Catalogue.h"
#include "records/Block.h"

namespace blocks {

using Texts = std::vector<std::string>;

/// The integer order of a stream. `network` has the most significant byte first.
enum Order { network, little };

inline bool swaps(Order order) { return Zel::swapsInNetworkOrder == (order == network); }

/// Literals are grouped with blanks; a colon follows the length of a text.
inline std::string plain(std::string hex) {
  std::erase_if(hex, [](char character) { return character == ' ' || character == ':'; });
  return hex;
}

inline std::vector<std::uint8_t> bytes(const std::string& hex) {
  return Zel::fromHex(plain(hex)).value();
}

inline std::string hexOf(const std::vector<std::uint8_t>& from) {
  std::string text;
  Zel::appendHex(text, from.data(), from.size());
  return text;
}

/// A group of a literal in an order: one integer, or a length, a colon and characters.
inline std::string ordered(const std::string& group, Order order) {
  std::vector<std::uint8_t> integer = bytes(group.substr(0, group.find(':')));
  if (order == little) std::reverse(integer.begin(), integer.end());
  return hexOf(integer) + plain(group).substr(2 * integer.size());
}

inline Texts words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), {}};
}

/// The block of one class in a table of "Class-Name header... | field..." entries of groups, where
/// a field may have a name: "name=group".
struct Golden {
  Golden(const char* table, const std::string& name) {
    const Texts all = words(table);
    Texts* groups = &header;
    auto word = std::find(all.begin(), all.end(), name);
    if (word == all.end()) throw std::out_of_range(name);
    while (++word != all.end() && word->find('-') == std::string::npos) {
      if (*word == "|") {
        groups = &values;
      } else {
        groups->push_back(word->substr(word->find('=') + 1));
        if (groups == &values) names.push_back(word->substr(0, word->find('=')));
      }
    }
  }

  std::string payload(Order order = network) const { return joined(values, order); }
  std::string block(Order order = network) const { return joined(header, order) + payload(order); }

  Texts header, names, values;

 private:
  static std::string joined(const Texts& groups, Order order) {
    std::string all;
    for (const std::string& group : groups) all += ordered(group, order);
    return all;
  }
};

template <typename T>
void setValue(T& field, const std::string& hex) {
  field = static_cast<T>(std::stoull(hex, nullptr, 16));
}
template <std::size_t Capacity>
void setValue(char (&field)[Capacity], const std::string& hex) {
  const std::vector<std::uint8_t> text = bytes(hex.substr(hex.find(':') + 1));
  std::memcpy(field, text.data(), text.size());
}
/// "*ff" is a wildcard, which leaves the value as it is.
template <typename T>
void setValue(Zel::Key<T>& key, const std::string& hex) {
  hex[0] == '*' ? setValue(key.wildcard, hex.substr(1)) : setValue(key.value, hex);
}

/// Sets one field per text.
template <class Owner>
void set(Owner& owner, const Texts& hexes) {
  auto hex = hexes.begin();
  const void* last = &owner;
  Zel::fields::visitAll(owner, [&](const auto&, auto& field) {
    EXPECT_LT(last, &field) << "the list is not in the members' order";
    last = &field;
    setValue(field, *hex);
    return ++hex != hexes.end();
  });
}

/// A stream over a heap buffer of exactly its size, so that AddressSanitizer sees what leaves it.
class Stream {
 public:
  /// For reading the first `count` bytes of a block.
  explicit Stream(const std::string& hex, std::size_t count = std::string::npos,
                  Order order = network)
      : bytes_(bytes(plain(hex).substr(0, std::min(count, hex.size()) * 2))),
        stream(bytes_.data(), size(), size(), swaps(order)) {}
  /// For writing.
  explicit Stream(std::uint32_t room, Order order = network)
      : bytes_(room, std::uint8_t{0xee}), stream(bytes_.data(), room, 0, swaps(order)) {}

  std::string written() const { return buffer().substr(0, 2 * std::size_t{stream.writePos}); }
  std::string buffer() const { return hexOf(bytes_); }

 private:
  std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }

  std::vector<std::uint8_t> bytes_;

 public:
  Zel::SerialStream stream;
};

/// What `object` writes, in a stream that has room.
template <class Object, typename... Arguments>
std::string written(const Object& object, Order order, Arguments... arguments) {
  Stream to(std::uint32_t{400}, order);
  object.serialize(to.stream, arguments...);
  EXPECT_TRUE(to.stream.good && to.stream.validSize == to.stream.writePos);
  return to.written();
}

template <class R>
std::string payloadOf(const R& record) {
  return written(record, network, true);
}

inline Texts takeErrors() { return scripted::platform().takeLog(ZEL_LOG_ERROR); }

/// What `length` bytes of a block make of the id of a new object: too few reverse it.
inline std::uint32_t idAfterRead(std::uint32_t id, std::size_t length) {
  return length < 4 && Zel::swapsInNetworkOrder ? Zel::byteReversed(id) : id;
}

/// Reads the first `count` bytes of a block; returns what was logged.
template <class Object>
Texts errorsOf(Object& object, const std::string& hex, std::size_t count = std::string::npos) {
  Stream from(hex, count);
  object.deserialize(from.stream);
  const Texts errors = takeErrors();
  EXPECT_TRUE(object.valid == errors.empty() && from.stream.good == errors.empty());
  return errors;
}

/// Calls `visit(record, golden)` with a new record of each class.
template <class List, typename Visit>
void every(List classes, const char* table, Visit&& visit) {
  Zel::catalogue::every(classes, [&]<class R>() {
    SCOPED_TRACE(R::nameText);
    visit(R(), Golden(table, R::nameText));
    return true;
  });
}

/// Writes and reads a record whose literal is `golden`; returns what was read.
template <class R>
R expectLiteral(const R& record, const Golden& golden, Order order) {
  EXPECT_EQ(written(record, order, true), golden.payload(order));
  EXPECT_EQ(written(record, order, false), golden.block(order));
  for (std::uint32_t room = 0; room < golden.block().size() / 2; ++room) {
    Stream to(room, order);
    record.serialize(to.stream, false);
    EXPECT_FALSE(to.stream.good) << room;
  }
  // More bytes than the block are no matter, and stay unread. Nothing makes a record valid again.
  R invalid;
  invalid.valid = false;
  Stream from(golden.block(order) + "ab", std::string::npos, order), again(golden.block());
  invalid.deserialize(again.stream);
  EXPECT_FALSE(invalid.valid);
  R read;
  read.id = 0;
  EXPECT_EQ(&read.deserialize(from.stream), &from.stream);
  EXPECT_TRUE(read.valid && from.stream.good);
  EXPECT_EQ(2 * from.stream.readPos, golden.block().size());
  EXPECT_EQ(read.id, R::recordId);
  EXPECT_EQ(payloadOf(read), golden.payload());
  return read;
}

template <class Object>
std::string printed(const Object& object, unsigned int indent) {
  Zel::LogStream out(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
  EXPECT_EQ(&object.print(out, indent), &out);
  return out.text();
}

/// All copies of a block that differ from it in one bit.
inline Texts bitFlips(const std::string& hex) {
  Texts all;
  std::vector<std::uint8_t> block = bytes(hex);
  for (std::size_t bit = 0; bit < 8 * block.size(); ++bit) {
    std::vector<std::uint8_t> flipped = block;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1u << bit % 8));
    all.push_back(hexOf(flipped));
  }
  return all;
}

/// Reading stops after `read` with that error, or with none, whether `unread` follows or nothing.
template <class Object>
void expectRead(const Object& fresh, const std::string& read, const std::string& unread,
                const std::string& error) {
  SCOPED_TRACE(read);
  for (const std::string& rest : {unread, std::string()}) {
    Object object = fresh;
    Stream from(read + rest);
    object.deserialize(from.stream);
    EXPECT_EQ(takeErrors(), error.empty() ? Texts() : Texts{"Messaging: " + error});
    EXPECT_EQ(object.valid, error.empty());
    EXPECT_EQ(from.stream.readPos, bytes(read).size());
    EXPECT_TRUE(from.stream.good || unread.empty());
  }
}

struct BlocksTest : testing::Test {
  BlocksTest() { scripted::platform().reset(); }
};

}  // namespace blocks
