// Drives a daemon for some time with many clients at once, and looks at what only time and numbers
// show: that each connection gets its own replies in order, that subscribers see the same, that
// memory and descriptors stay, and that a stop is clean. One thread. Exit status 0 when all was
// right, 1 when something was wrong, 2 for a usage error.
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/harness/Harness.h"
#include "tests/harness/LineClient.h"
#include "tests/harness/PrivateFolder.h"

using namespace std::chrono_literals;

namespace {

/// Memory settles for a minute before it is compared.
constexpr auto shortestForMemory = std::chrono::seconds(90);

/// The system under test is wrong: the soak ends.
struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The longest that anything may take.
constexpr auto patience = 20s;
constexpr int patienceMilliseconds = std::chrono::milliseconds(patience).count();
constexpr auto warmUp = 60s;
constexpr long memoryGrowth = 1024;  // KiB
constexpr std::size_t clientCount = 8, largeReplies = 8;
constexpr std::size_t lineLimit = std::size_t{1024} * 1024;

constexpr const char* daemonOptions =
    " --group 0x111d:0x111e:0x111f:0x0801 --set-update L:1234:abcd --event-sim 15 --set-ind "
    "--send-deferred-set-rsp";

// What clients ask, and how the reply ends whatever else happens.
const struct {
  const char *method, *params, *end;
} requests[] = {
    {"get", R"({"recordId":"0x111f0003"})",
     R"("records":["111f0003000400000001","111f0003000400020003","111f0003000400040005"]}})"},
    {"get", R"({"recordId":"0x111f0007","batchSize":2})",
     R"("records":["111f0007001000000000000000000000000000000000",)"
     R"("111f0007001000000000000000010000000000000001"]}})"},
    {"get", R"({"recordId":"0x22220001"})",
     R"("errorString":"Invalid record id 0x22220001","records":[]}})"},
    {"get", R"({"recordId":"0x111e0001"})", R"("]}})"},
    {"get", R"({"recordId":"0x111f0008","clearOnRead":true})", R"("]}})"},
    {"getKeys",
     R"({"recordId":"0x111f000e","queryKeys":"000600010100020a","wildcardAllowed":true,)"
     R"("batchSize":1})",
     R"("keys":["001000010004000000010002000400000001"],"lastBatch":false}})"},
    {"set", R"({"record":"111f0002000401020304","opType":4,"applyAction":3})",
     R"("applyAction":3}})"},
    {"set", R"({"record":"111d0004000a00010002000300040005","opType":1})", R"("applyAction":3}})"},
    {"set", R"({"record":"111f0004000101","opType":5})", R"(}})"},
    {"set", R"({"record":"111f0010000101","opType":5,"transactionId":7})", R"("applyAction":0}})"},
    {"notify", R"({"record":"111f0002000401020304","opType":4})", R"("errorString":""}})"},
    {"clear", R"({"recordId":"0x111e0001"})", R"("errorString":""}})"},
    {"initProvComplete", "{}", R"("result":0,"resultText":"Success"}})"},
    {"no-such", "{}", R"(}})"},
    {"set", R"({"record":"00","opType":1})", R"(}})"},
};

std::string excerpt(std::string_view text) { return std::string(text.substr(0, 240)); }

class Soak {
 public:
  /// Starts the daemon, which serves `socketPath`.
  Soak(const std::string& program, std::chrono::seconds length, unsigned seed,
       const std::string& socketPath)
      : length_(length),
        seed_(seed),
        socketPath_(socketPath),
        // A line for each request is too much to keep.
        daemon_("-u KOR_OAM_AUTO -u KOR_OAM_CLOCK -u ZEL_LOG_LEVEL KOR_OAM_SOCKET=" + socketPath +
                    " sh -c 'exec " + program + daemonOptions + " >/dev/null'",
                socketPath + ".daemon", {}) {}

  void run() {
    open();
    const auto end = start_ + length_;
    while (Clock::now() < end) {
      drive(std::min(end, Clock::now() + 5s));
      checkPoint();
    }
    stop();
  }

  void printFigures() const {
    const auto print = [](const char* name, auto figure, const std::string& rest = "") {
      std::printf("%-13s %10lld%s\n", name, static_cast<long long>(figure), rest.c_str());
    };
    print("seconds", length_.count(), "  seed " + std::to_string(seed_));
    print("replies", replies_);
    for (const auto& [method, count] : seen_) print("notifications", count, " " + method);
    print("strays", strays_);
    if (length_ < shortestForMemory) {
      print("memory", lastMemory_, " KiB at the end; not checked: shorter than 90 s");
    } else {
      print("memory", leastMemory_,
            " to " + std::to_string(mostMemory_) + " KiB after the warm-up");
    }
    print("wrong", 0);
  }

 private:
  using Clock = std::chrono::steady_clock;

  /// A reply that must come next on its connection: how it begins and how it ends. What the last
  /// set of any client has left may be between.
  struct Expected {
    std::string begin, end;
  };
  struct Client {
    explicit Client(const std::string& path) : link(path) {}
    LineClient link;
    std::deque<Expected> unanswered;
    std::uint64_t lastId = 0;
  };
  struct Subscriber {
    explicit Subscriber(const std::string& path) : link(path) {}
    LineClient link;
    std::deque<std::string> ahead;  ///< of the other one
  };

  void open() {
    for (const auto deadline = start_ + patience; !control_;) {
      checkRuns();
      try {
        control_ = std::make_unique<LineClient>(socketPath_);
      } catch (const std::system_error&) {
        if (Clock::now() > deadline) throw Wrong("the daemon does not listen");
        std::this_thread::sleep_for(10ms);
      }
    }
    control_->send("{\"jsonrpc\":\"2.0\",\"id\":0,\"method\":\"status\"}\n");
    awaitLine(*control_);
    firstDescriptors_ = daemon_.descriptors();
    for (int i = 0; i < 2; ++i) {
      subscribers_.push_back(std::make_unique<Subscriber>(socketPath_));
      LineClient& link = subscribers_.back()->link;
      link.send("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"subscribe\"}\n");
      awaitLine(link);
    }
    while (clients_.size() < clientCount) clients_.push_back(std::make_unique<Client>(socketPath_));
  }

  void drive(Clock::time_point until) {
    auto nextStray = Clock::now(), nextLarge = nextStray + 1s;
    const auto isTime = [](Clock::time_point& next, Clock::duration period) {
      if (Clock::now() < next) return false;
      next += period;
      return true;
    };
    lastReply_ = Clock::now();
    while (Clock::now() < until) {
      for (const auto& client : clients_) {
        if (client->unanswered.empty()) askSomething(*client);
      }
      if (isTime(nextStray, 250ms)) doStray();
      if (isTime(nextLarge, 2500ms)) askForLargeReply(*clients_[engine_() % clientCount]);
      poll();
    }
  }

  // One request, or many at once, or many in a batch; some without an id, which have no reply.
  void askSomething(Client& client) {
    const auto kind = engine_() % 8;
    std::string text;
    if (kind == 0) {
      for (int i = 0; i < 16; ++i) {
        const auto& one = requests[engine_() % std::size(requests)];
        text += (text.empty() ? "[" : ",") + request(client, one.method, one.params, one.end);
      }
      // One line answers all: the first one's beginning, and the last one's end.
      const std::string begin = "[" + client.unanswered.front().begin;
      client.unanswered = {{begin, client.unanswered.back().end + "]"}};
      text += "]\n";
    } else {
      for (int i = kind == 1 ? 32 : 1; i != 0; --i) {
        const auto& one = requests[engine_() % std::size(requests)];
        text += request(client, one.method, one.params, one.end) + "\n";
        if (engine_() % 8 == 0) {
          text += "{\"jsonrpc\":\"2.0\",\"method\":\"svcRegInd\"}\n";
          ++registrations_;
        }
      }
    }
    client.link.send(text);
  }

  std::string request(Client& client, const char* method, const std::string& params,
                      const std::string& end) {
    const std::string begin =
        "{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(++client.lastId) + ",";
    client.unanswered.push_back({begin, end});
    return begin + "\"method\":\"" + method + "\",\"params\":" + params + "}";
  }

  void askForLargeReply(Client& client) {
    client.link.send(request(client, "get", R"({"recordId":"0x111f0007","batchSize":65535})",
                             R"("111f00070010000000000199000400000199)"
                             R"(00000004"]}})") +
                     "\n");
  }

  void poll(int milliseconds = 100) {
    std::vector<pollfd> waiting;
    for (const auto& one : subscribers_) {
      waiting.push_back({one->link.descriptor(), one->link.events(), 0});
    }
    for (const auto& one : clients_) {
      waiting.push_back({one->link.descriptor(), one->link.events(), 0});
    }
    ::poll(waiting.data(), waiting.size(), milliseconds);
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].revents == 0) continue;
      const bool subscribed = i < subscribers_.size();
      LineClient& link =
          subscribed ? subscribers_[i]->link : clients_[i - subscribers_.size()]->link;
      const bool open = link.transfer();
      while (const auto line = link.nextLine()) {
        subscribed ? notified(i, *line) : answered(*clients_[i - subscribers_.size()], *line);
      }
      if (!open) {
        std::this_thread::sleep_for(100ms);
        checkRuns();
        throw Wrong("a connection ends");
      }
    }
    const bool busy = std::any_of(clients_.begin(), clients_.end(),
                                  [](const auto& client) { return !client->unanswered.empty(); });
    if (busy && Clock::now() > lastReply_ + patience) throw Wrong("no reply comes");
  }

  void answered(Client& client, std::string_view reply) {
    lastReply_ = Clock::now();
    if (client.unanswered.empty()) throw Wrong("a reply to nothing: " + excerpt(reply));
    const auto& [begin, end] = client.unanswered.front();
    if (!reply.starts_with(begin) || !reply.ends_with(end)) {
      throw Wrong("expected " + begin + "..." + end + "\n  got " + excerpt(reply));
    }
    client.unanswered.pop_front();
    ++replies_;
  }

  // Each line is at the front of what the other has seen, or goes after what this one has.
  void notified(std::size_t subscriber, std::string_view line) {
    std::deque<std::string>& other = subscribers_[1 - subscriber]->ahead;
    if (other.empty()) {
      subscribers_[subscriber]->ahead.emplace_back(line);
      constexpr std::string_view head = R"("method":")";
      const std::size_t begin = line.find(head) + head.size();
      ++seen_[std::string(line.substr(begin, line.find('"', begin) - begin))];
      return;
    }
    if (other.front() != line) {
      throw Wrong("one subscriber sees\n  " + other.front() + "\nthe other one\n  " +
                  std::string(line));
    }
    other.pop_front();
  }

  // A client that does not behave.
  void doStray() {
    const std::string get = R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"recordId":)";
    LineClient link(socketPath_);
    ++strays_;
    switch (engine_() % 6) {
      case 0:
        break;
      case 1:
        link.send(get);
        break;
      case 2:
        link.send(get + "\"0x111f0007\",\"batchSize\":65535}}\n");
        link.wait(100);
        break;
      case 3:
        for (int i = 0; i < 32; ++i) link.send(get + "\"0x111f000b\"}}\n");
        break;
      case 4:
        link.send(std::string(lineLimit + 1, ' ') + "\n");
        awaitLine(link);
        awaitEnd(link);
        break;
      default:
        for (int i = 0; i < 4; ++i) link.send(get + "\"0x111f000b\"}}\n");
        link.endOutput();
        for (int i = 0; i < 4; ++i) awaitLine(link);
        awaitEnd(link);
    }
  }

  std::string awaitLine(LineClient& link) {
    const auto line = link.awaitLine(patienceMilliseconds);
    if (!line) throw Wrong("a connection ends instead of a reply");
    return std::string(*line);
  }

  void awaitEnd(LineClient& link) {
    const auto line = link.awaitLine(patienceMilliseconds);
    if (line) throw Wrong("before the end: " + excerpt(*line));
  }

  // While no client waits for anything, the subscribers have seen all that was provoked, and the
  // same.
  void checkPoint() {
    const auto settled = [&] {
      // The first registration came before the subscribers did.
      return seen_["svcRegInd"] == registrations_ &&
             std::all_of(clients_.begin(), clients_.end(),
                         [](const auto& client) { return client->unanswered.empty(); }) &&
             std::all_of(subscribers_.begin(), subscribers_.end(),
                         [](const auto& one) { return one->ahead.empty(); });
    };
    for (const auto deadline = Clock::now() + patience; !settled();) {
      if (Clock::now() > deadline) throw Wrong("replies or notifications are missing");
      poll();
    }
    checkRuns();
    checkDescriptors(subscribers_.size() + clients_.size());
    checkMemory();
  }

  // The control connection is not among `connections`.
  void checkDescriptors(std::size_t connections) {
    const long expected = firstDescriptors_ + static_cast<long>(connections);
    for (const auto deadline = Clock::now() + 5s; daemon_.descriptors() != expected;) {
      if (Clock::now() > deadline) {
        throw Wrong("the daemon has " + std::to_string(daemon_.descriptors()) +
                    " descriptors, expected " + std::to_string(expected));
      }
      poll(20);
    }
  }

  void checkRuns() {
    if (daemon_.ended()) {
      throw Wrong("the daemon has ended by itself, with " + std::to_string(daemon_.wait().status));
    }
  }

  void checkMemory() {
    lastMemory_ = daemon_.status("VmRSS");
    if (Clock::now() < start_ + warmUp || length_ < shortestForMemory) return;
    if (leastMemory_ == 0) leastMemory_ = lastMemory_;
    // What is free goes back at rest.
    for (const auto deadline = Clock::now() + 5s; lastMemory_ > leastMemory_ + memoryGrowth;) {
      if (Clock::now() > deadline) {
        throw Wrong("the daemon's memory has grown from " + std::to_string(leastMemory_) + " to " +
                    std::to_string(lastMemory_) + " KiB");
      }
      poll(20);
      lastMemory_ = daemon_.status("VmRSS");
    }
    leastMemory_ = std::min(leastMemory_, lastMemory_);
    mostMemory_ = std::max(mostMemory_, lastMemory_);
  }

  // What was made still comes, and in order; the rest is refused or ends, and nothing is cut.
  void stop() {
    subscribers_.clear();
    while (clients_.size() > 1) clients_.pop_back();
    checkDescriptors(1);
    Client& client = *clients_.front();
    for (std::size_t i = 0; i < largeReplies; ++i) askForLargeReply(client);
    client.link.wait(patienceMilliseconds);
    daemon_.signal(SIGTERM);
    bool refused = false;
    while (!client.unanswered.empty()) {
      const bool open = client.link.transfer();
      while (const auto line = client.link.nextLine()) {
        if (line->find("\"code\":-32001") != std::string_view::npos &&
            line->starts_with(client.unanswered.front().begin)) {
          refused = true;
          client.unanswered.pop_front();
        } else {
          if (refused) throw Wrong("after the stop: " + excerpt(*line));
          answered(client, *line);
        }
      }
      if (!open) break;
      if (!client.link.wait(5000)) throw Wrong("the stop ends no connection");
    }
    awaitEnd(client.link);
    const int status = daemon_.wait().status;
    if (status != 0) throw Wrong("the daemon ended with " + std::to_string(status) + ", not 0");
  }

  const std::chrono::seconds length_;
  const unsigned seed_;
  const std::string socketPath_;
  const Clock::time_point start_ = Clock::now();
  harness::Process daemon_;
  std::mt19937 engine_{seed_};
  std::unique_ptr<LineClient> control_;
  std::vector<std::unique_ptr<Subscriber>> subscribers_;
  std::vector<std::unique_ptr<Client>> clients_;
  Clock::time_point lastReply_ = start_;

  std::uint64_t replies_ = 0, strays_ = 0, registrations_ = 0;
  std::map<std::string, std::uint64_t> seen_;  ///< notifications, by method
  long firstDescriptors_ = 0;                  ///< with the control connection alone
  long leastMemory_ = 0, mostMemory_ = 0, lastMemory_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  // Deferred sets, of which there is one in two seconds, have ids of 16 bits.
  const long seconds = argc < 3 ? 0 : std::atol(argv[2]);
  if (seconds < 1 || seconds > 100000) {
    std::puts("usage: oam_soak PROGRAM SECONDS [SEED], with 1 to 100000 seconds");
    return 2;
  }
  const auto seed = argc < 4 ? std::random_device()() : static_cast<unsigned>(std::atol(argv[3]));
  try {
    const PrivateFolder folder;
    Soak soak(argv[1], std::chrono::seconds(seconds), seed, folder.socketPath());
    soak.run();
    soak.printFigures();
    return 0;
  } catch (const std::exception& wrong) {
    std::printf("WRONG, with seed %u: %s\n", seed, wrong.what());
    return 1;
  }
}
