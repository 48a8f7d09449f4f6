// The commands of oamctl.
#pragma once

#include <boost/program_options/variables_map.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/Arguments.h"
#include "tools/Client.h"
#include "tools/Output.h"

namespace tools {

/// The connection that the commands of one process share.
using Connection = std::optional<Client>;

struct Command;

/// What the command line asks for.
struct Invocation {
  const Command& command;
  Words words;  ///< after the command
  boost::program_options::variables_map options;
  Connection& connection;
  bool json = false;

  bool has(const char* option) const { return options.count(option) != 0; }
  /// The value of an option that was given. The last two throw a UsageError.
  const std::string& text(const char* option) const { return options[option].as<std::string>(); }
  std::int64_t number(const char* option, std::int64_t max, std::int64_t min = 0) const;
  double seconds(const char* option, double max = aYear) const;
  /// Connects with --socket and --timeout, unless there is a connection.
  Client& client() const;
};

struct Option {
  const char* name;
  const char* value;  ///< empty where it takes none
  const char* about;
};

/// The help, the usage line, the check of the words and the completion come from this; a test
/// compares the manual page with it.
struct Command {
  const char* name;    ///< one word, or two
  const char* places;  ///< the words after it; those in brackets may be left out
  const char* about;
  std::vector<Option> options;  ///< those of all commands are not here
  /// Fills the answer as it goes, and returns the exit status; throws UsageError or Failure.
  int (*run)(const Invocation&, Answer& answer);
};

const std::vector<Command>& commands();
/// Those that go with every command.
const std::vector<Option>& commonOptions();

// What they run.
int status(const Invocation& invocation, Answer& answer);
int waitForDaemon(const Invocation& invocation, Answer& answer);
int records(const Invocation& invocation, Answer& answer);
int get(const Invocation& invocation, Answer& answer);
int getKeys(const Invocation& invocation, Answer& answer);
int set(const Invocation& invocation, Answer& answer);
int notify(const Invocation& invocation, Answer& answer);
int clear(const Invocation& invocation, Answer& answer);
int initProvComplete(const Invocation& invocation, Answer& answer);
int svcReg(const Invocation& invocation, Answer& answer);
int svcRegResult(const Invocation& invocation, Answer& answer);
int setIndResult(const Invocation& invocation, Answer& answer);
int monitor(const Invocation& invocation, Answer& answer);
int journal(const Invocation& invocation, Answer& answer);
int advance(const Invocation& invocation, Answer& answer);
int faultAdd(const Invocation& invocation, Answer& answer);
int faultList(const Invocation& invocation, Answer& answer);
int faultRemove(const Invocation& invocation, Answer& answer);
int encode(const Invocation& invocation, Answer& answer);
int decode(const Invocation& invocation, Answer& answer);
int call(const Invocation& invocation, Answer& answer);
int batch(const Invocation& invocation, Answer& answer);
int help(const Invocation& invocation, Answer& answer);

}  // namespace tools
