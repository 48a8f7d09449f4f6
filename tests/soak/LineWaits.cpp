#include "tests/soak/LineWaits.h"

#include "tests/soak/Expected.h"

namespace soak {

void sendLine(LineClient& link, const std::string& line) { link.send(line + "\n"); }

std::string awaitLine(LineClient& link, const std::string& what) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < deadline) {
    if (const auto line = link.nextLine()) return std::string(*line);
    link.wait(100);
    if (link.transfer()) continue;
    if (const auto line = link.nextLine()) return std::string(*line);
    throw Wrong("the connection ends instead of " + what);
  }
  throw Wrong("no reply to " + what);
}

void expectLine(LineClient& link, const std::string& what, const std::string& expected) {
  const std::string line = awaitLine(link, what);
  if (line != expected) throwDifference(what, expected, line);
}

void expectEnd(LineClient& link, const std::string& what) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (link.transfer()) {
    link.wait(100);
    if (std::chrono::steady_clock::now() > deadline) throw Wrong("the end does not come: " + what);
  }
  if (const auto line = link.nextLine()) throwDifference("behind the end: " + what, "", *line);
}

}  // namespace soak
