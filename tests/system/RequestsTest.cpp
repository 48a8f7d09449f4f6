// The requests of the socket beside get: what the daemon answers, and what the API itself does.
#include "Harness.h"

using namespace harness;

namespace {

class RequestsTest : public SystemTest {};

TEST_F(RequestsTest, GetKeysGoesOnBehindTheLastSentKeys) {
  // The query is key1=* key2=5; its key sets differ in key1 only.
  const std::string query = R"(getKeys {"recordId":"0x111f000e","batchSize":2,)"
                            R"("queryKeys":"000c000101000200000400000005","wildcardAllowed":true)";
  const auto key = [](const std::string& key1) {
    return "\"0010000100040000" + key1 + "0002000400000005\"";
  };
  const auto page = [&](const std::string& keys, const std::string& lastBatch) {
    return "} -> {\"result\":0,\"keys\":[" + keys + "],\"lastBatch\":" + lastBatch + "}";
  };
  const std::string firstPage = page(key("0001") + "," + key("0002"), "false");
  const std::string lastSent = ",\"lastSentKeys\":";
  start("--group 111f");
  converse(query + firstPage);
  converse(query + lastSent + key("0002") + page(key("0003") + "," + key("0004"), "false"));
  converse(query + lastSent + key("0027") + page(key("0028"), "true"));
  converse(query + lastSent + key("0002") + ",\"firstRequest\":true" + firstPage);
  converse(query + R"(,"firstRequest":false} -> {"result":11,"keys":[],"lastBatch":false,
  "errorString":"Invalid query key for record id 0x111f000e"})");
  converse(query + lastSent + R"("0000"} -> {"result":11,"errorString":"~does not read"})");
  converse(R"(getKeys {"recordId":"0x111f0004"} -> {"result":0,"keys":[],"lastBatch":false})");
  converse("getKeys {\"recordId\":\"0x111f000e\",\"queryKeys\":" + key("0002") +
           page(key("0002"), "true"));
}

TEST_F(RequestsTest, ChangesReachTheDaemonAndUnreadableBlocksDoNot) {
  start("--group 111f:111e:111d");
  converse(R"(
status {} -> {"auto":true,"serviceRegistration":{"groups":["0x111d","0x111e","0x111f"]},
 "limits":{"lineBytes":1048576,"nesting":32,"objectMembers":64,"lineMembers":65536,
  "batchRequests":4096,"waitingBytes":1048576,"orphanBytes":8388608,"keyBlocks":4096,"groups":4096,
  "journalEntries":4096,"journalBytes":1048576,"journalPage":1000,"faults":64,"connections":64,
  "unsentReplyBytes":4194304,"unsentBytes":33554432}}
get {"recordId":287244292} -> {"records":["111f0004000100"]}
get {"recordId":"0X111F0004"} -> {"records":["111f0004000100"]}
set {"record":"111D0004000A00050001000200030004","opType":1} -> {"result":0,"applyAction":3}
set {"record":"111d0004000a00050001000900030004","opType":2} -> {"result":0,"applyAction":1}
set {"record":"111F0004000101","opType":5,"applyAction":3} -> {"result":0,"applyAction":0}
initProvComplete {} -> {"result":0,"resultText":"Success"}
set {"record":"111f0004000101ff","opType":5} -> {"result":0,"errorString":"","applyAction":2}
get {"recordId":"0x111e0001"} -> {"records":["111e0001000400000001"]}
get {"recordId":"0x111e0001"} -> {"records":["111e0001000400000002"]}
clear {"recordId":"0x111e0001"} -> {"result":0,"resultText":"Success","errorString":""}
get {"recordId":"0x111e0001"} -> {"records":["111e0001000400000001"]})");
  EXPECT_EQ(json::serialize(client->result("status").at("counters")),
            R"({"requests":{"clear":1,"get":5,"initProvComplete":1,"set":4,"status":2},"answered":)"
            R"({"clear":1,"get":5,"initProvComplete":1,"set":4,"status":1},"notifications":)"
            R"({"svcRegInd":1,"svcRegSetUpdateInd":1,"svcRegEndInd":1},"connections":)"
            R"({"made":1,"refused":0,"cutOff":0},"dropped":0})");
  const std::string outBefore = daemon->out();
  converse(R"(
set {"record":"111f00","opType":4,"applyAction":2} -> {"result":2,"resultText":"Bad-Value",
 "errorString":"~too short","applyAction":2}
set {"record":"111f00040001","opType":4} -> {"result":2,"errorString":"~Test3-Action1"}
set {"record":"111f0009000a00010021010003000403","opType":4} -> {"result":2,
 "errorString":"~ is greater than the max value "}
set {"record":"123456780001","opType":4} -> {"result":14,"errorString":"~0x12345678"}
notify {"record":"111f00","opType":4} -> {"result":2,"errorString":"~too short"}
notify {"record":"123456780001","opType":4} -> {"result":14,"errorString":"~0x12345678"}
get {"recordId":"0x111f0005","queryKeys":["000c000101000200000400000005"]} -> {"result":11}
get {"recordId":"0x111f0006","queryKeys":["000c000100020400000200020000"]} -> {"result":11,
 "resultText":"Bad-Key-Value","errorString":"~a key block of Test3-Stats3 (0x111f0006) does not read as a valid key set: ","records":[]}
get {"recordId":"0x111f000b","queryKeys":["0000"]} -> {"result":11,"errorString":"~no key class"}
svcRegResult {"kind":1,"result":0,"groups":[]} -> {"result":0})");
  EXPECT_EQ(daemon->out(), outBefore);
  converse(R"(
notify {"record":"08010014000103","opType":1,"applyAction":3} -> {"errorString":""}
set {"record":"111f0004000100","opType":4} -> {"result":0}
set {"record":"111f0010000101","opType":5,"regDownloadFlag":true,"applyAction":1,
 "transactionId":65535,"errorString":")" +
           std::string(300, 'x') + R"("} -> {"result":30,"errorString":"","applyAction":0})");
  EXPECT_EQ(daemon->out().substr(outBefore.size()),
            "notify Insert 8010014 regDownloadFlag=0 applyAction=reboot-required\n"
            "\n    Record: Prov-Labels-Config Id: 0x8010014\n\n"
            "set Set 111f0004 transaction id 0 regDownloadFlag=0 "
            "applyAction=no-action-required errorString=\n"
            "set Action 111f0010 transaction id 65535 regDownloadFlag=1 "
            "applyAction=disable-required errorString=" +
                std::string(255, 'x') + "\n");
}

}  // namespace
