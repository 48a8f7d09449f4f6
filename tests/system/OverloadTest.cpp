// More than the daemon should take at once.
#include <algorithm>

#include "Harness.h"

using namespace harness;

namespace {

std::string list(std::size_t count, const std::string& element) {
  std::string all = "[" + element;
  while (--count != 0) all += "," + element;
  return all + "]";
}

class OverloadTest : public SystemTest {
 protected:
  /// What the daemon's memory has grown to since `atRest`, in KiB.
  void expectGrowthBelow(long limit, long atRest) const {
    EXPECT_TRUE(sanitized || daemon->status("VmHWM") - atRest < limit)
        << daemon->status("VmHWM") << " KiB after " << atRest;
  }
};

TEST_F(OverloadTest, LargeRepliesThatNobodyReadsAreNotEvenMade) {
  start("--group 111f --quiet");
  const auto other = connect();
  other->result("get", stats5);
  const long atRest = daemon->status("VmHWM");
  std::string requests;
  for (int id = 1; id <= 100; ++id) {
    requests += request(id, "get", R"({"recordId":"0x111f0007","batchSize":65535})") + "\n";
  }
  client->sendBytes(requests);
  client->send(R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1}})");
  const auto made = [&] { return split(daemon->out(), '\n').size() - 1; };
  // More than 3 MB each: the second fills what a connection may leave unread, a third may have
  // been begun meanwhile.
  EXPECT_TRUE(eventually([&] { return made() >= 2; }));
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(other->result("get", stats5).at("records").as_array().size(), 4U);
  }
  EXPECT_LE(made() - 20, 4U);
  expectGrowthBelow(48 * 1024, atRest);
  // Gone in the middle of the second reply.
  EXPECT_GT(client->readLine().size(), std::size_t{3'000'000});
  client.reset();
  const std::size_t before = made();
  EXPECT_EQ(other->result("get", stats5).at("records").as_array().size(), 4U);
  // The other requests were withdrawn, but for the one without an id.
  EXPECT_TRUE(eventually([&] { return daemon->out().find("clear 1\n") != std::string::npos; }));
  EXPECT_LE(made() - before, 4U);
}

TEST_F(OverloadTest, MemoryGoesBackAtRest) {
  start("--group 111f --quiet");
  client->result("get", stats5);
  const long atRest = daemon->status("VmRSS");
  // The first one's memory would go back by itself.
  for (int round = 0; round < 3; ++round) {
    client->result("get", R"({"recordId":"0x111f0007","batchSize":65535})");
  }
  client->call("status", R"({"x":)" + list(300'000, "0") + "}");
  std::vector<std::unique_ptr<Client>> others;
  for (int i = 0; i < 10; ++i) {
    others.push_back(connect());
    others.back()->send(R"({"jsonrpc":"2.0","method":"status","id":")" +
                        std::string(1'000'000, 'x') + "\"}");
    others.back()->readLine();
  }
  EXPECT_TRUE(eventually([&] { return sanitized || daemon->status("VmRSS") - atRest < 1024; }));
}

// Nothing of what is held back and dropped is left to be counted as unsent.
TEST_F(OverloadTest, WhatIsHeldBackAndDroppedTakesNoRoom) {
  start("--group 111f --quiet");
  client->result("faultAdd", R"({"method":"clear","drop":true,"delayMilliseconds":3600000})");
  std::string requests;
  for (int i = 0; i < 5000; ++i) requests += request(i, "clear", R"({"recordId":1})") + "\n";
  client->sendBytes(requests);  // fills the journal
  const auto other = connect();
  const auto served = [&] {
    return other->result("status").at("counters").at("answered").at("clear").as_int64();
  };
  ASSERT_TRUE(eventually([&] { return served() == 5000; }));
  const long before = daemon->status("VmHWM");
  const int rounds = sanitized ? 1 : 160;
  for (int round = 0; round < rounds; ++round) client->sendBytes(requests);
  ASSERT_TRUE(eventually([&] { return served() == 5000 * (rounds + 1); }));
  expectGrowthBelow(6 * 1024, before);
}

TEST_F(OverloadTest, AFloodIsHeldBackUntilItIsReadAndAllOfItIsAnswered) {
  start("--group 111f --quiet");
  const long atRest = daemon->status("VmHWM");
  std::string requests;
  // Lines that do not all begin alike: what is left over of one must not pass for the next.
  for (int id = 1; id <= 100'000; ++id)
    requests += (id % 2 == 0 ? " " : "") + request(id, "get", stats5) + "\n";
  const std::size_t sent = client->sendUntilFull(requests);
  ASSERT_LT(sent, requests.size());
  EXPECT_EQ(connect()->result("get", stats5).at("records").as_array().size(), 4U);
  expectGrowthBelow(24 * 1024, atRest);
  // It ends in half a line, whose other half comes when all before it is answered.
  const std::string_view taken = std::string_view(requests).substr(0, sent);
  const auto whole = static_cast<int>(std::count(taken.begin(), taken.end(), '\n'));
  for (int id = 1; id <= whole; ++id) {
    const std::string line = client->readLine();
    ASSERT_TRUE(line.starts_with(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + ',')) << line;
  }
  client->sendBytes(requests.substr(sent, requests.find('\n', sent) + 1 - sent));
  EXPECT_EQ(client->readObject().at("id"), whole + 1);
}

TEST_F(OverloadTest, ClientsThatSendAndDoNotReadDoNotHoldUpTheStop) {
  start("--group 111f --quiet");
  const std::string padding(sanitized ? 1000 : 0,
                            ' ');  // each is answered, at the latest by the stop
  std::string requests;
  while (requests.size() < 5'000'000) requests += request(1, "get", stats5) + padding + "\n";
  std::vector<std::unique_ptr<Client>> others;
  for (int i = 0; i < 2; ++i) {
    others.push_back(connect());
    others.back()->sendUntilFull(requests);
  }
  daemon->signal(SIGTERM);
  for (const auto& other : others) other->sendUntilFull(requests);
  EXPECT_EQ(daemon->wait(), (Outcome{0, daemon->out(), ""}));
}

// No choice of bytes makes a line expensive.
TEST_F(OverloadTest, ALineOfManyMembersIsRefusedOrCheap) {
  start("");
  const auto members = [](std::size_t count, std::size_t length) {
    std::string all = "{";
    for (std::size_t i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      all += (i == 0 ? "\"" : ",\"") + std::string(length - number.size(), 'x') + number + "\":0";
    }
    return all + "}";
  };
  // The request adds 4 and `x` to what `params` holds.
  const struct {
    std::string params;
    int code;
  } cases[] = {{members(64, 16'000), -32602},
               {members(65, 10), -32600},
               {members(65'536, 10), -32600},
               {R"({"x":[)" + list(1023, members(64, 8)) + "," + members(59, 8) + "]}", -32602},
               {R"({"x":[)" + list(1023, members(64, 8)) + "," + members(60, 8) + "]}", -32600}};
  for (const auto& [params, code] : cases) {
    const long before = daemon->processorTicks();
    client->request(1, "status", params);
    const json::object reply = client->readObject();
    // If each name were compared with each, many seconds.
    EXPECT_LE(daemon->processorTicks() - before, 100) << params.size();
    EXPECT_EQ(reply.at("error").at("code"), code) << json::serialize(reply);
    EXPECT_EQ(reply.at("id").is_null(), code == -32600);
  }
  EXPECT_EQ(client->result("status").at("counters").at("connections").at("made"), 1);
}

TEST_F(OverloadTest, RequestsOfClientsThatAreGoneAreBoundedAndTakeTurns) {
  start("--group 111f --sleep-time 3600");
  client->request(1, "get", stats5);
  ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
  const long atRest = daemon->status("VmHWM");
  constexpr std::size_t lineBytes = 1000, each = 1000, clients = 12,
                        kept = 8 * 1024 * 1024 / lineBytes;
  std::string line = R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1}})";
  line.resize(lineBytes - 1, ' ');
  std::string requests;
  for (std::size_t i = 0; i < each; ++i) requests += line + "\n";
  for (std::size_t i = 0; i < clients; ++i) connect()->sendBytes(requests);
  const auto other = connect();
  EXPECT_TRUE(eventually([&] {
    return other->result("status").at("counters").at("dropped") == clients * each - kept;
  }));
  expectGrowthBelow(16 * 1024, atRest);
  // Of a group that is not registered: a refusal does not sleep.
  const std::string orphan = "clear 0x1\n", own = "clear 0x2\n";
  EXPECT_EQ(daemon->out().find(orphan), std::string::npos);
  other->sendBytes(request(1, "status") + "\n" + request(2, "clear", R"({"recordId":2})") + "\n");
  EXPECT_EQ(other->readObject().at("id"), 1);
  const auto third = connect();
  third->request(1, "advanceTime", R"({"seconds":3600})");
  EXPECT_EQ(other->readObject().at("result").at("result"), 14);
  std::string out;
  const auto ran = [&] {
    out = daemon->out();
    std::size_t count = 0;
    for (std::size_t at = 0; (at = out.find(orphan, at)) != std::string::npos; ++at) ++count;
    return count;
  };
  EXPECT_TRUE(eventually([&] { return ran() >= kept; }));
  connect()->sendBytes(requests);  // there is room again
  EXPECT_TRUE(eventually([&] { return ran() >= kept + each; }));
  EXPECT_EQ(ran(), kept + each);
  EXPECT_LT(out.find(own) / orphan.size(), 20U);  // two lines each, and those of the get
}

TEST_F(OverloadTest, ABatchOfLargeRepliesIsMadeAsItIsRead) {
  start("--quiet", "KOR_OAM_AUTO=0");
  for (int half = 0; half < 2; ++half) {
    std::string groups;
    for (int i = 0; i < 4096; ++i) groups += "," + std::to_string(half * 4096 + i);
    client->result("svcRegResult", R"({"kind":12,"result":0,"groups":[)" + groups.substr(1) + "]}");
  }
  const long atRest = daemon->status("VmHWM");
  constexpr std::size_t count = sanitized ? 100 : 500;  // of 75 kB
  std::string batch;
  for (std::size_t i = 0; i < count; ++i) batch += "," + request(1, "status");
  client->send("[" + batch.substr(1) + "]");
  const auto other = connect();
  for (int round = 0; round < 5; ++round) other->result("status");
  expectGrowthBelow(24 * 1024, atRest);
  const std::string line = client->readLine();
  std::size_t replies = 0;
  for (std::size_t at = 0; (at = line.find("\"pid\":", at)) != std::string::npos; ++at) ++replies;
  EXPECT_EQ(replies, count);
  expectGrowthBelow(24 * 1024, atRest);
}

// A get of many key blocks is refused, and one of as many as there may be answered.
TEST_F(OverloadTest, KeyBlocksGroupsAndBatchesAreCounted) {
  start("--group 111f --quiet");
  // Rows of all keys cost no more together than one by one.
  const long ticks = daemon->processorTicks();
  client->result("get", R"({"recordId":"0x111f000e","wildcardAllowed":true,"queryKeys":)" +
                            list(4096, R"("0006000101000201")") + "}");
  EXPECT_LE(daemon->processorTicks() - ticks, sanitized ? 2000 : 200);
  for (const std::size_t past : {0U, 1U}) {
    const json::object get = client->call(
        "get", R"({"recordId":"0x111f0007","batchSize":10,"wildcardAllowed":true,"queryKeys":)" +
                   list(4096 + past, R"("000c00010100020000")") + "}");
    const json::object outcome = client->call(
        "svcRegResult", R"({"kind":14,"result":0,"groups":)" + list(4096 + past, "1") + "}");
    for (const json::object& reply : {get, outcome}) {
      EXPECT_TRUE(past == 0 ? reply.contains("result") : reply.at("error").at("code") == -32602);
    }
    client->send(list(4096 + past, "1"));
    EXPECT_EQ(client->readLine().starts_with('['), past == 0);
  }
}

}  // namespace
