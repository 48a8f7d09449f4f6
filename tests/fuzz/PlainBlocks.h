// A second reading and writing of blocks, byte by byte, to compare the real one with. It shares
// nothing with that but the field lists.
//
// A block that reads as valid does not always write back to the same bytes:
//
//   payload length      not looked at when read, right when written
//   bool                any byte but 0 reads as true, which is written as 1
//   text                ends at its first NUL, or where a text without one meets what the buffer
//                       held before; what lies behind that NUL is not written
//   time                each half keeps its low 32 bits, and is written with their sign
//   reserved            not looked at when read, written as 0
//
// Everything else comes back as it was, and so does every key block.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

#include "catalogue/Catalogue.h"
#include "records/Block.h"
#include "records/Fields.h"
#include "tests/fuzz/Input.h"
#include "tools/LogCapture.h"

namespace fuzz {

using Check = void (*)(Input&);

/// The checks that `checkOf.operator()<R>()` gives for the records of the catalogue; null for none.
template <typename CheckOf>
std::vector<Check> checksOfRecords(CheckOf&& checkOf) {
  std::vector<Check> checks;
  Zel::catalogue::every(Zel::catalogue::Records{}, [&]<class R>() {
    if (const Check check = checkOf.template operator()<R>()) checks.push_back(check);
    return true;
  });
  return checks;
}

/// How a stream is laid out and what the object that reads it held before: two bytes of the input.
struct Setting {
  explicit Setting(Input& input) : choice(input.byte()), fill(input.byte()) {}

  bool networkOrder() const { return (choice & 1) == 0; }
  bool wildcardAllowed() const { return (choice & 2) != 0; }
  bool swapBytes() const { return networkOrder() == Zel::swapsInNetworkOrder; }
  template <typename T>
  T filled() const {
    return static_cast<T>(fill * std::uint64_t{0x0101010101010101});
  }

  std::uint8_t choice;
  std::uint8_t fill;
};

/// An operation that runs out of bytes clears `good`, takes none, and leaves the value alone.
class PlainReader {
 public:
  PlainReader(const Bytes& bytes, const Setting& setting)
      : bytes_(bytes), networkOrder_(setting.networkOrder()) {}

  template <typename T>
  bool number(std::size_t width, T& value) {
    if (bytes_.size() - position < width) return good = false;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
      number = number << 8 | bytes_[position + (networkOrder_ ? i : width - 1 - i)];
    }
    position += width;
    value = static_cast<T>(number);
    return true;
  }

  /// A number that is only looked at: 0 when it cannot be read.
  std::uint64_t number(std::size_t width) {
    std::uint64_t value = 0;
    number(width, value);
    return value;
  }

  template <class F>
  void field(typename F::Value& value) {
    if constexpr (F::isText) {
      const std::uint64_t length = number(2);
      if (length > sizeof value) {
        good = false;
        return;
      }
      if (bytes_.size() - position < length) {
        good = false;
      } else {
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position), length, value);
        position += length;
      }
      value[sizeof value - 1] = '\0';
    } else {
      number(F::wireSize(), value);
    }
  }

  std::size_t position = 0;
  bool good = true;

 private:
  const Bytes& bytes_;
  const bool networkOrder_;
};

class PlainWriter {
 public:
  explicit PlainWriter(const Setting& setting) : networkOrder_(setting.networkOrder()) {}

  template <typename T>
  void number(std::size_t width, T value) {
    for (std::size_t i = 0; i < width; ++i) {
      const std::size_t shift = 8 * (networkOrder_ ? width - 1 - i : i);
      bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> shift));
    }
  }

  /// The payload of a record or notification, behind its length.
  template <class Owner>
  void payload(const Owner& owner) {
    PlainWriter payload = *this;
    payload.bytes.clear();
    Zel::fields::every<Owner>([&]<std::size_t I>() {
      using F = Zel::fields::FieldAt<Owner, I>;
      payload.field<F>(F::of(owner));
      return true;
    });
    number(2, payload.bytes.size());
    bytes.insert(bytes.end(), payload.bytes.begin(), payload.bytes.end());
  }

  Bytes bytes;

 private:
  template <class F>
  void field(const typename F::Value& value) {
    if constexpr (F::isText) {
      const char* const end = std::find(std::begin(value), std::end(value), '\0');
      number(2, end - value + 1);
      bytes.insert(bytes.end(), value, end);
      bytes.push_back(0);
    } else {
      number(F::wireSize(), value);
    }
  }

  const bool networkOrder_;
};

/// Gives every field a value that is not there by chance.
template <class Owner>
void fillFields(Owner& owner, const Setting& setting) {
  Zel::fields::every<Owner>([&]<std::size_t I>() {
    using F = Zel::fields::FieldAt<Owner, I>;
    auto& value = F::of(owner);
    if constexpr (F::isText) {
      std::fill_n(value, sizeof value - 1, setting.filled<char>());
    } else if constexpr (requires { value.wildcard; }) {
      value = {setting.filled<decltype(value.value)>(), setting.filled<std::uint8_t>()};
    } else {
      value = setting.filled<typename F::Value>();
    }
    return true;
  });
}

/// The id, which reading reverses even when it fails.
template <class R>
void readId(R& expected, PlainReader& reader, const Setting& setting) {
  if (reader.number(4, expected.id)) return;
  if (setting.swapBytes()) expected.id = Zel::byteReversed(expected.id);
}

/// Whether two of a class hold the same, byte by byte where they hold a text.
template <class Owner>
bool sameFields(const Owner& left, const Owner& right) {
  return Zel::fields::every<Owner>([&]<std::size_t I>() {
    using F = Zel::fields::FieldAt<Owner, I>;
    if constexpr (F::isText) {
      return std::memcmp(F::of(left), F::of(right), sizeof(typename F::Value)) == 0;
    } else {
      return F::of(left) == F::of(right);
    }
  });
}

/// Has `object` read the block, and compares with what `reader` took from it for `expected`, which
/// was as `object` before: all fields, those behind a failure included.
template <class Object>
void checkReading(Object& object, Bytes& block, const Setting& setting, const Object& expected,
                  const PlainReader& reader) {
  const auto size = static_cast<std::uint32_t>(block.size());
  Zel::SerialStream stream(block.data(), size, size, setting.swapBytes());
  tools::clearLoggedText();
  object.deserialize(stream);
  expect(object.valid == expected.valid, "a block is valid when its fields are there and in range");
  expect(sameFields(object, expected), "fields hold what was read, or what they held before");
  expect(object.id == expected.id, "the id is the block's");
  expect(stream.readPos == reader.position, "reading stops behind the last field it took");
  expect(stream.good == reader.good, "the stream tells whether bytes were missing");
  expect(tools::loggedText().empty() == object.valid, "a block that does not read is logged");
}

/// Has `write(stream)` write into buffers of exactly the size and of a smaller one.
template <typename Write>
void checkWriting(Write&& write, const Bytes& expected, const Setting& setting) {
  const auto written = [&](std::size_t room, Bytes& buffer) {
    buffer.assign(room, 0xee);
    Zel::SerialStream stream(buffer.data(), static_cast<std::uint32_t>(room), 0,
                             setting.swapBytes());
    write(stream);
    return stream.good;
  };
  Bytes exact, small;
  expect(written(expected.size(), exact), "a block fits into its size");
  expect(exact == expected, "a block is written with the bytes of its fields");
  expect(!written(setting.fill % expected.size(), small), "a block fits into no less");
}

}  // namespace fuzz
