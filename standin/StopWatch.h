// The end of a process that does not end by itself: a thread may hang in a write that nobody reads.
#pragma once

#include <condition_variable>
#include <mutex>

namespace standin {

class StopWatch {
 public:
  /// Never destroyed: its thread may outlive everything else.
  static StopWatch& instance();

  /// From now on the stop may take three seconds; then the process ends at once, with status 0.
  /// Where no thread can be had for it, the stop takes as long as it takes. Called once.
  void start();

  /// The process has ended by itself.
  void callOff();

 private:
  void watch();

  std::mutex mutex_;
  std::condition_variable changed_;
  bool calledOff_ = false;
};

}  // namespace standin
