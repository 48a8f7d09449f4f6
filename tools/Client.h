// One connection to the socket.
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

/// All operations throw a Failure.
class Client {
 public:
  using Duration = std::chrono::steady_clock::duration;

  /// Each call may take `timeout`, connecting included.
  Client(std::string path, Duration timeout);

  /// Calls a method; returns the reply's `result`. Notifications that come before it are
  /// kept.
  boost::json::object call(std::string_view method, const boost::json::object& params);

  /// The next notification; nothing when `wait` is over.
  std::optional<boost::json::object> nextNotification(Duration wait);

 private:
  [[noreturn]] void lost(const std::string& doing) const;
  boost::json::object readMessage(std::string_view waitingFor);

  const std::string path_;
  const Duration timeout_;
  boost::asio::local::stream_protocol::iostream stream_;
  std::int64_t lastId_ = 0;
  std::deque<boost::json::object> notifications_;  ///< that came before a reply
};

}  // namespace tools
