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
      {"--set-update R:0x1100", "Expecting 'R:<Range Start>:<Range End>'", ""},
      {"--set-update R:5:5", "<Range Start> is not less than <Range End>", ""},
      {"--set-update L:1 --set-update A", "Expecting 'A:<Subsystem>'", ""},
      {"--no-such", "", "no-such"},
      {"--mgmt-result five", "", "mgmt-result"},
      {"--group 1 --group 2", "", "group"},
      {"--quiet stray", "", "positional"}};
  for (const auto& [options, out, reason] : cases) expectRefused(options, "", reason, out);
  for (const std::string& variable :
       split("ZEL_LOG_LEVEL=9 ZEL_LOG_LEVEL=-1 ZEL_LOG_LEVEL= ZEL_LOG_LEVEL=2x KOR_OAM_AUTO=2 "
             "KOR_OAM_AUTO=yes KOR_OAM_AUTO= KOR_OAM_SOCKET=",
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

TEST_F(CommandLineTest, OmittedCallbacksLeaveTheirSlotsEmpty) {
  start("--no-get --no-get-keys --no-set --no-notify --no-clear --no-init-prov");
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
svcRegResult {"kind":12,"result":0,"groups":["0x111f"]} -> {"result":22})");
}

TEST_F(CommandLineTest, HelpAndVersionArePrinted) {
  const Outcome help = launch(QUORIN_PROGRAM " --help")->wait();
  EXPECT_EQ(help.status, 0);
  for (const std::string& text : split(
           "\nQuorin Options:\n;--group arg ;--set-update arg ;--mgmt-result arg ;--quiet ;"
           "--error-string arg ;--no-get ;--no-get-keys ;--no-set ;--no-notify ;--no-clear ;"
           "--no-init-prov ;--sleep-time arg ;--event-sim arg ;--set-ind ;--send-deferred-set-rsp "
           ";  The list of group ids; send event(1)/alarm(2)/setInd(4)",
           ';')) {
    EXPECT_NE(help.out.find(text), std::string::npos) << text << ": " << help.out;
  }
  const Outcome version = launch(QUORIN_PROGRAM " --version")->wait();
  EXPECT_EQ(version.status, 0);
  std::smatch number;
  ASSERT_TRUE(std::regex_match(version.out, number, std::regex(R"(quorin (\d+\.\d+\.\d+)\n)")));
  // Whoever has nothing but the program finds out which build it is.
  for (const std::string& tag :
       {"zelBuildVersionTag:" + number.str(1) + ":", std::string("zelBuildTimeTag:2"),
        std::string("zelPatchVersionTag:")}) {
    EXPECT_NE(fileContent(QUORIN_PROGRAM).find(tag), std::string::npos) << tag;
  }
}

TEST_F(CommandLineTest, LogLinesAreGatedByTheThresholdAndEscaped) {
  const std::string trace = "L5: Quorin::getCallback recordId=0x5 batchSize=0 clearOnRead=false\n";
  // Built of two lines; the last line end is dropped.
  const std::string detail = "Record: Test3-Stats2 Id: 0x111f0005\\n    Keys: \n";
  for (const int level : {4, 5, 6}) {
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
