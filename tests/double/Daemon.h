// A daemon on the scripted platform, and the fixture of the tests that use it.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ScriptedPlatform.h"
#include "app/Quorin.h"
#include "platform/LogStream.h"

namespace scripted {

class DaemonTest : public testing::Test {
 protected:
  DaemonTest() { startOver(); }

  void startOver() {
    daemon.reset();
    platform().reset();
  }
  /// Makes the daemon with a command line.
  void make(std::vector<std::string> arguments = {}) {
    commandLine_.emplace(std::move(arguments));
    daemon = std::make_unique<Quorin>(commandLine_->count(), commandLine_->values.data());
    platform().advance(0);  // the simulator thread has come to its first pause
  }

  /// Makes it and confirms the groups of all test records.
  void makeRegistered(std::vector<std::string> arguments = {}) {
    make(std::move(arguments));
    ASSERT_TRUE(daemon->isGood());
    slots().svcRegResult(12, Zel::MGMT_SUCCESS, {0x111d, 0x111e, 0x111f, 0x0801});
    platform().takeSent();
  }

  static Slots& slots() { return platform().slots; }

  std::unique_ptr<Quorin> daemon;

 private:
  std::optional<CommandLine> commandLine_;
};

/// What is written to standard output while it exists.
class StandardOutput {
 public:
  StandardOutput() { testing::internal::CaptureStdout(); }
  ~StandardOutput() {
    if (!taken_) take();
  }
  /// Bytes that have left the buffer of the C library.
  static std::size_t flushed() {
    struct stat status {};
    ::fstat(STDOUT_FILENO, &status);
    return static_cast<std::size_t>(status.st_size);
  }
  std::string take() {
    taken_ = true;
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }

 private:
  bool taken_ = false;
};

}  // namespace scripted
