// Every key class against its literal blocks: written, read, cut short, damaged, printed.
#include "Blocks.h"

namespace Zel {
namespace {

using namespace blocks;
using KeyBlocksTest = BlocksTest;

constexpr bool plainKeys = false;
constexpr bool withMarkers = true;

const std::string tagError = "Key tag out of order";
const std::string fieldError = "Field length doesn't match.";
const std::string totalError = "Total keys length doesn't match with the acutal read.";

// Records, with markers or without, and the groups of a block, each with what a block that ends in
// it fails at: a tag, the length of a field (which is the group of a value), or the total.
constexpr const char* table =
    R"(Test3-Stats2,Test3-Stats7,Test3-Stats8 plain 0010/tag 0001/tag 0004/tag 01020304/field 0002/tag 0004/total f1f2f3f4/field
Test3-Stats2,Test3-Stats7,Test3-Stats8 markers 0012/tag 0001/tag 00/tag 0004/tag 01020304/field 0002/tag 00/total 0004/total f1f2f3f4/field
Test3-Stats2,Test3-Stats7,Test3-Stats8 markers 000c/tag 0001/tag 01/tag 0002/tag 00/total 0004/total f1f2f3f4/field
Test3-Stats2,Test3-Stats7,Test3-Stats8 markers 0006/tag 0001/tag 01/tag 0002/tag ff/total
Test3-Stats3 plain 000c/tag 0001/tag 0002/tag 03ff/field 0002/tag 0002/total 0009/field
Test3-Stats3 markers 000e/tag 0001/tag 00/tag 0002/tag 0005/field 0002/tag 00/total 0002/total 0002/field
Test3-Stats3 markers 000a/tag 0001/tag 01/tag 0002/tag 00/total 0002/total 0009/field
Test3-Stats9 plain 0014/tag 0001/tag 0004/tag 00000009/field 0002/tag 0002/tag 0102/field 0003/tag 0002/total 0007/field
Test3-Stats9 markers 0017/tag 0001/tag 00/tag 0004/tag 00000009/field 0002/tag 00/tag 0002/tag 0102/field 0003/tag 00/total 0002/total 0007/field
Test3-Stats9 markers 0013/tag 0001/tag 00/tag 0004/tag 00000009/field 0002/tag 00/tag 0002/tag 0102/field 0003/tag 02/total)";

struct KeyBlock {
  explicit KeyBlock(const Texts& words) : markers(words[1] == "markers") {
    for (std::size_t i = 2; i < words.size(); ++i) {
      const std::size_t slash = words[i].find('/');
      const std::string group = words[i].substr(0, slash), failure = words[i].substr(slash + 1);
      hex[network] += group;
      hex[little] += ordered(group, little);
      failures.insert(failures.end(), group.size() / 2, failure);
      const bool isWildcard = group.size() == 2 && group != "00";
      if (failure != "field" && !isWildcard) continue;
      hasWildcard |= isWildcard;
      values.push_back((isWildcard ? "*" : "") + group);
    }
  }

  bool markers, hasWildcard = false;
  std::string hex[2];
  Texts failures;
  Texts values;  ///< per key
};

/// Calls `visit(keys, block, record)` with new keys for each block.
template <typename Visit>
void everyBlock(Visit&& visit) {
  catalogue::every(catalogue::Records{}, [&]<class R>() {
    if constexpr (catalogue::Keyed<R>) {
      std::istringstream lines(table);
      int count = 0;
      for (std::string line; std::getline(lines, line);) {
        const Texts words = blocks::words(line);
        if (words[0].find(R::nameText) == std::string::npos) continue;
        ++count;
        SCOPED_TRACE(R::nameText + line);
        const KeyBlock block(words);
        visit(typename R::Keys(block.markers), block, R());
      }
      EXPECT_NE(count, 0) << "no row has the keys of " << R::nameText;
    }
    return true;
  });
}

TEST_F(KeyBlocksTest, WriteAndReadEveryClassAsItsLiteral) {
  everyBlock([]<class K>(K keys, const KeyBlock& block, const auto& record) {
    K read(block.markers), withoutMarkers(plainKeys);
    set(keys, Texts(block.values.size(), "0"));
    EXPECT_EQ(written(keys, network), written(read, network));
    set(keys, block.values);
    for (const Order order : {network, little}) {
      EXPECT_EQ(written(keys, order), block.hex[order]);
      Stream from(block.hex[order] + "ab", std::string::npos, order);
      read.valid = false;  // reading it well makes it valid
      EXPECT_EQ(&read.deserialize(from.stream), &from.stream);
      EXPECT_TRUE(read.valid);
      EXPECT_EQ(from.stream.readPos, block.failures.size());
      EXPECT_EQ(written(read, order), block.hex[order]);
    }
    set(withoutMarkers, block.values);
    EXPECT_EQ(keys.hasWildcard(), block.hasWildcard);
    EXPECT_FALSE(withoutMarkers.hasWildcard());
    EXPECT_EQ(K::create(block.markers)->wildcardAllowed, block.markers);
    EXPECT_FALSE(keys.isOpaque());
    EXPECT_EQ(keys.recordName(), record.name());
    EXPECT_EQ(printed(keys, 4), printed(record, 4) + "    Keys: \n");
  });
}

TEST_F(KeyBlocksTest, FailAtEveryShorterLength) {
  everyBlock([]<class K>(K filled, const KeyBlock& block, const auto&) {
    set(filled, block.values);
    for (std::size_t length = 0; length < block.failures.size(); ++length) {
      SCOPED_TRACE(length);
      K keys(block.markers);
      set(keys, Texts(block.values.size(), "8"));  // which is out of range when it is reversed
      const std::string& failure = block.failures[length];
      const std::string& error = failure == "tag"     ? tagError
                                 : failure == "field" ? fieldError
                                                      : totalError;
      EXPECT_EQ(errorsOf(keys, block.hex[network], length), Texts{"Messaging: " + error});

      Stream to(static_cast<std::uint32_t>(length));
      filled.serialize(to.stream);
      EXPECT_FALSE(to.stream.good);
    }
  });
}

TEST_F(KeyBlocksTest, FailAtTheFirstThingWrongAndStayThere) {
  const std::string sfn = "sfn is greater than the max value 1023";
  const std::string sf = "sf is greater than the max value 9";
  using Keys = RecordTest3Stats3::Keys;
  const Keys keys(plainKeys);
  expectRead(keys, "000c 0001 0002 0000 0002 0002 0000", "", "");
  expectRead(keys, "000c 0001 0002 0400", "0002 0002 0001", sfn);
  expectRead(keys, "000c 0001 0002 0001 0002 0002 000a", "", sf);
  expectRead(keys, "000c 0002", "0002 0001 0001 0002 0001", tagError);
  expectRead(keys, "000c 0001 0002 0001 0003", "0002 0001", tagError);
  expectRead(keys, "000c 0001 0004 0001", "0002 0002 0001", fieldError);
  expectRead(keys, "000c 0001 0002 0001 0002 0001 0001", "", fieldError);
  // The range comes first.
  expectRead(keys, "000c 0001 0004 0400", "0002 0002 0001", sfn);
  expectRead(keys, "000d 0001 0002 0001 0002 0002 0001", "", totalError);
  expectRead(keys, "000b 0001 0002 0001 0002 0002 0001", "ab", totalError);
  expectRead(Keys(withMarkers), "000e 0001 00 0002 0400", "0002 00 0002 0001", sfn);
  expectRead(Keys(withMarkers), "000a 0001 01 0002 00 0002 000a", "", sf);
  // A wildcard has no value that could be out of range.
  expectRead(Keys(withMarkers), "0006 0001 01 0002 01", "", "");
  const RecordTest3Stats9::Keys stats9(plainKeys);
  expectRead(stats9, "0014 0001 0004 0000000a", "0002 0002 0001 0003 0002 0001",
             "key1 is greater than the max value 9");
  expectRead(stats9, "0014 0001 0004 00000009 0002 0002 0400", "0003 0002 0001", sfn);
  expectRead(stats9, "0014 0001 0004 00000009 0002 0002 03ff 0003 0002 000a", "", sf);
  expectRead(stats9, "0014 0001 0004 00000009 0002 0002 03ff 0003 0002 0009", "", "");

  Stream failed("000c 0001 0002 03ff 0002 0002 0009");
  failed.stream.good = false;
  Keys unread(plainKeys);
  unread.deserialize(failed.stream);
  EXPECT_FALSE(unread.valid);
  EXPECT_EQ(takeErrors(), Texts{"Messaging: read failure"});
}

TEST_F(KeyBlocksTest, SurviveEveryBitFlip) {
  unsigned int valid = 0;
  for (const std::string& flipped : bitFlips("000e 0001 00 0002 0005 0002 00 0002 0002")) {
    RecordTest3Stats3::Keys keys(withMarkers);
    Stream from(flipped);
    keys.deserialize(from.stream);
    if (!keys.valid) continue;
    ++valid;
    EXPECT_EQ(written(keys, network), flipped);
  }
  // The values 5 with one of the ten lower bits, and 2 with one of the three lower, changed.
  EXPECT_EQ(valid, 10u + 3);
}

}  // namespace
}  // namespace Zel
