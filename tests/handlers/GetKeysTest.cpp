// Get-keys requests: walks through the key space.
#include "Request.h"
#include "catalogue/StatisticsRecords.h"

namespace {

using namespace Zel;
using scripted::pairKeys;
using scripted::platform;
using Texts = std::vector<std::string>;
using Stats2 = RecordTest3Stats2::Keys;
using Stats7 = RecordTest3Stats7::Keys;
using Stats8 = RecordTest3Stats8::Keys;

using Pair = std::pair<std::uint32_t, std::uint32_t>;

class GetKeysTest : public scripted::RequestTest {
 protected:
  struct Page {
    int result = 0;
    std::vector<Pair> keys;
    bool lastBatch = false;
    std::string errorString;
  };

  template <class Keys>
  static Page page(unsigned int recordId, const boost::shared_ptr<RecordKeys>& query,
                   unsigned short batchSize,
                   const boost::shared_ptr<RecordKeys>& lastSent = nullptr,
                   bool lastBatchBefore = false) {
    Page page;
    page.lastBatch = lastBatchBefore;
    // What the list holds already stays in front; a first request has no last sent keys.
    RecordKeysList list{nullptr};
    ErrorString errorString;
    page.result = slots().getKeys(recordId, batchSize, lastSent == nullptr, {query},
                                  {lastSent ? lastSent : pairKeys<Keys>(20, 20)}, list, errorString,
                                  page.lastBatch);
    page.errorString = errorString.c_str();
    EXPECT_EQ(list.at(0), nullptr);
    list.erase(list.begin());
    for (const auto& entry : list) {
      const auto& keys = dynamic_cast<const Keys&>(*entry);
      EXPECT_EQ(keys.id, recordId);
      EXPECT_TRUE(keys.valid && !keys.wildcardAllowed);
      EXPECT_EQ(keys.key1.wildcard + keys.key2.wildcard, 0);
      page.keys.emplace_back(keys.key1.value, keys.key2.value);
    }
    return page;
  }

  template <class Keys>
  static void expectPage(const boost::shared_ptr<RecordKeys>& query, unsigned short batchSize,
                         const boost::shared_ptr<RecordKeys>& lastSent, std::size_t count,
                         Pair first, Pair last, bool lastBatch) {
    SCOPED_TRACE(testing::Message() << "to " << last.first << " " << last.second);
    for (const bool before : {false, true}) {
      const Page result = page<Keys>(query->id, query, batchSize, lastSent, before);
      EXPECT_EQ(result.result, 0);
      ASSERT_EQ(result.keys.size(), count);
      EXPECT_EQ(result.keys.front(), first);
      EXPECT_EQ(result.keys.back(), last);
      EXPECT_EQ(result.lastBatch, lastBatch);
    }
  }
};

TEST_F(GetKeysTest, WalksTheKeySpaceOfTheQuery) {
  makeRegistered();
  const auto both7 = pairKeys<Stats7>(0, 0, true, 2, 1);
  const auto both8 = pairKeys<Stats8>(0, 0, true, 2, 1);
  const auto first8 = pairKeys<Stats8>(0, 5, true, 255);
  const auto both2 = pairKeys<Stats2>(0, 0, true, 2, 1);
  expectPage<Stats7>(both7, 0, nullptr, 40, {1, 1}, {40, 40}, true);
  expectPage<Stats8>(both8, 40, nullptr, 40, {1, 1}, {40, 40}, true);
  expectPage<Stats8>(both8, 39, nullptr, 39, {1, 1}, {39, 39}, false);
  expectPage<Stats8>(first8, 10, nullptr, 10, {1, 5}, {10, 5}, false);
  expectPage<Stats8>(first8, 10, pairKeys<Stats8>(10, 5), 10, {11, 5}, {20, 5}, false);
  expectPage<Stats8>(first8, 10, pairKeys<Stats8>(39, 5), 1, {40, 5}, {40, 5}, true);
  // The fixed key is the query's.
  expectPage<Stats8>(first8, 2, pairKeys<Stats8>(3, 9), 2, {4, 5}, {5, 5}, false);
  expectPage<Stats8>(first8, 0, pairKeys<Stats8>(30, 5), 10, {31, 5}, {40, 5}, true);
  // From after the end.
  expectPage<Stats7>(both7, 3, pairKeys<Stats7>(50, 60), 1, {51, 61}, {51, 61}, true);
  // The bound holds for fixed keys, too.
  expectPage<Stats7>(pairKeys<Stats7>(45, 0, true, 0, 2), 9, nullptr, 1, {45, 1}, {45, 1}, true);
  expectPage<Stats8>(pairKeys<Stats8>(0, 40, true, 1), 9, nullptr, 1, {1, 40}, {1, 40}, true);
  // That of this one is larger.
  expectPage<Stats2>(both2, 150, nullptr, 100, {1, 1}, {100, 100}, true);
  expectPage<Stats2>(both2, 30, nullptr, 30, {1, 1}, {30, 30}, false);
  expectPage<Stats2>(both2, 0, nullptr, 100, {1, 1}, {100, 100}, true);
  // No wildcard, or none that is allowed.
  expectPage<Stats2>(pairKeys<Stats2>(7, 200, true), 9, nullptr, 1, {7, 200}, {7, 200}, true);
  expectPage<Stats7>(pairKeys<Stats7>(7, 8), 0, nullptr, 1, {7, 8}, {7, 8}, true);
  expectPage<Stats8>(pairKeys<Stats8>(7, 8, false, 1, 1), 9, nullptr, 1, {7, 8}, {7, 8}, true);
}

TEST_F(GetKeysTest, LeavesTheFlagOfOtherRecordsAlone) {
  makeRegistered({"--mgmt-result", "5", "--error-string", "forced", "--quiet"});
  scripted::StandardOutput output;
  EXPECT_EQ(page<Stats2>(0x111F0005, pairKeys<Stats2>(1, 1), 0).errorString, "forced");
  for (const bool before : {false, true}) {
    const Page other = page<Stats2>(0x111F0006, pairKeys<Stats2>(1, 1), 0, nullptr, before);
    EXPECT_EQ(other.result, 5);
    EXPECT_EQ(other.errorString, "forced");
    EXPECT_TRUE(other.keys.empty());
    EXPECT_EQ(other.lastBatch, before);
    const Page refused = page<Stats2>(0x22220005, pairKeys<Stats2>(1, 1), 0, nullptr, before);
    EXPECT_EQ(refused.result, 14);
    EXPECT_EQ(refused.errorString, "Invalid record id 0x22220005");
    EXPECT_EQ(refused.lastBatch, before);
  }
  EXPECT_EQ(output.take(), "");
}

TEST_F(GetKeysTest, RefusesKeySetsThatItCannotUse) {
  makeRegistered({"--sleep-time", "3"});
  const auto refused = [&](const boost::shared_ptr<RecordKeys>& query,
                           const boost::shared_ptr<RecordKeys>& lastSent) {
    const Page result = page<Stats7>(0x111F000D, query, 4, lastSent);
    EXPECT_EQ(result.result, 11);
    EXPECT_EQ(result.errorString, "Invalid query key for record id 0x111f000d");
    EXPECT_TRUE(result.keys.empty());
    EXPECT_FALSE(result.lastBatch);
  };
  refused(nullptr, nullptr);
  refused(pairKeys<Stats8>(1, 1), nullptr);
  refused(pairKeys<Stats7>(1, 1), pairKeys<Stats8>(1, 1));
  RecordKeysList list;
  ErrorString errorString;
  bool lastBatch = false;
  EXPECT_EQ(slots().getKeys(0x111F000D, 4, false, {pairKeys<Stats7>(1, 1)}, {}, list, errorString,
                            lastBatch),
            11)
      << "a last sent key set is missing";
  EXPECT_TRUE(platform().pauses.empty());
  // Those of a first request are not looked at.
  for (const auto& lastSent : {boost::shared_ptr<RecordKeys>(), pairKeys<Stats8>(1, 1)}) {
    EXPECT_EQ(slots().getKeys(0x111F000D, 4, true, {pairKeys<Stats7>(1, 1)}, {lastSent}, list,
                              errorString, lastBatch),
              0);
  }
}

TEST_F(GetKeysTest, WritesItsLinesInOrder) {
  zelLogLevelThreshold = 5;
  makeRegistered({"--sleep-time", "4"});
  platform().takeLog(5);
  const auto query = pairKeys<Stats2>(1, 1);
  scripted::StandardOutput output;
  page<Stats2>(0x111F0005, query, 7, pairKeys<Stats2>(1, 1));
  EXPECT_EQ(output.take(), "get keys 0x111f0005\nSleeping for 4seconds...\ndone\n");
  const std::string printed = "    Record: Test3-Stats2 Id: 0x111f0005\n    Keys: \n";
  EXPECT_EQ(platform().takeLog(5),
            (Texts{"Quorin::getKeysCallback recordId=0x111f0005 batchSize=7 firstRequest=false",
                   "Get Keys for RECORD_TEST3STATS2, query keys " + printed,
                   "Get Keys for RECORD_TEST3STATS2, last sent keys " + printed}));
  page<Stats7>(0x111F000D, pairKeys<Stats7>(1, 1), 0);
  page<Stats8>(0x111F000E, pairKeys<Stats8>(1, 1), 0, pairKeys<Stats8>(1, 1));
  Texts starts;
  for (const std::string& text : platform().takeLog(5)) {
    starts.push_back(text.substr(0, text.find("    Record")));
  }
  EXPECT_EQ(starts,
            (Texts{"Quorin::getKeysCallback recordId=0x111f000d batchSize=0 firstRequest=true",
                   "Get Keys for RECORD_TEST3STATS7, query keys ",
                   "Quorin::getKeysCallback recordId=0x111f000e batchSize=0 firstRequest=false",
                   "Get Keys for RECORD_TEST3STATS8, query keys ",
                   "Get Keys for RECORD_TEST3STATS8, last sent keys "}));
}

}  // namespace
