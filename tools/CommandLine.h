// From the words of a command line to its exit status.
#pragma once

#include <boost/program_options/variables_map.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"

namespace tools {

/// Runs a command, prints what it has learned, and says on standard error what went wrong. The
/// words do not have the name of the program. Options of `common` hold where they are not given.
int run(const Words& words, Connection& connection,
        const boost::program_options::variables_map& common = {});

/// Says what is wrong with words that are not a command; returns the exit status.
int refuse(const UsageError& error, bool json);

}  // namespace tools
