// How oamctl ends: its exit statuses, and what is thrown to end it early.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

/// Exit statuses of oamctl.
enum ExitStatus : int {
  exitSuccess = 0,
  exitOtherResult = 1,
  exitUsage = 2,
  exitNoDaemon = 3,
  exitTimedOut = 4,
  exitNonsense = 5,
  exitNoOutput = 6,
};

/// Ends a command with a message on standard error.
struct Failure {
  int exitStatus;
  std::string message;
  std::int64_t code = 0;  ///< of the error with which the daemon's side refused a request
};

/// What the user typed is wrong; exit status 2.
struct UsageError {
  std::string message;
};

/// Throws the Failure of a reply that is not as it must be.
[[noreturn]] inline void nonsense(const std::string& what) {
  throw Failure{exitNonsense, "the reply makes no sense: " + what};
}

}  // namespace tools
