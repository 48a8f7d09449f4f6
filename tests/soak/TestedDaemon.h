// The daemon as a process of its own: what it takes of the system, and how it ends.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace soak {

class TestedDaemon {
 public:
  /// Starts the program; it serves `socketPath`, and what it writes goes to the file `output`.
  TestedDaemon(const std::string& program, const std::vector<std::string>& options,
               const std::string& socketPath, const std::string& output);
  /// Kills what still runs.
  ~TestedDaemon();
  TestedDaemon(const TestedDaemon&) = delete;
  TestedDaemon& operator=(const TestedDaemon&) = delete;

  pid_t pid() const { return pid_; }
  /// Memory that is resident, in KiB.
  long residentMemory() const;
  long descriptors() const;
  /// Throws a Wrong when it runs no more.
  void checkRuns();
  void terminate() const;
  /// Waits for the end; throws a Wrong unless the exit status is 0.
  void checkExit();

 private:
  pid_t pid_ = 0;
  bool ended_ = false;
};

}  // namespace soak
