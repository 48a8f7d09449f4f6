// What the command line and the environment do to the daemon.
#include <regex>
#include <tuple>

#include "Harness.h"

using namespace harness;

namespace {

class CommandLineTest : public SystemTest {};

TEST_F(CommandLineTest, BadOptionsAndVariablesEndItWithAReason) {
  // Bad groups are named on standard output, the rest on standard error.
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"--group 1,2", "group not a number, please check and try again", ""},
      {"--set-update :L", "only 'L', 'R' or 'A' are valid", ""},
      {"--no-such", "", "no-such"},
      {"--mgmt-result five", "", "mgmt-result"},
      {"--group 1 --group 2", "", "group"},
      {"--quiet=1", "", "'quorin --help' lists the options"},
      {"--quiet stray", "", "positional"}};
  for (const auto& [options, out, reason] : cases) expectRefused(options, "", reason, out);
  for (const std::string& variable :
       split("ZEL_LOG_LEVEL=9 ZEL_LOG_LEVEL=-1 ZEL_LOG_LEVEL= ZEL_LOG_LEVEL=2x KOR_OAM_AUTO=2 "
             "KOR_OAM_CLOCK=fast KOR_OAM_AUTO=yes KOR_OAM_AUTO= KOR_OAM_SOCKET=",
             ' ')) {
    expectRefused("", variable, variable.substr(0, variable.find('=')));
  }
}

TEST_F(CommandLineTest, ResultAndErrorStringAreForced) {
  // The cut goes through a character.
  const std::string cut(254, 'x');
  start("--group 111f --mgmt-result 4294967295 --error-string " + cut + "\xC3\xA4");
  converse(R"(get {"recordId":"0x111f0004"} -> {"result":-1,"resultText":"???","errorString":")" +
           cut + "\xEF\xBF\xBD\",\"records\":[\"111f0004000100\"]}");
}

TEST_F(CommandLineTest, QuietLeavesThePlainLines) {
  start("--group 111f --quiet --set-update R:1:2 --set-ind --send-deferred-set-rsp --event-sim 15");
  client->result("get", R"({"recordId":"0x111f000b"})");
  client->result("initProvComplete");
  EXPECT_EQ(daemon->out(), "get111f000b\n");
}

TEST_F(CommandLineTest, OmittedCallbacksLeaveTheirSlotsEmpty) {
  start("--no-get --no-get-keys --no-set --no-notify --no-clear --no-init-prov --set-ind",
        "KOR_OAM_CLOCK=manual");
  // The slot is looked at before the block.
  converse(R"(
status {} -> {"slots":{"get":false,"getKeys":false,"set":false,"notify":false,"clear":false,
 "initProvComplete":false,"svcRegInd":false,"svcRegResult":false,"setIndResult":false}}
get {"recordId":"0x111f0005","queryKeys":[""]} -> {"result":22,"resultText":"Missing-Callback",
 "errorString":"~get","records":[]}
getKeys {"recordId":"0x111f0005"} -> {"result":22,"keys":[],"lastBatch":false}
set {"record":"","opType":4,"applyAction":2} -> {"result":22,"errorString":"~set","applyAction":2}
notify {"record":"","opType":4} -> {"result":22,"errorString":"~notify"}
clear {"recordId":5} -> {"result":22,"errorString":"~clear"}
initProvComplete {} -> {"result":22}
advanceTime {"seconds":5} -> {"settled":true}
svcRegResult {"kind":12,"result":0,"groups":["0x111f"]} -> {"result":22})");
  EXPECT_EQ(client->result("status").at("commandLine").at(7), "--set-ind");
}

TEST_F(CommandLineTest, HelpAndVersionArePrinted) {
  const Outcome help = launch(QUORIN_PROGRAM " --help")->wait();
  EXPECT_EQ(help.status, 0);
  const std::string blanksFolded = std::regex_replace(help.out, std::regex(R"(\s+)"), " ");
  EXPECT_NE(
      blanksFolded.find(
          " Quorin Options: --group arg The list of group ids (subsystem/group combined) in hex "
          "separated by ':' For example --group 0x111d:0x111e --set-update arg X:Y0[:Y1..] where, "
          "when X is 'L'ist 'Y' is a continuous ':' separated list of 16-bit subsystem/groups (in "
          "hex)when X is 'R'ange Y0 is the beginning 16-bit subsystem/group and Y1 is the ending "
          "16-bit subsystem/group both in hexwhen X is 'A'll only Y0 can be set to 8-bit subsystem "
          "in hex --mgmt-result arg The mgmtResult to return (as int) --error-string arg The "
          "errorString to return --no-get Omit get callback --no-get-keys Omit getKeys callback "
          "--no-set Omit set callback --no-notify Omit notify callback --no-clear Omit clear "
          "callback --no-init-prov Omit initProvComplete callback --sleep-time arg Seconds to "
          "sleep before response --quiet Quiet mode --event-sim arg send "
          "event(1)/alarm(2)/setInd(4)/recordUpdate(8) periodicallybits can be combined to send, "
          "like 15, for all event types --set-ind send set inds --send-deferred-set-rsp send "
          "deferred set rsp Process Options: "),
      std::string::npos)
      << help.out;
  const Outcome version = launch(QUORIN_PROGRAM " --version")->wait();
  EXPECT_EQ(version.status, 0);
  std::smatch number;
  ASSERT_TRUE(std::regex_match(version.out, number, std::regex(R"(quorin (\d+\.\d+\.\d+)\n)")));
  // Whoever has nothing but the program finds out which build it is.
  for (const std::string& tag :
       {"zelBuildVersionTag:" + number.str(1) + ":", std::string("zelBuildTimeTag:2"),
        std::string("zelPatchVersionTag::")}) {
    EXPECT_NE(fileContent(QUORIN_PROGRAM).find(tag), std::string::npos) << tag;
  }
}

TEST_F(CommandLineTest, LogLinesAreGatedByTheThresholdAndEscaped) {
  const std::string trace = "L5: Quorin::getCallback recordId=0x5 batchSize=0 clearOnRead=false\n";
  // Built of two lines; the last line end is dropped.
  const std::string detail = "Record: Test3-Stats2 Id: 0x111f0005\\n    Keys: \n";
  for (const int level : {4, 5, 6, 8}) {
    start("--group 111f", "ZEL_LOG_LEVEL=" + std::to_string(level));
    converse(R"(get {"recordId":"0x111f0005","queryKeys":["00100001000400000001000200040000000a"]}
 -> {"result":0})");
    const std::string log = daemon->err();
    EXPECT_EQ(log.find(trace) != std::string::npos, level >= 5) << log;
    EXPECT_EQ(log.find(detail) != std::string::npos, level >= 6) << log;
    const std::regex format(R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z quorin\[)" +
                            std::to_string(daemon->pid()) + R"(\] L[0-8]: [^\n]*\n)*)");
    EXPECT_TRUE(std::regex_match(log, format)) << log;
  }
}

}  // namespace
