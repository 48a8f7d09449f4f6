// The loop that the main thread runs: signals, sockets and timers.
#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>

namespace standin {

/// The process's one loop. It is never destroyed, so that other threads may still post to it while
/// `exit` runs.
boost::asio::io_context& mainLoop();

/// Runs the loop until it is stopped. Main thread only.
void runMainLoop();

/// Says what the main thread does once the loop has ended, before the main loop of the process
/// returns. Main thread only.
void atEndOfMainLoop(std::function<void()> action);

/// Does it, once.
void endMainLoop();

}  // namespace standin
