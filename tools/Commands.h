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

}  // namespace tools
