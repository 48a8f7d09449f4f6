#include "standin/MainLoop.h"

#include <new>
#include <utility>

#include "standin/StandardError.h"

namespace standin {
namespace {

std::function<void()> endAction;

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

void atEndOfMainLoop(std::function<void()> action) { endAction = std::move(action); }

void endMainLoop() {
  if (const auto action = std::exchange(endAction, nullptr)) action();
}

}  // namespace standin
