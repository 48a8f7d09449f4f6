// Set requests: what they store, what they answer, and the result that all handlers share.
#include <algorithm>
#include <cstring>
#include <iostream>

#include "Request.h"
#include "catalogue/ProvisioningRecords.h"

namespace {

using namespace Zel;
using scripted::Answer;
using scripted::platform;
using Texts = std::vector<std::string>;

constexpr std::uint32_t untouched = 77;  // the apply action that RequestTest sends

class SetTest : public scripted::RequestTest {
 protected:
  static boost::shared_ptr<Record> row(std::uint16_t key, std::uint16_t field2,
                                       std::uint16_t field3, std::uint16_t field4,
                                       std::uint16_t field5) {
    auto record = boost::make_shared<RecordTest1Prov3>();
    record->testField1 = key;
    record->testField2 = field2;
    record->testField3 = field3;
    record->testField4 = field4;
    record->testField5 = field5;
    return record;
  }
  static std::uint32_t apply(MgmtOpType opType, const boost::shared_ptr<Record>& record) {
    const SetAnswer answer = set(record, {.opType = opType});
    EXPECT_EQ(answer.result, 0);
    return answer.applyAction;
  }
  template <class R>
  static boost::shared_ptr<R> action(bool testRun) {
    auto record = boost::make_shared<R>();
    record->testRun = testRun;
    return record;
  }
  /// A record of another class under the id of `R`.
  template <class R>
  static boost::shared_ptr<Record> foreign() {
    auto record = boost::make_shared<RecordProvLabelsConfig>();
    record->id = R::recordId;
    return record;
  }
};

TEST_F(SetTest, KeepsRowsOfTest1Prov3AndUpdatesOneFieldAtATime) {
  makeRegistered({"--quiet"});
  EXPECT_EQ(apply(MGMT_OPTYPE_INSERT, row(5, 1, 2, 3, 4)), 3u);
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 1, 2, 3, 4)), 0u) << "nothing differs";
  const auto allDiffer = row(5, 11, 12, 13, 14);
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, allDiffer), 3u) << "testField2";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, allDiffer), 1u) << "testField3";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, allDiffer), 2u) << "testField4";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 11, 12, 13, 4)), 0u) << "testField5 is still 4";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, allDiffer), 0u) << "testField5";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 99, 12, 13, 4)), 3u);
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 99, 12, 13, 14)), 0u) << "testField5 was kept";
  EXPECT_EQ(apply(MGMT_OPTYPE_INSERT, row(5, 0, 0, 0, 0)), 3u) << "an insert replaces";
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 0, 0, 0, 0)), 0u);
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 0, 7, 8, 9)), 1u);
  for (const auto opType : {MGMT_OPTYPE_SET, MGMT_OPTYPE_ACTION, MgmtOpType{}, MgmtOpType{6}}) {
    EXPECT_EQ(apply(opType, row(5, 1, 1, 1, 1)), untouched);
  }
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(5, 0, 7, 8, 9)), 2u) << "they stored nothing";
  EXPECT_TRUE(platform().takeLog(2).empty());

  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(261, 1, 1, 1, 1)), 0u);
  EXPECT_EQ(apply(MGMT_OPTYPE_INSERT, row(261, 1, 1, 1, 1)), 3u);
  EXPECT_EQ(apply(MGMT_OPTYPE_DELETE, row(5, 0, 0, 0, 0)), 3u);
  EXPECT_EQ(apply(MGMT_OPTYPE_DELETE, row(5, 0, 0, 0, 0)), 0u);
  EXPECT_EQ(apply(MGMT_OPTYPE_UPDATE, row(261, 1, 2, 1, 1)), 1u) << "the other row is still there";
  EXPECT_EQ(platform().takeLog(2),
            (Texts{"Can't locate tes1Prov3 for key 261", "Can't locate tes1Prov3 for key 5"}));
}

TEST_F(SetTest, AnswersTheApplyActionOfEachRecord) {
  zelLogLevelThreshold = 6;
  makeRegistered({"--quiet", "--error-string", "forced"});
  platform().takeLog(0);
  auto test1Prov1 = boost::make_shared<RecordTest1Prov1>();
  test1Prov1->testField2 = 65535;
  auto test3Prov1 = boost::make_shared<RecordTest3Prov1>();
  test3Prov1->testField1 = true;
  std::memset(test3Prov1->testField4, 'x', 33);
  const std::string text32(32, 'x');
  const struct {
    boost::shared_ptr<Record> record;
    std::uint32_t applyAction;
    Texts traces, details;
  } cases[] = {
      {test1Prov1,
       0,
       {"Set RECORD_TEST1PROV1_ID testField2 = 65535", "Reset applyAction to no-action-required"},
       {}},
      {boost::make_shared<RecordTest2Prov1>(), untouched, {}, {}},
      {test3Prov1,
       untouched,
       {},
       {"Set RECORD_TEST3PROV1_ID testField1 = true testField4 = " + text32}},
      {boost::make_shared<RecordTest3Prov2>(), untouched, {}, {}},
      {boost::make_shared<RecordTest3Prov3>(), untouched, {}, {}},
      {boost::make_shared<RecordTest3Prov4>(), untouched, {}, {}},
      {action<RecordTest3Action1>(true),
       0,
       {"Set RECORD_TEST3ACTION1_ID testRun = true", "Reset applyAction to no-action-required"},
       {}},
      {boost::make_shared<RecordProvLabelsConfig>(), untouched, {}, {}},
      {foreign<RecordTest1Prov1>(), untouched, {}, {}},
      {foreign<RecordTest3Prov1>(), untouched, {}, {}},
      {foreign<RecordTest3Action1>(), untouched, {}, {}},
      {foreign<RecordTest3Action2>(), untouched, {}, {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.record->id);
    EXPECT_EQ(set(one.record), (SetAnswer{0, one.applyAction, "forced"}));
    Texts traces, details;
    for (const auto& line : platform().log()) {
      if (line.text.find("Quorin::setCallback") == 0) continue;
      (line.level == 5 ? traces : details).push_back(line.text);
    }
    platform().takeLog(0);
    EXPECT_EQ(traces, one.traces);
    EXPECT_EQ(details, one.details);
  }
  EXPECT_EQ(set(foreign<RecordTest1Prov3>(), {.opType = MGMT_OPTYPE_INSERT}),
            (SetAnswer{0, untouched, "forced"}));
  EXPECT_EQ(platform().takeLog(2), Texts{"test1Prov3Ptr is NULL"});
}

TEST_F(SetTest, StoresTheActionsOfEveryOperation) {
  makeRegistered({"--quiet"});
  scripted::StandardOutput output;
  for (const unsigned int opType : {4u, 1u, 2u, 3u, 5u, 0u}) {
    for (const bool testRun : {true, false}) {
      set(action<RecordTest3Action1>(testRun), {.opType = MgmtOpType{opType}});
      set(action<RecordTest3Action2>(testRun), {.opType = MgmtOpType{opType}});
      EXPECT_EQ(get(0x111F0004).payloads, Texts{testRun ? "01" : "00"}) << opType;
      EXPECT_EQ(get(0x111F0010).payloads, Texts{testRun ? "01" : "00"}) << opType;
    }
  }
}

TEST_F(SetTest, AnswersTest3Action1ByTheStateOfTheInitialProvisioning) {
  makeRegistered();
  EXPECT_EQ(set(action<RecordTest3Action1>(true)).applyAction, 0u);
  EXPECT_EQ(get(0x111F0004).payloads, Texts{"01"});
  slots().initProvComplete();
  EXPECT_EQ(set(action<RecordTest3Action1>(false)).applyAction, 2u);
  slots().initProvComplete();
  EXPECT_EQ(set(action<RecordTest3Action1>(false)).applyAction, 2u);
  EXPECT_EQ(get(0x111F0004).payloads, Texts{"00"});
}

TEST_F(SetTest, LeavesTheDeferredResultToAllHandlersUntilTheNextSet) {
  zelLogLevelThreshold = 5;
  makeRegistered({"--quiet"});
  platform().takeLog(5);
  EXPECT_EQ(set(action<RecordTest3Action2>(true), {.transactionId = 9}), (SetAnswer{30, 0}));
  EXPECT_EQ(platform().takeLog(5).back(),
            "Sending deferred set response for Test3Action2 later... ");
  EXPECT_EQ(get(0x111F0010), (Answer{30, "", {"01"}}));
  EXPECT_EQ(clear(0x111E0001), 30);
  EXPECT_EQ(slots().notify(action<RecordTest3Action1>(true), MGMT_OPTYPE_SET, false,
                           APPLY_NO_ACTION_REQUIRED),
            30);
  RecordKeysList keys;
  ErrorString errorString;
  bool lastBatch = false;
  EXPECT_EQ(slots().getKeys(0x111F0006, 0, true, {}, {}, keys, errorString, lastBatch), 30);
  EXPECT_EQ(set(boost::make_shared<RecordTest3Prov2>()).result, 0);
  EXPECT_EQ(clear(0x111E0001), 0);
}

TEST_F(SetTest, EndsTheForcedResultEvenWhenItIsRefused) {
  make({"--mgmt-result", "5", "--error-string", "forced", "--sleep-time", "3"});
  slots().svcRegResult(12, MGMT_SUCCESS, {0x111E});
  EXPECT_EQ(clear(0x111E0002), 5);
  EXPECT_EQ(set(action<RecordTest3Action2>(true)),
            (SetAnswer{14, untouched, "Invalid record id 0x111f0010"}));
  EXPECT_EQ(platform().pauses, std::vector<unsigned int>{3}) << "the refusal does not sleep";
  EXPECT_EQ(clear(0x111E0002), 0);
}

TEST_F(SetTest, WritesItsLinesInOrder) {
  zelLogLevelThreshold = 5;
  makeRegistered({"--sleep-time", "2"});
  platform().takeLog(5);
  std::cout.setf(std::ios_base::hex, std::ios_base::basefield);
  scripted::StandardOutput output;
  set(row(7, 0, 0, 0, 0), {.opType = MGMT_OPTYPE_UPDATE,
                           .applyAction = 3,
                           .transactionId = 65535,
                           .errorString = "as sent",
                           .regDownloadFlag = true});
  set(boost::make_shared<RecordTest3Prov4>(), {.opType = MgmtOpType{9}, .applyAction = 4});
  EXPECT_EQ(output.take(),
            "set Update 111d0004 transaction id 65535 regDownloadFlag=1 "
            "applyAction=reboot-required errorString=as sent\n"
            "\n    Record: Test1-Prov3 Id: 0x111d0004\n\n"
            "Sleeping for 2seconds...\ndone\n"
            "set ??? 111f000a transaction id 0 regDownloadFlag=0 applyAction=??? errorString=\n"
            "\n    Record: Test3-Prov4 Id: 0x111f000a\n\n"
            "Sleeping for 2seconds...\ndone\n");
  EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::dec);
  EXPECT_EQ(platform().takeLog(5),
            (Texts{"Quorin::setCallback transactionId=65535 recordId=0x111d0004 opType=Update "
                   "regDownloadFlag=true applyAction= reboot-required",
                   "Quorin::setCallback transactionId=0 recordId=0x111f000a opType=??? "
                   "regDownloadFlag=false applyAction= ???"}));
}

TEST_F(SetTest, PrintsTheRecordsThatItEchoesUnlessQuiet) {
  const boost::shared_ptr<Record> printed[] = {
      boost::make_shared<RecordTest1Prov1>(), boost::make_shared<RecordTest1Prov3>(),
      boost::make_shared<RecordTest2Prov1>(), boost::make_shared<RecordTest3Prov1>(),
      boost::make_shared<RecordTest3Prov2>(), boost::make_shared<RecordTest3Prov3>(),
      boost::make_shared<RecordTest3Prov4>()};
  const boost::shared_ptr<Record> silent[] = {
      action<RecordTest3Action1>(true), action<RecordTest3Action2>(true),
      boost::make_shared<RecordProvLabelsConfig>(), foreign<RecordTest3Prov2>()};
  const auto linesOf = [](const boost::shared_ptr<Record>& record) {
    scripted::StandardOutput output;
    set(record);
    const std::string text = output.take();
    return std::count(text.begin(), text.end(), '\n');
  };
  makeRegistered();
  for (const auto& record : printed) EXPECT_EQ(linesOf(record), 4) << record->recordName();
  for (const auto& record : silent) EXPECT_EQ(linesOf(record), 1) << record->recordName();
  startOver();
  makeRegistered({"--quiet"});
  for (const auto& record : printed) EXPECT_EQ(linesOf(record), 1) << record->recordName();
}

}  // namespace
