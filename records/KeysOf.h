// What a concrete key set gets from its field list.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>

#include "records/Fields.h"
#include "records/Framing.h"
#include "records/RecordKeys.h"

namespace Zel {

/// `Derived` is nested in `RecordClass` and has `fields`, whose members are of type `Key`.
template <class Derived, class RecordClass>
class KeysOf : public RecordKeys {
 public:
  explicit KeysOf(bool withWildcards) : RecordKeys(RecordClass::recordId, withWildcards) {}

  static boost::shared_ptr<RecordKeys> create(bool wildcardAllowed) {
    return boost::make_shared<Derived>(wildcardAllowed);
  }

  const char* recordName() const override { return RecordClass::name(); }

  bool hasWildcard() const override {
    return wildcardAllowed && !fields::every<Derived>([&]<std::size_t I>() {
             return fields::at<Derived, I>.of(derived()).wildcard == 0;
           });
  }

  SerialStream& serialize(SerialStream& stream) const override {
    writeWithLength(stream, [&] {
      fields::every<Derived>([&]<std::size_t I>() {
        writeKey(stream, I + 1, fields::at<Derived, I>.of(derived()));
        return true;
      });
    });
    return stream;
  }

  SerialStream& deserialize(SerialStream& stream) override {
    valid = readKeys(stream);
    return stream;
  }

  void printPayload(LogStream&, unsigned int) const override {}

 private:
  Derived& derived() { return static_cast<Derived&>(*this); }
  const Derived& derived() const { return static_cast<const Derived&>(*this); }

  template <typename T>
  void writeKey(SerialStream& stream, std::size_t tag, const Key<T>& key) const {
    stream << static_cast<std::uint16_t>(tag);
    if (wildcardAllowed) {
      stream << key.wildcard;
      if (key.wildcard != 0) return;
    }
    writeWithLength(stream, [&] { stream << key.value; });
  }

  bool readKeys(SerialStream& stream) {
    static_assert(fields::rangesCanBeChecked<Derived>);
    std::uint16_t totalLength = 0;
    stream >> totalLength;
    const std::uint32_t start = stream.readPos;
    if (!fields::every<Derived>([&]<std::size_t I>() { return this->readKey<I>(stream); })) {
      return false;
    }
    if (stream.readPos - start != totalLength) {
      logLine(ZEL_LOG_ERROR, "Messaging: Total keys length doesn't match with the acutal read.");
      return false;
    }
    if (!stream.good) {
      logLine(ZEL_LOG_ERROR, "Messaging: read failure");
      return false;
    }
    return true;
  }

  template <std::size_t I>
  bool readKey(SerialStream& stream) {
    auto& key = fields::at<Derived, I>.of(derived());
    std::uint16_t tag = 0;
    stream >> tag;
    if (tag != I + 1) {
      logLine(ZEL_LOG_ERROR, "Messaging: Key tag out of order");
      return false;
    }
    if (wildcardAllowed) {
      stream >> key.wildcard;
      if (key.wildcard != 0) return true;
    }
    std::uint16_t length = 0;
    stream >> length;
    const std::uint32_t mark = stream.readPos;
    fields::read<decltype(key.value)>(stream, key.value);
    if (!fields::inRange<Derived, I>(key.value, "")) return false;
    if (stream.readPos - mark != length) {
      logLine(ZEL_LOG_ERROR, "Messaging: Field length doesn't match.");
      return false;
    }
    return true;
  }
};

}  // namespace Zel
