// The simulator thread, on virtual time.
#include <algorithm>
#include <atomic>
#include <thread>

#include "Request.h"
#include "catalogue/ProvisioningRecords.h"

namespace {

using namespace Zel;
using scripted::platform;
using scripted::Sent;
using Texts = std::vector<std::string>;
using SentList = std::vector<Sent>;

class SimulatorTest : public scripted::RequestTest {
 protected:
  /// What is sent within the next seconds.
  static SentList sentWithin(std::uint64_t seconds) {
    platform().advance(seconds);
    return platform().takeSent();
  }
  static boost::shared_ptr<Record> action2(bool testRun) {
    auto record = boost::make_shared<RecordTest3Action2>();
    record->testRun = testRun;
    return record;
  }
};

std::string setInd(const char* id, int applyAction, int opType) {
  return std::string("setInd ") + id + " applyAction " + std::to_string(applyAction) + " opType " +
         std::to_string(opType);
}

constexpr const char* provPayload = "01000c0022";
constexpr const char* eventPayload = "000000010c0022";
constexpr const char* alarmPayload = "000000010c0022000c616c61726d20746578747300";

std::string updatePayload(int a, int b, int c) {
  char text[64];
  std::snprintf(text, sizeof text, "000003e7%02x%016x%016x", a, b, c);
  return text;
}

TEST_F(SimulatorTest, SendsTheOneShotSequenceOnceAndEnds) {
  scripted::StandardOutput output;
  makeRegistered({"--set-ind", "--quiet"});
  EXPECT_EQ(sentWithin(4), SentList{});
  SentList sent = sentWithin(1);
  EXPECT_NE(scripted::StandardOutput::flushed(), 0u);  // the line is there before the pause
  for (const Sent& one : sentWithin(110)) sent.push_back(one);
  const struct {
    int opType;
    const char *payload, *text;
  } steps[] = {{4, "00010003010037004d03", "SET RecordTest3Prov3(1, 3, TEST_OFF, 55, 77, 3)"},
               {4, "00010003010037005801", "SET RecordTest3Prov3(1, 3, TEST_OFF, 55, 88, 1)"},
               {3, "00010003010037005802", "DELETE RecordTest3Prov3(1, 3, TEST_OFF, 55, 88, 2)"},
               {1, "00010003010037004d04", "INSERT RecordTest3Prov3(1, 3, TEST_OFF, 55, 77, 4)"},
               {1, "00010003010037005805", "INSERT RecordTest3Prov3(1, 3, TEST_OFF, 55, 88, 5)"},
               {2, "00010003010037005805", "UPDATE RecordTest3Prov3(1, 3, TEST_OFF, 55, 88, 5)"},
               {3, "00010003010037005805", "DELETE RecordTest3Prov3(1, 3, TEST_OFF, 55, 88, 5)"},
               {4, "0002000401000600080a", "SET RecordTest3Prov3(2, 4, TEST_OFF, 6, 8, 10)"},
               {1, "00020004010006000802", "INSERT RecordTest3Prov3(2, 4, TEST_OFF, 6, 8, 2)"},
               {2, "00020004010042005802", "UPDATE RecordTest3Prov3(2, 4, TEST_OFF, 66, 88, 2)"},
               {3, "00020004010042005804", "DELETE RecordTest3Prov3(2, 4, TEST_OFF, 66, 88, 4)"}};
  std::string text;
  ASSERT_EQ(sent.size(), std::size(steps));
  for (std::size_t i = 0; i < sent.size(); ++i) {
    EXPECT_EQ(sent[i],
              (Sent{5 + 10 * i, setInd("111f0009", 0, steps[i].opType), steps[i].payload}));
    text += std::string("MGMT_OPTYPE_") + steps[i].text + "\n";
  }
  EXPECT_TRUE(platform().simulatorEnded());
  EXPECT_EQ(scripted::StandardOutput::flushed(), text.size());
  EXPECT_EQ(output.take(), text);
}

TEST_F(SimulatorTest, SendsEachKindInItsOrderWithinAPassWhetherOrNotItArrives) {
  for (const bool fails : {false, true}) {
    SCOPED_TRACE(fails);
    startOver();
    scripted::StandardOutput output;
    makeRegistered({"--event-sim", "15", "--set-ind", "--send-deferred-set-rsp", "--error-string",
                    "forced", "--mgmt-result", "5"});
    platform().sendFails = fails;
    set(action2(true), {.transactionId = 12});
    EXPECT_EQ(sentWithin(115 - 1).size(), 11u);
    EXPECT_EQ(sentWithin(261),
              (SentList{{115, setInd("111d0003", 1, 2), provPayload},
                        {145, "event 111d0001 severity 1", eventPayload},
                        {175, "alarm 111d0001 cleared", alarmPayload},
                        {205, "recordUpdateEvent 111d0002 opType 2", updatePayload(1, 2, 3)},
                        {245, "deferredSetRsp 12 result 0 errorString \"\" applyAction 0", ""},
                        {245, setInd("111d0003", 2, 2), provPayload},
                        {275, "event 111d0001 severity 2", eventPayload},
                        {305, "alarm 111d0001 set", alarmPayload},
                        {335, "recordUpdateEvent 111d0002 opType 2", updatePayload(2, 3, 1)},
                        {375, setInd("111d0003", 3, 2), provPayload}}));
  }
}

TEST_F(SimulatorTest, KeepsThePeriodAndTheCycleOfEachKind) {
  const struct {
    const char* bit;
    Texts expected;
  } cases[] = {
      {"1",
       {"event 111d0001 severity 1", "event 111d0001 severity 2", "event 111d0001 severity 3",
        "event 111d0001 severity 4", "event 111d0001 severity 5", "event 111d0001 severity 6",
        "event 111d0001 severity 1", "event 111d0001 severity 2"}},
      {"2", {"alarm 111d0001 cleared", "alarm 111d0001 set", "alarm 111d0001 cleared"}},
      {"20",
       {setInd("111d0003", 1, 2), setInd("111d0003", 2, 2), setInd("111d0003", 3, 2),
        setInd("111d0003", 0, 2), setInd("111d0003", 1, 2)}},
  };
  for (const auto& one : cases) {
    startOver();
    makeRegistered({"--event-sim", one.bit});
    const SentList sent = sentWithin(5 + 30 * (one.expected.size() - 1));
    ASSERT_EQ(sent.size(), one.expected.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
      EXPECT_EQ(sent[i].what, one.expected[i]);
      EXPECT_EQ(sent[i].at, 5 + 30 * i);
    }
  }
}

TEST_F(SimulatorTest, RotatesTheValuesOfRecordUpdates) {
  makeRegistered({"--event-sim", "8"});
  Texts payloads;
  for (const Sent& sent : sentWithin(95)) payloads.push_back(sent.payload);
  EXPECT_EQ(payloads, (Texts{updatePayload(1, 2, 3), updatePayload(2, 3, 1), updatePayload(3, 1, 2),
                             updatePayload(1, 2, 3)}));
}

TEST_F(SimulatorTest, EndsWhenNothingCanBeSent) {
  makeRegistered({"--event-sim", "16"});
  EXPECT_EQ(sentWithin(5), SentList{});
  EXPECT_TRUE(platform().simulatorEnded());
}

TEST_F(SimulatorTest, SendsAnOwedDeferredResponseWithinOnePassAndOnce) {
  zelLogLevelThreshold = 5;
  makeRegistered({"--send-deferred-set-rsp", "--quiet"});
  EXPECT_EQ(sentWithin(34), SentList{});
  platform().takeLog(5);
  set(action2(false), {.transactionId = 11});
  set(action2(true), {.transactionId = 12});
  EXPECT_EQ(sentWithin(100), (SentList{{35,
                                        "deferredSetRsp 12 result 0 errorString \"\" "
                                        "applyAction 0",
                                        ""}}));
  EXPECT_EQ(platform().takeLog(5).back(), "Set RECORD_TEST3ACTION2_ID testRun = true");
}

TEST_F(SimulatorTest, OwesTheResponseForEverWithoutTheOption) {
  makeRegistered({"--event-sim", "1"});
  set(action2(true), {.transactionId = 12});
  for (const Sent& sent : sentWithin(1000)) EXPECT_EQ(sent.what.find("event"), 0u);
}

TEST_F(SimulatorTest, SendsEveryOwedResponseOnceWhileSetsGoOn) {
  zelLogLevelThreshold = 5;
  scripted::StandardOutput output;
  makeRegistered({"--send-deferred-set-rsp", "--quiet"});
  const auto tracedTestRuns = [] {
    Texts traces;
    for (const std::string& text : platform().takeLog(5)) {
      if (text.find("Set RECORD_TEST3ACTION2_ID") == 0) traces.push_back(text);
    }
    return traces;
  };
  const auto transactionOf = [](const Sent& sent) {
    return std::stoi(sent.what.substr(std::string("deferredSetRsp ").size()));
  };
  std::atomic<bool> done{false};
  std::thread time([&] {
    while (!done) platform().advance(10);
  });
  // Each waits for the response to the last: none may be lost, doubled, or for another one.
  for (unsigned short id = 1; id <= 100; ++id) {
    set(action2(id % 2 == 0), {.transactionId = id});
    SentList sent;
    while (sent.empty()) {
      std::this_thread::sleep_for(std::chrono::microseconds(10));  // the others need the processor
      sent = platform().takeSent();
    }
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_EQ(transactionOf(sent[0]), id);
    EXPECT_EQ(tracedTestRuns(), Texts{std::string("Set RECORD_TEST3ACTION2_ID testRun = ") +
                                      (id % 2 == 0 ? "true" : "false")});
  }
  // Without waiting, a later one may take the place of an earlier one; none comes twice.
  for (unsigned short id = 1000; id < 5000; ++id) set(action2(true), {.transactionId = id});
  done = true;
  time.join();
  platform().advance(10);
  int last = 0;
  for (const Sent& sent : platform().takeSent()) {
    EXPECT_GT(transactionOf(sent), last);
    last = transactionOf(sent);
  }
  EXPECT_EQ(last, 4999);
}

TEST_F(SimulatorTest, SaysAndSendsNothingAfterAStop) {
  scripted::StandardOutput output;
  makeRegistered({"--event-sim", "15", "--set-ind", "--send-deferred-set-rsp"});
  set(action2(true));
  EXPECT_EQ(sentWithin(20).size(), 2u);
  daemon.reset();
  EXPECT_EQ(sentWithin(0), SentList{});
  const std::string text = output.take();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3) << text;
}

TEST_F(SimulatorTest, LooksAtNoOptionWhenStartUpFailed) {
  platform().doRegisterResult = -1;
  make({"--event-sim", "15"});
  EXPECT_EQ(sentWithin(1000), SentList{});
  EXPECT_TRUE(platform().simulatorEnded());
}

TEST_F(SimulatorTest, WaitsForTheOptionsHoweverLongStartUpTakes) {
  platform().duringRegistration = [] {
    EXPECT_FALSE(platform().simulatorEnded());  // it has come to its first pause
    platform().advanceClock(1000);
  };
  make({"--event-sim", "1"});
  platform().duringRegistration = nullptr;
  const SentList sent = sentWithin(0);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].what, "event 111d0001 severity 1");
}

}  // namespace
