// The process framework: command line, signals, main loop, pauses.
#include "platform/Process.h"

#include <sys/stat.h>

#include <atomic>
#include <boost/asio/signal_set.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/system/system_error.hpp>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <utility>

#include "standin/MainLoop.h"
#include "standin/ServiceManager.h"
#include "standin/StandardError.h"
#include "standin/StopWatch.h"

namespace po = boost::program_options;

namespace Zel {
namespace {

std::atomic<Process*> theProcess{nullptr};

/// Whether the process is stopping, and who pauses until then.
struct StopSignal {
  std::mutex mutex;
  std::condition_variable raised;
  bool stopping = false;
};

// Never destroyed: a thread may pause while `exit` destroys what is static.
StopSignal& stopSignal() {
  static auto& signal = *new StopSignal;
  return signal;
}

// Never destroyed: a second signal while the process ends must not kill it.
boost::asio::signal_set& caughtSignals() {
  static auto& signals = *new boost::asio::signal_set(standin::mainLoop());
  return signals;
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

void awaitSignal(Process& process) {
  caughtSignals().async_wait([&process](const boost::system::error_code& error, int signal) {
    if (error) return;
    awaitSignal(process);
    deliver(process, signal);
  });
}

bool catchSignals(Process& process) {
  // Writing where nobody reads, or more than a file may hold, is an error of that write alone.
  for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
  try {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2, SIGQUIT, SIGCHLD}) {
      caughtSignals().add(signal);
    }
  } catch (const boost::system::system_error& error) {
    standin::complain("cannot set up the main loop: " + error.code().message());
    return false;
  }
  awaitSignal(process);
  return true;
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
  {
    const std::lock_guard lock(stopSignal().mutex);
    stopSignal().stopping = false;
  }
  // What the process makes is its own, unless it says otherwise.
  ::umask(S_IRWXG | S_IRWXO);
  // A console line reaches its reader when it is written, not when a buffer is full.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  good = implementation_->parse(argc, argv, options) && catchSignals(*this);
}

Process::~Process() {
  standin::StopWatch::instance().callOff();
  if (good) caughtSignals().cancel();
  theProcess = nullptr;
}

void Process::halt() {
  {
    const std::lock_guard lock(stopSignal().mutex);
    // The loop runs once more to send what is answered: a second stop must not cut that off.
    if (std::exchange(stopSignal().stopping, true)) return;
  }
  stopSignal().raised.notify_all();
  standin::mainLoop().stop();
}

void Process::quit() { halt(); }
void Process::userDefined() {}
void Process::dumpStats() {}
void Process::reload() {}
void Process::childTerm() {}

const po::variables_map& Process::programOptions() const { return implementation_->variables; }

int Process::operator()() {
  standin::runMainLoop();
  standin::StopWatch::instance().start();
  standin::tellStopping();
  standin::endMainLoop();
  return 0;
}

Process* Process::instance() { return theProcess; }

bool Process::exiting() const {
  const std::lock_guard lock(stopSignal().mutex);
  return stopSignal().stopping;
}

void sleepSeconds(unsigned int seconds) {
  StopSignal& signal = stopSignal();
  std::unique_lock lock(signal.mutex);
  signal.raised.wait_for(lock, std::chrono::seconds(seconds), [&] { return signal.stopping; });
}

}  // namespace Zel
