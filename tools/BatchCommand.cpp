// oamctl batch: commands from standard input, on one connection.
#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>
#include <iostream>

#include "tools/CommandLine.h"
#include "tools/ExitStatus.h"

namespace po = boost::program_options;

namespace tools {
namespace {

/// The options that every line inherits.
po::variables_map inherited(const Invocation& invocation) {
  po::variables_map common;
  for (const Option& option : commonOptions()) {
    if (invocation.has(option.name)) common.emplace(option.name, invocation.options[option.name]);
  }
  return common;
}

Words wordsOf(const std::string& line) {
  Words words;
  try {
    words = po::split_unix(line);
  } catch (const std::exception&) {
    throw UsageError{"this line has a '\\' with nothing that it escapes: " + line};
  }
  // Where a quote is open, what is added joins the last word.
  if (po::split_unix(line + " -").back() != "-") {
    throw UsageError{"this line has a quote that does not end: " + line};
  }
  if (!words.empty() && words.front() == "batch") throw UsageError{"a batch cannot run a batch"};
  return words;
}

int runLine(const std::string& line, const Invocation& batch, const po::variables_map& common) {
  Words words;
  try {
    words = wordsOf(line);
  } catch (const UsageError& error) {
    return refuse(error, batch.json);
  }
  return run(words, batch.connection, common);
}

bool isBlank(const std::string& line) {
  const std::size_t first = line.find_first_not_of(" \t\r");
  return first == std::string::npos || line[first] == '#';
}

}  // namespace

int batch(const Invocation& invocation, Answer& answer) {
  answer.json.clear();
  const po::variables_map common = inherited(invocation);
  int first = exitSuccess;
  for (std::string line; std::getline(std::cin, line);) {
    if (isBlank(line)) continue;
    if (!invocation.json) print("$ " + escaped(line) + '\n');
    const int status = runLine(line, invocation, common);
    if (first == exitSuccess) first = status;
    // Without output or a daemon, the rest cannot succeed.
    if (status == exitNoOutput || status == exitNoDaemon) break;
    if (status != exitSuccess && !invocation.has("keep-going")) break;
  }
  return first;
}

}  // namespace tools
