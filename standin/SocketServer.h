// The socket: accepts clients, keeps the limits, and hands their requests on.
#pragma once

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "standin/CallbackThread.h"
#include "standin/Connection.h"
#include "standin/SocketPath.h"

namespace standin {

/// Main thread only, except `answer` and `publish`.
class SocketServer {
 public:
  /// Answers a request through the reply, now or later.
  using Serve = std::function<void(const rpc::Request& request, const Reply& reply)>;

  struct Counters {
    std::map<std::string, std::uint64_t, std::less<>> notifications;
    std::uint64_t made = 0;     ///< connections accepted
    std::uint64_t refused = 0;  ///< connections past the limit
    std::uint64_t cutOff = 0;   ///< connections that a limit, or lack of memory, has closed
  };

  SocketServer(CallbackThread& callbacks, Serve serve);

  /// Claims the path. Returns an empty string, or why it failed.
  std::string claim(const std::string& path) { return path_.claim(path); }

  /// Lets clients connect; they are served from `startAccepting` on, in the main loop.
  std::string listen();
  void startAccepting();

  /// Sends a notification to all that have subscribed. From any thread.
  void publish(std::string_view method, std::string_view params);

  /// Takes no further client and no further request. The main loop has ended.
  void takeNoMore();
  /// Answers what is still open with an error, and sends what is answered, for at most a second.
  /// Comes after `takeNoMore`, when the callback thread has made what it will.
  void shutDown();

  const Counters& counters() const { return counters_; }

  /// Brings the text of a reply to its connection, always later: an answer at once must not run
  /// into the reading of the next request. From any thread.
  void answer(const Reply& reply, std::string text);

  // For connections.
  void serve(const rpc::Request& request, const Reply& reply);
  void cutOff(Connection& connection);
  void countCutOff() { ++counters_.cutOff; }
  void forget(Connection& connection);
  void settleLater(std::shared_ptr<Connection> connection);
  void drained() { callbacks_.wake(); }

 private:
  using Protocol = boost::asio::local::stream_protocol;

  /// A reply, or a notification.
  struct Message {
    std::optional<Reply> reply;
    std::string method;  ///< of a notification
    std::string text;
  };

  void post(Message message);
  void deliver();
  void accept();
  void accepted(Protocol::socket socket);
  void distribute(Message& notification);

  CallbackThread& callbacks_;
  Serve serve_;
  SocketPath path_;
  Protocol::acceptor acceptor_;
  boost::asio::steady_timer retry_;
  std::set<std::shared_ptr<Connection>> connections_;
  std::vector<std::shared_ptr<Connection>> unsettled_;  ///< those with new answers; never grows
  Counters counters_;
  bool stopping_ = false;

  /// What other threads have for the clients, in order. One wake-up of the main thread takes all
  /// that has come together by then.
  std::mutex postedMutex_;
  std::vector<Message> posted_;
};

}  // namespace standin
