#include "tests/soak/TestedDaemon.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>

#include "tests/soak/Wrong.h"

namespace soak {
namespace {

std::string endText(int status) {
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

TestedDaemon::TestedDaemon(const std::string& program, const std::vector<std::string>& options,
                           const std::string& socketPath, const std::string& output) {
  ::setenv("KOR_OAM_SOCKET", socketPath.c_str(), 1);
  for (const char* name : {"KOR_OAM_AUTO", "ZEL_LOG_LEVEL"}) ::unsetenv(name);
  std::vector<std::string> words = {program};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> arguments(words.size() + 1);  // the last one is null
  std::transform(words.begin(), words.end(), arguments.begin(),
                 [](std::string& word) { return word.data(); });
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  const int error =
      ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), program);
}

TestedDaemon::~TestedDaemon() {
  if (ended_) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

long TestedDaemon::residentMemory() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  for (std::string word; status >> word;) {
    long kibibytes = 0;
    if (word == "VmRSS:" && status >> kibibytes) return kibibytes;
  }
  throw Wrong("the daemon has no memory");
}

long TestedDaemon::descriptors() const {
  return std::distance(std::filesystem::directory_iterator("/proc/" + std::to_string(pid_) + "/fd"),
                       {});
}

void TestedDaemon::checkRuns() {
  int status = 0;
  if (::waitpid(pid_, &status, WNOHANG) != pid_) return;
  ended_ = true;
  throw Wrong("the daemon has ended by itself: " + endText(status));
}

void TestedDaemon::terminate() const { ::kill(pid_, SIGTERM); }

void TestedDaemon::checkExit() {
  for (int tries = 0; tries < 500; ++tries) {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      ended_ = true;
      if (status != 0)
        throw Wrong("the daemon was to stop with exit status 0, got " + endText(status));
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw Wrong("the daemon does not stop within 5 seconds");
}

}  // namespace soak
