// Every record class against its literal block: written, read, cut short, damaged, printed.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Blocks.h"
#include "ScriptedPlatform.h"
#include "catalogue/Catalogue.h"

namespace Zel {
namespace {

using blocks::Stream;
using RecordPtr = boost::shared_ptr<Record>;
using Texts = std::vector<std::string>;

const std::string readFailure = "Messaging: read failure";

/// Field values as unsigned numbers of their wire width; a text is the one its characters make.
using Values = std::vector<std::uint64_t>;

struct RecordCase {
  std::string name;
  /// Id, payload length and fields; a text's length stands apart from its characters.
  std::vector<std::string> groups;
  RecordPtr (*make)();
  void (*set)(Record&, const Values&);
  Values (*get)(const Record&);

  bool hasText() const { return name == "Test3-Prov1"; }
  std::string block() const {
    std::string all;
    for (const std::string& group : groups) all += group;
    return all;
  }
  std::string payload() const { return block().substr(12); }
  Values values() const {
    Values all;
    for (std::size_t i = 2; i < groups.size(); ++i) {
      all.push_back(std::stoull(groups[i], nullptr, 16));
    }
    if (hasText()) {
      all.pop_back();
      all.back() = 0x54657874;
    }
    return all;
  }
  RecordPtr filled(const Values& with) const {
    RecordPtr record = make();
    set(*record, with);
    return record;
  }
};

template <typename T>
void setField(T& field, std::uint64_t value) {
  field = static_cast<T>(value);
}
template <std::size_t Capacity>
void setField(char (&field)[Capacity], std::uint64_t value) {
  std::string text;
  for (; value != 0; value >>= 8) text.insert(text.begin(), static_cast<char>(value));
  std::strcpy(field, text.c_str());
}

template <typename T>
std::uint64_t getField(const T& field) {
  return std::uint64_t{static_cast<typename fields::WireInteger<T>::type>(field)};
}
template <std::size_t Capacity>
std::uint64_t getField(const char (&field)[Capacity]) {
  std::uint64_t value = 0;
  for (const char* character = field; *character != 0; ++character) {
    value = value << 8 | static_cast<unsigned char>(*character);
  }
  return value;
}

template <class R, auto... members>
RecordCase row(const char* name, const std::string& hex) {
  std::istringstream groups(hex);
  return {name,
          {std::istream_iterator<std::string>(groups), {}},
          []() -> RecordPtr {
            if constexpr (catalogue::Registered<R>) {
              return R::create();
            } else {
              return boost::make_shared<R>();
            }
          },
          [](Record& record, const Values& values) {
            std::size_t i = 0;
            (setField(static_cast<R&>(record).*members, values.at(i++)), ...);
          },
          [](const Record& record) -> Values {
            return {getField(static_cast<const R&>(record).*members)...};
          }};
}

template <class R>
RecordCase pairRow(const char* name, const std::string& header) {
  return row<R, &R::testField1, &R::testField2>(name, header + " 0102 f304");
}

template <class R>
RecordCase keyPairRow(const char* name, const std::string& header) {
  return row<R, &R::key1, &R::key2, &R::testField1, &R::testField2, &R::testField3>(
      name, header + " 11121314 21222324 f1f2f3f4 a1a2a3a4a5a6a7a8 0102030405060708");
}

const std::vector<RecordCase>& recordCases() {
  using Prov2 = RecordTest1Prov2;
  using Rows = RecordTest1Prov3;
  using Text = RecordTest3Prov1;
  using Prov3 = RecordTest3Prov3;
  using Prov4 = RecordTest3Prov4;
  using Frames = RecordTest3Stats3;
  using Stats4 = RecordTest3Stats4;
  using Stats5 = RecordTest3Stats5;
  using Stats6 = RecordTest3Stats6;
  using KeyedFrames = RecordTest3Stats9;
  static const std::vector<RecordCase> all{
      row<RecordTest1Prov1, &RecordTest1Prov1::testField2>("Test1-Prov1", "111d0002 0002 1234"),
      row<Prov2, &Prov2::xyzService, &Prov2::testField1, &Prov2::testField2>(
          "Test1-Prov2", "111d0003 0005 01 f102 0304"),
      row<Rows, &Rows::testField1, &Rows::testField2, &Rows::testField3, &Rows::testField4,
          &Rows::testField5>("Test1-Prov3", "111d0004 000a 0102 0304 f506 0708 090a"),
      pairRow<RecordTest2Prov1>("Test2-Prov1", "111e0002 0004"),
      row<Text, &Text::testField1, &Text::testField2, &Text::testField3, &Text::testField4>(
          "Test3-Prov1", "111f0001 000b 01 a2a3 fe 0005 5465787400"),
      pairRow<RecordTest3Prov2>("Test3-Prov2", "111f0002 0004"),
      row<Prov3, &Prov3::testKey1, &Prov3::testKey2, &Prov3::testField1, &Prov3::testField2,
          &Prov3::testField3, &Prov3::testField4>("Test3-Prov3",
                                                  "111f0009 000a fffe 0020 a5 0304 0506 07"),
      row<Prov4, &Prov4::testField1, &Prov4::testField2, &Prov4::testField3>(
          "Test3-Prov4", "111f000a 0004 81 82 8384"),
      row<RecordTest3Action1, &RecordTest3Action1::testRun>("Test3-Action1", "111f0004 0001 01"),
      row<RecordTest3Action2, &RecordTest3Action2::testRun>("Test3-Action2", "111f0010 0001 01"),
      row<RecordProvLabelsConfig, &RecordProvLabelsConfig::labelsConfig>("Prov-Labels-Config",
                                                                         "08010014 0001 c3"),
      pairRow<RecordTest2Stats1>("Test2-Stats1", "111e0001 0004"),
      pairRow<RecordTest3Stats1>("Test3-Stats1", "111f0003 0004"),
      keyPairRow<RecordTest3Stats2>("Test3-Stats2", "111f0005 001c"),
      row<Frames, &Frames::sfn, &Frames::sf, &Frames::testField1, &Frames::testField2>(
          "Test3-Stats3", "111f0006 000c 03ff 0009 01020304 f5f6f7f8"),
      row<Stats4, &Stats4::testField1, &Stats4::testField2, &Stats4::testField3>(
          "Test3-Stats4", "111f0008 0006 0102 0304 0506"),
      row<Stats5, &Stats5::testField1, &Stats5::testField2, &Stats5::testField3>(
          "Test3-Stats5", "111f000b 0004 0102 83 84"),
      row<Stats6, &Stats6::testField1, &Stats6::testField2, &Stats6::testField3,
          &Stats6::testField4, &Stats6::testField5>("Test3-Stats6",
                                                    "111f000c 0006 81 82 8384 85 86"),
      keyPairRow<RecordTest3Stats7>("Test3-Stats7", "111f000d 001c"),
      keyPairRow<RecordTest3Stats8>("Test3-Stats8", "111f000e 001c"),
      row<KeyedFrames, &KeyedFrames::key1, &KeyedFrames::sfn, &KeyedFrames::sf,
          &KeyedFrames::testField1, &KeyedFrames::testField2>(
          "Test3-Stats9", "111f0007 0010 00000009 0102 0005 01020304 f5f6f7f8")};
  return all;
}

const RecordCase& caseOf(const std::string& name) {
  for (const RecordCase& one : recordCases()) {
    if (one.name == name) return one;
  }
  throw std::out_of_range(name);
}

class RecordBlocksTest : public testing::Test {
 protected:
  RecordBlocksTest() { scripted::platform().reset(); }

  static Texts takeErrors() { return scripted::platform().takeLog(ZEL_LOG_ERROR); }
};

TEST_F(RecordBlocksTest, CoverTheCatalogue) {
  std::set<std::uint32_t> ids;
  for (const RecordCase& one : recordCases()) ids.insert(one.make()->id);
  EXPECT_EQ(ids.size(), 21u);
  catalogue::every(catalogue::Records{}, [&]<class R>(catalogue::TypeTag<R>) {
    EXPECT_EQ(ids.erase(R::recordId), 1u) << R::nameText;
    return true;
  });
  EXPECT_TRUE(ids.empty());

  using namespace catalogue;
  static_assert(!Registered<RecordTest1Prov2> && !Registered<RecordTest3Stats4> &&
                !Registered<RecordTest3Stats5> && !Registered<RecordTest3Stats6>);
}

TEST_F(RecordBlocksTest, WriteAndReadEveryClassAsItsLiteral) {
  for (const RecordCase& one : recordCases()) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(one.payload().size(), 2 * std::stoul(one.groups[1], nullptr, 16));
    const RecordPtr filled = one.filled(one.values());
    EXPECT_EQ(blocks::written(*filled, blocks::network, false), one.block());
    EXPECT_EQ(blocks::written(*filled, blocks::network, true), one.payload());

    // More bytes than the block are no matter, and stay unread.
    Stream from(one.block() + "ab");
    const RecordPtr read = one.make();
    EXPECT_EQ(&read->deserialize(from.stream), &from.stream);
    EXPECT_TRUE(read->valid && from.stream.good);
    EXPECT_EQ(2 * from.stream.readPos, one.block().size());
    EXPECT_EQ(read->id, filled->id);
    EXPECT_EQ(one.get(*read), one.values());
  }
  EXPECT_EQ(takeErrors(), Texts());
}

TEST_F(RecordBlocksTest, FollowTheOrderOfTheStream) {
  const std::vector<std::pair<std::string, std::string>> blocks{
      {"Test1-Prov1", "02001d11 0200 3412"},
      {"Test3-Prov1", "01001f11 0b00 01 a3a2 fe 0500 5465787400"},
      {"Test3-Prov3", "09001f11 0a00 feff 2000 a5 0403 0605 07"},
      {"Test3-Stats2",
       "05001f11 1c00 14131211 24232221 f4f3f2f1 a8a7a6a5a4a3a2a1 0807060504030201"}};
  for (const auto& [name, hex] : blocks) {
    SCOPED_TRACE(name);
    const RecordCase& one = caseOf(name);
    EXPECT_EQ(blocks::written(*one.filled(one.values()), blocks::little, false),
              blocks::plain(hex));
    Stream from(hex, std::string::npos, blocks::little);
    const RecordPtr read = one.make();
    read->deserialize(from.stream);
    EXPECT_TRUE(read->valid);
    EXPECT_EQ(one.get(*read), one.values());
  }
}

TEST_F(RecordBlocksTest, StartEmptyAndPrintOnlyAHeader) {
  for (const RecordCase& one : recordCases()) {
    SCOPED_TRACE(one.name);
    const RecordPtr record = one.make();
    EXPECT_EQ(record.use_count(), 1);
    EXPECT_TRUE(record->valid);
    EXPECT_FALSE(record->isOpaque());
    EXPECT_EQ(record->recordName(), one.name);
    EXPECT_EQ(one.get(*record), Values(one.values().size()));
    const std::string id = one.groups[0].substr(one.groups[0][0] == '0' ? 1 : 0);
    const std::string header = "Record: " + one.name + " Id: 0x" + id + "\n";
    EXPECT_EQ(blocks::printed(*record, 0), header);
    EXPECT_EQ(blocks::printed(*record, 4), "    " + header);
  }
}

/// What is left of a block that was cut short, and what reading it must yield: each field takes
/// its bytes if that many are left, even when a wider one in front of it did not find its own.
struct Rest {
  std::string hex;
  std::uint32_t position = 0;

  std::string take(std::size_t bytes) {
    if (hex.size() / 2 < position + bytes) return "";
    const std::string taken = hex.substr(2 * std::size_t{position}, 2 * bytes);
    position += static_cast<std::uint32_t>(bytes);
    return taken;
  }
};

void expectCutRead(const RecordCase& one, std::size_t length, const Values& before) {
  SCOPED_TRACE(one.name + " cut to " + std::to_string(length));
  const RecordPtr record = one.filled(before);
  Rest rest{one.block().substr(0, 2 * length)};
  const bool reversedId = rest.take(4).empty() && blocks::swaps(blocks::network);
  const std::uint32_t id = reversedId ? __builtin_bswap32(record->id) : record->id;
  rest.take(2);
  Values values = before;
  std::string error = readFailure;
  for (std::size_t i = 0; i < values.size() && error == readFailure; ++i) {
    const std::string taken = rest.take(one.groups[2 + i].size() / 2);
    if (one.hasText() && i == 3) {
      if (!taken.empty()) rest.take(5);
    } else if (!taken.empty()) {
      values[i] = std::stoull(taken, nullptr, 16);
    }
    // These see what is in the field, read or not.
    if (one.name == "Test1-Prov2" && i == 0 && values[i] != 1) {
      error = values[i] == 0 ? "Messaging: xyzService is less than the min value 1u"
                             : "Messaging: xyzService is greater than the max value 1u";
    }
    if (one.name == "Test3-Prov3" && i == 1 && values[i] == 0) {
      error = "Messaging: testKey2 is less than the min value 1u";
    }
  }

  Stream from(one.block(), length);
  record->deserialize(from.stream);
  EXPECT_FALSE(record->valid);
  EXPECT_FALSE(from.stream.good);
  EXPECT_EQ(from.stream.readPos, rest.position);
  EXPECT_EQ(record->id, id);
  // Through a record: any wire value but 0 is true.
  EXPECT_EQ(one.get(*record), one.get(*one.filled(values)));
  EXPECT_EQ(scripted::platform().takeLog(ZEL_LOG_ERROR), Texts{error});
}

TEST_F(RecordBlocksTest, AreInvalidAtEveryShorterLength) {
  for (const RecordCase& one : recordCases()) {
    for (std::size_t length = 0; length < one.block().size() / 2; ++length) {
      expectCutRead(one, length, Values(one.values().size()));
      // In range everywhere.
      expectCutRead(one, length, Values(one.values().size(), 1));
    }
  }
}

TEST_F(RecordBlocksTest, ClearTheGoodFlagOfAStreamWithoutRoom) {
  for (const RecordCase& one : recordCases()) {
    SCOPED_TRACE(one.name);
    for (std::uint32_t room = 0; room < one.block().size() / 2; ++room) {
      Stream to(room);
      one.filled(one.values())->serialize(to.stream, false);
      EXPECT_FALSE(to.stream.good);
      EXPECT_LE(to.stream.writePos, room);
    }
  }
}

TEST_F(RecordBlocksTest, AreCheckedFieldByFieldAgainstTheRanges) {
  struct Case {
    std::string name, read, unread, error;
  };
  const std::string sfn = "Messaging: sfn is greater than the max value 1023u";
  const std::string sf = "Messaging: sf is greater than the max value 9u";
  const std::string key1 = "Messaging: key1 is greater than the max value 9u";
  for (const auto& [name, read, unread, error] :
       {Case{"Test1-Prov2", "00", "1234 1234",
             "Messaging: xyzService is less than the min value 1u"},
        Case{"Test1-Prov2", "01 1234 1234", "", ""},
        Case{"Test1-Prov2", "02", "1234 1234",
             "Messaging: xyzService is greater than the max value 1u"},
        Case{"Test3-Prov3", "0005 0000", "01 0203 0405 06",
             "Messaging: testKey2 is less than the min value 1u"},
        Case{"Test3-Prov3", "8000 0001 01 0203 0405 06", "", ""},
        Case{"Test3-Prov3", "8000 0020 01 0203 0405 06", "", ""},
        Case{"Test3-Prov3", "0005 0021", "01 0203 0405 06",
             "Messaging: testKey2 is greater than the max value 32u"},
        Case{"Test3-Stats3", "0000 0000 00000001 00000001", "", ""},
        Case{"Test3-Stats3", "03ff 0009 00000001 00000001", "", ""},
        Case{"Test3-Stats3", "0400", "0009 00000001 00000001", sfn},
        Case{"Test3-Stats3", "ffff", "ffff 00000001 00000001", sfn},
        Case{"Test3-Stats3", "03ff 000a", "00000001 00000001", sf},
        Case{"Test3-Stats9", "00000009 03ff 0009 00000001 00000001", "", ""},
        Case{"Test3-Stats9", "0000000a", "0001 0001 00000001 00000001", key1},
        Case{"Test3-Stats9", "80000001", "0001 0001 00000001 00000001", key1},
        Case{"Test3-Stats9", "00000001 0400", "0001 00000001 00000001", sfn},
        Case{"Test3-Stats9", "00000001 0001 000a", "00000001 00000001", sf}}) {
    SCOPED_TRACE(name + " " + read);
    const RecordCase& one = caseOf(name);
    // A block that ends behind the field is refused for the range as well.
    for (const std::string& rest : {unread, std::string()}) {
      for (const int threshold : {2, 1, 0}) {
        zelLogLevelThreshold = threshold;
        Stream from(one.groups[0] + one.groups[1] + read + rest);
        const RecordPtr record = one.make();
        record->deserialize(from.stream);
        EXPECT_EQ(record->valid, error.empty());
        EXPECT_EQ(from.stream.readPos, 6 + blocks::plain(read).size() / 2);
        EXPECT_EQ(takeErrors(), error.empty() || threshold < 2 ? Texts() : Texts{error});
        // The offender is kept, what follows is untouched.
        EXPECT_TRUE(from.stream.good);
        if (!unread.empty()) {
          EXPECT_EQ(one.get(*record).back(), 0u);
        }
      }
    }
  }
}

TEST_F(RecordBlocksTest, WriteWhatReadingWouldRefuse) {
  RecordTest3Stats9 record;
  record.key1 = 10;
  record.sfn = 0xffff;
  record.sf = 10;
  EXPECT_EQ(blocks::written(record, blocks::network, true),
            blocks::plain("0000000a ffff 000a 00000000 00000000"));
}

TEST_F(RecordBlocksTest, CarryTheLowByteOfNarrowedFields) {
  RecordTest3Prov4 enumeration;
  enumeration.testField1 = 0x105;
  EXPECT_EQ(blocks::written(enumeration, blocks::network, true), "05000000");
  RecordTest3Stats6 values;
  values.testField1 = 0xFFFFFF07;
  values.testField4 = 0x208;
  values.testField5 = 0x80000009;
  EXPECT_EQ(blocks::written(values, blocks::network, true), "070000000809");

  Stream from("111f000a 0004 05 00 0000");
  enumeration.deserialize(from.stream);
  EXPECT_EQ(enumeration.testField1, 5u);
}

TEST_F(RecordBlocksTest, BoundTheirText) {
  struct Case {
    std::string length, characters, text;
    bool valid;
  };
  // The record's text was "before".
  for (const auto& [length, characters, text, valid] :
       {Case{"0021", std::string(32, 'a') + '\0', std::string(32, 'a'), true},
        Case{"0021", std::string(33, 'a'), std::string(32, 'a'), true},
        Case{"0022", std::string(33, 'a') + '\0', "before", false},
        Case{"ffff", std::string(100, 'a'), "before", false},
        Case{"0021", std::string(32, 'a'), "before", false},
        Case{"0001", std::string(1, '\0'), "", true}, Case{"0000", "", "before", true},
        Case{"0002", "ab", "abfore", true}}) {
    SCOPED_TRACE(length + " " + characters);
    Stream from(
        "111f0001 0026 01 0002 03" + length +
        blocks::hexOf(reinterpret_cast<const std::uint8_t*>(characters.data()), characters.size()));
    RecordTest3Prov1 record;
    std::strcpy(record.testField4, "before");
    record.deserialize(from.stream);
    EXPECT_EQ(record.valid, valid);
    EXPECT_EQ(from.stream.good, valid);
    EXPECT_EQ(record.testField4, text);
    EXPECT_EQ(record.testField2, 2);
    EXPECT_EQ(takeErrors(), valid ? Texts() : Texts{readFailure});
  }
  RecordTest3Prov1 longest;
  std::memset(longest.testField4, 'a', 32);
  EXPECT_EQ(blocks::written(longest, blocks::network, false).substr(0, 26),
            blocks::plain("111f0001 0027 00 0000 00 0021 61"));
}

TEST_F(RecordBlocksTest, SurviveEveryBitFlip) {
  const RecordCase& one = caseOf("Test3-Prov1");
  unsigned int valid = 0;
  blocks::everyBitFlip(one.block(), [&](const std::string& flipped, std::size_t byte) {
    SCOPED_TRACE(flipped);
    Stream from(flipped);
    const RecordPtr record = one.make();
    record->deserialize(from.stream);
    if (!record->valid) return;
    ++valid;
    const std::string again = blocks::written(*record, blocks::network, false);
    // The payload length is not looked at; any byte but 0 is true; text ends at its first NUL.
    const bool isExact = byte < 4 || (byte >= 7 && byte <= 9) || (byte >= 12 && byte <= 15);
    if (isExact) {
      EXPECT_EQ(again, flipped);
    }
    Stream fromAgain(again);
    const RecordPtr readAgain = one.make();
    readAgain->deserialize(fromAgain.stream);
    EXPECT_TRUE(readAgain->valid);
    EXPECT_EQ(one.get(*readAgain), one.get(*record));
  });
  // All but 14 of the text length's: 4 and 1 are shorter texts.
  EXPECT_EQ(valid, 8u * 17 - 14);
}

}  // namespace
}  // namespace Zel
