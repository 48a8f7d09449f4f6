// Notify, set-indication outcomes, clear, and the end of the initial provisioning.
#include <algorithm>
#include <iostream>

#include "Request.h"
#include "catalogue/ProvisioningRecords.h"

namespace {

using namespace Zel;
using scripted::platform;
using Texts = std::vector<std::string>;

class NotifyAndClearTest : public scripted::RequestTest {
 protected:
  static int notify(const boost::shared_ptr<Record>& record) {
    return slots().notify(record, MGMT_OPTYPE_INSERT, true, APPLY_REBOOT_REQUIRED);
  }
};

TEST_F(NotifyAndClearTest, NotifyEchoesTheRecordsOfItsListWithoutAGroupCheck) {
  const boost::shared_ptr<Record> printed[] = {
      boost::make_shared<RecordTest1Prov1>(),      boost::make_shared<RecordTest2Prov1>(),
      boost::make_shared<RecordTest3Prov1>(),      boost::make_shared<RecordTest3Prov2>(),
      boost::make_shared<RecordTest3Prov3>(),      boost::make_shared<RecordTest3Prov4>(),
      boost::make_shared<RecordProvLabelsConfig>()};
  auto foreign = boost::make_shared<RecordTest3Action1>();
  foreign->id = RECORD_TEST3PROV3_ID;
  const boost::shared_ptr<Record> silent[] = {boost::make_shared<RecordTest1Prov3>(),
                                              boost::make_shared<RecordTest3Action2>(), foreign};
  printed[0]->valid = false;
  make({"--mgmt-result", "7"});  // no group is registered
  const auto textOf = [](const boost::shared_ptr<Record>& record) {
    scripted::StandardOutput output;
    EXPECT_EQ(notify(record), 7);
    return output.take();
  };
  const auto lines = [](const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_EQ(textOf(printed[4]),
            "notify Insert 111f0009 regDownloadFlag=1 applyAction=reboot-required\n"
            "\n    Record: Test3-Prov3 Id: 0x111f0009\n\n");
  for (const auto& record : printed) EXPECT_EQ(lines(textOf(record)), 4) << record->recordName();
  for (const auto& record : silent) EXPECT_EQ(lines(textOf(record)), 1) << record->recordName();
}

TEST_F(NotifyAndClearTest, NotifyTracesPrintsAndThenSleeps) {
  zelLogLevelThreshold = 5;
  make({"--sleep-time", "6"});
  platform().takeLog(5);
  std::cout.setf(std::ios_base::hex, std::ios_base::basefield);
  scripted::StandardOutput output;
  notify(boost::make_shared<RecordTest3Prov3>());
  EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::dec);
  EXPECT_EQ(platform().pauses, std::vector<unsigned int>{6});
  slots().notify(boost::make_shared<RecordTest3Action1>(), MGMT_OPTYPE_ACTION, false,
                 APPLY_DISABLE_REQUIRED);
  EXPECT_EQ(output.take(),
            "notify Insert 111f0009 regDownloadFlag=1 applyAction=reboot-required\n"
            "\n    Record: Test3-Prov3 Id: 0x111f0009\n\nSleeping for 6seconds...\ndone\n"
            "notify Action 111f0004 regDownloadFlag=0 applyAction=disable-required\n"
            "Sleeping for 6seconds...\ndone\n");
  EXPECT_EQ(platform().takeLog(5),
            (Texts{"Quorin::notifyCallback recordId=0x111f0009 opType=Insert regDownloadFlag=true "
                   "applyAction=reboot-required",
                   "Quorin::notifyCallback recordId=0x111f0004 opType=Action regDownloadFlag=false "
                   "applyAction=disable-required"}));
}

TEST_F(NotifyAndClearTest, SetIndicationOutcomesAreTracedAndHandedBack) {
  zelLogLevelThreshold = 5;
  make({"--mgmt-result", "5", "--sleep-time", "3"});
  platform().takeLog(5);
  const struct {
    int result;
    const char* text;
  } cases[] = {{0, "update = ACK Error code 0 = Success"},
               {12, "update = NACK Error code 12 = Not-Permitted"},
               {34, "update = NACK Error code 34 = ???"},
               {-1, "update = NACK Error code -1 = ???"}};
  scripted::StandardOutput output;
  for (const auto& one : cases) {
    EXPECT_EQ(slots().setIndResult(boost::make_shared<RecordTest1Prov2>(),
                                   static_cast<MgmtResult>(one.result)),
              one.result);
    EXPECT_EQ(platform().takeLog(5),
              Texts{std::string("Quorin::notifySetIndCallback recordId=0x111d0003 ") + one.text});
  }
  zelLogLevelThreshold = 4;
  slots().setIndResult(boost::make_shared<RecordTest1Prov2>(), MGMT_SUCCESS);
  EXPECT_TRUE(platform().log().empty());
  EXPECT_EQ(output.take(), "");
  EXPECT_TRUE(platform().pauses.empty());
}

TEST_F(NotifyAndClearTest, ClearResetsTheCounterOfTest2Stats1Only) {
  makeRegistered();
  for (int i = 0; i < 3; ++i) get(0x111E0001);
  get(0x111F0008);
  EXPECT_EQ(clear(0x111F0008), 0);
  EXPECT_EQ(clear(0x111E0002), 0);
  EXPECT_EQ(get(0x111F0008).payloads.front(), "000100040060");
  EXPECT_EQ(get(0x111E0001).payloads, Texts{"00000004"});
  clear(0x111E0001);
  EXPECT_EQ(get(0x111E0001).payloads, Texts{"00000001"});
}

TEST_F(NotifyAndClearTest, ClearAnswersLikeTheOtherHandlers) {
  zelLogLevelThreshold = 5;
  makeRegistered({"--mgmt-result", "5", "--error-string", "forced", "--sleep-time", "3"});
  platform().takeLog(5);
  std::cout.setf(std::ios_base::dec, std::ios_base::basefield);
  const auto clearText = [](unsigned int recordId) {
    ErrorString errorString;
    const int result = slots().clear(recordId, errorString);
    return std::to_string(result) + " " + errorString.c_str();
  };
  scripted::StandardOutput output;
  EXPECT_EQ(clearText(0x111E0002), "5 forced");
  EXPECT_EQ(clearText(0x22220002), "14 Invalid record id 0x22220002");
  EXPECT_EQ(output.take(),
            "clear 111e0002\nclear 0x111e0002\nSleeping for 3seconds...\ndone\n"
            "clear 22220002\nclear 0x22220002\n");
  EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::hex);
  EXPECT_EQ(platform().pauses, std::vector<unsigned int>{3});
  EXPECT_EQ(platform().takeLog(5), (Texts{"Quorin::clearCallback recordId=0x111e0002",
                                          "Quorin::clearCallback recordId=0x22220002"}));
}

TEST_F(NotifyAndClearTest, TheEndOfTheInitialProvisioningSaysSoUnlessQuiet) {
  for (const bool quiet : {false, true}) {
    startOver();
    zelLogLevelThreshold = 5;
    make({"--sleep-time", "3", quiet ? "--quiet" : "--no-get"});
    platform().takeLog(5);
    scripted::StandardOutput output;
    slots().initProvComplete();
    EXPECT_EQ(output.take(), quiet ? "" : "initProvComplete\n");
    EXPECT_EQ(platform().takeLog(5), Texts{"Quorin::initProvCompleteCallback"});
    EXPECT_TRUE(platform().pauses.empty());
  }
}

}  // namespace
