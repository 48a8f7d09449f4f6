// Keeps requests in flight on a number of connections, checks every reply and times it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/harness/LineClient.h"

namespace load {

using Clock = std::chrono::steady_clock;

struct Options {
  std::size_t inFlight = 1;  ///< requests of each connection
  std::chrono::seconds length{};
  std::string method, params;
  std::size_t redisBytes = 0;  ///< of a value, of a Redis server; 0 for a daemon
  std::size_t redisRows = 0;   ///< values of a list; 0 for a value alone
};

using Links = std::vector<std::unique_ptr<LineClient>>;

/// Requests and their replies. A wrong one is a std::runtime_error.
class RequestLoad {
 public:
  RequestLoad(const Options& options, Links links);

  void run();
  void printFigures();

 private:
  struct Connection {
    std::unique_ptr<LineClient> link;
    std::uint64_t nextId;  ///< to be answered
    std::deque<Clock::time_point> sent;
  };

  std::string request(std::uint64_t id) const;
  void learnReply();
  void storeInRedis();
  std::optional<std::string_view> nextReply(Connection& connection) const;
  void send(Connection& connection, std::size_t count);
  void receive(Connection& connection);
  bool isReply(std::string_view line, std::uint64_t id) const;

  const Options options_;
  std::vector<Connection> connections_;
  std::string afterId_;  ///< what a daemon's reply holds there
  std::string redisRequest_, redisReply_;
  std::size_t inFlight_ = 0;
  Clock::time_point end_;
  Clock::duration elapsed_{};
  std::vector<std::uint32_t> nanoseconds_;  ///< per reply
};

/// Notifications to one subscriber. The cheapest way for a daemon to send many is the service
/// registration: a request without id, and three notifications.
class NotificationLoad {
 public:
  NotificationLoad(const Options& options, std::unique_ptr<LineClient> provoker,
                   std::unique_ptr<LineClient> subscriber);

  void run();
  void printFigures() const;

 private:
  static constexpr std::size_t perRequest = 3;

  void learnNotifications();
  void provoke(std::size_t requests);

  const Options options_;
  std::unique_ptr<LineClient> provoker_, subscriber_;
  std::string expected_[perRequest];
  std::uint64_t received_ = 0;
  Clock::duration elapsed_{};
};

}  // namespace load
