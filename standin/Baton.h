// Who runs the socket: the callback thread, or, while a callback is away, the main thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <utility>

#include "standin/MainLoop.h"

namespace standin {

/// A mutex that the callback thread holds at all times, also while it waits for events, and leaves
/// in one place: around a callback. A callback that does not come back soon is seen by the main
/// thread, which looks now and then, and only while there are callbacks.
class Baton {
 public:
  // Callback thread.
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

  /// Runs a callback without the baton. `wake()` ends a wait for events of the main thread.
  template <typename Callback, typename Wake>
  void without(Callback&& callback, Wake&& wake) {
    const Away away(*this, wake);
    callback();
  }

  /// The running callback will not be back soon. From any thread.
  void announcePause() {
    pausing_ = true;
    wakeMain();
  }

  // Main thread.

  /// Milliseconds until it should look again; -1 while there are no callbacks.
  int patience() {
    const auto now = std::chrono::steady_clock::now();
    if (number_ != lastNumber_) {
      lastNumber_ = number_;
      lastChange_ = now;
    }
    if (callbackIsAway() || now - lastChange_ < interest) return tick;
    mainRests_ = true;
    // A callback that has begun meanwhile has not seen that the main thread rests.
    return number_ != lastNumber_ ? tick : -1;
  }

  /// Takes the baton where a callback pauses or has been away since the last look; `giveBack`
  /// follows.
  bool takeOver() {
    const bool changed = look();
    if (!isOdd(seen_) || (changed && !pausing_)) return false;
    // First, so that a callback that comes back now wakes the wait that follows. One that is back
    // already keeps the baton for as long as nothing happens: that is not waited for.
    standsIn_ = true;
    if (mutex_.try_lock()) return true;
    standsIn_ = false;
    return false;
  }
  /// Whether the callback for which it has the baton is still away.
  bool isAway() const { return number_ == seen_; }
  void giveBack() {
    standsIn_ = false;
    mutex_.unlock();
  }

  /// Whether the main thread has the baton, or is about to. From any thread.
  bool mainStandsIn() const { return standsIn_; }
  /// Whether a callback is away. From any thread.
  bool callbackIsAway() const { return isOdd(number_); }

 private:
  static constexpr int tick = 10;  // milliseconds
  static constexpr std::chrono::seconds interest{1};

  template <typename Wake>
  class Away {
   public:
    Away(Baton& baton, Wake& wake) : baton_(baton), wake_(wake) {
      if (baton_.pausing_) baton_.pausing_ = false;
      ++baton_.number_;
      if (baton_.mainRests_ && baton_.mainRests_.exchange(false)) wakeMain();
      baton_.mutex_.unlock();
    }
    ~Away() {
      // Before it locks again: whoever has the baton meanwhile gives it back without being asked.
      ++baton_.number_;
      if (baton_.standsIn_) wake_();
      baton_.mutex_.lock();
    }
    Away(const Away&) = delete;
    Away& operator=(const Away&) = delete;

   private:
    Baton& baton_;
    Wake& wake_;
  };

  static bool isOdd(std::uint64_t number) { return number % 2 != 0; }

  /// Whether the number has changed since the last look.
  bool look() {
    const std::uint64_t number = number_;
    return number != std::exchange(seen_, number);
  }

  std::mutex mutex_;
  std::atomic<std::uint64_t> number_{0};  ///< odd while a callback is away
  std::atomic<bool> mainRests_{false};
  std::atomic<bool> pausing_{false};
  std::atomic<bool> standsIn_{false};
  std::uint64_t seen_ = 0;        ///< when `takeOver` looked
  std::uint64_t lastNumber_ = 0;  ///< when `patience` looked
  std::chrono::steady_clock::time_point lastChange_{};
};

}  // namespace standin
