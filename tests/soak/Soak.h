// Drives a daemon for some time with many clients at once, and looks at what only time and numbers
// show: that each connection gets its own replies in order, that subscribers see the same, that
// memory and descriptors stay, and that a stop is clean. One thread; what is wrong is a Wrong.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/harness/Harness.h"
#include "tests/harness/LineClient.h"

namespace soak {

/// Memory settles for a minute before it is compared.
constexpr auto shortestForMemory = std::chrono::seconds(90);

/// The system under test is wrong: the soak ends.
struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct SoakOptions {
  std::string program, output;
  std::chrono::seconds length{};
  std::uint32_t seed = 0;
};

class Soak {
 public:
  /// Starts the daemon, which serves `socketPath`.
  Soak(const SoakOptions& options, const std::string& socketPath);

  void run();
  void printFigures() const;

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

  void open();
  void drive(Clock::time_point until);
  void askSomething(Client& client);
  std::string request(Client& client, const char* method, const std::string& params,
                      const std::string& end);
  void askForLargeReply(Client& client);
  void poll(int milliseconds = 100);
  void answered(Client& client, std::string_view reply);
  void notified(std::size_t subscriber, std::string_view line);
  void doStray();
  std::string awaitLine(LineClient& link);
  void awaitEnd(LineClient& link);
  void checkPoint();
  void checkDescriptors(std::size_t connections);
  void checkMemory();
  void checkRuns();
  void stop();

  const SoakOptions options_;
  const std::string socketPath_;
  const Clock::time_point start_ = Clock::now();
  harness::Process daemon_;
  std::mt19937 engine_;
  std::unique_ptr<LineClient> control_;
  std::vector<std::unique_ptr<Subscriber>> subscribers_;
  std::vector<std::unique_ptr<Client>> clients_;
  Clock::time_point lastReply_ = start_;

  std::uint64_t replies_ = 0, strays_ = 0, registrations_ = 0;
  std::map<std::string, std::uint64_t> seen_;  ///< notifications, by method
  long firstDescriptors_ = 0;                  ///< with the control connection alone
  long leastMemory_ = 0, mostMemory_ = 0, lastMemory_ = 0;
};

}  // namespace soak
