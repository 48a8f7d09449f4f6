// The test notifications. Their ids live in number spaces of their own.
#pragma once

#include "records/NotificationOf.h"

namespace Zel {

struct EventTest1Evt1 final : RegisteredNotificationOf<EventTest1Evt1, Event> {
  static constexpr std::uint32_t recordId = 0x111D0001;
  static constexpr const char* nameText = "Test1-Evt1";

  std::uint32_t testEvtKey1 = 0;
  std::uint8_t testEvtfield1 = 0;
  std::uint16_t testEvtfield2 = 0;

  static constexpr std::tuple fields{Field<&EventTest1Evt1::testEvtKey1>{"testEvtKey1"},
                                     Field<&EventTest1Evt1::testEvtfield1>{"testEvtfield1"},
                                     Field<&EventTest1Evt1::testEvtfield2>{"testEvtfield2"}};
};

/// Made only by the daemon itself.
struct AlarmTest1Alarm1 final : NotificationOf<AlarmTest1Alarm1, Alarm> {
  static constexpr std::uint32_t recordId = 0x111D0001;
  static constexpr const char* nameText = "Test1-Alarm1";

  std::uint32_t testAlarmKey1 = 0;
  std::uint8_t testAlarmfield1 = 0;
  std::uint16_t testAlarmfield2 = 0;
  char additionalText[257] = {};

  static constexpr std::tuple fields{Field<&AlarmTest1Alarm1::testAlarmKey1>{"testAlarmKey1"},
                                     Field<&AlarmTest1Alarm1::testAlarmfield1>{"testAlarmfield1"},
                                     Field<&AlarmTest1Alarm1::testAlarmfield2>{"testAlarmfield2"},
                                     Field<&AlarmTest1Alarm1::additionalText>{"additionalText"}};
};

struct RecordUpdateEventTest1RecUpdt1 final
    : RegisteredNotificationOf<RecordUpdateEventTest1RecUpdt1, RecordUpdateEvent> {
  static constexpr std::uint32_t recordId = 0x111D0002;
  static constexpr const char* nameText = "Test1-Rec-Updt1";

  std::uint32_t entryId = 0;
  std::uint8_t entryPriority = 0;
  std::uint64_t entryPcycles = 0;
  std::uint64_t entryAvgPcycles = 0;

  static constexpr std::tuple fields{
      Field<&RecordUpdateEventTest1RecUpdt1::entryId>{"entryId"},
      Field<&RecordUpdateEventTest1RecUpdt1::entryPriority>{"entryPriority"},
      Field<&RecordUpdateEventTest1RecUpdt1::entryPcycles>{"entryPcycles"},
      Field<&RecordUpdateEventTest1RecUpdt1::entryAvgPcycles>{"entryAvgPcycles"}};
};

}  // namespace Zel
