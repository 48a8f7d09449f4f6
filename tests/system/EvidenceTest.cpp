// What a client has in its hands beside requests: the journal, time, and faults of the API.
#include "Harness.h"

using namespace harness;

namespace {

class EvidenceTest : public SystemTest {
 protected:
  json::array entries(const std::string& filter = "{}") {
    return client->result("journal", filter).at("entries").as_array();
  }
  /// Methods of the notifications that have come, in order.
  std::string notifications(int count) {
    std::string methods;
    for (int i = 0; i < count; ++i) {
      const std::string text = client->notification();
      methods += text.substr(0, text.find(' ')) + ' ';
    }
    return methods;
  }
};

TEST_F(EvidenceTest, TheJournalHoldsWhatArrivedAndWhatTheApiDidByItself) {
  start("--group 111f --no-clear");
  client->send(
      R"({"jsonrpc":"2.0","method":"notify","params":{"record":"08010014000103","opType":1}})");
  converse(R"(
get {"recordId":"0x111f0004"} -> {"result":0}
get {"recordId":-1,"batchSize":null} -> {"code":-32602}
clear {"recordId":5} -> {"result":22}
status {} -> {"clock":"real","logLevel":2,"connection":1,
 "counters":{"requests":{"get":2},"answered":{"get":2}}}
no-such {} -> {"code":-32601})");
  const json::array all = entries();
  const char* const expected[] = {
      R"({"seq":1,"connection":0,"method":"svcRegInd","params":null,"called":true,"reply":{"result":0}})",
      R"({"seq":2,"connection":0,"method":"svcRegResult",
          "params":{"kind":12,"result":0,"groups":["0x111f"]},"called":true})",
      R"({"seq":3,"method":"svcRegResult","params":{"kind":14,"result":0,"groups":[]}})",
      R"({"seq":4,"connection":1,"method":"notify","called":true,"reply":{"result":0}})",
      R"({"seq":5,"id":1001,"method":"get","params":{"recordId":"0x111f0004"},
          "reply":{"records":["111f0004000100"]}})",
      R"({"seq":6,"id":1002,"params":{"recordId":-1,"batchSize":null},"called":false,"error":{"code":-32602}})",
      R"({"seq":7,"method":"clear","called":false,"microseconds":0,"reply":{"result":22}})"};
  ASSERT_EQ(all.size(), std::size(expected)) << all;
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_TRUE(matches(all[i], json::parse(expected[i]))) << all[i];
    EXPECT_GT(all[i].at("time").as_string(), "2026-01-01T");
  }
  EXPECT_FALSE(all[3].as_object().contains("id"));
  EXPECT_EQ(entries(R"({"after":2,"limit":2})"), json::array({all[2], all[3]}));
  EXPECT_EQ(entries(R"({"limit":1})"), json::array({all[6]}));
  EXPECT_EQ(entries(R"({"method":"get","recordId":"0x111f0004"})"), json::array({all[4]}));
  EXPECT_EQ(entries(R"({"method":"svcRegResult","after":0})"), json::array({all[1], all[2]}));
  for (const std::string method : {"advanceTime", "faultAdd", "faultList", "faultRemove", "journal",
                                   "journalClear", "status", "subscribe", "unsubscribe"}) {
    EXPECT_EQ(client->call("journal", "{\"method\":\"" + method + "\"}").at("error").at("code"),
              -32602);
    const json::value refusal =
        client->call(method, R"({"seconds":0,"method":"get","drop":true,"x":1})").at("error");
    EXPECT_TRUE(matches(refusal, {{"message", "~ is not a parameter of this method"}})) << method;
  }
  converse(R"(
journal {"limit":1001} -> {"code":-32602}
faultList {} -> {"faults":[]}
journalClear {} -> {"cleared":7}
journal {} -> {"entries":[],"last":7,"dropped":0})");
}

TEST_F(EvidenceTest, TheJournalIsBoundedAndSaysWhatItLost) {
  start("--group 111f --quiet");
  client->result("get", R"({"recordId":"0x111f0007","batchSize":5000})");
  const json::array large = entries(R"({"limit":1})");
  EXPECT_EQ(large[0].at("cut"), true);
  EXPECT_FALSE(large[0].at("reply").as_object().contains("records"));
  EXPECT_TRUE(large[0].at("params").is_object());
  // An id is no way around the bound, nor is the error string of a fault.
  client->result("subscribe", R"({"requests":true})");
  client->send(R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1},"id":")" +
               std::string(1'048'000, 'x') + "\"}");
  EXPECT_FALSE(client->readObject().at("params").as_object().contains("id"));
  EXPECT_GT(client->readLine().size(), 1'048'000U);
  client->result("subscribe");
  client->request(1, "faultAdd",
                  R"({"method":"get","result":1,"errorString":")" + std::string(256, 'x') + "\"}");
  EXPECT_EQ(client->readObject().at("error").at("message"),
            "errorString must hold at most 255 bytes");
  // By number, then by bytes.
  std::string requests;
  for (int i = 0; i < 5000; ++i) requests += request(i, "clear", stats5) + "\n";
  client->sendBytes(requests);
  for (int i = 0; i < 5000; ++i) client->readLine();
  EXPECT_TRUE(matches(client->result("journal", R"({"limit":1})"),
                      json::parse(R"({"last":5005,"dropped":909})")));
  EXPECT_EQ(entries().size(), 100U);
  const std::string padding(60'000, 'x');
  for (int i = 0; i < 20; ++i) {
    client->result("set",
                   R"({"record":"111f0004000100","opType":4,"errorString":")" + padding + "\"}");
  }
  EXPECT_EQ(entries(R"({"limit":1000})").size(), 17U);  // a mebibyte
  const auto newest = [&](std::size_t bytes) {
    client->result("set",
                   R"({"record":"","opType":4,"errorString":")" + std::string(bytes, 'x') + "\"}");
    return entries(R"({"limit":1})")[0];
  };
  const std::size_t rest = json::serialize(newest(60'000)).size() - 60'000;
  EXPECT_TRUE(newest(65'536 - rest).at("params").is_object());
  const json::value cut = newest(65'537 - rest);
  EXPECT_TRUE(cut.at("params").is_null() && cut.as_object().contains("id")) << cut;
}

TEST_F(EvidenceTest, WhoSubscribesToRequestsSeesEachAheadOfItsReply) {
  start("--group 111f", "KOR_OAM_AUTO=0");
  EXPECT_TRUE(matches(client->result("subscribe", R"({"requests":true})"),
                      json::parse(R"({"subscribed":true,"requests":true,"connection":1})")));
  const auto other = connect();
  other->result("subscribe");
  client->result("svcRegInd");
  EXPECT_EQ(notifications(2), "svcRegInd request ");
  other->request(1, "status");
  EXPECT_EQ(other->readObject().at("method"), "svcRegInd");
  EXPECT_EQ(other->readObject().at("id"), 1);
  client->result("subscribe");
  EXPECT_EQ(connect()->result("initProvComplete").size(), 2U);
  client->result("svcRegInd");
  EXPECT_EQ(notifications(1), "svcRegInd ");
}

TEST_F(EvidenceTest, TimePassesExactlyForWhoeverPauses) {
  for (const std::string clock : {"manual", "real"}) {
    const auto advance = [&](const std::string& seconds) {
      return client->result("advanceTime", "{\"seconds\":" + seconds + "}");
    };
    start("--group 111f --set-ind", "KOR_OAM_CLOCK=" + clock);
    // The last of eleven, and its outcome, are there with the reply.
    EXPECT_EQ(advance("110").at("settled"), true);
    const auto outcomes = entries(R"({"method":"setIndResult","recordId":"0x111f0009"})");
    ASSERT_EQ(outcomes.size(), 11U);
    EXPECT_EQ(outcomes[10].at("params"), (json::value{{"setIndId", 11}, {"result", 0}}));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(advance("4294967295").at("settled"), true);

    start("--group 111f --event-sim 4 --sleep-time 3600", "KOR_OAM_CLOCK=" + clock);
    const auto other = connect();
    other->request(1, "get", stats5);
    other->request(2, "get", stats5);
    const auto pauses = [&] { return client->result("status").at("pauses").as_array().size(); };
    ASSERT_TRUE(eventually([&] { return pauses() == 2; }));
    EXPECT_EQ(advance("3500").at("settled"), true);
    client->call("clear");
    EXPECT_EQ(entries().size(), 4U);  // of the get that sleeps, and of the set indications, none
    // The second sleep begins where the first has ended.
    EXPECT_EQ(advance("3700").at("settled"), true);
    for (const int id : {1, 2}) EXPECT_EQ(other->readObject().at("id"), id);
    EXPECT_EQ(entries(R"({"method":"get"})").size(), 2U);
    EXPECT_EQ(entries(R"({"method":"setIndResult","limit":1000})").size(), 240U);
    // The last tenth of a second passes by itself, and wakes whoever serves.
    client->result("subscribe");
    advance(clock == "real" ? "4.9" : "5");
    EXPECT_EQ(notifications(1), "setInd ");
  }
}

TEST_F(EvidenceTest, WhoeverLetsTimePassTakesTurns) {
  start("--group 111f --event-sim 4", "KOR_OAM_AUTO=0 KOR_OAM_CLOCK=manual");
  const auto left = [&] {
    const json::array pauses = client->result("status").at("pauses").as_array();
    return pauses.empty() ? 0 : pauses[0].at("secondsLeft").as_double();
  };
  ASSERT_TRUE(eventually([&] { return left() == 5; }));
  const auto other = connect();
  const std::unique_ptr<Client> busy[] = {connect(), connect(), connect(), connect()};
  auto gone = connect();
  std::string clears;
  constexpr int each = sanitized ? 300 : 1000;
  for (int i = 0; i < each; ++i) clears += request(i, "clear", R"({"recordId":1})") + "\n";
  daemon->signal(SIGSTOP);  // all come at once
  for (const auto& by : busy) by->sendBytes(clears);
  const std::string advance =
      R"({"jsonrpc":"2.0","method":"advanceTime","params":{"seconds":0.5}})";
  gone->sendBytes(advance + "\n" + advance + "\n");
  gone.reset();
  for (const auto& by : {client.get(), other.get()}) {
    for (const int id : {1, 2}) by->request(id, "advanceTime", R"({"seconds":0.5})");
  }
  client->request(3, "status");
  daemon->signal(SIGCONT);
  for (const auto& by : {client.get(), other.get()}) {
    for (const int id : {1, 2}) {
      const json::object reply = by->readObject();
      EXPECT_TRUE(matches(reply, {{"id", id}, {"result", {{"settled", true}}}})) << reply;
    }
  }
  // None of the time has passed before all else was done.
  EXPECT_EQ(client->readObject().at("result").at("counters").at("answered").at("clear"), 4 * each);
  gone = connect();
  gone->send(advance);
  gone.reset();
  client->send("[" + request(1, "advanceTime", R"({"seconds":0.5})") + "," + request(2, "status") +
               "]");
  EXPECT_EQ(json::parse(client->readLine()).as_array().size(), 2U);
  EXPECT_TRUE(eventually([&] { return left() == 1; }));
  const json::object counters = client->result("status").at("counters").as_object();
  EXPECT_EQ(counters.at("requests").at("advanceTime"), 8);
  EXPECT_EQ(counters.at("answered").at("advanceTime"), 8);
  for (int round = 0; round < (sanitized ? 1 : 7); ++round) {
    EXPECT_EQ(client->result("advanceTime", R"({"seconds":4294967295})").at("ended"), 10000);
  }
  if (sanitized) return;
  // Of the set indications whose outcome nobody reports the oldest are forgotten.
  const std::int64_t sent =
      client->result("status").at("counters").at("notifications").at("setInd").as_int64();
  for (const std::int64_t kept : {65'536, 65'535}) {
    const std::string id = std::to_string(sent - kept);
    EXPECT_EQ(
        client->call("setIndResult", R"({"result":0,"setIndId":)" + id + "}").contains("result"),
        kept == 65'535)
        << id;
  }
}

TEST_F(EvidenceTest, FaultsDoWhatTheySay) {
  start("--group 111f");
  converse(R"(
faultAdd {} -> {"code":-32602}
faultAdd {"method":"get"} -> {"code":-32602}
faultAdd {"method":"status","drop":true} -> {"code":-32602}
faultAdd {"method":"get","notification":"alarm","drop":true} -> {"code":-32602,"message":"~exactly"}
faultAdd {"method":"get","drop":true,"disconnect":true} -> {"code":-32602,"message":"~exclude"}
faultAdd {"method":"get","drop":false} -> {"code":-32602,"message":"~must be true"}
faultAdd {"method":"get","blocks":"all"} -> {"code":-32602}
faultAdd {"method":"get","duplicate":true} -> {"code":-32602}
faultAdd {"method":"get","errorString":"x","drop":true} -> {"code":-32602}
faultAdd {"notification":"alarm","result":1} -> {"code":-32602}
faultAdd {"method":"get","count":0,"drop":true} -> {"code":-32602}
faultAdd {"method":"get","delayMilliseconds":3600001} -> {"code":-32602}
faultAdd {"method":"get","recordId":"0x111f0004","result":-5,"errorString":"\t","count":1} -> {"faultId":1}
faultAdd {"method":"get","recordId":"0x111f0004","blocks":"truncate","count":1} -> {"faultId":2}
faultAdd {"method":"get","blocks":"flip","count":1} -> {"faultId":3}
get {"recordId":"0x111f0004"} -> {"result":-5,"errorString":"\t","records":[]}
get {"recordId":"0x111f0004"} -> {"result":0,"records":["111f00040001"]}
get {"recordId":"0x111f0004"} -> {"result":0,"records":["111f00040001ff"]}
get {"recordId":"0x111f0004"} -> {"result":0,"records":["111f0004000100"]}
faultRemove {"faultId":9} -> {"removed":0}
faultList {} -> {"faults":[{"faultId":1,"hits":1,"method":"get","recordId":"0x111f0004","count":1,
 "result":-5,"errorString":"\t"},{"faultId":2,"hits":1,"method":"get","recordId":"0x111f0004",
 "count":1,"blocks":"truncate"},{"faultId":3,"hits":1,"method":"get","count":1,"blocks":"flip"}]}
faultRemove {} -> {"removed":3}
faultAdd {"method":"get","drop":true,"count":2} -> {"faultId":4}
faultAdd {"notification":"svcRegInd","duplicate":true,"count":1} -> {"faultId":5}
svcRegInd {} -> {"result":0}
subscribe {} -> {"subscribed":true})");
  client->send(R"({"jsonrpc":"2.0","method":"get","params":{"recordId":1}})");
  client->request(1, "get", stats5);
  client->request(2, "get", stats5);
  EXPECT_EQ(client->readObject().at("id"), 2);
  EXPECT_EQ(entries(R"({"limit":2})")[0].at("faultId"), 4);  // what it would have been is kept
  client->result("svcRegInd");
  client->result("status");
  EXPECT_EQ(notifications(4), "svcRegInd svcRegInd svcRegSetUpdateInd svcRegEndInd ");
  converse(R"(
faultList {} -> {"faults":[{"faultId":4,"hits":2,"method":"get","count":2,"drop":true},
 {"faultId":5,"hits":1,"notification":"svcRegInd","count":1,"duplicate":true}]})");
  const std::string drop = R"({"method":"get","drop":true})";
  for (int i = 2; i < 64; ++i) client->result("faultAdd", drop);
  EXPECT_EQ(client->call("faultAdd", drop).at("error").at("code"), -32602);
}

TEST_F(EvidenceTest, NotificationsCarryTheirBlocksAsFaultsWantThem) {
  start("--group 111f --event-sim 15", "KOR_OAM_AUTO=0 KOR_OAM_CLOCK=manual");
  converse(R"(
subscribe {} -> {"subscribed":true}
faultAdd {"notification":"setInd","blocks":"flip","count":1} -> {"faultId":1}
faultAdd {"notification":"event","blocks":"truncate","count":1} -> {"faultId":2}
faultAdd {"notification":"svcRegInd","blocks":"flip"} -> {"faultId":3}
svcRegInd {} -> {"result":0}
<- svcRegInd {"type":0,"groups":["0x111f"]}
advanceTime {"seconds":95} -> {"ended":4,"settled":true})");
  for (const std::string expected :
       {R"({"record":"111d0003000501000c00dd","opType":2,"applyAction":1})",
        R"({"event":"~00000007000000010c00"})", R"({"alarm":"~0c616c61726d20746578747300"})",
        R"({"recordUpdateEvent":"~111d0002","opType":2})"}) {
    const std::string text = client->notification();
    EXPECT_TRUE(matches(json::parse(text.substr(text.find('{'))), json::parse(expected))) << text;
  }
}

TEST_F(EvidenceTest, WhatIsHeldBackHoldsUpNobodyElseAndADisconnectIsAnEnd) {
  start("--group 111f");
  client->result("faultAdd", R"({"method":"get","delayMilliseconds":3600000,"count":1})");
  client->result("faultAdd", R"({"method":"get","delayMilliseconds":300,"count":1})");
  const auto held = connect(), other = connect();
  held->request(1, "get", stats5);
  ASSERT_TRUE(eventually([&] { return entries(R"({"method":"get"})").size() == 1; }));
  const auto before = Clock::now();
  other->send("[" + request(1, "get", stats5) + "," + request(2, "status") + "]");
  other->request(3, "status");
  EXPECT_EQ(json::parse(other->readLine()).as_array().size(), 2U);
  EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(300));
  EXPECT_EQ(other->readObject().at("id"), 3);
  // A notification keeps to its own delay in a batch, too.
  client->result("faultAdd", R"({"notification":"svcRegInd","delayMilliseconds":300,"count":1})");
  client->result("subscribe");
  const auto batched = Clock::now();
  client->send("[" + request(1, "svcRegInd") + "]");
  EXPECT_EQ(notifications(1), "svcRegInd ");
  EXPECT_GE(Clock::now() - batched, std::chrono::milliseconds(300));
  client->readLine();
  client->result("unsubscribe");
  client->result("faultAdd", R"({"method":"clear","disconnect":true})");
  other->sendBytes(request(4, "status") + "\n" + request(5, "clear", stats5) + "\n" +
                   request(6, "status") + "\n");
  EXPECT_EQ(other->readObject().at("id"), 4);
  EXPECT_EQ(other->readLine(), "");
  const auto silent = connect();
  const std::string clear = R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1}})";
  silent->send(clear);
  EXPECT_EQ(silent->readLine(), "");
  daemon->signal(SIGSTOP);
  connect()->send(clear);
  daemon->signal(SIGCONT);
  ASSERT_TRUE(eventually([&] { return entries(R"({"method":"clear"})").size() == 3; }));
  // What comes behind a disconnect that waits is nothing, also when the client goes.
  client->result("faultAdd",
                 R"({"method":"notify","result":1,"delayMilliseconds":3600000,"disconnect":true})");
  const auto notify = R"({"record":"08010014000103","opType":1})";
  auto waiting = connect();
  waiting->request(1, "notify", notify);
  ASSERT_TRUE(eventually([&] { return entries(R"({"method":"notify"})").size() == 1; }));
  waiting->request(2, "notify", notify);
  waiting.reset();
  // A notification's disconnect ends the client; its request is in the journal all the same.
  client->result("faultAdd", R"({"notification":"svcRegInd","disconnect":true})");
  const auto subscriber = connect();
  subscriber->result("subscribe");
  subscriber->request(1, "svcRegInd");
  EXPECT_EQ(subscriber->readLine(), "");
  EXPECT_TRUE(eventually([&] { return entries(R"({"method":"svcRegInd"})").size() == 3; }));
  EXPECT_EQ(entries(R"({"method":"notify"})").size(), 1U);
  // Nothing is left of a delay when what it held back is dropped.
  client->result("faultRemove");
  client->result("faultAdd", R"({"method":"get","delayMilliseconds":300,"drop":true,"count":1})");
  client->result("faultAdd", R"({"method":"get","delayMilliseconds":1,"count":1})");
  client->result("faultAdd", R"({"method":"get","delayMilliseconds":1,"drop":true,"count":1})");
  client->result("faultAdd",
                 R"({"method":"initProvComplete","delayMilliseconds":300,"disconnect":true})");
  const auto dropped = connect(), left = connect();
  const auto longer = Clock::now();
  for (const int id : {1, 2, 3}) dropped->request(id, "get", stats5);
  left->send("[" + request(1, "status") + "," + request(2, "initProvComplete") + "]");
  EXPECT_EQ(dropped->readObject().at("id"), 2);
  EXPECT_EQ(left->readLine(), "");
  EXPECT_GE(Clock::now() - longer, std::chrono::milliseconds(300));
  ASSERT_TRUE(eventually([&] { return entries(R"({"method":"get"})").size() == 5; }));
  const long ticks = daemon->processorTicks();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_LE(daemon->processorTicks() - ticks, 10);
  // No part of a batch's reply leaves before what is held back in it, and none of a reply behind a
  // large one.
  client->result("faultAdd", R"({"method":"clear","delayMilliseconds":3600000})");
  const auto streamed = connect(), large = connect();
  const auto rows = request(2, "get", R"({"recordId":"0x111f0007","batchSize":65535})");
  streamed->send("[" + request(1, "clear", stats5) + "," + rows + "," + rows + "]");
  large->send(rows);
  large->request(3, "clear", stats5);
  ASSERT_TRUE(eventually([&] {
    return entries(R"({"method":"get"})").size() == 8 &&
           entries(R"({"method":"clear"})").size() == 5;
  }));
  EXPECT_EQ(json::parse(large->readLine()).at("id"), 2);
  for (const auto& by : {streamed.get(), large.get()}) {
    char byte;
    EXPECT_EQ(::recv(by->descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT), -1);
  }
}

TEST_F(EvidenceTest, AStopSendsWhatIsHeldBackOfABatchThatItEnds) {
  start("--group 111f --sleep-time 3600");
  client->result("faultAdd", R"({"method":"initProvComplete","delayMilliseconds":3600000})");
  const auto plain = connect();
  plain->request(4, "initProvComplete");
  ASSERT_TRUE(eventually([&] { return entries(R"({"method":"initProvComplete"})").size() == 1; }));
  client->send("[" + request(1, "initProvComplete") + "," + request(2, "get", stats5) + "," +
               request(3, "status") + "]");
  ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
  daemon->signal(SIGTERM);
  const json::array replies = json::parse(client->readLine()).as_array();
  ASSERT_EQ(replies.size(), 3U);
  EXPECT_EQ(replies[2].at("error").at("code"), -32001);
  EXPECT_EQ(plain->readObject().at("id"), 4);
}

}  // namespace
