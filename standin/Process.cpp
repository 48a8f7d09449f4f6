// The process framework: command line, signals, main loop, pauses.
#include "platform/Process.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/program_options/parsers.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "standin/Environment.h"
#include "standin/MainLoop.h"
#include "standin/Pauses.h"
#include "standin/ServiceManager.h"
#include "standin/StandardError.h"

namespace po = boost::program_options;

namespace standin {
namespace {

std::atomic<bool> isStopping{false};
std::atomic<int> mainEvents{-1};
MainDuty* mainDuty = nullptr;

}  // namespace

void setMainDuty(MainDuty* duty) { mainDuty = duty; }

void wakeMain() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(mainEvents, &one, sizeof one);  // or it is awake
}

int wakeDescriptor() { return mainEvents; }

bool stopping() { return isStopping; }

}  // namespace standin

namespace Zel {
namespace {

constexpr int reported[] = {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2, SIGQUIT, SIGCHLD};
/// A stop may take so long, counted from the signal; a thread may hang in a write nobody reads.
constexpr unsigned int longestStop = 3;

std::atomic<Process*> theProcess{nullptr};
std::atomic<std::uint64_t> arrivedSignals{0};  ///< a bit each

void takeSignal(int signal) {
  const int error = errno;
  arrivedSignals |= std::uint64_t{1} << signal;
  standin::wakeMain();
  errno = error;
}

void takeStop(int signal) {
  ::alarm(longestStop);
  takeSignal(signal);
}

// The stop has taken too long, whatever the threads are doing.
void endAtOnce(int) {
  pollfd standardError{STDERR_FILENO, POLLOUT, 0};
  constexpr std::string_view text = "quorin: a thread does not end; the process ends without it\n";
  if (::poll(&standardError, 1, 0) == 1) {  // nobody may be reading that, either
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
  }
  ::_exit(0);
}

sigset_t caughtSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : reported) sigaddset(&signals, signal);
  sigaddset(&signals, SIGALRM);
  return signals;
}

/// The main thread takes all signals, so that none interrupts what other threads write: threads
/// that are made from now on block them.
bool catchSignals() {
  // Writing where nobody reads, or more than a file may hold, is an error of that write alone.
  for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
  const sigset_t signals = caughtSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  standin::mainEvents = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (standin::mainEvents < 0) {
    standin::complain(std::string("cannot set up the main loop: ") + std::strerror(errno));
    return false;
  }
  struct sigaction action {};
  action.sa_mask = signals;
  action.sa_handler = takeSignal;
  for (const int signal : reported) ::sigaction(signal, &action, nullptr);
  action.sa_handler = takeStop;
  for (const int signal : {SIGTERM, SIGINT}) ::sigaction(signal, &action, nullptr);
  action.sa_handler = endAtOnce;
  ::sigaction(SIGALRM, &action, nullptr);
  return true;
}

// What signals do.
void deliver(Process& process, int signal) {
  switch (signal) {
    case SIGHUP:
      return process.reload();
    case SIGUSR1:
      return process.userDefined();
    case SIGUSR2:
      return process.dumpStats();
    case SIGQUIT:
      return process.quit();
    case SIGCHLD:
      return process.childTerm();
    default:
      return process.halt();
  }
}

}  // namespace

struct Process::Implementation {
  po::variables_map variables;

  bool parse(int argc, char** argv, const po::options_description& options) {
    po::options_description frameworkOptions("Process Options", options.m_default_line_length,
                                             options.m_default_line_length / 2);
    frameworkOptions.add_options()("help", "Print this listing and exit")(
        "version", "Print the version and exit");
    po::options_description all;
    all.add(options).add(frameworkOptions);
    try {
      // An empty list of positional options refuses them; without a list they would be dropped.
      po::store(po::command_line_parser(argc, argv)
                    .options(all)
                    .positional(po::positional_options_description())
                    .run(),
                variables);
      po::notify(variables);
    } catch (const po::error& error) {
      standin::complain(error.what() + std::string("; 'quorin --help' lists the options"));
      return false;
    }
    if (variables.count("help") != 0) {
      std::cout << "Usage: quorin [options]\n\n" << options << '\n' << frameworkOptions;
      std::exit(0);
    }
    if (variables.count("version") != 0) {
      std::puts("quorin " QUORIN_VERSION);
      std::exit(0);
    }
    return true;
  }
};

Process::Process(int argc, char** argv, unsigned int, const po::options_description& options)
    : implementation_(std::make_unique<Implementation>()) {
  theProcess = this;
  standin::noteCommandLine(argc, argv);
  // What the process makes is its own, unless it says otherwise.
  ::umask(S_IRWXG | S_IRWXO);
  // A console line reaches its reader when it is written, not when a buffer is full.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  good = implementation_->parse(argc, argv, options) && catchSignals();
}

Process::~Process() {
  ::alarm(0);
  theProcess = nullptr;
}

void Process::halt() {
  if (standin::isStopping.exchange(true)) return;
  ::alarm(longestStop);
  standin::Pauses::instance().stop();
  standin::wakeMain();
}

void Process::quit() { halt(); }
void Process::userDefined() {}
void Process::dumpStats() {}
void Process::reload() {}
void Process::childTerm() {}

const po::variables_map& Process::programOptions() const { return implementation_->variables; }

int Process::operator()() {
  const sigset_t signals = caughtSignals();
  ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  while (!exiting()) {
    pollfd events{standin::wakeDescriptor(), POLLIN, 0};
    ::poll(&events, 1, standin::mainDuty != nullptr ? standin::mainDuty->patience() : -1);
    std::uint64_t count = 0;
    while (::read(events.fd, &count, sizeof count) > 0) {
    }
    const std::uint64_t arrived = arrivedSignals.exchange(0);
    for (const int signal : reported) {
      if ((arrived >> signal & 1) != 0) deliver(*this, signal);
    }
    if (standin::mainDuty != nullptr) standin::mainDuty->attend();
  }
  standin::tellStopping();
  if (standin::mainDuty != nullptr) std::exchange(standin::mainDuty, nullptr)->end();
  return 0;
}

Process* Process::instance() { return theProcess; }

bool Process::exiting() const { return standin::stopping(); }

void sleepSeconds(unsigned int seconds) {
  standin::Pauses::instance().pause(std::chrono::seconds(seconds));
}

}  // namespace Zel
