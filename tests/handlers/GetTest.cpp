// Get requests, and what all request handlers share.
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include "Request.h"
#include "catalogue/ProvisioningRecords.h"
#include "catalogue/StatisticsRecords.h"

static thread_local std::size_t allocatedBytes = 0;

// Not inline: GCC would find them mismatched.
[[gnu::noinline]] void* operator new(std::size_t size) {
  allocatedBytes += size;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
// Of its own, too: a sanitizer would not call the one above.
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace Zel;
using scripted::Answer;
using scripted::pairKeys;
using scripted::platform;
using Texts = std::vector<std::string>;

class GetTest : public scripted::RequestTest {};

boost::shared_ptr<RecordKeys> stats3Keys(std::uint16_t sfn, std::uint16_t sf) {
  auto keys = boost::make_shared<RecordTest3Stats3::Keys>(false);
  keys->sfn.value = sfn;
  keys->sf.value = sf;
  keys->valid = false;
  return keys;
}

boost::shared_ptr<RecordKeys> stats9Keys(std::uint32_t key1, std::uint16_t sfn, std::uint16_t sf) {
  auto keys = boost::make_shared<RecordTest3Stats9::Keys>(false);
  keys->key1.value = key1;
  keys->sfn.value = sfn;
  keys->sf.value = sf;
  keys->valid = false;
  return keys;
}

constexpr const char* pairCounters = "0000000100000000000000020000000000000003";

std::string pairRow(std::uint32_t key1, std::uint32_t key2) {
  char keys[32];
  std::snprintf(keys, sizeof keys, "%08x%08x", key1, key2);
  return keys + std::string(pairCounters);
}

TEST_F(GetTest, AnswersTheRecordsWithoutKeysWithFixedValues) {
  makeRegistered();
  const struct {
    unsigned int recordId;
    Texts payloads;
  } cases[] = {
      {0x111F0003, {"00000001", "00020003", "00040005"}},
      {0x111F0004, {"00"}},
      {0x111F0009, {"00010002010003000403"}},
      {0x111F000A, {"02160021"}},
      {0x111F000B, {"00000103", "000a0200", "00140501", "001e0402"}},
      {0x111F000C, {"000100020501", "020300040303", "010500060400"}},
      {0x111F0010, {"00"}},
      {0x111F0001, {}},
      {0x111F0011, {}},
      {0x08010014, {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.recordId);
    EXPECT_EQ(get(one.recordId), (Answer{0, "", one.payloads}));
  }
}

TEST_F(GetTest, CountsReadsOfTest2Stats1UpTo99) {
  makeRegistered();
  EXPECT_EQ(get(0x111E0001).payloads, Texts{"00000001"});
  for (int i = 2; i < 99; ++i) get(0x111E0001);
  EXPECT_EQ(get(0x111E0001).payloads, Texts{"00000063"});
  EXPECT_EQ(get(0x111E0001).payloads, Texts{"00000000"});
  EXPECT_EQ(get(0x111E0001, {.clearOnRead = true}).payloads, Texts{"00000001"});
}

TEST_F(GetTest, CountsTest3Stats4AndClearsItOnRead) {
  zelLogLevelThreshold = 5;
  makeRegistered();
  const Texts first{"000100010063", "000200020062", "000300030061"};
  EXPECT_EQ(get(0x111F0008).payloads, first);
  EXPECT_EQ(get(0x111F0008).payloads, (Texts{"000100040060", "00020005005f", "00030006005e"}));
  platform().takeLog(5);
  scripted::StandardOutput output;
  get(0x111F0008, {.clearOnRead = true});
  EXPECT_EQ(output.take(), "get111f0008\nget 0x111f0008\ntest3Stats4 Cleared After Read 0x8\n");
  EXPECT_EQ(platform().takeLog(5),
            (Texts{"Quorin::getCallback recordId=0x8 batchSize=0 clearOnRead=true",
                   "test3Stats4 Cleared After Read  recordId=0x8"}));
  EXPECT_EQ(get(0x111F0008).payloads, first);
  for (int i = 0; i < 32; ++i) get(0x111F0008);
  EXPECT_EQ(get(0x111F0008).payloads, (Texts{"000100000064", "000200010063", "000300020062"}));
}

TEST_F(GetTest, AnswersOneRowPerQueryKeyAndIgnoresMarkers) {
  makeRegistered();
  using Stats2 = RecordTest3Stats2::Keys;
  using Stats7 = RecordTest3Stats7::Keys;
  EXPECT_EQ(get(0x111F0005, {.keys = {pairKeys<Stats2>(7, 8), pairKeys<Stats2>(1, 2),
                                      pairKeys<Stats2>(3, 4, true, 1, 2)}}),
            (Answer{0, "", {pairRow(7, 8), pairRow(1, 2), pairRow(3, 4)}}));
  EXPECT_EQ(get(0x111F000D, {.keys = {pairKeys<Stats7>(0xFFFFFFFF, 5, true, 1)}}),
            (Answer{0, "", {pairRow(0xFFFFFFFF, 5)}}));
  EXPECT_EQ(get(0x111F0006, {.keys = {stats3Keys(5, 3), stats3Keys(1023, 9)}}),
            (Answer{0, "", {"000500030000000500000003", "03ff0009000003ff00000009"}}));
  for (const unsigned int id : {0x111F0005u, 0x111F0006u, 0x111F000Du, 0x111F000Eu}) {
    EXPECT_EQ(get(id, {.batchSize = 9}), (Answer{0, "", {}})) << "no query key, no row";
  }
}

TEST_F(GetTest, ExpandsTheWildcardsOfTest3Stats8) {
  makeRegistered();
  using Keys = RecordTest3Stats8::Keys;
  const struct {
    boost::shared_ptr<RecordKeys> keys;
    std::size_t rows;
    std::string first, last;
  } cases[] = {
      {pairKeys<Keys>(6, 7, true), 1, pairRow(6, 7), pairRow(6, 7)},
      {pairKeys<Keys>(6, 7, false, 1, 1), 1, pairRow(6, 7), pairRow(6, 7)},
      {pairKeys<Keys>(6, 7, true, 2), 40, pairRow(1, 7), pairRow(40, 7)},
      {pairKeys<Keys>(6, 7, true, 0, 255), 40, pairRow(6, 1), pairRow(6, 40)},
      {pairKeys<Keys>(6, 7, true, 255, 1), 40, pairRow(1, 1), pairRow(40, 40)},
  };
  Zel::RecordKeysList all;
  for (const auto& one : cases) {
    const Answer answer = get(0x111F000E, {.keys = {one.keys}});
    ASSERT_EQ(answer.payloads.size(), one.rows);
    EXPECT_EQ(answer.payloads.front(), one.first);
    EXPECT_EQ(answer.payloads.back(), one.last);
    all.push_back(one.keys);
  }
  const Answer together = get(0x111F000E, {.keys = all});
  ASSERT_EQ(together.payloads.size(), 122u);
  EXPECT_EQ(together.payloads[41], pairRow(40, 7)) << "in the order of the query keys";
  EXPECT_EQ(together.payloads[42], pairRow(6, 1));
}

/// A row of Test3-Stats9 at a position.
std::string stats9Row(std::uint32_t key1, std::uint32_t sfn, std::uint32_t sf) {
  char row[64];
  std::snprintf(row, sizeof row, "%08x%04x%04x%08x%08x", key1, sfn, sf, sfn, sf);
  return row;
}

TEST_F(GetTest, WalksTest3Stats9) {
  makeRegistered();
  const auto walk = [](const Zel::RecordKeysList& keys, unsigned short batchSize) {
    return get(0x111F0007, {.keys = keys, .batchSize = batchSize}).payloads;
  };
  const Texts twelve = walk({}, 12);
  ASSERT_EQ(twelve.size(), 12u);
  EXPECT_EQ(twelve[0], "00000000000000000000000000000000");
  EXPECT_EQ(twelve[9], "00000000000000090000000000000009");
  EXPECT_EQ(twelve[11], "00000000000100010000000100000001");
  EXPECT_EQ(walk({stats9Keys(7, 1023, 8)}, 3),
            (Texts{stats9Row(7, 1023, 8), stats9Row(7, 1023, 9), stats9Row(7, 0, 0)}));
  const Texts two{stats9Row(1, 2, 3), stats9Row(99, 5, 6)};
  EXPECT_EQ(walk({stats9Keys(1, 2, 3), stats9Keys(99, 5, 6)}, 0), two);
  EXPECT_EQ(walk({stats9Keys(1, 2, 3), stats9Keys(99, 5, 6)}, 500), two);
  EXPECT_EQ(walk({}, 0), Texts{});
  EXPECT_EQ(walk({stats9Keys(1, 2, 3)}, 0), Texts{});
  const Texts most = walk({}, 65535);
  ASSERT_EQ(most.size(), 65535u);
  EXPECT_EQ(most.back(), stats9Row(0, 65534 / 10 % 1024, 65534 % 10));
}

TEST_F(GetTest, RefusesQueryKeysThatItCannotUse) {
  makeRegistered({"--error-string", "forced", "--mgmt-result", "5", "--sleep-time", "3"});
  const auto stats2 = pairKeys<RecordTest3Stats2::Keys>(1, 2);
  const auto stats7 = pairKeys<RecordTest3Stats7::Keys>(1, 2);
  const auto stats8 = pairKeys<RecordTest3Stats8::Keys>(1, 2, true, 1, 1);
  const struct {
    unsigned int recordId;
    Zel::RecordKeysList keys;
    const char* id;
  } cases[] = {
      {0x111F0005, {stats2, stats7}, "111f0005"},
      {0x111F0005, {nullptr}, "111f0005"},
      {0x111F000D, {stats7, stats2}, "111f000d"},
      {0x111F000E, {stats8, nullptr}, "111f000e"},
      {0x111F0006, {stats3Keys(1, 1), stats3Keys(1024, 0)}, "111f0006"},
      {0x111F0006, {stats3Keys(0, 10)}, "111f0006"},
      {0x111F0006, {stats9Keys(1, 1, 1)}, "111f0006"},
      {0x111F0007, {stats9Keys(0, 65535, 0)}, "111f0007"},
      {0x111F0007, {stats9Keys(0, 0, 0), stats9Keys(0, 0, 10)}, "111f0007"},
      {0x111F0007, {stats3Keys(1, 1)}, "111f0007"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(get(one.recordId, {.keys = one.keys, .batchSize = 4}),
              (Answer{11, std::string("Invalid query key for record id 0x") + one.id, {}}));
  }
  EXPECT_TRUE(platform().pauses.empty()) << "it is answered at once";
}

TEST_F(GetTest, WritesTheErrorStringToItsLastByte) {
  makeRegistered({"--error-string", "forced"});
  const struct {
    unsigned int recordId;
    RecordKeysList keys;
    std::size_t length;
  } cases[] = {{0x111F0004, {}, 6}, {0x22220001, {}, 28}, {0x111F0006, {nullptr}, 42}};
  for (const auto& one : cases) {
    RecordList records;
    ErrorString errorString;
    std::memset(errorString.data(), 'Z', ErrorString::size());
    slots().get(one.recordId, one.keys, 0, false, records, errorString);
    EXPECT_EQ(std::string(errorString.data() + one.length, ErrorString::size() - one.length),
              std::string(ErrorString::size() - one.length, '\0'))
        << errorString.data();
  }
}

TEST_F(GetTest, RefusesAGroupThatIsNotRegistered) {
  make({"--error-string", "forced", "--mgmt-result", "5", "--sleep-time", "3"});
  EXPECT_EQ(get(0x111F0003), refusedGroup("111f0003"));
  slots().svcRegResult(12, MGMT_SUCCESS, {0x111F});
  EXPECT_EQ(get(0x08010014), refusedGroup("8010014"));
  EXPECT_EQ(get(0x22220001), refusedGroup("22220001"));
  EXPECT_EQ(get(0), refusedGroup("0"));
  EXPECT_TRUE(platform().pauses.empty());
  EXPECT_EQ(get(0x111F0004), (Answer{5, "forced", {"00"}}));
  EXPECT_EQ(platform().pauses, std::vector<unsigned int>{3});
}

TEST_F(GetTest, WritesItsLinesInOrder) {
  zelLogLevelThreshold = 6;
  makeRegistered({"--sleep-time", "4294967295"});
  platform().takeLog(5);
  std::cout.setf(std::ios_base::dec, std::ios_base::basefield);
  scripted::StandardOutput output;
  get(0x111F0005, {.keys = {pairKeys<RecordTest3Stats2::Keys>(1, 2)}, .batchSize = 65535});
  get(0x00000001);
  EXPECT_EQ(output.take(),
            "get111f0005\nget 0x111f0005\nSleeping for 4294967295seconds...\ndone\n"
            "get1\nget 0x1\n");
  EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::hex);
  const std::vector<scripted::LogLine> log = platform().log();
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0].level, 5);
  EXPECT_EQ(log[0].text, "Quorin::getCallback recordId=0x5 batchSize=65535 clearOnRead=false");
  EXPECT_EQ(log[1].level, 6);
  EXPECT_EQ(log[1].text,
            "Get for RECORD_TEST3STATS2, query keys     Record: Test3-Stats2 Id: 0x111f0005\n"
            "    Keys: \n");
  EXPECT_EQ(log[2].text, "Quorin::getCallback recordId=0x1 batchSize=0 clearOnRead=false");
}

TEST_F(GetTest, DumpsEachQueryKeyThatItUses) {
  zelLogLevelThreshold = 6;
  makeRegistered();
  platform().takeLog(6);
  const struct {
    unsigned int recordId;
    Zel::RecordKeysList keys;
    std::string name;
  } cases[] = {
      {0x111F0006, {stats3Keys(1, 1), stats3Keys(2, 2)}, "STATS3"},
      {0x111F0007, {stats9Keys(1, 1, 1)}, "STATS9"},
      {0x111F0007, {stats9Keys(1, 1, 1), stats9Keys(1, 1, 1)}, "STATS9"},
      {0x111F0007, {}, ""},
      {0x111F000D, {pairKeys<RecordTest3Stats7::Keys>(1, 1)}, "STATS7"},
      {0x111F000E, {pairKeys<RecordTest3Stats8::Keys>(1, 1)}, "STATS8"},
  };
  for (const auto& one : cases) {
    get(one.recordId, {.keys = one.keys, .batchSize = 2});
    const Texts dumps = platform().takeLog(6);
    ASSERT_EQ(dumps.size(), one.keys.size());
    const std::string text = "Get for RECORD_TEST3" + one.name + ", query keys ";
    for (const std::string& dump : dumps) EXPECT_EQ(dump.find(text), 0u) << dump;
  }
}

TEST_F(GetTest, InQuietModeWritesOnlyThePlainLinesAndFlushesThem) {
  makeRegistered({"--quiet", "--sleep-time", "1"});
  const auto record = boost::make_shared<RecordTest3Prov2>();
  std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
  scripted::StandardOutput output;
  std::string expected;
  const auto expectLine = [&](const char* line) {
    expected += line;
    EXPECT_EQ(scripted::StandardOutput::flushed(), expected.size()) << line;
  };
  const Texts first = get(0x111F0008, {.clearOnRead = true}).payloads;
  expectLine("get111f0008\n");
  EXPECT_EQ(get(0x111F0008, {.clearOnRead = true}).payloads, first) << "it clears as well";
  expectLine("get111f0008\n");
  clear(0x111E0001);
  expectLine("clear 111e0001\n");
  slots().notify(record, MGMT_OPTYPE_SET, false, APPLY_NO_ACTION_REQUIRED);
  expectLine("notify Set 111f0002 regDownloadFlag=0 applyAction=no-action-required\n");
  set(record);
  expectLine("set Set 111f0002 transaction id 0 regDownloadFlag=0 applyAction=??? errorString=\n");
  EXPECT_EQ(output.take(), expected);
  EXPECT_EQ(platform().pauses, std::vector<unsigned int>(5, 1));
}

TEST_F(GetTest, BuildsTheLookupTablesOnceAndOnlyWhenTheyAreNeeded) {
  makeRegistered({"--quiet"});
  scripted::StandardOutput output;
  const auto allocatedBy = [](unsigned int recordId) {
    const std::size_t before = allocatedBytes;
    get(recordId);
    return allocatedBytes - before;
  };
  constexpr std::size_t table = 1024 * 10 * 4;
  EXPECT_LT(allocatedBy(0x111F0003), table);
  EXPECT_GT(allocatedBy(0x111F0006), 2 * table);
  EXPECT_LT(allocatedBy(0x111F0006), table);
  EXPECT_LT(allocatedBy(0x111F0007), table);
}

TEST_F(GetTest, AnswersWithTheForcedResultAndErrorString) {
  const std::string longText(300, 'x');
  makeRegistered({"--mgmt-result", "4294967295", "--error-string", longText});
  EXPECT_EQ(get(0x111F0004), (Answer{-1, longText.substr(0, 255), {"00"}}));
  EXPECT_EQ(get(0x111F0004), (Answer{-1, longText.substr(0, 255), {"00"}}));
}

}  // namespace
