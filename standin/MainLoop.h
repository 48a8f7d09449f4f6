// What the main thread does between the start and the end of the process.
#pragma once

#include <atomic>

namespace standin {

/// What the main thread has to do beside signals. All on the main thread.
class MainDuty {
 public:
  /// Milliseconds for which the main thread may wait for a signal; -1 without end.
  virtual int patience() = 0;
  /// What is to be done now. Returns when `wakeDescriptor()` is readable or nothing is left.
  virtual void attend() = 0;
  /// The process stops. Comes once, before its main loop returns.
  virtual void end() = 0;

 protected:
  ~MainDuty() = default;
};

/// The one duty; lives until `end` has returned.
void setMainDuty(MainDuty* duty);

/// Has the main thread look at signals and at its duty. From any thread, also in a signal handler.
void wakeMain();
/// Readable once somebody has called `wakeMain`.
int wakeDescriptor();

/// Whether the process is stopping. From any thread; never waits.
bool stopping();

}  // namespace standin
