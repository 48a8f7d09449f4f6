// The option table.
#pragma once

#include <boost/program_options/options_description.hpp>

/// Adds the daemon's options to `optionsDescription`, unless they are there, and returns it.
const boost::program_options::options_description& describeOptions();
