// The socket: transport, limits, what the API answers itself, and the service registration.
#include "Harness.h"

using namespace harness;

namespace {

class SocketTest : public SystemTest {};

TEST_F(SocketTest, FaultyRequestsAreRefusedByCodeAndReason) {
  start("");
  converse(">  -> {\"code\":-32700}\n> {\"jsonrpc\":\"2.0\",\"id\":\"\xFF\"} -> {\"code\":-32700}");
  converse(R"(
> { -> {"code":-32700,"message":"~incomplete"}
> {"jsonrpc":"2.0","id":1,"method":"status"} 5 -> {"code":-32700}
> [] -> {"code":-32600}
> {"id":1,"method":"status"} -> {"code":-32600,"message":"~jsonrpc"}
> {"jsonrpc":"1.0","id":1,"method":"status"} -> {"code":-32600,"message":"~jsonrpc"}
> {"jsonrpc":"2.0","id":{},"method":"status"} -> {"code":-32600,"message":"~id"}
> {"jsonrpc":"2.0","id":1.5,"method":"status"} -> {"code":-32600,"message":"~id"}
> {"jsonrpc":"2.0","id":1} -> {"code":-32600,"message":"~method"}
> {"jsonrpc":"2.0","id":1,"method":5} -> {"code":-32600,"message":"~method"}
status 5 -> {"code":-32600,"message":"~params"}
no-such {} -> {"code":-32601,"message":"~no-such"}
> {"jsonrpc":"2.0","id":"\u0041","method":"n\u006f-\u0073uch"} -> {"code":-32601,"message":"~no-such"}
status [1] -> {"code":-32602,"message":"~by name"}
subscribe {"to":"alarm"} -> {"code":-32602,"message":"~to "}
get {} -> {"code":-32602,"message":"~recordId is missing"}
get {"recordId":1,"recordid":1} -> {"code":-32602,"message":"~recordid "}
svcRegResult {"kind":12,"result":0} -> {"code":-32602,"message":"~groups is missing"}
get {"recordId":-1} -> {"code":-32602,"message":"~recordId "}
get {"recordId":18446744073709551615} -> {"code":-32602,"message":"~recordId "}
get {"recordId":"0x100000000"} -> {"code":-32602,"message":"~recordId "}
get {"recordId":"0xffffffffffffffff"} -> {"code":-32602,"message":"~recordId "}
get {"recordId":"111f000b"} -> {"code":-32602,"message":"~recordId "}
get {"recordId":"0x1g"} -> {"code":-32602,"message":"~recordId "}
get {"recordId":"0x10000000000000001"} -> {"code":-32602,"message":"~recordId "}
set {"record":"","opType":1,"errorString":5} -> {"code":-32602,"message":"~errorString "}
subscribe {"requests":1} -> {"code":-32602,"message":"~requests "}
advanceTime {"seconds":"5"} -> {"code":-32602,"message":"~seconds "}
advanceTime {"seconds":-1} -> {"code":-32602,"message":"~seconds "}
svcRegResult {"kind":12,"result":0,"groups":{}} -> {"code":-32602,"message":"~groups "}
get {"recordId":1,"queryKeys":["00",null]} -> {"code":-32602,"message":"~queryKeys[1] "}
get {"recordId":1,"batchSize":65536} -> {"code":-32602,"message":"~batchSize "}
get {"recordId":1,"batchSize":"1"} -> {"code":-32602,"message":"~batchSize "}
getKeys {"recordId":1,"lastSentKeys":["00"]} -> {"code":-32602,"message":"~lastSentKeys "}
set {"record":"0g","opType":1} -> {"code":-32602,"message":"~record "}
set {"record":"","opType":4294967296} -> {"code":-32602,"message":"~opType "}
svcRegResult {"kind":12,"result":-2147483649} -> {"code":-32602,"message":"~result "}
svcRegResult {"kind":12,"result":0,"groups":[65536]} -> {"code":-32602,"message":"~groups[0] "})");
}

TEST_F(SocketTest, LinesThatAreTooDeepOrTooLongAreRefused) {
  start("");
  for (const std::size_t depth : {32U, 33U}) {
    // The request and its params are the two outer levels; a batch around them is none.
    const std::string nest = std::string(depth - 2, '[') + std::string(depth - 2, ']');
    const std::string deep = request(1, "status", R"({"x":)" + nest + "}");
    for (const std::string& line : {deep, "[" + deep + "]"}) {
      client->send(line);
      const std::string refusal = R"("code":-32700,"message":"nested deeper than 32")";
      EXPECT_EQ(client->readLine().find(refusal) != std::string::npos, depth == 33);
    }
  }
  std::string line = request(1, "status");
  line.resize(1024 * 1024, ' ');
  client->send(line);
  EXPECT_EQ(client->readObject().at("id"), 1);
  for (const std::string end : {"\n", ""}) {
    const auto offender = connect();
    offender->sendBytes("[" + request(1, "status") + "] \n" + line + " " + end);
    EXPECT_EQ(json::parse(offender->readLine()).at(0).at("id"), 1);
    EXPECT_EQ(offender->readObject().at("error").at("code"), -32600);
    EXPECT_EQ(offender->readLine(), "");
    EXPECT_EQ(client->result("status").at("pid"), daemon->pid());
  }
  converse(R"(status {} -> {"counters":{"connections":{"made":3,"refused":0,"cutOff":2}}})");
}

TEST_F(SocketTest, BatchesAreAnsweredInOneLineWithoutTheirNotifications) {
  start("--group 111f", "KOR_OAM_AUTO=0");
  client->send(
      "\t "
      R"([{"jsonrpc":"2.0","method":"subscribe"},{"jsonrpc":"2.0","method":"no"}])");
  client->send("[" + request(1, "get", stats5) + ",1," +
               R"({"jsonrpc":"2.0","method":"svcRegInd"},)" +
               R"({"jsonrpc":"2.0","id":"a\",[b","method":"no-such"}])");
  // Nothing says which comes first, the reply or the notification.
  json::value replies = json::parse(client->readLine());
  json::value notification = json::parse(client->readLine());
  if (replies.is_object()) replies.swap(notification);
  EXPECT_EQ(notification.at("method"), "svcRegInd");
  ASSERT_EQ(replies.as_array().size(), 3U) << replies;
  const json::value expected = json::parse(R"([{"id":1,"result":{"result":14}},
      {"id":null,"error":{"code":-32600}},{"id":"a\",[b","error":{"code":-32601}}])");
  for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(matches(replies.at(i), expected.at(i)));
}

TEST_F(SocketTest, RepliesKeepTheOrderOfTheRequestsAlsoBehindASleep) {
  start("--group 111f --sleep-time 1");
  const auto before = Clock::now();
  client->request(1, "get", stats5);
  ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
  client->sendBytes(request(2, "status") + "\n" + request(3, "get") + "\n" +
                    request(4, "get", R"({"recordId":1})") + "\n");
  client->endInput();
  const long ticks = daemon->processorTicks();
  for (const int id : {1, 2, 3, 4}) EXPECT_EQ(client->readObject().at("id"), id);
  EXPECT_EQ(client->readLine(), "");
  EXPECT_LE(daemon->processorTicks() - ticks, 30);
  EXPECT_GE(Clock::now() - before, std::chrono::seconds(1));
  // A refusal does not sleep.
  EXPECT_EQ(daemon->out(),
            "get111f000b\nget 0x111f000b\nSleeping for 1seconds...\ndone\nget1\nget 0x1\n");
}

TEST_F(SocketTest, TheApisOwnMethodsTakeEffectInTheirTurn) {
  start("--group 111f --sleep-time 3600");
  client->sendBytes(request(1, "svcRegInd") + std::string(1000, ' ') + "\n[" +
                    request(2, "get", stats5) + "," + request(3, "subscribe") + "]\n" +
                    request(4, "status") + "\n");
  ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
  const auto other = connect(), third = connect();
  third->request(1, "svcRegResult", R"({"kind":12,"result":0,"groups":[5]})");
  expectPromptStatus(*other);
  client->request(5, "status");
  const json::object before = other->result("status");
  EXPECT_EQ(before.at("serviceRegistration").at("groups"), json::array{"0x111f"});
  other->result("advanceTime", R"({"seconds":3600})");
  // No notification: it had gone before the turn of subscribe.
  EXPECT_EQ(client->readObject().at("id"), 1);
  EXPECT_EQ(json::parse(client->readLine()).as_array().size(), 2U);
  EXPECT_TRUE(matches(client->readObject(), json::parse(R"({"result":{"counters":{
      "notifications":{"svcRegInd":2},"answered":{"get":1}}}})")));
  EXPECT_EQ(client->readObject().at("id"), 5);
}

TEST_F(SocketTest, TheSixtyFifthConnectionIsRefused) {
  start("");
  std::vector<std::unique_ptr<Client>> others;
  while (others.size() < 63) others.push_back(connect());
  EXPECT_EQ(others.back()->result("status").at("counters").at("connections").at("made"), 64);
  const auto refused = connect();
  EXPECT_TRUE(
      matches(refused->readObject(), json::parse(R"({"id":null,"error":{"code":-32000}})")));
  EXPECT_EQ(refused->readLine(), "");
  EXPECT_EQ(client->result("status").at("counters").at("connections").at("refused"), 1);
  others.pop_back();
  EXPECT_TRUE(eventually([&] { return connect()->call("status").contains("result"); }));
}

TEST_F(SocketTest, NoMoreIsReadThanMayWait) {
  start("--group 111f --sleep-time 60");
  std::string requests;
  for (int id = 1; id <= 20; ++id) {
    requests += request(id, "get", stats5) + std::string(500'000, ' ') + "\n";
  }
  // The one in turn, a mebibyte that waits, and what the kernel holds.
  EXPECT_LT(client->sendUntilFull(requests), 2'500'000U);
  EXPECT_EQ(connect()->result("status").at("counters").at("requests").at("get"), 1);
}

TEST_F(SocketTest, NotificationsComeInTheOrderInWhichTheyAreSent) {
  start("--group 111f", "KOR_OAM_AUTO=0");
  client->result("subscribe");
  std::string requests;
  for (int i = 0; i < 200; ++i) {
    requests += R"({"jsonrpc":"2.0","method":"svcRegInd"})"
                "\n"
                R"({"jsonrpc":"2.0","method":"svcRegResult",)"
                R"("params":{"kind":14,"result":0,"groups":[]}})"
                "\n";
  }
  client->sendBytes(requests);
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(client->notification(), R"(svcRegInd {"type":0,"groups":["0x111f"]})");
    ASSERT_EQ(client->notification(), "svcRegEndInd {}");
  }
}

TEST_F(SocketTest, RepliesThatWaitForAnEarlierOneHoldNothingUp) {
  start("--group 111f");
  const std::string get =
      harness::request(1, "get", R"({"recordId":"0x111f0007","batchSize":12000})");
  std::string batch = "[" + get;
  for (int i = 1; i < 8; ++i) batch += "," + get;
  client->result("subscribe");
  // More than 4 MiB, which is sent as it is made; what is notified meanwhile does not go between.
  client->send(batch + R"(,{"jsonrpc":"2.0","method":"svcRegInd"}])");
  EXPECT_EQ(json::parse(client->readLine()).as_array().size(), 8U);
  for (const auto name : {"svcRegInd {", "svcRegSetUpdateInd {", "svcRegEndInd {"}) {
    EXPECT_TRUE(client->notification().starts_with(name)) << name;
  }
  client->request(1, "status");
  client->endInput();
  EXPECT_EQ(client->readObject().at("id"), 1);
  EXPECT_EQ(client->readLine(), "");
}

TEST_F(SocketTest, ClientsThatHungUpMakeRoomAndWithdrawTheirRequests) {
  start("--group 111f --sleep-time 60");
  client->send("[" + request(1, "get", stats5) + "]");
  ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
  std::vector<std::unique_ptr<Client>> others;
  while (others.size() < 63) {
    others.push_back(connect());
    std::string requests;
    while (requests.size() < 1032 * 1024) {
      requests +=
          request(1, "clear", R"({"recordId":"0x111f0008"})") + std::string(3000, ' ') + "\n";
    }
    others.back()->sendBytes(requests);
  }
  client.reset();
  others.clear();
  // Until the daemon has seen that they are gone, it refuses the next.
  EXPECT_TRUE(eventually([&] {
    const auto next = connect();
    next->request(1, "status");
    return next->readLine().find("result") != std::string::npos;
  }));
  connect()->result("advanceTime", R"({"seconds":60})");
  EXPECT_EQ(daemon->out().find("clear"), std::string::npos);
}

TEST_F(SocketTest, LargeRepliesThatAreReadLateComeBackWhole) {
  constexpr int requests = 12;
  start("--group 111f");
  for (int id = 1; id <= requests; ++id) {
    client->request(id, "get", R"({"recordId":"0x111f0007","batchSize":12000})");
  }
  // Connections take turns: after these the first one has done what it can, unread.
  const auto other = connect();
  for (int i = 0; i < requests; ++i) other->result("get", stats5);
  std::string first;
  for (int id = 1; id <= requests; ++id) {
    const std::string line = client->readLine(), head = R"({"jsonrpc":"2.0","id":)";
    ASSERT_TRUE(line.starts_with(head + std::to_string(id) + ",")) << line.substr(0, 80);
    const std::string result = line.substr(line.find(R"("result")"));
    if (id == 1) first = result;
    ASSERT_TRUE(result == first) << id;
  }
  const json::array records = json::parse("{" + first).at("result").at("records").as_array();
  ASSERT_EQ(records.size(), 12000U);
  // The walk is back at the beginning after 10240 rows: sfn 175, sf 9.
  EXPECT_EQ(records.back(), "111f000700100000000000af0009000000af00000009");
  converse(
      "subscribe {} -> {}\nsvcRegInd {} -> {}\n<- svcRegInd {\"type\":0,\"groups\":[\"0x111f\"]}");
}

TEST_F(SocketTest, ASubscriberThatReadsNothingIsCutOff) {
  std::string setUpdate = "L";
  while (setUpdate.size() < 120000) setUpdate += ":1111";
  start("--set-update " + setUpdate, "KOR_OAM_AUTO=0");
  const auto subscriber = connect(), reader = connect();
  for (const auto& by : {subscriber.get(), reader.get()}) by->result("subscribe");
  const auto counters = [&] { return client->result("status").at("counters"); };
  // Each causes a notification of 24000 groups, 216 kB.
  for (const int expected : {0, 1}) {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(client->result("svcRegResult", R"({"kind":12,"result":0,"groups":[]})").size(), 2U);
      reader->readLine();
    }
    EXPECT_EQ(counters().at("connections").at("cutOff"), expected);
    // What is notified and not read is no reply.
    subscriber->request(1, "get");
    EXPECT_TRUE(eventually([&] { return counters().at("requests").as_object().contains("get"); }));
  }
  EXPECT_EQ(reader->result("status").at("pid"), daemon->pid());
}

TEST_F(SocketTest, WithoutAutomaticRegistrationTheClientDrivesIt) {
  start("--group 0x111f: --set-update R:0x1100:0x11ff", "KOR_OAM_AUTO=0");
  converse(R"(
subscribe {} -> {"subscribed":true}
svcRegInd {} -> {"result":0}
<- svcRegInd {"type":0,"groups":["0x111f"]}
svcRegResult {"kind":12,"result":4,"groups":["0x111f"]} -> {"result":0}
get {"recordId":"0x111f0004"} -> {"result":14,"resultText":"Invalid-Record-Id",
 "errorString":"Invalid record id 0x111f0004","records":[]}
status {} -> {"auto":false,"serviceRegistration":{"groups":[]}}
svcRegResult {"kind":12,"result":0,"groups":["0x111f",65535,"0x111f"]} -> {"result":0}
<- svcRegSetUpdateInd {"type":1,"groups":["0x1100","0x11ff"]}
get {"recordId":"0x111f0004"} -> {"result":0}
status {} -> {"serviceRegistration":{"groups":["0x111f","0xffff"],"lastIndication":"svcRegSetUpdateInd"}}
unsubscribe {} -> {"subscribed":false}
svcRegInd {} -> {"result":0}
subscribe {} -> {"subscribed":true}
svcRegResult {"kind":14,"result":0,"groups":["0x1100"]} -> {"result":0}
<- svcRegEndInd {}
status {} -> {"serviceRegistration":{"groups":["0x111f","0xffff"],"lastIndication":"svcRegEndInd"}})");
}

}  // namespace
