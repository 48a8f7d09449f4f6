#include "standin/SocketServer.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <new>
#include <utility>

#include "standin/Limits.h"
#include "standin/MainLoop.h"

namespace asio = boost::asio;

namespace standin {
namespace {

constexpr auto acceptRetry = std::chrono::milliseconds(100);
constexpr auto shutDownTime = std::chrono::seconds(1);

const rpc::Error stoppingError{rpc::stopping, "the process is stopping"};

}  // namespace

SocketServer::SocketServer(CallbackThread& callbacks, Serve serve)
    : callbacks_(callbacks), serve_(std::move(serve)), acceptor_(mainLoop()), retry_(mainLoop()) {
  unsettled_.reserve(2 * maxConnections);
}

std::string SocketServer::listen() {
  std::string reason = path_.listen();
  if (!reason.empty()) return reason;
  boost::system::error_code error;
  acceptor_.assign(Protocol(), path_.descriptor(), error);
  if (error) return "cannot watch the socket: " + error.message();
  path_.releaseDescriptor();
  return "";
}

void SocketServer::startAccepting() { accept(); }

void SocketServer::accept() {
  acceptor_.async_accept([this](const boost::system::error_code& error, Protocol::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (!error) {
      accept();  // first, so that whatever this client costs, the next one is awaited
      return accepted(std::move(socket));
    }
    // No descriptor left, most likely: the connection stays queued until there is one.
    retry_.expires_after(acceptRetry);
    retry_.async_wait([this](const boost::system::error_code& aborted) {
      if (!aborted) accept();
    });
  });
}

void SocketServer::accepted(Protocol::socket socket) {
  if (connections_.size() >= maxConnections) {
    ++counters_.refused;
    const std::string line =
        rpc::errorReply("null", {rpc::tooManyConnections,
                                 "at most " + std::to_string(maxConnections) + " connections"}) +
        '\n';
    boost::system::error_code ignored;
    socket.non_blocking(true, ignored);
    socket.write_some(asio::buffer(line), ignored);
    return;
  }
  ++counters_.made;
  const auto connection = std::make_shared<Connection>(*this, std::move(socket));
  connections_.insert(connection);
  connection->start();
}

void SocketServer::serve(const rpc::Request& request, const Reply& reply) {
  if (request.error.code != 0) return reply.error(request.error);
  if (stopping_) return reply.error(stoppingError);
  serve_(request, reply);
}

void SocketServer::publish(std::string_view method, std::string_view params) {
  post({std::nullopt, std::string(method), rpc::notificationLine(method, params)});
}

void SocketServer::answer(const Reply& reply, std::string text) {
  post({reply, "", std::move(text)});
}

void SocketServer::post(Message message) {
  const std::lock_guard lock(postedMutex_);
  // The wake-up first: one for nothing does no harm, a message without one would never arrive.
  if (posted_.empty()) asio::post(mainLoop(), [this] { deliver(); });
  posted_.push_back(std::move(message));
}

void SocketServer::deliver() {
  std::vector<Message> messages;
  {
    const std::lock_guard lock(postedMutex_);
    messages.swap(posted_);
  }
  for (Message& message : messages) {
    if (message.reply) {
      const Reply& reply = *message.reply;
      reply.connection_->answered(*reply.line_, reply.index_, std::move(message.text));
    } else {
      distribute(message);
    }
  }
  for (const auto& connection : unsettled_) connection->settle();
  unsettled_.clear();
}

void SocketServer::distribute(Message& notification) {
  Connection::Text line;
  try {
    ++counters_.notifications[std::move(notification.method)];
    line = std::make_shared<const std::string>(std::move(notification.text));
  } catch (const std::bad_alloc&) {
    line = nullptr;
  }
  for (auto next = connections_.begin(); next != connections_.end();) {
    const auto connection = *next++;  // it leaves the set when it is cut off
    if (connection->subscribed) line ? connection->notify(line) : cutOff(*connection);
  }
}

void SocketServer::settleLater(std::shared_ptr<Connection> connection) {
  unsettled_.push_back(std::move(connection));
}

void SocketServer::cutOff(Connection& connection) {
  countCutOff();
  connection.close();
}

void SocketServer::forget(Connection& connection) {
  connections_.erase(connection.shared_from_this());
  callbacks_.withdraw(*connection.lane());
}

void SocketServer::takeNoMore() {
  stopping_ = true;
  boost::system::error_code ignored;
  acceptor_.close(ignored);
  retry_.cancel();
  path_.remove();
  for (const auto& connection : connections_) connection->endInput();
}

void SocketServer::shutDown() {
  asio::io_context& loop = mainLoop();
  loop.restart();
  loop.poll();  // replies that the callback thread has made
  const auto connections = connections_;
  for (const auto& connection : connections) connection->finish(stoppingError);
  const auto deadline = std::chrono::steady_clock::now() + shutDownTime;
  while (!connections_.empty() && loop.run_one_until(deadline) != 0) {
  }
  const auto unsent = connections_;
  for (const auto& connection : unsent) connection->close();
}

}  // namespace standin
