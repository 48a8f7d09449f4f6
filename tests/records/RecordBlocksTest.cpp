// Every record class against its literal block: written, read, cut short, damaged, printed.
#include "Blocks.h"

namespace Zel {
namespace {

using namespace blocks;
using RecordBlocksTest = BlocksTest;

const std::string readFailure = "Messaging: read failure";
/// In range everywhere, and a text of one character.
const std::string one = "0001:6100";

constexpr const char* table = R"(Test1-Prov1 111d0002 0002 | 1234
Test1-Prov2 111d0003 0005 | 01 f102 0304
Test1-Prov3 111d0004 000a | 0102 0304 f506 0708 090a
Test2-Prov1 111e0002 0004 | 0102 f304
Test3-Prov1 111f0001 000b | 01 a2a3 fe 0005:5465787400
Test3-Prov2 111f0002 0004 | 0102 f304
Test3-Prov3 111f0009 000a | fffe 0020 a5 0304 0506 07
Test3-Prov4 111f000a 0004 | 81 82 8384
Test3-Action1 111f0004 0001 | 01
Test3-Action2 111f0010 0001 | 01
Prov-Labels-Config 08010014 0001 | c3
Test2-Stats1 111e0001 0004 | 0102 f304
Test3-Stats1 111f0003 0004 | 0102 f304
Test3-Stats2 111f0005 001c | 11121314 21222324 f1f2f3f4 a1a2a3a4a5a6a7a8 0102030405060708
Test3-Stats3 111f0006 000c | 03ff 0009 01020304 f5f6f7f8
Test3-Stats4 111f0008 0006 | 0102 0304 0506
Test3-Stats5 111f000b 0004 | 0102 83 84
Test3-Stats6 111f000c 0006 | 81 82 8384 85 86
Test3-Stats7 111f000d 001c | 11121314 21222324 f1f2f3f4 a1a2a3a4a5a6a7a8 0102030405060708
Test3-Stats8 111f000e 001c | 11121314 21222324 f1f2f3f4 a1a2a3a4a5a6a7a8 0102030405060708
Test3-Stats9 111f0007 0010 | 00000009 0102 0005 01020304 f5f6f7f8)";

TEST_F(RecordBlocksTest, WriteAndReadEveryClassAsItsLiteral) {
  std::ptrdiff_t count = 0;
  blocks::every(catalogue::Records{}, table, [&]<class R>(R record, const Golden& golden) {
    ++count;
    set(record, Texts(golden.values.size(), "0000:00"));
    EXPECT_EQ(payloadOf(record), payloadOf(R())) << "starts empty";
    set(record, golden.values);
    expectLiteral(record, golden, network);
    expectLiteral(record, golden, little);
    const std::string id = golden.header[0].substr(golden.header[0][0] == '0' ? 1 : 0);
    EXPECT_EQ(printed(record, 4),
              std::string("    Record: ") + R::nameText + " Id: 0x" + id + "\n");
    EXPECT_FALSE(record.isOpaque());
  });
  EXPECT_EQ(count, 1 + std::ranges::count(std::string_view(table), '\n')) << "none is left out";
}

TEST_F(RecordBlocksTest, FailAtEveryShorterLength) {
  blocks::every(catalogue::Records{}, table, []<class R>(R, const Golden& golden) {
    const std::string block = golden.block();
    for (std::size_t length = 0; length < block.size() / 2; ++length) {
      SCOPED_TRACE(length);
      // Its first field takes a byte of the header, which is out of range.
      if (R::recordId == RECORD_TEST1PROV2_ID && length < 6 && length % 2 == 1) continue;
      R record;
      set(record, Texts(golden.values.size(), one));
      EXPECT_EQ(errorsOf(record, block, length), Texts{readFailure});
      EXPECT_EQ(record.id, idAfterRead(R::recordId, length));
    }
  });
}

TEST_F(RecordBlocksTest, KeepWhatDoesNotFitAndHaveTheBytesLeftInLaterFields) {
  const auto expectPayload = []<class R>(R record, const std::string& block,
                                         const std::string& payload) {
    set(record, Texts(5, one));
    EXPECT_EQ(errorsOf(record, block), Texts{readFailure});
    EXPECT_EQ(payloadOf(record), payload);
  };
  expectPayload(RecordTest3Stats6(), "111f000c 0006 81 82 83", "818200018301");
  expectPayload(RecordTest3Stats6(), "111f000c 0006 81 82 8384 85", "818283848501");
  expectPayload(RecordTest3Stats6(), "111f00", "000100010101");
  expectPayload(RecordTest3Stats9(), "111f0007 0010 000000 05", "00000005000100010000000100000001");
  expectPayload(RecordTest3Stats9(), "111f0007 0010 0005 08", "00000001000500010000000100000001");
  expectPayload(RecordTest3Prov1(), "111f0001 000b 00 a2a3 fe 0003:6100", "00a2a3fe00026100");
  expectPayload(RecordTest3Prov1(), "111f0001 000b 00 a2a3", "00a2a30100026100");
}

template <class R>
void expectPayload(const std::string& read, const std::string& unread, const std::string& error) {
  expectRead(R(), "00000000 0000" + read, unread, error);
}

TEST_F(RecordBlocksTest, AreCheckedFieldByFieldAgainstTheRanges) {
  const std::string low = "xyzService is less than the min value 1u";
  expectPayload<RecordTest1Prov2>("00", "12341234", low);
  // What could not be read is checked as well.
  expectPayload<RecordTest1Prov2>("", "", low);
  expectPayload<RecordTest1Prov2>("02", "12341234", "xyzService is greater than the max value 1u");
  const std::string lowKey = "testKey2 is less than the min value 1u";
  expectPayload<RecordTest3Prov3>("00050000", "010203040506", lowKey);
  expectPayload<RecordTest3Prov3>("0005", "", lowKey);
  expectPayload<RecordTest3Prov3>("80000001010203040506", "", "");
  expectPayload<RecordTest3Prov3>("80000020010203040506", "", "");
  expectPayload<RecordTest3Prov3>("00050021", "010203040506",
                                  "testKey2 is greater than the max value 32u");
  const std::string sfn = "sfn is greater than the max value 1023u";
  const std::string sf = "sf is greater than the max value 9u";
  expectPayload<RecordTest3Stats3>("03ff00090000000100000001", "", "");
  expectPayload<RecordTest3Stats3>("0400", "00090000000100000001", sfn);
  expectPayload<RecordTest3Stats3>("03ff000a", "0000000100000001", sf);
  const std::string key1 = "key1 is greater than the max value 9u";
  expectPayload<RecordTest3Stats9>("0000000903ff00090000000100000001", "", "");
  expectPayload<RecordTest3Stats9>("0000000a", "000100010000000100000001", key1);
  expectPayload<RecordTest3Stats9>("000000010400", "00010000000100000001", sfn);
  expectPayload<RecordTest3Stats9>("000000010001000a", "0000000100000001", sf);
}

TEST_F(RecordBlocksTest, KeepTheBadValueAndLeaveTheFieldsBehindItAlone) {
  RecordTest3Stats3 record;
  set(record, {"1", "7", "6", "8"});
  Stream from("111f0006 000c 0400 0001 00000001 00000001");
  record.deserialize(from.stream);
  EXPECT_FALSE(record.valid);
  EXPECT_EQ(payloadOf(record), "040000070000000600000008");
}

TEST_F(RecordBlocksTest, WriteWhatReadingWouldRefuseAndTheLowByteOfNarrowedFields) {
  RecordTest3Stats9 refused;
  set(refused, {"a", "ffff", "a", "0", "0"});
  EXPECT_EQ(payloadOf(refused), "0000000affff000a0000000000000000");
  RecordTest3Stats6 narrowed;
  set(narrowed, {"ffffff07", "0", "0", "208", "80000009"});
  EXPECT_EQ(payloadOf(narrowed), "070000000809");
  EXPECT_EQ(errorsOf(narrowed, "111f000c 0006 05 00 0000 00 00"), Texts());
  EXPECT_EQ(narrowed.testField1, 5u) << "nothing is left of the upper bytes";
}

TEST_F(RecordBlocksTest, BoundTheirText) {
  const auto expectText = [](const std::string& length, const std::string& characters,
                             const std::string& text, bool valid) {
    SCOPED_TRACE(length + " " + characters);
    RecordTest3Prov1 record;
    std::strcpy(record.testField4, "before");
    EXPECT_EQ(errorsOf(record, "111f0001 0026 01 0002 03" + length +
                                   hexOf({characters.begin(), characters.end()})),
              valid ? Texts() : Texts{readFailure});
    EXPECT_EQ(record.testField4, text);
  };
  const std::string longest(32, 'a');
  expectText("0021", longest + '\0', longest, true);
  expectText("0021", longest + 'a', longest, true);
  expectText("0022", longest + 'a' + '\0', "before", false);
  expectText("ffff", longest + longest + longest, "before", false);
  expectText("0021", longest, "before", false);
  expectText("0001", std::string(1, '\0'), "", true);
  expectText("0000", "", "before", true);
  expectText("0002", "ab", "abfore", true);

  RecordTest3Prov1 record;
  std::memset(record.testField4, 'a', 33);
  EXPECT_EQ(payloadOf(record).substr(0, 14), "00000000002161");
}

TEST_F(RecordBlocksTest, SurviveEveryBitFlip) {
  unsigned int valid = 0, exact = 0;
  for (const std::string& flipped : bitFlips(Golden(table, "Test3-Prov1").block())) {
    RecordTest3Prov1 record;
    errorsOf(record, flipped);
    if (!record.valid) continue;
    ++valid;
    exact += written(record, network, false) == flipped;
  }
  // All but 14 of the text length's: 4 and 1 are shorter texts.
  EXPECT_EQ(valid, 8u * 17 - 14);
  // Not the payload length, which is not looked at; a bool is 0 or 1, a text ends at its first NUL.
  EXPECT_EQ(exact, 8u * 4 + 1 + 8 * 3 + 8 * 4);
}

}  // namespace
}  // namespace Zel
