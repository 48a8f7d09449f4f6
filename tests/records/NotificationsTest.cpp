// Blocks and printing of events, alarms and record-update events.
#include "Blocks.h"

namespace Zel {
namespace {

using namespace blocks;
using NotificationsTest = BlocksTest;

// 2024-03-05 07:08:09.004500 UTC
constexpr DateTime someTime{0x65e6c4d9, 4500, true};

constexpr const char* table = R"(
Test1-Evt1 111d0001 0003 0000000065e6c4d9 0000000000001194 0000 0007 |
  testEvtKey1=01020304 testEvtfield1=0c testEvtfield2=2233
Test1-Alarm1 111d0001 0000000065e6c4d9 0000000000001194 01 00 000c |
  testAlarmKey1=01020304 testAlarmfield1=0c testAlarmfield2=2233 additionalText=0003:616200
Test1-Rec-Updt1 111d0002 0000000065e6c4d9 0000000000001194 0015 |
  entryId=000003e7 entryPriority=07 entryPcycles=0000010000000000 entryAvgPcycles=0000000000000003
)";

/// What the table says.
template <class N>
N filled() {
  N notification;
  set(notification, Golden(table, N::nameText).values);
  notification.time = someTime;
  if constexpr (requires { notification.alarmSet; }) notification.alarmSet = true;
  if constexpr (requires { notification.severity; }) notification.severity = 3;
  return notification;
}

using All = catalogue::TypeList<EventTest1Evt1, AlarmTest1Alarm1, RecordUpdateEventTest1RecUpdt1>;

TEST_F(NotificationsTest, WriteAndReadEveryClassAsItsLiteral) {
  blocks::every(All{}, table, []<class N>(N made, const Golden& golden) {
    const timeval now = scripted::platform().timeOfDay();
    EXPECT_TRUE(made.time.seconds == now.tv_sec && made.time.microseconds == now.tv_usec);
    N notification = filled<N>();
    // The upper half is not on the wire.
    if constexpr (requires { made.severity; }) notification.severity = 0x10003;
    for (const Order order : {network, little}) {
      const N read = expectLiteral(notification, golden, order);
      EXPECT_TRUE(read.time.isSet);
      EXPECT_EQ(printed(read, 0), printed(filled<N>(), 0));
    }
  });
  EXPECT_EQ(EventTest1Evt1::create()->severity, 4u);
}

TEST_F(NotificationsTest, NameTheFieldThatCannotBeRead) {
  blocks::every(All{}, table, []<class N>(N, const Golden& golden) {
    const std::size_t size = golden.block().size() / 2;
    for (std::size_t length = 0; length < size; ++length) {
      SCOPED_TRACE(length);
      std::size_t end = size - golden.payload().size() / 2;
      std::string missing = length < end ? "length" : "";
      for (std::size_t i = 0; missing.empty(); ++i) {
        end += plain(golden.values[i]).size() / 2;
        if (length < end) missing = golden.names[i];
      }
      N notification;
      EXPECT_EQ(errorsOf(notification, golden.block(), length),
                Texts{"Messaging: Unable to read " + missing});
      EXPECT_EQ(notification.id, idAfterRead(N::recordId, length));
      if constexpr (requires { notification.alarmSet; }) {
        EXPECT_EQ(notification.time.seconds == someTime.seconds, length >= 12);
        EXPECT_EQ(notification.time.isSet, length >= 20);
        EXPECT_TRUE(notification.alarmSet || length < 21);
      }
    }
  });
  AlarmTest1Alarm1 cut;
  set(cut, {"1", "1", "1", "0001:6100"});
  errorsOf(cut, Golden(table, "Test1-Alarm1").block(), 30);
  EXPECT_EQ(payloadOf(cut), "010203040c000100026100") << "the rest is kept";
}

TEST_F(NotificationsTest, BoundTheTextOfAnAlarm) {
  AlarmTest1Alarm1 alarm, read;
  EXPECT_FALSE(alarm.alarmSet);
  std::memset(alarm.additionalText, 'x', 256);
  std::string block = written(alarm, network, false);
  EXPECT_EQ(block.substr(2 * 31, 4), "0101") << "257 bytes";
  EXPECT_EQ(errorsOf(read, block), Texts());
  EXPECT_EQ(read.additionalText, std::string(256, 'x'));
  block.replace(2 * 31, 4, "0102");
  EXPECT_EQ(errorsOf(read, block + "00"), Texts{"Messaging: Unable to read additionalText"});
}

TEST_F(NotificationsTest, PrintTheirHeaderAndFields) {
  EXPECT_EQ(printed(filled<EventTest1Evt1>(), 4),
            "    Event: Test1-Evt1 Id: 0x111d0001 TimeStamp: 20240305T070809.004500 "
            "Severity: Minor\n    testEvtKey1: 16909060\n    testEvtfield1: 12\n"
            "    testEvtfield2: 8755\n");
  EXPECT_EQ(printed(filled<AlarmTest1Alarm1>(), 0),
            "Alarm: Test1-Alarm1 Id: 0x111d0001 TimeStamp: 20240305T070809.004500 AlarmSet: true\n"
            "testAlarmKey1: 16909060\ntestAlarmfield1: 12\ntestAlarmfield2: 8755\n"
            "additionalText: ab\n");
  EXPECT_EQ(printed(filled<RecordUpdateEventTest1RecUpdt1>(), 1),
            " RecordUpdateEvent: Test1-Rec-Updt1 Id: 0x111d0002 "
            "TimeStamp: 20240305T070809.004500\n entryId: 999\n entryPriority: 7\n"
            " entryPcycles: 1099511627776\n entryAvgPcycles: 3\n");
}

TEST(TimeStampTest, IsUtcWithSixDigitsOfAFractionAndSignExtendedOnTheWire) {
  EXPECT_EQ((DateTime{0, 123456, true}.toIsoStr()), "19700101T000000.123456");
  EXPECT_EQ((DateTime{-1, 9, true}.toIsoStr()), "19691231T235959.000009");
  EXPECT_EQ(written(DateTime{-1, -2, true}, network), "fffffffffffffffffffffffffffffffe");
  Stream from("00000001ffffffff ffffffff00000005");
  DateTime time;
  time.deserialize(from.stream);
  EXPECT_EQ(time.seconds, -1) << "the low half is kept";

  Stream late("0000000000000007 0000000000000008");
  late.stream.good = false;
  DateTime kept{1, 2, true};
  kept.deserialize(late.stream);
  EXPECT_EQ(kept.seconds, 7) << "an earlier read has failed, this one has not";
  EXPECT_EQ(kept.microseconds, 2);
  EXPECT_FALSE(kept.isSet);
}

}  // namespace
}  // namespace Zel
