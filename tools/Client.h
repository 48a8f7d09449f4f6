// One connection to the socket.
//
// Nothing that comes over it is trusted: lines, and the notifications that wait, are bounded.
#pragma once

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/json/object.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

using Duration = std::chrono::steady_clock::duration;
using Deadline = std::chrono::steady_clock::time_point;
Duration durationOf(double seconds);

/// All operations throw a Failure.
class Client {
 public:
  /// Connecting may take `timeout`. `verbose` shows the messages on standard error.
  Client(std::string path, Duration timeout, bool verbose);

  /// How long each call may take.
  void setTimeout(Duration timeout) { timeout_ = timeout; }

  /// Calls a method; returns the reply's `result`. Notifications that come before it are
  /// kept.
  boost::json::object call(std::string_view method, const boost::json::object& params);

  /// The next notification; nothing after `end`.
  std::optional<boost::json::object> nextNotification(Deadline end);

 private:
  [[noreturn]] void notConnected() const;
  [[noreturn]] void lost(const std::string& doing) const;
  /// A line that is a JSON object; nothing after the time that the stream has.
  std::optional<boost::json::object> readMessage(const std::string& doing);

  const std::string path_;
  Duration timeout_;
  const bool verbose_;
  boost::asio::local::stream_protocol::iostream stream_;
  std::string line_;  ///< what has come of the line in the making
  std::int64_t lastId_ = 0;
  std::deque<boost::json::object> notifications_;  ///< that came before a reply
  std::size_t notificationBytes_ = 0;
};

}  // namespace tools
