// Field lists: how the members of a record reach the wire, its checks, and access by name.
//
// A record or key class lists its members once, in wire order:
//
//   static constexpr std::tuple fields{
//       Field<&RecordTest3Stats3::sfn>{"sfn", atMost(1023)},
//       Field<&RecordTest3Stats5::testField2, std::uint8_t>{"testField2"}};   // narrower on the
//       wire
//
// Everything here is a template over such a list and compiles to straight-line code.
//
//   member                     on the wire
//   bool                       1 byte, 0 or 1
//   integer, enumeration       its own width, or the narrower one that the list names
//   char[C]                    2 bytes length N = characters + 1, then N bytes with the NUL
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

#include "records/ByteOrder.h"
#include "records/LogLine.h"
#include "records/RecordKeys.h"
#include "records/StreamIntegers.h"

namespace Zel {

/// Inclusive limits of a field, checked when it is read and never when it is written.
struct Range {
  std::uint64_t min = 0;
  std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
};

constexpr Range atMost(std::uint64_t max) { return {0, max}; }
constexpr Range between(std::uint64_t min, std::uint64_t max) { return {min, max}; }

namespace fields {

template <typename>
struct MemberPointer;
template <class Class, typename T>
struct MemberPointer<T Class::*> {
  using Value = T;
};

template <typename Value>
struct WireInteger : std::make_unsigned<Value> {};
template <>
struct WireInteger<bool> {
  using type = std::uint8_t;
};
template <std::size_t Capacity>
struct WireInteger<char[Capacity]> {
  using type = void;
};
template <typename T>
struct WireInteger<Key<T>> {
  using type = T;
};

}  // namespace fields

/// One member in a field list. `Wire` is the unsigned integer that crosses the wire, void for text.
template <auto Member, typename Wire = typename fields::WireInteger<
                           typename fields::MemberPointer<decltype(Member)>::Value>::type>
struct Field {
  using Value = typename fields::MemberPointer<decltype(Member)>::Value;
  using WireType = Wire;
  static constexpr bool isText = std::is_void_v<Wire>;

  const char* name;
  Range range{};

  static constexpr std::uint32_t wireSize() {
    if constexpr (isText) {
      return 0;
    } else {
      return sizeof(Wire);
    }
  }
  constexpr bool hasMin() const { return range.min != 0; }
  constexpr bool hasMax() const { return range.max != std::numeric_limits<std::uint64_t>::max(); }
  constexpr bool hasRange() const { return hasMin() || hasMax(); }
  /// Text has no range; nor has a signed value, whose negative numbers would be taken for large.
  constexpr bool rangeCanBeChecked() const {
    if constexpr (isText || std::is_signed_v<Value>) {
      return !hasRange();
    } else {
      return range.min <= range.max && (!hasMax() || range.max <= std::numeric_limits<Wire>::max());
    }
  }

  static Value& of(auto& record) { return record.*Member; }
  static const Value& of(const auto& record) { return record.*Member; }
};

namespace fields {

template <class Owner>
constexpr std::size_t count = std::tuple_size_v<decltype(Owner::fields)>;

template <class Owner, std::size_t I>
constexpr auto& at = std::get<I>(Owner::fields);
template <class Owner, std::size_t I>
using FieldAt = std::tuple_element_t<I, decltype(Owner::fields)>;

template <class Owner, std::size_t I>
inline constexpr std::uint32_t wireOffset = wireOffset<Owner, I - 1> +
                                            FieldAt<Owner, I - 1>::wireSize();
template <class Owner>
inline constexpr std::uint32_t wireOffset<Owner, 0> = 0;

/// Calls `visit.operator()<I>()` for each field in wire order, until one returns false.
/// Returns whether all returned true.
template <class Owner, typename Visit>
constexpr bool every(Visit&& visit) {
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return (visit.template operator()<I>() && ...);
  }
  (std::make_index_sequence<count<Owner>>{});
}

template <class Owner>
constexpr bool hasFixedSize = every<Owner>([]<std::size_t I>() { return !at<Owner, I>.isText; });

/// Payload bytes of a record without text.
template <class Owner>
constexpr std::uint32_t fixedSize = wireOffset<Owner, count<Owner>>;

template <class Owner>
constexpr bool rangesCanBeChecked = every<Owner>([]<std::size_t I>() {
  return at<Owner, I>.rangeCanBeChecked();
});

template <class Owner>
constexpr bool hasRanges = !every<Owner>([]<std::size_t I>() { return !at<Owner, I>.hasRange(); });

template <typename Wire, typename Value>
constexpr Wire toWire(Value value) {
  return static_cast<Wire>(value);
}

template <typename Value, typename Wire>
constexpr Value fromWire(Wire wire) {
  if constexpr (std::is_same_v<Value, bool>) {
    return wire != 0;
  } else {
    return static_cast<Value>(wire);
  }
}

/// Reads one field. When the stream runs out, `value` keeps what it held.
template <typename Wire, typename Value>
void read(SerialStream& stream, Value& value) {
  Wire wire;
  if (takeInteger(stream, wire)) value = fromWire<Value>(wire);
}

template <typename Wire, std::size_t Capacity>
void read(SerialStream& stream, char (&text)[Capacity]) {
  std::uint16_t length = 0;
  stream >> length;
  if (length > Capacity) {
    stream.good = false;
    return;
  }
  stream.read(text, length);
  text[Capacity - 1] = '\0';
}

template <typename Wire, typename Value>
void write(SerialStream& stream, const Value& value) {
  putInteger(stream, toWire<Wire>(value));
}

template <typename Wire, std::size_t Capacity>
void write(SerialStream& stream, const char (&text)[Capacity]) {
  const auto bytes = static_cast<std::uint32_t>(::strnlen(text, Capacity - 1) + 1);
  stream << static_cast<std::uint16_t>(bytes);
  stream.write(text, bytes);
}

/// Whether the value just read is in range; the log says so when it is not. `suffix` follows the
/// limit there: a record has "u", a key nothing.
template <class Owner, std::size_t I, typename Value>
bool inRange(const Value& value, const char* suffix) {
  constexpr auto& field = at<Owner, I>;
  if constexpr (field.hasMin()) {
    if (static_cast<std::uint64_t>(value) < field.range.min) {
      logLine(ZEL_LOG_ERROR, "Messaging: ", field.name, " is less than the min value ",
              static_cast<unsigned long long>(field.range.min), suffix);
      return false;
    }
  }
  if constexpr (field.hasMax()) {
    if (static_cast<std::uint64_t>(value) > field.range.max) {
      logLine(ZEL_LOG_ERROR, "Messaging: ", field.name, " is greater than the max value ",
              static_cast<unsigned long long>(field.range.max), suffix);
      return false;
    }
  }
  return true;
}

template <class Owner>
void writeOneByOne(const Owner& owner, SerialStream& stream) {
  every<Owner>([&]<std::size_t I>() {
    using F = FieldAt<Owner, I>;
    write<typename F::WireType>(stream, F::of(owner));
    return true;
  });
}

template <class Owner>
bool readOneByOne(Owner& owner, SerialStream& stream) {
  return every<Owner>([&]<std::size_t I>() {
    using F = FieldAt<Owner, I>;
    read<typename F::WireType>(stream, F::of(owner));
    return inRange<Owner, I>(F::of(owner), "u");
  });
}

/// Stores a payload of fixed size at `to`, which has room for it.
template <class Owner, bool SwapBytes>
void storeAll(const Owner& owner, std::uint8_t* to) {
  every<Owner>([&]<std::size_t I>() {
    using F = FieldAt<Owner, I>;
    storeInteger(to + wireOffset<Owner, I>, toWire<typename F::WireType>(F::of(owner)), SwapBytes);
    return true;
  });
}

/// Writes all fields. One room check in front of a payload of fixed size, and one look at the byte
/// order; past the end, and for text, field by field.
template <class Owner>
inline void writeAll(const Owner& owner, SerialStream& stream) {
  if constexpr (hasFixedSize<Owner>) {
    if (stream.canWrite(fixedSize<Owner>)) [[likely]] {
      const std::uint32_t begin = stream.writePos;
      std::uint8_t* const to = stream.buffer + begin;
      stream.swapBytes ? storeAll<Owner, true>(owner, to) : storeAll<Owner, false>(owner, to);
      stream.writePos = stream.validSize = begin + fixedSize<Owner>;
      return;
    }
  }
  writeOneByOne(owner, stream);
}

/// Loads a payload of fixed size from `stream`, which has all of it, up to the first field that is
/// out of range.
template <class Owner, bool SwapBytes>
bool loadAll(Owner& owner, SerialStream& stream) {
  const std::uint8_t* const from = stream.buffer + stream.readPos;
  std::uint32_t bytes = 0;
  const bool inRanges = every<Owner>([&]<std::size_t I>() {
    using F = FieldAt<Owner, I>;
    F::of(owner) = fromWire<typename F::Value>(
        loadInteger<typename F::WireType>(from + wireOffset<Owner, I>, SwapBytes));
    bytes = wireOffset<Owner, I> + F::wireSize();
    return inRange<Owner, I>(F::of(owner), "u");
  });
  stream.readPos += bytes;
  return inRanges;
}

/// Reads all fields, each checked right after it is read. Returns false at the first out of range,
/// after which nothing is read; a stream that ran out is the caller's to notice.
template <class Owner>
inline bool readAll(Owner& owner, SerialStream& stream) {
  if constexpr (hasFixedSize<Owner>) {
    if (stream.canRead(fixedSize<Owner>)) [[likely]] {
      return stream.swapBytes ? loadAll<Owner, true>(owner, stream)
                              : loadAll<Owner, false>(owner, stream);
    }
  }
  return readOneByOne(owner, stream);
}

/// Calls `visit(field, value)` for each field, as long as it returns true.
template <class Owner, typename Visit>
bool visitAll(Owner& owner, Visit&& visit) {
  using Plain = std::remove_const_t<Owner>;
  return every<Plain>([&]<std::size_t I>() { return visit(at<Plain, I>, at<Plain, I>.of(owner)); });
}

}  // namespace fields
}  // namespace Zel
