// oamctl: plays the management framework from the command line.
#include <algorithm>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <iostream>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"

namespace po = boost::program_options;

namespace {

po::options_description describeOptions() {
  po::options_description options("Options");
  // clang-format off
  options.add_options()
      ("socket", po::value<std::string>()->value_name("PATH"),
       "socket of the daemon; default: KOR_OAM_SOCKET, else /run/quorin/oam.sock")
      ("timeout", po::value<std::string>()->value_name("S")->default_value("5"),
       "seconds to wait for a reply")
      ("json", "print one JSON text and nothing else")
      ("help", "print this and exit")
      ("batch-size", po::value<std::string>()->value_name("N"), "records or keys in a reply")
      ("clear-on-read", "reset the counters that are read")
      ("markdown", "the catalogue as a page of documentation")
      ("all", "walk through every page")
      ("op", po::value<std::string>()->value_name("OP"),
       "insert, update, delete, set (the default) or action")
      ("transaction", po::value<std::string>()->value_name("N"), "id of the set transaction")
      ("apply-action", po::value<std::string>()->value_name("A"),
       "the framework's apply action, by name or number")
      ("reg-download", "set the registration-download flag")
      ("wait-deferred", po::value<std::string>()->value_name("S"),
       "after Response deferred, wait S seconds for the response")
      ("count", po::value<std::string>()->value_name("N"), "end after N notifications")
      ("for", po::value<std::string>()->value_name("S"), "end after S seconds")
      ("wildcard", "key blocks with wildcard markers, also where no key is name=*");
  // clang-format on
  return options;
}

void printHelp(const po::options_description& options) {
  std::cout << "Usage: oamctl [--socket PATH] [--timeout S] [--json] COMMAND\n\n"
               "Plays the management framework towards a quorin daemon.\n\nCommands:\n";
  for (const tools::Command& command : tools::commands()) {
    std::cout << "  " << command.synopsis << "\n        " << command.help << '\n';
  }
  std::cout << "\nFields and keys are name=value, a wildcard key is name=*.\n\n"
            << options
            << "\nExit status: 0 Success; 1 another management result; 2 usage; 3 no daemon "
               "reached;\n4 timed out; 5 a reply that makes no sense.\n";
}

const tools::Command& commandNamed(const std::string& name) {
  const auto& all = tools::commands();
  const auto found = std::find_if(
      all.begin(), all.end(), [&](const tools::Command& command) { return command.name == name; });
  if (found == all.end()) throw tools::UsageError{"there is no command " + name};
  return *found;
}

// An option that the command does not know is refused, not ignored.
void checkOptions(const tools::Command& command, const po::variables_map& given) {
  for (const auto& [name, value] : given) {
    const bool common = name == "socket" || name == "timeout" || name == "json" || name == "word";
    if (common || value.defaulted()) continue;
    if (std::find(command.options.begin(), command.options.end(), name) == command.options.end()) {
      throw tools::UsageError{"--" + name + " is no option of " + command.name};
    }
  }
}

int run(int argc, char** argv) {
  const po::options_description options = describeOptions();
  po::options_description all;
  all.add(options).add_options()("word", po::value<std::vector<std::string>>());
  tools::Invocation invocation;
  try {
    po::store(po::command_line_parser(argc, argv)
                  .options(all)
                  // A word such as -1 is a result, not an option.
                  .style(po::command_line_style::unix_style & ~po::command_line_style::allow_short)
                  .positional(po::positional_options_description().add("word", -1))
                  .run(),
              invocation.options);
  } catch (const po::error& error) {
    throw tools::UsageError{error.what()};
  }
  if (invocation.has("help")) {
    printHelp(options);
    return tools::exitSuccess;
  }
  if (!invocation.has("word")) throw tools::UsageError{"a command is missing"};
  if (invocation.seconds("timeout") <= 0) throw tools::UsageError{"--timeout is more than 0"};
  invocation.words = invocation.options["word"].as<std::vector<std::string>>();
  const tools::Command& command = commandNamed(invocation.words.front());
  invocation.words.erase(invocation.words.begin());
  invocation.json = invocation.has("json");
  checkOptions(command, invocation.options);
  return command.run(invocation);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const tools::UsageError& error) {
    std::cerr << "oamctl: " << error.message << "\nTry 'oamctl --help'.\n";
    return tools::exitUsage;
  } catch (const tools::Failure& failure) {
    std::cerr << "oamctl: " << failure.message << '\n';
    return failure.exitStatus;
  }
}
