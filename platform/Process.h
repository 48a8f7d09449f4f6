// The platform's process framework: command line, signals, main loop, and the end of the process.
#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>
#include <memory>

namespace Zel {

/// Base of a managed process. One object exists in a process; it is made, run and destroyed on the
/// main thread. `instance`, `exiting` and `halt` may be called from any thread.
class Process {
 public:
  /// Parses the command line against `options`, to which the framework adds its own `--help` and
  /// `--version`; those two print and end the process with status 0. A command line that does not
  /// parse is explained on standard error and leaves the good flag false. `flags` selects
  /// services of the framework. `argv` must outlive the object.
  Process(int argc, char** argv, unsigned int flags,
          const boost::program_options::options_description& options);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// After it `instance()` is null.
  virtual ~Process();

  /// Tells the process to stop: from now on `exiting()` is true, every pause in `sleepSeconds`
  /// ends, and the main loop returns. May be called any number of times.
  virtual void halt();

  /// Called by the main loop, on the main thread, for SIGQUIT, SIGUSR1, SIGUSR2, SIGHUP and
  /// SIGCHLD. `quit` halts; the others do nothing here.
  virtual void quit();
  virtual void userDefined();
  virtual void dumpStats();
  virtual void reload();
  virtual void childTerm();

  /// True while the process is usable.
  bool isGood() const { return good; }

  /// What the command line held; complete when the constructor has returned with `isGood()`.
  const boost::program_options::variables_map& programOptions() const;

  /// The main loop. Blocks until the process is told to stop and returns its exit status. When it
  /// has returned, the OAM client API calls no callback any more.
  int operator()();

  /// The process object; null while there is none.
  static Process* instance();

  /// True once the process is stopping.
  bool exiting() const;

 protected:
  /// Cleared by a derived class whose own start-up failed.
  bool good = true;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// Pauses the calling thread for whole seconds, or until the process is stopping, whichever comes
/// first; returns at once when it is stopping already. Callable from any thread, also while
/// `exit` runs: it uses nothing that is destroyed.
void sleepSeconds(unsigned int seconds);

}  // namespace Zel
