// More than the daemon should take at once.
#include <algorithm>

#include "Harness.h"

using namespace harness;

namespace {

const std::string stats5 = R"({"recordId":"0x111f000b"})";

class OverloadTest : public SystemTest {
 protected:
  /// What the daemon's memory has grown to since `atRest`, in KiB.
  void expectGrowthBelow(long limit, long atRest) const {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(daemon->status("VmHWM") - atRest, limit);
#else
    static_cast<void>(limit), static_cast<void>(atRest);
#endif
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
  EXPECT_LE(made() - before, 4U);  // the others were withdrawn
}

TEST_F(OverloadTest, AFloodIsHeldBackUntilItIsReadAndAllOfItIsAnswered) {
  start("--group 111f --quiet");
  const long atRest = daemon->status("VmHWM");
  std::string requests;
  for (int id = 1; id <= 100'000; ++id) requests += request(id, "get", stats5) + "\n";
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
  std::string requests;
  for (int id = 1; id <= 50'000; ++id) requests += request(id, "get", stats5) + "\n";
  std::vector<std::unique_ptr<Client>> others;
  for (int i = 0; i < 2; ++i) {
    others.push_back(connect());
    others.back()->sendUntilFull(requests);
  }
  daemon->signal(SIGTERM);
  for (const auto& other : others) other->sendUntilFull(requests);
  EXPECT_EQ(daemon->wait(), (Outcome{0, daemon->out(), ""}));
}

}  // namespace
