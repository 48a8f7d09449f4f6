#include "records/Notifications.h"

#include "records/Fields.h"
#include "records/Framing.h"

namespace Zel {
namespace {

// Prints `kind`, what all kinds have, what `printRest()` adds, and the payload.
template <class Notification, typename PrintRest>
LogStream& printFramed(const Notification& notification, LogStream& out, unsigned int indent,
                       const char* kind, const char* name, PrintRest&& printRest) {
  out.indent(indent) << kind << ": " << name << " Id: " << LogStream::Hex32{notification.id}
                     << " TimeStamp: " << notification.time.toIsoStr().c_str();
  printRest();
  out << "\n";
  notification.printPayload(out, indent);
  return out;
}

}  // namespace

SerialStream& Event::serialize(SerialStream& stream, bool payloadOnly) const {
  return writeFramed(*this, stream, payloadOnly, [&] {
    stream << static_cast<std::uint16_t>(severity);
    time.serialize(stream);
    stream << std::uint16_t{0};
  });
}

SerialStream& Event::deserialize(SerialStream& stream) {
  return readFramed(*this, stream, [&] {
    fields::read<std::uint16_t>(stream, severity);
    time.deserialize(stream);
    std::uint16_t reserved = 0;
    stream >> reserved;
  });
}

LogStream& Event::print(LogStream& out, unsigned int indent) const {
  return printFramed(*this, out, indent, "Event", eventName(),
                     [&] { out << " Severity: " << severityText(severity); });
}

SerialStream& Alarm::serialize(SerialStream& stream, bool payloadOnly) const {
  return writeFramed(*this, stream, payloadOnly, [&] {
    time.serialize(stream);
    stream << static_cast<std::uint8_t>(alarmSet) << std::uint8_t{0};
  });
}

SerialStream& Alarm::deserialize(SerialStream& stream) {
  return readFramed(*this, stream, [&] {
    time.deserialize(stream);
    fields::read<std::uint8_t>(stream, alarmSet);
    std::uint8_t reserved = 0;
    stream >> reserved;
  });
}

LogStream& Alarm::print(LogStream& out, unsigned int indent) const {
  return printFramed(*this, out, indent, "Alarm", alarmName(),
                     [&] { out << " AlarmSet: " << alarmSet; });
}

SerialStream& RecordUpdateEvent::serialize(SerialStream& stream, bool payloadOnly) const {
  return writeFramed(*this, stream, payloadOnly, [&] { time.serialize(stream); });
}

SerialStream& RecordUpdateEvent::deserialize(SerialStream& stream) {
  return readFramed(*this, stream, [&] { time.deserialize(stream); });
}

LogStream& RecordUpdateEvent::print(LogStream& out, unsigned int indent) const {
  return printFramed(*this, out, indent, "RecordUpdateEvent", recordUpdateEventName(), [] {});
}

}  // namespace Zel
