// The commands of oamctl.
#pragma once

#include <boost/program_options/variables_map.hpp>
#include <string>
#include <vector>

#include "tools/Client.h"

namespace tools {

/// What the command line asks for.
struct Invocation {
  std::vector<std::string> words;  ///< behind the command
  boost::program_options::variables_map options;
  bool json = false;

  bool has(const char* option) const { return options.count(option) != 0; }
  /// The value of an option that was given. The last two throw a UsageError.
  const std::string& text(const char* option) const { return options[option].as<std::string>(); }
  std::int64_t number(const char* option, std::int64_t max) const;
  double seconds(const char* option) const;
  /// Connects with --socket and --timeout.
  Client connect() const;
};

struct Command {
  const char* name;
  const char* synopsis;
  const char* help;
  /// Options of this command, beside those of all.
  std::vector<std::string> options;
  /// Returns the exit status; throws UsageError or Failure.
  int (*run)(const Invocation&);
};

const std::vector<Command>& commands();

// What they run.
int status(const Invocation& invocation);
int records(const Invocation& invocation);
int get(const Invocation& invocation);
int getKeys(const Invocation& invocation);
int set(const Invocation& invocation);
int notify(const Invocation& invocation);
int clear(const Invocation& invocation);
int initProvComplete(const Invocation& invocation);
int svcReg(const Invocation& invocation);
int setIndResult(const Invocation& invocation);
int monitor(const Invocation& invocation);
int decode(const Invocation& invocation);

}  // namespace tools
