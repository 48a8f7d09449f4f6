// What a concrete record gets from its field list.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>

#include "records/Fields.h"
#include "records/Record.h"

namespace Zel {

/// `Derived` has `recordId`, `nameText` and `fields`.
template <class Derived>
class RecordOf : public Record {
 public:
  static const char* name() {
    static const char* const recordName = Derived::nameText;
    return recordName;
  }

  const char* recordName() const override { return name(); }

  void deserializePayload(SerialStream& stream) override {
    static_assert(fields::rangesCanBeChecked<Derived>);
    std::uint16_t ignoredLength = 0;
    takeReversing(stream, ignoredLength);
    if (!fields::readAll(static_cast<Derived&>(*this), stream)) {
      valid = false;
      return;
    }
    if (!stream.good) {
      logLine(ZEL_LOG_ERROR, "Messaging: read failure");
      valid = false;
    }
  }

  void serializePayload(SerialStream& stream) const override {
    fields::writeAll(static_cast<const Derived&>(*this), stream);
  }

  void printPayload(LogStream&, unsigned int) const override {}

 protected:
  RecordOf() : Record(Derived::recordId) {}
};

/// A record that the framework makes by its id. The others are made by the handlers that use them.
template <class Derived>
class RegisteredRecordOf : public RecordOf<Derived> {
 public:
  static boost::shared_ptr<Record> create() { return boost::make_shared<Derived>(); }
};

}  // namespace Zel
