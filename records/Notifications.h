// Bases of the notifications: records with a time stamp and a header of their kind.
//
//   event block                0  4        event id
//                              4  2        severity
//                              4 + 2  8    seconds
//                              6 + 8  8    microseconds
//                              14 + 8  2   reserved, 0
//                              22 + 2  2   payload length P
//                              24 + 2  P   payload
//
//   alarm block                0  4        alarm id
//                              4  8        seconds
//                              4 + 8  8    microseconds
//                              12 + 8  1   alarmSet, 0 or 1
//                              20 + 1  1   reserved, 0
//                              21 + 1  2   payload length P
//                              22 + 2  P   payload
//
//   record-update-event block  0  4        id
//                              4  8        seconds
//                              4 + 8  8    microseconds
//                              12 + 8  2   payload length P
//                              20 + 2  P   payload
#pragma once

#include <cstdint>

#include "records/DateTime.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"

namespace Zel {

/// Holds the time of the notification.
class TimeEvent {
 public:
  DateTime time = DateTime::now();

 protected:
  TimeEvent() = default;
  ~TimeEvent() = default;
};

class Event : public Record, public TimeEvent {
 public:
  SerialStream& deserialize(SerialStream& stream) override;
  SerialStream& serialize(SerialStream& stream, bool payloadOnly) const override;
  LogStream& print(LogStream& out, unsigned int indent) const override;
  virtual const char* eventName() const { return recordName(); }

  std::uint32_t severity = SEVERITY_WARNING;

 protected:
  using Record::Record;
  ~Event() = default;
};

class Alarm : public Record, public TimeEvent {
 public:
  SerialStream& deserialize(SerialStream& stream) override;
  SerialStream& serialize(SerialStream& stream, bool payloadOnly) const override;
  LogStream& print(LogStream& out, unsigned int indent) const override;
  virtual const char* alarmName() const { return recordName(); }

  bool alarmSet = false;  ///< raised, or cleared

 protected:
  using Record::Record;
  ~Alarm() = default;
};

class RecordUpdateEvent : public Record, public TimeEvent {
 public:
  SerialStream& deserialize(SerialStream& stream) override;
  SerialStream& serialize(SerialStream& stream, bool payloadOnly) const override;
  LogStream& print(LogStream& out, unsigned int indent) const override;
  virtual const char* recordUpdateEventName() const { return recordName(); }

 protected:
  using Record::Record;
  ~RecordUpdateEvent() = default;
};

}  // namespace Zel
