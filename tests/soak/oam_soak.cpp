// The soak: exit status 0 when all was right, 1 when something was wrong, 2 for a usage error.
#include <boost/program_options.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <random>

#include "tests/harness/PrivateFolder.h"
#include "tests/soak/Soak.h"

namespace po = boost::program_options;

int main(int argc, char** argv) {
  soak::SoakOptions options;
  long long seconds = 0;
  po::options_description description("Usage: oam_soak --daemon PROGRAM [OPTIONS]");
  description.add_options()("help", "print this")("daemon", po::value(&options.program)->required(),
                                                  "the program to start")(
      "seconds", po::value(&seconds)->default_value(60), "how long; memory needs 90")(
      "seed", po::value(&options.seed)->default_value(std::random_device()()),
      "of the random choices")("output", po::value(&options.output)->default_value("/dev/null"),
                               "a file for what the daemon writes, a line per request");
  try {
    po::variables_map given;
    po::store(po::parse_command_line(argc, argv, description), given);
    if (given.count("help") != 0) {
      std::cout << description;
      return 0;
    }
    po::notify(given);
    // Deferred sets, of which there is one in two seconds, have ids of 16 bits.
    if (seconds < 1 || seconds > 100000) throw po::error("seconds go from 1 to 100000");
  } catch (const po::error& error) {
    std::cerr << "oam_soak: " << error.what() << '\n';
    return 2;
  }
  options.length = std::chrono::seconds(seconds);
  try {
    const PrivateFolder folder;
    soak::Soak soak(options, folder.socketPath());
    soak.run();
    soak.printFigures();
    return 0;
  } catch (const std::exception& wrong) {
    std::printf("WRONG, with seed %u: %s\n", options.seed, wrong.what());
    return 1;
  }
}
