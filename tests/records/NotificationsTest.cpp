// Blocks and printing of events, alarms and record-update events.
#include <gtest/gtest.h>

#include <ctime>

#include "Blocks.h"
#include "ScriptedPlatform.h"
#include "catalogue/Notifications.h"
#include "records/BoundedCopy.h"
#include "records/Hex.h"

namespace {

using namespace Zel;
using scripted::platform;
using Texts = std::vector<std::string>;

// 2024-03-05 07:08:09.004500 UTC
constexpr DateTime someTime{0x65e6c4d9, 4500, true};
constexpr const char* timeBlock =
    "0000000065e6c4d9"
    "0000000000001194";

EventTest1Evt1 someEvent() {
  EventTest1Evt1 event;
  event.time = someTime;
  event.severity = 0x10004;
  event.testEvtKey1 = 0x01020304;
  event.testEvtfield1 = 0x0c;
  event.testEvtfield2 = 0x2233;
  return event;
}

AlarmTest1Alarm1 someAlarm() {
  AlarmTest1Alarm1 alarm;
  alarm.time = someTime;
  alarm.alarmSet = true;
  alarm.testAlarmKey1 = 0x01020304;
  alarm.testAlarmfield1 = 0x0c;
  alarm.testAlarmfield2 = 0x2233;
  fillText(alarm.additionalText, "ab");
  return alarm;
}

RecordUpdateEventTest1RecUpdt1 someUpdate() {
  RecordUpdateEventTest1RecUpdt1 update;
  update.time = someTime;
  update.entryId = 999;
  update.entryPriority = 7;
  update.entryPcycles = std::uint64_t{1} << 40;
  update.entryAvgPcycles = 3;
  return update;
}

const std::string eventBlock = std::string(
                                   "111d0001"
                                   "0004") +
                               timeBlock +
                               "0000"
                               "0007"
                               "01020304"
                               "0c"
                               "2233";
const std::string alarmBlock = std::string("111d0001") + timeBlock +
                               "01"
                               "00"
                               "000c"
                               "01020304"
                               "0c"
                               "2233"
                               "0003"
                               "616200";
const std::string updateBlock = std::string("111d0002") + timeBlock +
                                "0015"
                                "000003e7"
                                "07"
                                "0000010000000000"
                                "0000000000000003";

std::string blockOf(const Record& record, bool payloadOnly = false) {
  return blockText([&](SerialStream& stream) { record.serialize(stream, payloadOnly); }).value();
}

/// Reads the first `bytes` of a block, from a buffer of just that size.
template <class N>
Texts readFirst(N& notification, const std::string& block, std::size_t bytes) {
  std::vector<std::uint8_t> whole = *fromHex(block);
  std::vector<std::uint8_t> part(whole.begin(), whole.begin() + static_cast<long>(bytes));
  part.shrink_to_fit();
  SerialStream stream = blockReader(part);
  platform().reset();
  notification.deserialize(stream);
  EXPECT_EQ(stream.good, notification.valid);
  return platform().takeLog(2);
}

TEST(Notifications, AreFramedByTheirKind) {
  EXPECT_EQ(blockOf(someEvent()), eventBlock);
  EXPECT_EQ(blockOf(someAlarm()), alarmBlock);
  EXPECT_EQ(blockOf(someUpdate()), updateBlock);
  EXPECT_EQ(blockOf(someEvent(), true),
            "01020304"
            "0c"
            "2233");
  EXPECT_EQ(blockOf(someAlarm(), true),
            "01020304"
            "0c"
            "2233"
            "0003"
            "616200");
  EXPECT_EQ(blockOf(someUpdate(), true),
            "000003e7"
            "07"
            "0000010000000000"
            "0000000000000003");
}

TEST(Notifications, ReadBackWhatWasWritten) {
  EventTest1Evt1 event;
  EXPECT_TRUE(readFirst(event, eventBlock, eventBlock.size() / 2).empty());
  EXPECT_EQ(event.severity, 4u) << "its upper half is not on the wire";
  EXPECT_EQ(event.time.seconds, someTime.seconds);
  EXPECT_EQ(event.time.microseconds, 4500);
  EXPECT_TRUE(fields::same(event, someEvent()));
  AlarmTest1Alarm1 alarm;
  EXPECT_TRUE(readFirst(alarm, alarmBlock, alarmBlock.size() / 2).empty());
  EXPECT_TRUE(alarm.alarmSet);
  EXPECT_TRUE(fields::same(alarm, someAlarm()));
  RecordUpdateEventTest1RecUpdt1 update;
  EXPECT_TRUE(readFirst(update, updateBlock, updateBlock.size() / 2).empty());
  EXPECT_TRUE(fields::same(update, someUpdate()));
}

TEST(Notifications, NameTheFieldThatCannotBeRead) {
  // From this many bytes on, the named field is the first that is missing.
  struct Cut {
    std::size_t from;
    const char* field;
  };
  const auto expectCuts = [](auto make, const std::string& block, std::vector<Cut> cuts) {
    for (std::size_t bytes = 0; bytes < block.size() / 2; ++bytes) {
      const char* field = nullptr;
      for (const Cut& cut : cuts) {
        if (bytes >= cut.from) field = cut.field;
      }
      auto notification = make();
      notification.time.isSet = true;
      EXPECT_EQ(readFirst(notification, block, bytes),
                Texts{std::string("Messaging: Unable to read ") + field})
          << bytes << " bytes of " << block;
      EXPECT_FALSE(notification.valid);
    }
  };
  expectCuts([] { return EventTest1Evt1(); }, eventBlock,
             {{0, "length"}, {26, "testEvtKey1"}, {30, "testEvtfield1"}, {31, "testEvtfield2"}});
  expectCuts([] { return AlarmTest1Alarm1(); }, alarmBlock,
             {{0, "length"},
              {24, "testAlarmKey1"},
              {28, "testAlarmfield1"},
              {29, "testAlarmfield2"},
              {31, "additionalText"}});
  expectCuts([] { return RecordUpdateEventTest1RecUpdt1(); }, updateBlock,
             {{0, "length"},
              {22, "entryId"},
              {26, "entryPriority"},
              {27, "entryPcycles"},
              {35, "entryAvgPcycles"}});
}

TEST(Notifications, KeepWhatWasReadBeforeTheFailure) {
  EventTest1Evt1 event = someEvent();
  event.testEvtfield1 = 99;
  readFirst(event, eventBlock, 30);
  EXPECT_EQ(event.testEvtKey1, 0x01020304u);
  EXPECT_EQ(event.testEvtfield1, 99);
  AlarmTest1Alarm1 alarm;
  readFirst(alarm, alarmBlock, 21);
  EXPECT_TRUE(alarm.alarmSet) << "it ends right behind alarmSet";
  EXPECT_TRUE(alarm.time.isSet);
  for (const std::size_t bytes : {4u, 11u, 12u, 19u}) {
    AlarmTest1Alarm1 cut;
    readFirst(cut, alarmBlock, bytes);
    EXPECT_FALSE(cut.time.isSet) << bytes;
    if (bytes >= 12) {
      EXPECT_EQ(cut.time.seconds, someTime.seconds);
    }
  }
}

TEST(Notifications, BoundTheTextOfAnAlarm) {
  AlarmTest1Alarm1 alarm;
  std::memset(alarm.additionalText, 'x', 256);
  const std::string block = blockOf(alarm);
  EXPECT_EQ(block.substr(2 * 31, 4), "0101") << "257 bytes";
  AlarmTest1Alarm1 back;
  EXPECT_TRUE(readFirst(back, block, block.size() / 2).empty());
  EXPECT_TRUE(fields::same(back, alarm));
  std::string tooLong = block + "00";
  tooLong.replace(2 * 31, 4, "0102");
  EXPECT_EQ(readFirst(back, tooLong, tooLong.size() / 2),
            Texts{"Messaging: Unable to read additionalText"});
}

TEST(Notifications, PrintTheirHeaderAndFields) {
  const auto printed = [](const Record& record, unsigned int indent) {
    LogStream line(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
    record.print(line, indent);
    return std::string(line.text());
  };
  EventTest1Evt1 event = someEvent();
  event.severity = 4;
  EXPECT_EQ(printed(event, 4),
            "    Event: Test1-Evt1 Id: 0x111d0001 TimeStamp: 20240305T070809.004500 "
            "Severity: Warning\n    testEvtKey1: 16909060\n    testEvtfield1: 12\n"
            "    testEvtfield2: 8755\n");
  EXPECT_EQ(printed(someAlarm(), 0),
            "Alarm: Test1-Alarm1 Id: 0x111d0001 TimeStamp: 20240305T070809.004500 AlarmSet: true\n"
            "testAlarmKey1: 16909060\ntestAlarmfield1: 12\ntestAlarmfield2: 8755\n"
            "additionalText: ab\n");
  EXPECT_EQ(printed(someUpdate(), 1),
            " RecordUpdateEvent: Test1-Rec-Updt1 Id: 0x111d0002 "
            "TimeStamp: 20240305T070809.004500\n entryId: 999\n entryPriority: 7\n"
            " entryPcycles: 1099511627776\n entryAvgPcycles: 3\n");
}

TEST(Notifications, AreMadeWithTheTimeOfDay) {
  const auto event = EventTest1Evt1::create();
  EXPECT_EQ(event->severity, 4u);
  EXPECT_TRUE(event->valid && event->time.isSet);
  EXPECT_LE(std::abs(event->time.seconds - static_cast<std::int32_t>(std::time(nullptr))), 5);
  EXPECT_STREQ(event->eventName(), "Test1-Evt1");
  EXPECT_STREQ(RecordUpdateEventTest1RecUpdt1::create()->recordUpdateEventName(),
               "Test1-Rec-Updt1");
}

TEST(TimeStamp, IsWrittenInUtcWithSixDigitsOfAFraction) {
  EXPECT_EQ((DateTime{0, 0, true}.toIsoStr()), "19700101T000000.000000");
  EXPECT_EQ((DateTime{0, 123456, true}.toIsoStr()), "19700101T000000.123456");
  EXPECT_EQ((DateTime{-1, 999999, true}.toIsoStr()), "19691231T235959.999999");
}

TEST(TimeStamp, IsSignExtendedOnTheWire) {
  const std::string block = blockText([](SerialStream& stream) {
                              DateTime{-1, -2, true}.serialize(stream);
                            }).value();
  EXPECT_EQ(block,
            "ffffffffffffffff"
            "fffffffffffffffe");
  std::vector<std::uint8_t> bytes = *fromHex(
      "00000001ffffffff"
      "ffffffff00000005");
  SerialStream stream = blockReader(bytes);
  DateTime time;
  time.deserialize(stream);
  EXPECT_EQ(time.seconds, -1) << "the low half is kept";
  EXPECT_EQ(time.microseconds, 5);
}

}  // namespace
