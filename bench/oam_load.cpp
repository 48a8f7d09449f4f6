// Puts a daemon under load and prints what it does a second. Exit status 1 when something is wrong,
// 2 for a usage error.
#include <boost/program_options.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <utility>

#include "bench/Load.h"

namespace po = boost::program_options;

namespace {

struct Arguments {
  load::Options load;
  std::string socketPath;
  std::size_t connections = 1;
  long long seconds = 0;
  bool notifications = false;
};

po::options_description describe(Arguments& to) {
  const char* const path = std::getenv("KOR_OAM_SOCKET");
  po::options_description description("Usage: oam_load [OPTIONS]");
  description.add_options()("help", "print this");
  description.add_options()(
      "socket",
      po::value(&to.socketPath)->default_value(path != nullptr ? path : "/run/quorin/oam.sock"),
      "the daemon's socket; KOR_OAM_SOCKET is the default's default");
  description.add_options()("connections", po::value(&to.connections)->default_value(1), "");
  description.add_options()("in-flight", po::value(&to.load.inFlight)->default_value(1),
                            "requests of each connection that wait for their reply");
  description.add_options()("seconds", po::value(&to.seconds)->default_value(5), "how long");
  description.add_options()("method", po::value(&to.load.method)->default_value("get"),
                            "what is asked");
  description.add_options()(
      "params", po::value(&to.load.params)->default_value(R"({"recordId":"0x111f000b"})"),
      "and with what, in JSON; the reply must always be the same");
  description.add_options()("notifications", po::bool_switch(&to.notifications),
                            "notifications to one subscriber instead of replies");
  description.add_options()("redis", po::value(&to.load.redisBytes)->value_name("BYTES"),
                            "instead of a daemon, a Redis server at the socket: gets of a value "
                            "of so many bytes, which is stored first");
  description.add_options()("redis-rows", po::value(&to.load.redisRows)->value_name("COUNT"),
                            "ranges of a list of so many such values instead");
  return description;
}

void run(const Arguments& arguments) {
  const auto connect = [&] { return std::make_unique<LineClient>(arguments.socketPath); };
  if (arguments.notifications) {
    load::NotificationLoad load(arguments.load, connect(), connect());
    load.run();
    return load.printFigures();
  }
  load::Links links;
  while (links.size() < arguments.connections) links.push_back(connect());
  load::RequestLoad load(arguments.load, std::move(links));
  load.run();
  load.printFigures();
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  const po::options_description description = describe(arguments);
  try {
    po::variables_map given;
    po::store(po::parse_command_line(argc, argv, description), given);
    po::notify(given);
    if (given.count("help") != 0) {
      std::cout << description;
      return 0;
    }
  } catch (const po::error& error) {
    std::cerr << "oam_load: " << error.what() << '\n';
    return 2;
  }
  if (arguments.load.redisRows != 0 && arguments.load.redisBytes == 0) {
    std::cerr << "oam_load: --redis-rows goes with --redis\n";
    return 2;
  }
  if (arguments.connections == 0 || arguments.load.inFlight == 0) {
    std::cerr << "oam_load: it takes a connection and a request in flight\n";
    return 2;
  }
  arguments.load.length = std::chrono::seconds(arguments.seconds);
  try {
    run(arguments);
  } catch (const std::exception& error) {
    std::cout << std::flush;
    std::cerr << "oam_load: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
