// What a concrete notification gets from its field list.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>

#include "records/Fields.h"
#include "records/Notifications.h"

namespace Zel {

/// `Base` is the kind; `Derived` has `recordId`, `nameText` and `fields`. Unlike a record, a
/// notification names the field that cannot be read, and prints its fields.
template <class Derived, class Base>
class NotificationOf : public Base {
 public:
  static const char* name() { return Derived::nameText; }

  const char* recordName() const override { return name(); }

  void deserializePayload(SerialStream& stream) override {
    static_assert(!fields::hasRanges<Derived>, "the fields of a notification are not checked");
    std::uint16_t ignoredLength = 0;
    stream >> ignoredLength;
    this->valid = readable(stream, "length") && fields::every<Derived>([&]<std::size_t I>() {
                    using F = fields::FieldAt<Derived, I>;
                    fields::read<typename F::WireType>(stream, F::of(static_cast<Derived&>(*this)));
                    return readable(stream, fields::at<Derived, I>.name);
                  }) &&
                  this->valid;
  }

  void serializePayload(SerialStream& stream) const override {
    fields::writeAll(static_cast<const Derived&>(*this), stream);
  }

  void printPayload(LogStream& out, unsigned int indent) const override {
    fields::visitAll(static_cast<const Derived&>(*this), [&](const auto& field, const auto& value) {
      out.indent(indent) << field.name << ": ";
      printValue(out, value);
      out << '\n';
      return true;
    });
  }

 protected:
  NotificationOf() : Base(Derived::recordId) {}

 private:
  static bool readable(const SerialStream& stream, const char* what) {
    if (!stream.good) logLine(ZEL_LOG_ERROR, "Messaging: Unable to read ", what);
    return stream.good;
  }

  template <std::unsigned_integral T>
  static void printValue(LogStream& out, T value) {
    if constexpr (sizeof(T) > sizeof(unsigned int)) {
      out << static_cast<unsigned long long>(value);
    } else {
      out << static_cast<unsigned int>(value);
    }
  }
  static void printValue(LogStream& out, const char* text) { out << text; }
};

/// A notification that the framework makes by its id.
template <class Derived, class Base>
class RegisteredNotificationOf : public NotificationOf<Derived, Base> {
 public:
  static boost::shared_ptr<Base> create() { return boost::make_shared<Derived>(); }
};

}  // namespace Zel
