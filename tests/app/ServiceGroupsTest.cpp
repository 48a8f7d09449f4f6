// The "group" and "set-update" values, and the service registration sequence.
#include <cstring>

#include "Daemon.h"

namespace {

using scripted::platform;
using scripted::Sent;
using Texts = std::vector<std::string>;

class ServiceGroupsTest : public scripted::DaemonTest {
 protected:
  static Texts takeSent() {
    Texts texts;
    for (const Sent& sent : platform().takeSent()) texts.push_back(sent.what);
    return texts;
  }
  static bool confirmed(unsigned int recordId) {
    Zel::RecordList records;
    Zel::ErrorString errorString;
    return slots().get(recordId, {}, 0, false, records, errorString) != 14;
  }
};

TEST_F(ServiceGroupsTest, SendsTheValuesOfItsOptionsAtEachCallWithTheKindOfTheLast) {
  const struct {
    Texts options;
    const char* sent;
  } cases[] = {
      {{}, "svcRegInd 0"},
      {{"--group", "0x111d:0x111e"}, "svcRegInd 0 111d 111e"},
      {{"--group", "111d"}, "svcRegInd 0 111d"},
      {{"--group", "0x111d::0x111e"}, "svcRegInd 0 111d 0 111e"},
      {{"--group", ":1::"}, "svcRegInd 0 0 1 0"},
      {{"--group", "0X111D:0x1111d:"}, "svcRegInd 0 111d 111d"},
      {{"--group", " 1:+2:-1:ffffffffffffffffff"}, "svcRegInd 0 1 2 ffff ffff"},
      {{}, "svcRegSetUpdateInd 0"},
      {{"--set-update", "L"}, "svcRegSetUpdateInd 0"},
      {{"--set-update", "L:0x111d:111e"}, "svcRegSetUpdateInd 0 111d 111e"},
      {{"--set-update", "R:0x1100:0x11ff"}, "svcRegSetUpdateInd 1 1100 11ff"},
      {{"--set-update", "R:11zz:12"}, "svcRegSetUpdateInd 1 11 12"},
      {{"--set-update", "R:0x20001:2"}, "svcRegSetUpdateInd 1 1 2"},
      {{"--set-update", "A:11"}, "svcRegSetUpdateInd 2 11"},
      {{"--set-update", "A:0x111d"}, "svcRegSetUpdateInd 2 111d"},
      {{"--set-update", "A::"}, "svcRegSetUpdateInd 2 0"},
      {{"--set-update", "L:0x111d", "--set-update", "A:12"}, "svcRegSetUpdateInd 2 111d 12"},
      {{"--set-update", "A:12", "--set-update", "L:"}, "svcRegSetUpdateInd 0 12"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.options));
    startOver();
    make(one.options);
    ASSERT_TRUE(daemon->isGood());
    const bool isUpdate = std::strstr(one.sent, "SetUpdate") != nullptr;
    for (int call = 0; call < 2; ++call) {
      isUpdate ? slots().svcRegResult(12, Zel::MGMT_SUCCESS, {}) : slots().svcRegInd();
      EXPECT_EQ(takeSent(), Texts{one.sent});
    }
  }
}

TEST_F(ServiceGroupsTest, RefusesBadValuesAndRegistersNothing) {
  const char* const notANumber = "group not a number, please check and try again";
  const char* const badKind = "only 'L', 'R' or 'A' are valid";
  const char* const badRange = "Expecting 'R:<Range Start>:<Range End>'";
  const char* const badOrder = "<Range Start> is not less than <Range End>";
  const char* const badAll = "Expecting 'A:<Subsystem>'";
  const struct {
    const char* option;
    const char* value;
    const char* message;
    Texts more = {};
  } cases[] = {
      // The first bad value ends it, and groups are read before updates.
      {"--set-update", "Q", notANumber, {"--group", "x"}},
      {"--set-update", "Q", badKind, {"--set-update", "R"}},
      {"--set-update", "", badKind},
      {"--group", "0x111g", notANumber},
      {"--group", "0x", notANumber},
      {"--group", "1:2 ", notANumber},
      {"--set-update", "L:1:x", notANumber},
      {"--set-update", "l:0x111d", badKind},
      {"--set-update", "X:1", badKind},
      {"--set-update", ":", badKind},
      {"--set-update", "LR:1", badKind},
      {"--set-update", "R", badRange},
      {"--set-update", "R:0x1100", badRange},
      {"--set-update", "R:1:2:3", badRange},
      {"--set-update", "R:0x11ff:0x1100", badOrder},
      {"--set-update", "R:5:5", badOrder},
      {"--set-update", "R:2:0x10001", badOrder},
      {"--set-update", "A", badAll},
      {"--set-update", "A:", badAll},
      {"--set-update", "A:1:2", badAll},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.option) + " " + one.value);
    startOver();
    scripted::StandardOutput output;
    Texts arguments{one.option, one.value};
    arguments.insert(arguments.end(), one.more.begin(), one.more.end());
    make(arguments);
    EXPECT_EQ(output.take(), one.message);
    EXPECT_FALSE(daemon->isGood());
    EXPECT_EQ(platform().calls, std::vector<std::string>{"Process 33 15 options"});
  }
}

TEST_F(ServiceGroupsTest, GoesThroughTheRegistrationSequence) {
  make({"--group", "0x111f", "--set-update", "R:1:2"});
  slots().svcRegInd();
  EXPECT_EQ(takeSent(), Texts{"svcRegInd 0 111f"});
  slots().svcRegResult(12, Zel::MGMT_SUCCESS, {0x111D, 0x111D, 0x111F});
  slots().svcRegResult(14, Zel::MGMT_SUCCESS, {0x111E});
  EXPECT_EQ(platform().takeSent(),
            (std::vector<Sent>{{0, "svcRegSetUpdateInd 1 1 2", ""}, {0, "svcRegEndInd", ""}}));
  EXPECT_FALSE(confirmed(0x111E0001)) << "only the first outcome confirms groups";
  slots().svcRegResult(12, Zel::MGMT_SUCCESS, {0x111E});
  for (const unsigned int id : {0x111D0001u, 0x111E0001u, 0x111F0003u}) {
    EXPECT_TRUE(confirmed(id)) << id << ": they add up";
  }
  EXPECT_TRUE(platform().takeLog(2).empty());
}

TEST_F(ServiceGroupsTest, LogsAFailedRegistrationAndSendsNothing) {
  make();
  const struct {
    unsigned int kind;
    int result;
    const char* text;
  } cases[] = {{12, 4, "Not-Registered"}, {14, 10, "Timeout"}, {13, 0, "Success"},
               {0, 0, "Success"},         {12, 34, "???"},     {12, -1, "???"}};
  for (const auto& one : cases) {
    slots().svcRegResult(one.kind, static_cast<Zel::MgmtResult>(one.result), {0x111f});
    EXPECT_EQ(platform().takeLog(2),
              Texts{std::string("svcReg failed with error code = ") + one.text});
    EXPECT_TRUE(platform().takeSent().empty());
  }
  zelLogLevelThreshold = 1;
  slots().svcRegResult(13, Zel::MGMT_SUCCESS, {});
  EXPECT_TRUE(platform().log().empty());
  EXPECT_FALSE(confirmed(0x111F0003));
}

}  // namespace
