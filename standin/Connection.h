// One client of the socket.
#pragma once

#include <array>
#include <boost/asio/local/stream_protocol.hpp>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "standin/CallbackThread.h"
#include "standin/JsonRpc.h"

namespace standin {

class SocketServer;
class Connection;

/// A line of requests, and its replies in the making: one, or those of a batch.
struct RequestLine {
  struct Element {
    std::string id;    ///< JSON text
    bool wantsReply;   ///< false for a notification
    std::string text;  ///< the reply
    bool open = true;
  };
  bool batch = false;
  std::size_t bytes = 0;  ///< of the line as it came
  std::vector<Element> elements;
  std::size_t open = 0;
};

/// The right to answer one request, once, from any thread. A notification is answered, too, which
/// ends it; nothing is sent.
class Reply {
 public:
  Reply(std::shared_ptr<Connection> connection, std::shared_ptr<RequestLine> line,
        std::size_t index)
      : connection_(std::move(connection)), line_(std::move(line)), index_(index) {}

  /// Starts the text of a reply that has a result.
  rpc::ObjectText startResult() const;
  /// Replies with the finished text.
  void result(std::string text) const;
  void error(const rpc::Error& error) const;
  const std::shared_ptr<Connection>& connection() const { return connection_; }
  bool wanted() const { return element().wantsReply; }

 private:
  friend class SocketServer;

  const RequestLine::Element& element() const { return line_->elements[index_]; }

  std::shared_ptr<Connection> connection_;
  std::shared_ptr<RequestLine> line_;
  std::size_t index_;
};

/// Reads requests and sends replies, in the order of the requests, and notifications. Main thread
/// only, except `lane`.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  using Socket = boost::asio::local::stream_protocol::socket;
  using Text = std::shared_ptr<const std::string>;

  Connection(SocketServer& server, Socket socket);

  void start();

  /// Takes an answer to one of its requests, or a notification line.
  void answered(RequestLine& line, std::size_t index, std::string text);
  void notify(const Text& line);
  /// Sends what can be sent of them, and goes on.
  void settle();

  /// Takes no further request.
  void endInput();

  /// Answers what is still open with an error, and closes once everything is sent.
  void finish(const rpc::Error& error);

  void close();

  SocketServer& server() { return server_; }

  /// The connection's place in the callback thread's queue.
  const std::shared_ptr<CallbackThread::Lane>& lane() const { return lane_; }

  bool subscribed = false;

 private:
  struct Chunk {
    Text text;
    std::size_t replyBytes;  ///< how much of it counts as unsent reply bytes
  };

  template <typename Action>
  void guarded(Action&& action);
  bool resting() const;
  void read();
  void received(const boost::system::error_code& error, std::size_t bytes);
  void takeLines();
  void serveLine(std::string_view text);
  void refuseTooLong();
  void accept(const std::shared_ptr<RequestLine>& line);
  void awaitHangUp();
  void settleLater();
  void releaseReplies();
  void send();
  void sent(const boost::system::error_code& error, std::size_t chunks);
  void goOn();
  std::size_t unsentBytes() const;

  SocketServer& server_;
  Socket socket_;
  std::shared_ptr<CallbackThread::Lane> lane_ = std::make_shared<CallbackThread::Lane>();
  std::array<char, 65536> chunk_;
  std::string input_;
  std::size_t searched_ = 0;                        ///< bytes of input_ that hold no line end
  std::deque<std::shared_ptr<RequestLine>> lines_;  ///< not yet answered whole, in order
  std::deque<Chunk> outgoing_;
  std::size_t heldBytes_ = 0;  ///< of replies that wait for an earlier one
  std::size_t notificationBytes_ = 0;
  std::size_t requestBytes_ = 0;  ///< of the lines in lines_
  std::size_t inFlight_ = 0;      ///< requests that are open
  bool unsettled_ = false;        ///< answered since `settle`
  bool reading_ = false;
  bool sending_ = false;
  bool inputEnded_ = false;
  bool closed_ = false;
};

}  // namespace standin
