#include "tools/CommandLine.h"

#include <algorithm>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <cstdlib>
#include <set>

#include "tools/Completion.h"
#include "tools/ExitStatus.h"
#include "tools/Help.h"
#include "tools/Names.h"

namespace po = boost::program_options;

namespace tools {
namespace {

po::options_description allOptions() {
  po::options_description all;
  std::set<std::string> names;
  const auto add = [&](const std::vector<Option>& options) {
    for (const Option& option : options) {
      if (!names.insert(option.name).second) continue;
      if (*option.value == '\0') {
        all.add_options()(option.name, "");
      } else {
        all.add_options()(option.name, po::value<std::string>(), "");
      }
    }
  };
  add(commonOptions());
  for (const Command& command : commands()) add(command.options);
  all.add_options()("word", po::value<Words>());
  return all;
}

po::variables_map parsed(Words words) {
  // No other option is short: a word such as -1 is a number.
  std::replace(words.begin(), words.end(), std::string("-h"), std::string("--help"));
  po::variables_map options;
  try {
    po::store(po::command_line_parser(words)
                  .options(allOptions())
                  .style(po::command_line_style::unix_style & ~po::command_line_style::allow_short)
                  .positional(po::positional_options_description().add("word", -1))
                  .run(),
              options);
  } catch (const po::unknown_option& error) {
    std::vector<std::string> names;
    const po::options_description all = allOptions();
    for (const auto& option : all.options()) {
      if (option->long_name() != "word") names.push_back("--" + option->long_name());
    }
    const std::string name = error.get_option_name();
    throw UsageError{"there is no option " + name + suggestion(name, names)};
  } catch (const po::error& error) {
    throw UsageError{error.what()};
  }
  return options;
}

/// An option that the command does not know is refused, not ignored.
void checkOptions(const Command& command, const po::variables_map& given) {
  for (const auto& [name, value] : given) {
    const auto isIt = [&name = name](const Option& option) { return name == option.name; };
    const auto& common = commonOptions();
    if (name == "word" || std::any_of(common.begin(), common.end(), isIt) ||
        std::any_of(command.options.begin(), command.options.end(), isIt)) {
      continue;
    }
    throw UsageError{"--" + name + " is not an option of " + command.name + "; " + usage(command)};
  }
}

void checkWords(const Command& command, const Words& words) {
  std::size_t places = 0;
  for (const std::string& place : po::split_unix(command.places)) {
    if (place.ends_with("...]")) return;
    if (places++ >= words.size() && !place.starts_with('[')) {
      throw UsageError{place + " is missing; " + usage(command)};
    }
  }
  if (words.size() > places) {
    throw UsageError{"'" + words[places] + "' is one word too many; " + usage(command)};
  }
}

int runCommand(const Invocation& invocation, Answer& answer) {
  const Command& command = invocation.command;
  if (invocation.has("help")) {
    answer.text = helpOf(command);
    return exitSuccess;
  }
  checkOptions(command, invocation.options);
  checkWords(command, invocation.words);
  if (invocation.has("timeout") && invocation.seconds("timeout") <= 0) {
    throw UsageError{"--timeout must be more than 0"};
  }
  return command.run(invocation, answer);
}

void finish(const Answer& answer, bool json) {
  if (!json || answer.json.empty()) {
    if (!answer.text.empty()) print(answer.text);
  } else {
    printJson(answer.json);
  }
  if (!answer.hint.empty()) say(answer.hint);
}

/// What is known so far is printed, and then why there is no more.
int finishFailed(Answer& answer, const Invocation& invocation, const Failure& failure) {
  if (failure.exitStatus != exitNoOutput) {
    boost::json::object error{{"message", failure.message}};
    if (failure.code != 0) error["code"] = failure.code;
    if (!answer.json.contains("command")) answer.json["command"] = invocation.command.name;
    answer.json["error"] = std::move(error);
    finish(answer, invocation.json);
  }
  say(failure.message);
  return failure.exitStatus;
}

int runInvocation(const Invocation& invocation) {
  Answer answer;
  answer.json["command"] = invocation.command.name;
  int status = exitSuccess;
  try {
    status = runCommand(invocation, answer);
  } catch (const UsageError& error) {
    finishFailed(answer, invocation, {exitUsage, error.message});
    say("try 'oamctl help " + std::string(invocation.command.name) + "'");
    return exitUsage;
  } catch (const Failure& failure) {
    return finishFailed(answer, invocation, failure);
  }
  finish(answer, invocation.json);
  return status;
}

}  // namespace

std::int64_t Invocation::number(const char* option, std::int64_t max, std::int64_t min) const {
  return tools::number(text(option), (std::string("--") + option).c_str(), max, min);
}

double Invocation::seconds(const char* option, double max) const {
  return tools::seconds(text(option), (std::string("--") + option).c_str(), max);
}

Client& Invocation::client() const {
  constexpr double fallback = 5;
  const Duration timeout = durationOf(has("timeout") ? seconds("timeout") : fallback);
  if (!connection) {
    std::string path = "/run/quorin/oam.sock";
    if (const char* fromEnvironment = std::getenv("KOR_OAM_SOCKET")) path = fromEnvironment;
    const char* origin = "KOR_OAM_SOCKET";
    if (has("socket")) {
      path = text("socket");
      origin = "--socket";
    }
    if (path.empty())
      throw UsageError{std::string(origin) + " is empty; it is the path of a socket"};
    connection.emplace(path, timeout, has("verbose"));
  }
  connection->setTimeout(timeout);
  return *connection;
}

int refuse(const UsageError& error, bool json) try {
  if (json) printJson(boost::json::object{{"error", {{"message", error.message}}}});
  say(error.message);
  say("try 'oamctl --help'");
  return exitUsage;
} catch (const Failure& failure) {
  say(failure.message);
  return failure.exitStatus;
}

int run(const Words& words, Connection& connection, const po::variables_map& common) try {
  if (!words.empty() && words.front() == "complete") {
    print(completions({words.begin() + 1, words.end()}));
    return exitSuccess;
  }
  po::variables_map options = parsed(words);
  for (const auto& [name, value] : common) options.emplace(name, value);
  Words rest;
  if (options.count("word") != 0) rest = options["word"].as<Words>();
  if (options.count("version") != 0) {
    print("oamctl " QUORIN_VERSION "\n");
    return exitSuccess;
  }
  if (rest.empty()) {
    if (options.count("help") == 0) throw UsageError{"a command is missing"};
    print(helpOfAll());
    return exitSuccess;
  }
  const Command& command = takeCommand(rest);
  const bool json = options.count("json") != 0;
  return runInvocation({command, std::move(rest), std::move(options), connection, json});
} catch (const UsageError& error) {
  const bool json = std::find(words.begin(), words.end(), "--json") != words.end();
  return refuse(error, json || common.count("json") != 0);
} catch (const Failure& failure) {
  say(failure.message);
  return failure.exitStatus;
}

}  // namespace tools
