// Hands what the constructor writes to the simulator thread, which starts before the options are
// read.
#pragma once

#include <atomic>

class StartUp {
 public:
  /// The constructor has ended, well or not. Called once.
  void finish(bool good) {
    state_.store(good ? State::good : State::failed, std::memory_order_release);
    state_.notify_all();
  }

  /// Waits for `finish`. True when it went well; the caller then sees all that was written before.
  bool awaitGood() const {
    state_.wait(State::running, std::memory_order_acquire);
    return state_.load(std::memory_order_acquire) == State::good;
  }

 private:
  enum class State { running, good, failed };
  std::atomic<State> state_{State::running};
};
