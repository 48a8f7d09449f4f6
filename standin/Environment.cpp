#include "standin/Environment.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "standin/StandardError.h"

namespace standin {
namespace {

[[noreturn]] void refuse(const char* variable, const char* value, const char* expected) {
  complain(std::string("environment variable ") + variable + " is '" + value + "'; it must be " +
           expected);
  std::exit(255);
}

void readNumber(const char* variable, int max, const char* expected, int& number) {
  const char* value = std::getenv(variable);
  if (value == nullptr) return;
  const char* end = value + std::strlen(value);
  int parsed = -1;
  const auto [stopped, error] = std::from_chars(value, end, parsed);
  if (error != std::errc() || stopped != end || parsed < 0 || parsed > max) {
    refuse(variable, value, expected);
  }
  number = parsed;
}

Environment read() {
  Environment result;
  if (const char* path = std::getenv("KOR_OAM_SOCKET")) {
    if (*path == '\0') refuse("KOR_OAM_SOCKET", path, "the path of a socket");
    result.socketPath = path;
  }
  int automatic = result.automatic;
  readNumber("KOR_OAM_AUTO", 1, "0 or 1", automatic);
  result.automatic = automatic == 1;
  if (const char* clock = std::getenv("KOR_OAM_CLOCK")) {
    result.manualClock = std::strcmp(clock, "manual") == 0;
    if (!result.manualClock && std::strcmp(clock, "real") != 0) {
      refuse("KOR_OAM_CLOCK", clock, "real or manual");
    }
  }
  readNumber("ZEL_LOG_LEVEL", 8, "a number from 0 to 8", result.logLevel);
  return result;
}

std::vector<std::string>& words() {
  static std::vector<std::string> words;
  return words;
}

}  // namespace

void noteCommandLine(int argc, char** argv) { words().assign(argv, argv + argc); }

const std::vector<std::string>& commandLine() { return words(); }

const Environment& environment() {
  static const Environment result = read();
  return result;
}

}  // namespace standin
