// Pauses of the daemon's threads, and the time that passes for them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
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
  /// Pauses are possible again.
  void restart();

  /// Marks the calling thread as the callback thread, whose pauses call `onPause` when they begin.
  void callbackThread(std::function<void()> onPause);

  std::vector<Pause> all() const;

 private:
  /// On the stack of the thread that pauses, so that a pause never fails.
  struct Entry {
    bool ofCallback;
    Duration end;
    Entry* next;
  };

  Duration now() const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Entry* entries_ = nullptr;
  bool stopped_ = false;
  std::thread::id callbackThread_;
  std::function<void()> onPause_;
};

}  // namespace standin
