#include "standin/MainLoop.h"

#include <new>
#include <utility>
#include <vector>

#include "standin/StandardError.h"

namespace standin {
namespace {

std::vector<std::function<void()>>& endActions() {
  static std::vector<std::function<void()>> actions;
  return actions;
}

}  // namespace

boost::asio::io_context& mainLoop() {
  static auto& loop = *new boost::asio::io_context(1);
  return loop;
}

void runMainLoop() {
  for (;;) {
    try {
      mainLoop().run();
      return;
    } catch (const std::bad_alloc&) {
      // What was being done is lost; connections guard themselves.
      complain("out of memory in the main loop");
    }
  }
}

void atEndOfMainLoop(std::function<void()> action) { endActions().push_back(std::move(action)); }

void runEndActions() {
  while (!endActions().empty()) {
    const auto action = std::move(endActions().back());
    endActions().pop_back();
    action();
  }
}

}  // namespace standin
