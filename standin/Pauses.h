// Pauses of the daemon's threads, and the time that passes for them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace standin {

/// Every pause of `Zel::sleepSeconds`. A pause ends when its time has passed, or when the process
/// stops. From any thread.
class Pauses {
 public:
  using Duration = std::chrono::nanoseconds;

  struct Pause {
    bool ofCallback;  ///< of the callback thread
    Duration left;
  };

  /// Never destroyed: a thread may pause while `exit` destroys what is static.
  static Pauses& instance();

  /// Pauses the calling thread.
  void pause(std::chrono::seconds length);
  /// Ends all pauses, and those to come. Callable again without effect.
  void stop();

  /// Marks the calling thread as the callback thread, whose pauses call `onPause` when they begin.
  void callbackThread(std::function<void()> onPause);

  std::vector<Pause> all() const;

  // Time in the hands of a client.

  /// Pauses end only by `pass`, or by the stop.
  void setManual();
  /// From now until `thaw` time passes only by `pass`. `onPause()` is called when a thread begins
  /// a pause or ends.
  void freeze(std::function<void()> onPause);
  void thaw();
  /// Time passes; returns how many pauses that ends.
  std::size_t pass(Duration time);
  /// What the pause that ends next has left; nothing while there is none.
  std::optional<Duration> shortest() const;
  /// Whether every thread that has paused, but for the callback thread, is in a pause or has ended.
  bool othersRest() const;
  /// Whether the callback thread is in a pause.
  bool callbackRests() const;

 private:
  /// On the stack of the thread that pauses, so that a pause never fails.
  struct Entry {
    bool ofCallback;
    Duration end;
    Entry* next;
    bool over = false;
  };

  class Presence;

  Duration now() const;
  std::size_t resting(bool ofCallback) const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Entry* entries_ = nullptr;
  bool stopped_ = false;
  std::thread::id callbackThread_;
  std::function<void()> onPause_;
  std::function<void()> onRest_;
  bool manual_ = false;
  std::optional<Duration> frozen_;  ///< the time of the clock when it was stopped
  std::size_t others_ = 0;          ///< threads that have paused and not ended
  bool hasPaused_ = false;          ///< one of them
};

}  // namespace standin
