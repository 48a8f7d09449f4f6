// oamctl batch: commands from standard input, on one connection.
#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>
#include <iostream>

#include "tools/CommandLine.h"
#include "tools/ExitStatus.h"

namespace po = boost::program_options;

namespace tools {
namespace {

/// What holds for every line.
po::variables_map inherited(const Invocation& invocation) {
  po::variables_map common;
  for (const Option& option : commonOptions()) {
    if (invocation.has(option.name)) common.emplace(option.name, invocation.options[option.name]);
  }
  return common;
}

Words wordsOf(const std::string& line) {
  try {
    return po::split_unix(line);
  } catch (const std::exception&) {
    throw UsageError{"this line has a '\\' with nothing that it escapes: " + line};
  }
}

}  // namespace

int batch(const Invocation& invocation, Answer& answer) {
  answer.json.clear();
  const po::variables_map common = inherited(invocation);
  int first = exitSuccess;
  for (std::string line; std::getline(std::cin, line);) {
    const Words words = wordsOf(line);
    if (words.empty() || words.front().starts_with('#')) continue;
    if (words.front() == "batch") throw UsageError{"a batch has no batch"};
    if (!invocation.json) print("$ " + escaped(line) + '\n');
    const int status = run(words, invocation.connection, common);
    if (first == exitSuccess) first = status;
    // Without output or a daemon, no other can be of use.
    if (status == exitNoOutput || status == exitNoDaemon) break;
    if (status != exitSuccess && !invocation.has("keep-going")) break;
  }
  return first;
}

}  // namespace tools
