// The soak: exit status 0 when all was right, 1 when something was wrong, 2 for a usage error.
#include <boost/program_options.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <random>

#include "tests/harness/PrivateFolder.h"
#include "tests/soak/Soak.h"

namespace po = boost::program_options;

namespace {

int soakFor(const soak::SoakOptions& options) {
  const PrivateFolder folder;
  soak::Soak soak(options, folder.socketPath());
  try {
    soak.run();
  } catch (const std::exception& wrong) {
    std::printf("WRONG, with seed %u: %s\n", options.seed, wrong.what());
    return 1;
  }
  soak.printFigures();
  return 0;
}

}  // namespace

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
  } catch (const po::error& error) {
    std::cerr << "oam_soak: " << error.what() << '\n';
    return 2;
  }
  // Deferred sets, of which there is one in two seconds, have ids of 16 bits.
  if (seconds < 1 || seconds > 100000) {
    std::cerr << "oam_soak: seconds go from 1 to 100000\n";
    return 2;
  }
  options.length = std::chrono::seconds(seconds);
  try {
    return soakFor(options);
  } catch (const std::exception& error) {
    std::cerr << "oam_soak: " << error.what() << '\n';
    return 1;
  }
}
