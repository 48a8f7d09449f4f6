// Which set the daemon has served last. Its result is that of the requests of all clients until the
// next set. Across connections the order is known only where one was answered before the other was
// sent: times count what has been sent and received.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tests/soak/Expected.h"

namespace soak {

class LastSet {
 public:
  using Time = std::uint64_t;

  void sent(SetKind kind, Time now) { live_.push_back({kind == SetKind::deferring, now, never}); }

  /// The set that was sent at `when` has been answered.
  void replied(Time when, Time now) {
    for (Set& set : live_) {
      if (set.sent == when) set.replied = now;
    }
    // What was answered before this one was sent is the last one no more.
    std::erase_if(live_, [&](const Set& set) {
      if (set.replied >= when) return false;
      until_[set.deferred] = now;
      return true;
    });
  }

  /// What a request that was sent at `when` and is answered now may have met.
  Possible possible(Time when) const {
    const auto is = [&](bool deferred) {
      return until_[deferred] > when ||
             std::any_of(live_.begin(), live_.end(),
                         [&](const Set& set) { return set.deferred == deferred; });
    };
    return {is(false), is(true)};
  }

 private:
  static constexpr Time never = ~Time{0};
  struct Set {
    bool deferred;
    Time sent, replied;
  };
  std::vector<Set> live_ = {{false, 0, 0}};  ///< each may be the last; at first there was none
  Time until_[2] = {0, 0};  ///< when one without and one with deferral was the last
};

}  // namespace soak
