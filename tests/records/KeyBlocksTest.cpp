// Every key class against its literal blocks: written, read, cut short, damaged, printed.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Blocks.h"
#include "ScriptedPlatform.h"
#include "catalogue/Catalogue.h"

namespace Zel {
namespace {

using blocks::Stream;
using Texts = std::vector<std::string>;

constexpr bool plainKeys = false;
constexpr bool withMarkers = true;

struct KeyValue {
  std::uint32_t value;
  std::uint8_t wildcard;
  /// Offset behind the key's last byte.
  std::size_t end;

  friend bool operator==(const KeyValue& left, const KeyValue& right) {
    return left.value == right.value && left.wildcard == right.wildcard;
  }
  friend void PrintTo(const KeyValue& key, std::ostream* out) {
    *out << key.value << "/" << unsigned{key.wildcard};
  }
};
using Values = std::vector<KeyValue>;

struct KeyCase {
  std::string record;
  std::string id;
  bool markers;
  Values values;
  std::string hex;
  /// Per shorter length from 0 on, what it fails with: the tag, the field length or the total.
  std::string failures;
  boost::shared_ptr<RecordKeys> (*create)(bool);
  void (*set)(RecordKeys&, const Values&);
  Values (*get)(const RecordKeys&);

  boost::shared_ptr<RecordKeys> filled() const {
    auto keys = create(markers);
    set(*keys, values);
    return keys;
  }
};

const std::string tagError = "Messaging: Key tag out of order";
const std::string fieldError = "Messaging: Field length doesn't match.";
const std::string totalError = "Messaging: Total keys length doesn't match with the acutal read.";

/// Row `shape` with the members of a key class, in key order.
template <class Keys, auto... members>
KeyCase row(const char* record, const char* id, KeyCase shape) {
  shape.record = record;
  shape.id = id;
  shape.create = &Keys::create;
  shape.set = [](RecordKeys& keys, const Values& values) {
    std::size_t i = 0;
    const auto one = [&]<typename T>(Key<T>& key) {
      key.value = static_cast<T>(values.at(i).value);
      key.wildcard = values.at(i++).wildcard;
    };
    (one(static_cast<Keys&>(keys).*members), ...);
  };
  shape.get = [](const RecordKeys& keys) -> Values {
    const auto one = []<typename T>(const Key<T>& key) -> KeyValue {
      return {key.value, key.wildcard, 0};
    };
    return {one(static_cast<const Keys&>(keys).*members)...};
  };
  return shape;
}

KeyCase shape(bool markers, Values values, const char* hex, const char* failures) {
  return {"",      "",      markers, std::move(values), blocks::plain(hex), failures,
          nullptr, nullptr, nullptr};
}

template <class R>
void addPair(std::vector<KeyCase>& all, const char* record, const char* id) {
  using Keys = typename R::Keys;
  for (const KeyCase& one :
       {shape(plainKeys, {{0x01020304, 0, 10}, {0xf1f2f3f4, 0, 18}},
              "0010 0001 0004 01020304 0002 0004 f1f2f3f4", "TTTTTTFFFFTTSSFFFF"),
        shape(withMarkers, {{0x01020304, 0, 11}, {0xf1f2f3f4, 0, 20}},
              "0012 0001 00 0004 01020304 0002 00 0004 f1f2f3f4", "TTTTTTTFFFFTTSSSFFFF"),
        shape(withMarkers, {{0, 1, 5}, {0xf1f2f3f4, 0, 14}}, "000c 0001 01 0002 00 0004 f1f2f3f4",
              "TTTTTTTSSSFFFF"),
        shape(withMarkers, {{0, 1, 5}, {0, 0xff, 8}}, "0006 0001 01 0002 ff", "TTTTTTTS")}) {
    all.push_back(row<Keys, &Keys::key1, &Keys::key2>(record, id, one));
  }
}

const std::vector<KeyCase>& keyCases() {
  static const std::vector<KeyCase> all = [] {
    std::vector<KeyCase> cases;
    addPair<RecordTest3Stats2>(cases, "Test3-Stats2", "0x111f0005");
    addPair<RecordTest3Stats7>(cases, "Test3-Stats7", "0x111f000d");
    addPair<RecordTest3Stats8>(cases, "Test3-Stats8", "0x111f000e");
    using Keys3 = RecordTest3Stats3::RecordTest3Stats3Keys;
    for (const KeyCase& one :
         {shape(plainKeys, {{1023, 0, 8}, {9, 0, 14}}, "000c 0001 0002 03ff 0002 0002 0009",
                "TTTTTTFFTTSSFF"),
          shape(withMarkers, {{5, 0, 9}, {2, 0, 16}}, "000e 0001 00 0002 0005 0002 00 0002 0002",
                "TTTTTTTFFTTSSSFF"),
          shape(withMarkers, {{0, 1, 5}, {9, 0, 12}}, "000a 0001 01 0002 00 0002 0009",
                "TTTTTTTSSSFF")}) {
      cases.push_back(row<Keys3, &Keys3::sfn, &Keys3::sf>("Test3-Stats3", "0x111f0006", one));
    }
    using Keys9 = RecordTest3Stats9::RecordTest3Stats9Keys;
    for (const KeyCase& one :
         {shape(plainKeys, {{9, 0, 10}, {0x0102, 0, 16}, {7, 0, 22}},
                "0014 0001 0004 00000009 0002 0002 0102 0003 0002 0007", "TTTTTTFFFFTTTTFFTTSSFF"),
          shape(withMarkers, {{9, 0, 11}, {0x0102, 0, 18}, {7, 0, 25}},
                "0017 0001 00 0004 00000009 0002 00 0002 0102 0003 00 0002 0007",
                "TTTTTTTFFFFTTTTTFFTTSSSFF"),
          shape(withMarkers, {{9, 0, 11}, {0x0102, 0, 18}, {0, 2, 21}},
                "0013 0001 00 0004 00000009 0002 00 0002 0102 0003 02", "TTTTTTTFFFFTTTTTFFTTS")}) {
      cases.push_back(
          row<Keys9, &Keys9::key1, &Keys9::sfn, &Keys9::sf>("Test3-Stats9", "0x111f0007", one));
    }
    return cases;
  }();
  return all;
}

class KeyBlocksTest : public testing::Test {
 protected:
  KeyBlocksTest() { scripted::platform().reset(); }

  static Texts takeErrors() { return scripted::platform().takeLog(ZEL_LOG_ERROR); }
};

TEST_F(KeyBlocksTest, WriteAndReadEveryClassAsItsLiteral) {
  for (const KeyCase& one : keyCases()) {
    SCOPED_TRACE(one.record + " " + one.hex);
    EXPECT_EQ(blocks::written(*one.filled(), blocks::network), one.hex);
    Stream from(one.hex + "ab");
    const auto keys = one.create(one.markers);
    EXPECT_EQ(&keys->deserialize(from.stream), &from.stream);
    EXPECT_TRUE(keys->valid);
    EXPECT_EQ(2 * from.stream.readPos, one.hex.size());
    EXPECT_EQ(one.get(*keys), one.values);
  }
  EXPECT_EQ(takeErrors(), Texts());
}

TEST_F(KeyBlocksTest, FollowTheOrderOfTheStream) {
  RecordTest3Stats9::Keys keys(true);
  keys.key1.value = 0x01020304;
  keys.sfn.value = 0x0506;
  keys.sf.wildcard = 1;
  const std::string hex = blocks::plain("1300 0100 00 0400 04030201 0200 00 0200 0605 0300 01");
  EXPECT_EQ(blocks::written(keys, blocks::little), hex);
}

TEST_F(KeyBlocksTest, FailAtEveryShorterLength) {
  for (const KeyCase& one : keyCases()) {
    ASSERT_EQ(2 * one.failures.size(), one.hex.size());
    for (std::size_t length = 0; length < one.failures.size(); ++length) {
      SCOPED_TRACE(one.record + " " + one.hex + " cut to " + std::to_string(length));
      const auto keys = one.create(one.markers);
      Values expected;
      for (const KeyValue& value : one.values) expected.push_back({8, 0, value.end});
      one.set(*keys, expected);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        if (length < expected[i].end) continue;
        expected[i].wildcard = one.values[i].wildcard;
        if (one.values[i].wildcard == 0) expected[i].value = one.values[i].value;
      }
      Stream from(one.hex, length);
      keys->deserialize(from.stream);
      EXPECT_FALSE(keys->valid);
      EXPECT_FALSE(from.stream.good);
      EXPECT_EQ(one.get(*keys), expected);
      const char failure = one.failures[length];
      EXPECT_EQ(takeErrors(), Texts{failure == 'T'   ? tagError
                                    : failure == 'F' ? fieldError
                                                     : totalError});
    }
  }
}

TEST_F(KeyBlocksTest, ClearTheGoodFlagOfAStreamWithoutRoom) {
  for (const KeyCase& one : keyCases()) {
    for (std::uint32_t room = 0; room < one.hex.size() / 2; ++room) {
      Stream to(room);
      one.filled()->serialize(to.stream);
      EXPECT_FALSE(to.stream.good);
      EXPECT_LE(to.stream.writePos, room);
    }
  }
}

TEST_F(KeyBlocksTest, FailAtTheFirstThingWrongAndStayThere) {
  struct Case {
    bool markers;
    std::string read, unread, error;
  };
  const std::string sfn = "Messaging: sfn is greater than the max value 1023";
  const std::string sf = "Messaging: sf is greater than the max value 9";
  for (const auto& [markers, read, unread, error] :
       {Case{plainKeys, "000c 0001 0002 0000 0002 0002 0000", "", ""},
        Case{plainKeys, "000c 0001 0002 0400", "0002 0002 0001", sfn},
        Case{plainKeys, "000c 0001 0002 ffff", "0002 0002 0001", sfn},
        Case{plainKeys, "000c 0001 0002 0001 0002 0002 000a", "", sf},
        Case{plainKeys, "000c 0002", "0002 0001 0001 0002 0001", tagError},
        Case{plainKeys, "000c 0001 0002 0001 0003", "0002 0001", tagError},
        Case{plainKeys, "000c 0001 0004 0001", "0002 0002 0001", fieldError},
        Case{plainKeys, "000c 0001 0002 0001 0002 0001 0001", "", fieldError},
        // The range comes first.
        Case{plainKeys, "000c 0001 0004 0400", "0002 0002 0001", sfn},
        Case{plainKeys, "000d 0001 0002 0001 0002 0002 0001", "", totalError},
        Case{plainKeys, "000b 0001 0002 0001 0002 0002 0001", "ab", totalError},
        Case{withMarkers, "000e 0001 00 0002 0400", "0002 00 0002 0001", sfn},
        Case{withMarkers, "000a 0001 01 0002 00 0002 000a", "", sf},
        // A wildcard has no value that could be out of range.
        Case{withMarkers, "0006 0001 01 0002 01", "", ""}}) {
    SCOPED_TRACE(read);
    for (const int threshold : {2, 1, 0}) {
      zelLogLevelThreshold = threshold;
      Stream from(read + unread);
      RecordTest3Stats3::Keys keys(markers);
      keys.deserialize(from.stream);
      EXPECT_EQ(keys.valid, error.empty());
      EXPECT_TRUE(from.stream.good);
      EXPECT_EQ(from.stream.readPos, blocks::plain(read).size() / 2);
      EXPECT_EQ(takeErrors(), error.empty() || threshold < 2 ? Texts() : Texts{error});
    }
  }

  Stream from("0014 0001 0004 0000000a 0002 0002 0001 0003 0002 0001");
  RecordTest3Stats9::Keys keys(plainKeys);
  zelLogLevelThreshold = 2;
  keys.deserialize(from.stream);
  EXPECT_FALSE(keys.valid);
  EXPECT_EQ(takeErrors(), Texts{"Messaging: key1 is greater than the max value 9"});
}

TEST_F(KeyBlocksTest, AreInvalidInAStreamThatFailedBefore) {
  Stream from("000c 0001 0002 03ff 0002 0002 0009");
  from.stream.good = false;
  RecordTest3Stats3::Keys keys(plainKeys);
  keys.deserialize(from.stream);
  EXPECT_FALSE(keys.valid);
  EXPECT_EQ(takeErrors(), Texts{"Messaging: read failure"});
}

TEST_F(KeyBlocksTest, SurviveEveryBitFlip) {
  const std::string hex = blocks::plain("000e 0001 00 0002 0005 0002 00 0002 0002");
  unsigned int valid = 0;
  blocks::everyBitFlip(hex, [&](const std::string& flipped, std::size_t) {
    SCOPED_TRACE(flipped);
    Stream from(flipped);
    RecordTest3Stats3::Keys keys(withMarkers);
    keys.deserialize(from.stream);
    if (!keys.valid) return;
    ++valid;
    EXPECT_EQ(blocks::written(keys, blocks::network), flipped);
  });
  // The values 5 with one of the ten lower bits, and 2 with one of the three lower, changed.
  EXPECT_EQ(valid, 10u + 3);
}

TEST_F(KeyBlocksTest, StartEmptyAndPrintOnlyTheirHeader) {
  for (const KeyCase& one : keyCases()) {
    SCOPED_TRACE(one.record);
    const auto keys = one.create(one.markers);
    EXPECT_TRUE(keys->valid);
    EXPECT_FALSE(keys->isOpaque());
    EXPECT_EQ(keys->wildcardAllowed, one.markers);
    EXPECT_EQ(keys->recordName(), one.record);
    EXPECT_EQ(one.get(*keys), Values(one.values.size(), KeyValue{0, 0, 0}));
    EXPECT_EQ(blocks::printed(*one.filled(), 4),
              "    Record: " + one.record + " Id: " + one.id + "\n    Keys: \n");
  }
}

TEST_F(KeyBlocksTest, HaveAWildcardOnlyWhereOneIsAllowed) {
  for (const KeyCase& one : keyCases()) {
    const auto keys = one.create(withMarkers);
    const auto closed = one.create(plainKeys);
    EXPECT_FALSE(keys->hasWildcard());
    for (std::size_t i = 0; i < one.values.size(); ++i) {
      Values values(one.values.size(), KeyValue{0, 0, 0});
      values[i].wildcard = 0x80;
      one.set(*keys, values);
      one.set(*closed, values);
      EXPECT_TRUE(keys->hasWildcard()) << one.record << " " << i;
      EXPECT_FALSE(closed->hasWildcard()) << one.record << " " << i;
    }
  }
}

}  // namespace
}  // namespace Zel
