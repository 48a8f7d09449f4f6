// The client, against a daemon and against servers that are none.
#include <fstream>
#include <regex>

#include "Harness.h"

using namespace harness;

namespace {

class OamctlTest : public SystemTest {};

TEST_F(OamctlTest, EveryRequestIsPrintedForPeople) {
  start("--group 111d:111e:111f");
  expectTranscript(R"(
$ get 0x111f0006 sfn=1023 sf=9 sfn=5 sf=3
Test3-Stats3 (0x111f0006): Success, 2 records
   sfn   sf   testField1   testField2
  1023    9         1023            9
     5    3            5            3
$ decode 111f0004000101
Test3-Action1 (0x111f0004)
  testRun
  true
$ set test1-prov3 testField1=5 testField2=1 --op insert
Test1-Prov3 (0x111d0004): Success, apply action reboot-required
$ set Test3-Prov3 testKey2=33
Test3-Prov3 (0x111f0009): Bad-Value (2), apply action no-action-required
  error string: the record block of Test3-Prov3 (0x111f0009) does not read as a valid record: testKey2 is greater than the max value 32u
exit status 1
$ notify Prov-Labels-Config labelsConfig=3 --op insert --apply-action reboot-required
Prov-Labels-Config (0x8010014): Success
$ clear Prov-Labels-Config
Prov-Labels-Config (0x8010014): Invalid-Record-Id (14)
  error string: Invalid record id 0x8010014
oamctl: the group 0x801 of this record is not registered, only 0x111d 0x111e 0x111f; the daemon's option --group registers it
exit status 1
$ init-prov-complete
initial provisioning complete: Success
)");
  expectTranscript(R"(
$ encode Test3-Stats3 sfn=0x10 sf=3
111f0006000c001000030000000000000000
$ encode Test3-Stats2 key1=1 key2=* --keys
000c000100000400000001000201
$ get 0x12345678
0x12345678: Invalid-Record-Id (14), 0 records
  error string: Invalid record id 0x12345678
oamctl: the group 0x1234 of this record is not registered, only 0x111d 0x111e 0x111f; the daemon's option --group registers it
exit status 1
$ get-keys Test3-Stats5 --all
Test3-Stats5 (0x111f000b): Success, 0 key sets in 1 page
$ get-keys Test3-Stats8 key1=* key2=5 --batch-size 2 --after key1=98,key2=5
Test3-Stats8 (0x111f000e): Success, 1 key set, the last
  key1   key2
    99      5
$ --json set Test3-Action1 --op 7 --apply-action 0x2
{"command":"set","record":"Test3-Action1","recordId":"0x111f0004","result":0,"resultText":"Success","errorString":"","applyAction":2,"applyActionText":"reboot-possible"}
$ call get '{"recordId":"0x111f0003"}'
{"result":0,"resultText":"Success","errorString":"","records":["111f0003000400000001","111f0003000400020003","111f0003000400040005"]}
$ get Test3-Stat5
oamctl: there is no record Test3-Stat5; 'oamctl records' lists them; did you mean Test3-Stats5?
oamctl: try 'oamctl help get'
exit status 2
$ set Test1-Prov3 testField=1
oamctl: testField is not a field of Test1-Prov3, which has testField1, testField2, testField3, testField4, testField5; did you mean testField1?
oamctl: try 'oamctl help set'
exit status 2
)");
  EXPECT_NE(oamctl("status").out.find(std::to_string(daemon->pid())), std::string::npos);
  const json::value walk =
      json::parse(oamctl("--json get-keys Test3-Stats2 key1=* key2=7 --batch-size 30 --all").out);
  EXPECT_TRUE(matches(walk, json::parse(R"({"result":0,"lastBatch":true,"pages":4})"))) << walk;
  const json::array& keys = walk.at("keys").as_array();
  ASSERT_EQ(keys.size(), 100U);
  EXPECT_EQ(json::serialize(keys[99].at("fields")), R"({"key1":100,"key2":7})");
}

TEST_F(OamctlTest, TheJournalTimeAndFaultsAreShownAndTaken) {
  start("--group 111f --event-sim 1", "KOR_OAM_CLOCK=manual");
  expectTranscript(R"(
$ fault add get --record Test3-Stats5 --result 12 --error-string no
fault 1 added
$ fault add svcRegInd --notification --duplicate --count 2
fault 2 added
$ --json fault add getKeys --delay 0.25 --blocks flip
{"command":"fault add","faultId":3}
$ get Test3-Stats5
Test3-Stats5 (0x111f000b): Not-Permitted (12), 0 records
  error string: no
exit status 1
$ fault list
  fault   method      record         effect                                     hits   count
      1   get         Test3-Stats5   errorString=no result=Not-Permitted (12)      1   any
      2   svcRegInd   any            duplicate=true                                0   2
      3   getKeys     any            blocks=flip delayMilliseconds=250             0   any
$ fault remove 1
1 fault removed
$ fault remove 9
0 faults removed
oamctl: there is no fault 9
exit status 1
$ --json fault list
{"command":"fault list","faults":[{"faultId":2,"hits":0,"notification":"svcRegInd","count":2,"duplicate":true},{"faultId":3,"hits":0,"method":"getKeys","delayMilliseconds":250,"blocks":"flip"}]}
$ --json fault remove
{"command":"fault remove","removed":2}
$ fault list
no faults
$ advance 12.5
1 pause ended
$ --json advance 100
{"command":"advance","ended":3,"settled":true}
$ journal --after 2
3  TIME  by itself: svcRegResult kind=14 result=Success groups=none
   -> result=Success after N us
4  TIME  connection 5, id 1: get Test3-Stats5
   -> result=Not-Permitted (12) errorString=no records=none, not called, fault 1
2 entries shown; the newest is 4, 0 dropped since the start
$ --json journal --limit 3 --method get --record Test3-Stats5
{"command":"journal","entries":[{"seq":4,"time":"TIME","connection":5,"id":1,"method":"get","params":{"recordId":"0x111f000b","record":"Test3-Stats5"},"called":false,"microseconds":0,"reply":{"result":12,"resultText":"Not-Permitted","errorString":"no","records":[]},"faultId":1}],"last":4,"dropped":0}
$ journal --clear
cleared 4 entries
$ --json journal
{"command":"journal","entries":[],"last":4,"dropped":0}
)");
}

TEST_F(OamctlTest, GetReadsEveryRecordOfTheDaemon) {
  const std::pair<std::string, std::string> cases[] = {
      {"Test2-Stats1", "[{0,1}]"},
      {"Test3-Stats2 key1=1 key2=2 key1=3 key2=4294967295", "[{1,2,1,2,3},{3,4294967295,1,2,3}]"},
      {"Test3-Stats3 sfn=5 sf=3", "[{5,3,5,3}]"},
      {"Test3-Stats9 key1=7 sfn=1023 sf=9 --batch-size 2", "[{7,1023,9,1023,9},{7,0,0,0,0}]"},
      {"Test3-Stats4 --clear-on-read", "[{1,1,99},{2,2,98},{3,3,97}]"},
      {"Test3-Prov3", "[{1,2,1,3,4,3}]"},
      {"Test3-Stats6", "[{0,1,2,5,1},{2,3,4,3,3},{1,5,6,4,0}]"},
      {"Test3-Stats8 key1=8 key2=9 --wildcard", "[{8,9,1,2,3}]"},
      {"Test3-Prov1", "[]"}};
  start("--group 111e:111f");
  for (const auto& [commandLine, expected] : cases) {
    const std::string values =
        std::regex_replace(oamctl("--json get " + commandLine).out,
                           std::regex(R"(\{"block":"\w+","fields":|\}(?=\})|"\w+":)"), "");
    EXPECT_NE(values.find("\"\"," + expected), std::string::npos) << commandLine << ' ' << values;
  }
}

TEST_F(OamctlTest, FailuresAreToldApartByTheExitStatus) {
  boost::asio::io_context loop;
  const Protocol::acceptor silent(loop, Protocol::endpoint(path("silent")));
  start("--group 111f");
  std::ofstream(path("open")) << "clear \"0x111f0003\n";
  std::ofstream(path("lines")) << "# a comment\nclear '0x5'\nno-such\n";
  const std::pair<int, std::string> cases[] = {
      {2, ";no-such;status word;status --wildcard;--no-such status;--timeout 0 status"},
      {2, "--timeout x status;get;get No-Such-Record;get Test3-Stats5 key1=1;decode 111"},
      {2, "get Test3-Stats2 key1;get Test3-Stats2 key1=1;get Test3-Stats2 key3=1"},
      {2, "get Test3-Stats2 key1=x key2=1;get Test3-Stats2 key1=4294967296 key2=1"},
      {2, "set Test3-Action1 testRun=2;set Test3-Action1 --op no-op;--timeout 1e9 status"},
      {1, "set-ind-result 1 0;call no-such"},
      {3, "--socket " + path("nowhere") + " status"},
      {4, "--timeout 0.2 --socket " + path("silent") + " status;monitor --count 1 --for 0.1"},
      {0, "monitor --for 0.1"}};
  const std::pair<int, std::string> scripts[] = {{6, "records --markdown >/dev/full"},
                                                 {6, "--json no-such >/dev/full"},
                                                 {2, "batch <" + path("open") + " >/dev/null"},
                                                 {6, "--json status >/dev/full"},
                                                 {1, "batch <" + path("lines") + " >/dev/null"},
                                                 {0, "fault add get --blocks truncate"},
                                                 {5, "get Test3-Action1"}};
  for (const auto& [status, script] : scripts) {
    const auto program = launch("sh -c '" OAMCTL_PROGRAM " " + script + "'");
    EXPECT_EQ(program->wait().status, status) << script << program->err();
  }
  for (const auto& [status, commandLines] : cases) {
    for (const std::string& commandLine : split(commandLines, ';')) {
      const Outcome outcome = oamctl(commandLine);
      EXPECT_EQ(outcome, (Outcome{status, "", outcome.err})) << commandLine;
      EXPECT_NE(outcome.err, "") << commandLine;
      EXPECT_EQ(outcome.err.find(path("nowhere")) != std::string::npos, status == 3);
    }
  }
}

TEST_F(OamctlTest, AReplyThatMakesNoSenseGivesStatusFive) {
  boost::asio::io_context loop;
  Protocol::acceptor server(loop, Protocol::endpoint(socketPath));
  const std::string head = R"({"id":1,"result":{"result":0,"resultText":"","errorString":"")";
  for (const std::string& reply :
       split(R"(hello;[];{};{"id":99,"result":{}};{"id":1,"result":5};{"id":1,"error":5};)" + head +
                 "}};" + head + R"(,"records":["zz"]}};)" + head + R"(,"records":["111f"]}})",
             ';')) {
    const auto program = launch(OAMCTL_PROGRAM " --timeout 30 get Test3-Stats5");
    Protocol::iostream connection;
    server.accept(connection.socket());
    connection << reply << std::endl;
    const Outcome outcome = program->wait();
    EXPECT_EQ(outcome, (Outcome{5, "", outcome.err})) << reply;
  }
}

TEST_F(OamctlTest, MonitorShowsASetIndicationWhoseOutcomeCanBeReportedOnce) {
  start("--event-sim 4", "KOR_OAM_AUTO=0 KOR_OAM_CLOCK=manual");
  const auto monitor = launch(OAMCTL_PROGRAM " --json monitor --count 1 --for 60");
  ASSERT_TRUE(eventually([&] { return monitor->err() == "oamctl: subscribed\n"; }));
  converse(R"(
subscribe {} -> {"subscribed":true}
setIndResult {"setIndId":1,"result":0} -> {"code":-32602,"message":"~setIndId"}
advanceTime {"seconds":70} -> {"ended":3,"settled":true}
<- setInd {"setIndId":1,"record":"111d0003000501000c0022","opType":2,"applyAction":1}
<- setInd {"setIndId":2,"record":"111d0003000501000c0022","opType":2,"applyAction":2}
<- setInd {"setIndId":3,"record":"111d0003000501000c0022","opType":2,"applyAction":3})");
  const std::string shown = monitor->wait().out;
  EXPECT_TRUE(matches(json::parse(shown), json::parse(R"({"method":"setInd","setIndId":1,
      "record":"Test1-Prov2","fields":{"xyzService":1,"testField1":12,"testField2":34},
      "block":"111d0003000501000c0022","opType":2,"applyAction":1})")))
      << shown;
  expectTranscript(R"(
$ set-ind-result 1 not-permitted
outcome of set indication 1: Not-Permitted (12)
exit status 1
)");
  converse(R"(setIndResult {"setIndId":1,"result":0} -> {"code":-32602})");
}

TEST_F(OamctlTest, SetWaitsForADeferredResponse) {
  start("--group 111f --send-deferred-set-rsp", "KOR_OAM_CLOCK=manual");
  const Outcome late = oamctl("set Test3-Action2 --transaction 8 --wait-deferred 0.1");
  EXPECT_EQ(late.status, 4) << late.err;
  const auto waiting = launch(OAMCTL_PROGRAM
                              " set Test3-Action2 testRun=true --op action --transaction 9 "
                              "--wait-deferred 60");
  const std::string deferred =
      "Test3-Action2 (0x111f0010): Response deferred (30), apply action no-action-required\n";
  const std::string success = "Success, apply action no-action-required\n";
  ASSERT_TRUE(eventually([&] { return waiting->out() == deferred; }));
  // The simulator begins after five seconds, and looks after ten more.
  expectTranscript("\n$ advance 15\n2 pauses ended\n");
  EXPECT_EQ(waiting->wait(),
            (Outcome{0, deferred + "deferred response to transaction 9: " + success, ""}));
}

}  // namespace
