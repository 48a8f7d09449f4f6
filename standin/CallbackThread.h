// The thread on which every callback runs, and what waits for it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace standin {

/// Runs jobs one at a time: automatic ones first, then those of the lanes, which take turns. A
/// lane holds the jobs of one connection, in order, and rests while too many of its reply bytes
/// wait to be sent. All operations may be called from any thread.
class CallbackThread {
 public:
  using Job = std::function<void()>;

  class Lane {
   public:
    /// Reply bytes that could be sent and are not yet, kept by the main thread.
    std::atomic<std::size_t> unsentBytes{0};

   private:
    friend class CallbackThread;
    struct Waiting {
      Job job;
      bool withdrawable;
    };
    std::deque<Waiting> jobs_;
  };

  /// A lane with `laneLimit` unsent bytes or more rests.
  explicit CallbackThread(std::size_t laneLimit) : laneLimit_(laneLimit) {}
  ~CallbackThread() {
    stop(std::chrono::milliseconds(0));
    join();
  }
  CallbackThread(const CallbackThread&) = delete;
  CallbackThread& operator=(const CallbackThread&) = delete;

  /// Starts the thread. `afterAutomatic` runs on it once, when the automatic jobs posted so far,
  /// and those that they posted, are done; jobs of lanes wait for that.
  void start(Job afterAutomatic);

  void postAutomatic(Job job);
  void post(const std::shared_ptr<Lane>& lane, Job job, bool withdrawable);

  /// Drops the withdrawable jobs of a lane that have not begun.
  void withdraw(Lane& lane);

  /// To be called when the unsent bytes of a lane have fallen below the limit.
  void wake();

  /// Drops the jobs that have not begun, and waits for the running one; false when that takes
  /// longer than `patience`.
  bool stop(std::chrono::milliseconds patience);

  /// Waits for the thread's end, which `stop` has asked for.
  void join();

 private:
  void run();
  bool takeNext(Job& job);

  const std::size_t laneLimit_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> automatic_;
  std::list<std::shared_ptr<Lane>> waiting_;  ///< lanes that have jobs, in turn
  Job afterAutomatic_;                        ///< empty once it has run
  bool stopping_ = false;
  std::condition_variable hasEnded_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace standin
