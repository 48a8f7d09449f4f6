// The command line's description.
#pragma once

#include <boost/program_options/options_description.hpp>

/// Empty until the first call of `describeOptions`.
extern boost::program_options::options_description optionsDescription;

/// Adds the daemon's options to `optionsDescription`, unless they are there, and returns it.
const boost::program_options::options_description& describeOptions();
