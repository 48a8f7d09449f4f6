// What comes by itself. Two subscribers must see the same in the same order; what the requests
// provoke is counted, what the simulator sends is compared with its schedule, in time and content.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>

namespace soak {

class Notifications {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t subscribers = 2;

  /// The daemon has been started at `start`.
  explicit Notifications(Clock::time_point start) : due_(start + std::chrono::seconds(5)) {}

  /// All throw a Wrong.
  void received(std::size_t subscriber, std::string_view line);
  void checkOverdue() const;
  /// Nobody is ahead of the other.
  void checkEven() const;

  /// A set that leaves a deferred response owed, with a higher id than all before.
  void deferringSetSent(std::uint16_t transactionId) { lastSent_ = transactionId; }
  void deferringSetReplied(std::uint16_t transactionId) {
    replied_.emplace_back(transactionId, Clock::now());
  }

  /// What the first subscriber has seen, by method.
  const std::map<std::string, std::uint64_t>& seen() const { return seen_; }

 private:
  void checkContent(std::string_view line);
  void checkSimulated(const std::string& method, std::string_view line);
  void checkDeferred(std::string_view line);
  std::uint16_t owed(Clock::time_point before) const;

  std::array<std::deque<std::string>, subscribers> waiting_;
  std::map<std::string, std::uint64_t> seen_;

  /// The place in the simulator's schedule: the one-shot sequence, then the steps of its passes.
  unsigned int step_ = 0;
  Clock::time_point due_;

  std::deque<std::pair<std::uint16_t, Clock::time_point>> replied_;  ///< deferring sets
  std::uint16_t lastSent_ = 0, lastAnswered_ = 0;
};

}  // namespace soak
