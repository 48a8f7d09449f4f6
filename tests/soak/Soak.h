// Drives a daemon for some time with everything that clients do, and compares all that comes back
// with what it must be. One thread; whatever is wrong is thrown as a Wrong.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/harness/LineClient.h"
#include "tests/soak/LastSet.h"
#include "tests/soak/Notifications.h"
#include "tests/soak/Requests.h"
#include "tests/soak/TestedDaemon.h"

namespace soak {

/// Memory settles for a minute before it is compared.
constexpr auto shortestForMemory = std::chrono::seconds(90);

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
  using Clock = Notifications::Clock;

  struct Unanswered {
    Line line;
    std::vector<LastSet::Time> sent;  ///< per request
  };
  struct Client {
    Client(const std::string& path, unsigned int number, std::uint32_t seed, Asked& asked)
        : link(path), requests(number, seed, asked) {}
    LineClient link;
    Requests requests;
    std::deque<Unanswered> unanswered;
  };

  void open();
  void connectFirst();
  void crowd();
  void drive(Clock::time_point until);
  void takeTurn(Client& client);
  void send(Client& client, std::vector<Line> lines);
  void send(Client& client, Request request);
  void exchange(Client& client, Request request);
  void poll(int milliseconds = 100);
  void receive(Client& client);
  void answered(Client& client, std::string_view reply);
  void readSubscriber(std::size_t number);
  [[noreturn]] void lost(const char* what);
  void doStray();
  void checkPoint();
  void checkStatus();
  void checkMemory();
  void checkDescriptors(std::size_t connections);
  void awaitNotifications();
  void stop();
  std::unique_ptr<LineClient> connect();

  const SoakOptions options_;
  const std::string socketPath_;
  const Clock::time_point start_ = Clock::now();
  TestedDaemon daemon_;
  std::mt19937 engine_;
  Asked asked_;
  LastSet lastSet_;
  LastSet::Time time_ = 0;
  Notifications notifications_{start_};
  std::unique_ptr<LineClient> control_;
  std::vector<std::unique_ptr<LineClient>> subscribers_;
  std::vector<std::unique_ptr<Client>> clients_;
  Clock::time_point lastReply_ = start_;

  std::map<std::string, std::uint64_t> replies_;  ///< that were right, by method
  std::uint64_t connectionsMade_ = 0, refused_ = 0, cutOff_ = 0, perhapsServed_ = 0;
  long firstDescriptors_ = 0, lastDescriptors_ = 0;  ///< with the control connection alone
  long memoryAfterMinute_ = 0, leastMemory_ = 0, mostMemory_ = 0, lastMemory_ = 0;
};

}  // namespace soak
