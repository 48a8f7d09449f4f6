#include "records/Notifications.h"

#include "records/Fields.h"
#include "records/LengthPatch.h"

namespace Zel {
namespace {

// What all three kinds print in front of what is their own.
LogStream& printHead(LogStream& out, unsigned int indent, const char* kind, const char* name,
                     std::uint32_t id, const DateTime& time) {
  return out.indent(indent) << kind << ": " << name << " Id: " << LogStream::Hex32{id}
                            << " TimeStamp: " << time.toIsoStr().c_str();
}

}  // namespace

SerialStream& Event::serialize(SerialStream& stream, bool payloadOnly) const {
  if (payloadOnly) {
    serializePayload(stream);
    return stream;
  }
  stream << id << static_cast<std::uint16_t>(severity);
  time.serialize(stream);
  stream << std::uint16_t{0};
  writeWithLength(stream, [&] { serializePayload(stream); });
  return stream;
}

SerialStream& Event::deserialize(SerialStream& stream) {
  stream >> id;
  fields::read<std::uint16_t>(stream, severity);
  time.deserialize(stream);
  std::uint16_t reserved = 0;
  stream >> reserved;
  deserializePayload(stream);
  if (!stream.good) valid = false;
  return stream;
}

LogStream& Event::print(LogStream& out, unsigned int indent) const {
  printHead(out, indent, "Event", eventName(), id, time)
      << " Severity: " << severityText(severity) << "\n";
  printPayload(out, indent);
  return out;
}

SerialStream& Alarm::serialize(SerialStream& stream, bool payloadOnly) const {
  if (payloadOnly) {
    serializePayload(stream);
    return stream;
  }
  stream << id;
  time.serialize(stream);
  stream << static_cast<std::uint8_t>(alarmSet) << std::uint8_t{0};
  writeWithLength(stream, [&] { serializePayload(stream); });
  return stream;
}

SerialStream& Alarm::deserialize(SerialStream& stream) {
  stream >> id;
  time.deserialize(stream);
  fields::read<std::uint8_t>(stream, alarmSet);
  std::uint8_t reserved = 0;
  stream >> reserved;
  deserializePayload(stream);
  if (!stream.good) valid = false;
  return stream;
}

LogStream& Alarm::print(LogStream& out, unsigned int indent) const {
  printHead(out, indent, "Alarm", alarmName(), id, time) << " AlarmSet: " << alarmSet << "\n";
  printPayload(out, indent);
  return out;
}

SerialStream& RecordUpdateEvent::serialize(SerialStream& stream, bool payloadOnly) const {
  if (payloadOnly) {
    serializePayload(stream);
    return stream;
  }
  stream << id;
  time.serialize(stream);
  writeWithLength(stream, [&] { serializePayload(stream); });
  return stream;
}

SerialStream& RecordUpdateEvent::deserialize(SerialStream& stream) {
  stream >> id;
  time.deserialize(stream);
  deserializePayload(stream);
  if (!stream.good) valid = false;
  return stream;
}

LogStream& RecordUpdateEvent::print(LogStream& out, unsigned int indent) const {
  printHead(out, indent, "RecordUpdateEvent", recordUpdateEventName(), id, time) << "\n";
  printPayload(out, indent);
  return out;
}

}  // namespace Zel
