#include "standin/Connection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <new>
#include <utility>

#include "standin/Limits.h"
#include "standin/SocketServer.h"

namespace asio = boost::asio;

namespace standin {

rpc::ObjectText Reply::startResult() const { return rpc::ObjectText::result(element().id); }

void Reply::result(std::string text) const {
  connection_->server().answer(*this, wanted() ? std::move(text) : std::string());
}

void Reply::error(const rpc::Error& error) const {
  connection_->server().answer(*this,
                               wanted() ? rpc::errorReply(element().id, error) : std::string());
}

Connection::Connection(SocketServer& server, Socket socket)
    : server_(server), socket_(std::move(socket)) {}

void Connection::start() { read(); }

// Without the memory for this client the others are served on.
template <typename Action>
void Connection::guarded(Action&& action) {
  try {
    action();
  } catch (const std::bad_alloc&) {
    server_.cutOff(*this);
  }
}

std::size_t Connection::unsentBytes() const {
  return lane_->unsentBytes + heldBytes_ + notificationBytes_;
}

bool Connection::resting() const {
  return lane_->unsentBytes >= maxUnsentReplyBytes || inFlight_ >= maxRequestsInFlight ||
         requestBytes_ >= maxRequestBytesInFlight;
}

void Connection::read() {
  if (reading_ || inputEnded_ || closed_ || resting()) return;
  reading_ = true;
  socket_.async_read_some(asio::buffer(chunk_),
                          [self = shared_from_this()](const auto& error, std::size_t bytes) {
                            self->guarded([&] { self->received(error, bytes); });
                          });
}

void Connection::received(const boost::system::error_code& error, std::size_t bytes) {
  reading_ = false;
  if (closed_ || inputEnded_) return;
  if (error && error != asio::error::eof) return close();
  if (error) {
    inputEnded_ = true;
    awaitHangUp();
  }
  input_.append(chunk_.data(), bytes);
  goOn();
}

// Whatever can be done now: take requests, read more, or close a connection that is finished.
void Connection::goOn() {
  if (closed_) return;
  takeLines();
  if (closed_) return;
  read();
  if (inputEnded_ && inFlight_ == 0 && outgoing_.empty() && !resting()) close();
}

void Connection::takeLines() {
  std::size_t begin = 0;
  while (!resting() && !closed_) {
    const std::size_t end = input_.find('\n', begin + searched_);
    if (end == std::string::npos) {
      searched_ = input_.size() - begin;
      break;
    }
    searched_ = 0;
    if (end - begin > maxLineBytes) return refuseTooLong();
    serveLine(std::string_view(input_).substr(begin, end - begin));
    begin = end + 1;
  }
  input_.erase(0, begin);
  if (!inputEnded_ && searched_ > maxLineBytes) refuseTooLong();
}

// A client that only has nothing more to say still gets its replies; one that is gone does not.
void Connection::awaitHangUp() {
  socket_.async_wait(Socket::wait_error, [self = shared_from_this()](const auto& error) {
    if (!error) self->close();
  });
}

void Connection::accept(const std::shared_ptr<RequestLine>& line) {
  line->open = line->elements.size();
  inFlight_ += line->open;
  requestBytes_ += line->bytes;
  lines_.push_back(line);
}

void Connection::refuseTooLong() {
  server_.countCutOff();
  endInput();
  auto line = std::make_shared<RequestLine>();
  line->elements.push_back({.id = "null", .wantsReply = true, .text = ""});
  accept(line);
  Reply(shared_from_this(), line, 0)
      .error({rpc::invalidRequest,
              "a request line holds at most " + std::to_string(maxLineBytes) + " bytes"});
}

void Connection::serveLine(std::string_view text) {
  const rpc::Line requests(text);
  auto line = std::make_shared<RequestLine>();
  line->batch = requests.batch;
  line->bytes = text.size();
  for (const rpc::Request& request : requests.requests) {
    line->elements.push_back({.id = request.id, .wantsReply = request.wantsReply, .text = ""});
  }
  accept(line);
  for (std::size_t i = 0; i < requests.requests.size(); ++i) {
    server_.serve(requests.requests[i], Reply(shared_from_this(), line, i));
  }
}

void Connection::answered(RequestLine& line, std::size_t index, std::string text) {
  RequestLine::Element& element = line.elements[index];
  // A reply that comes after the end of the connection, or again, counts for nothing.
  if (closed_ || !element.open) return;
  element.open = false;
  element.text = std::move(text);
  heldBytes_ += element.text.size();
  --line.open;
  --inFlight_;
  settleLater();
}

void Connection::settleLater() {
  if (!std::exchange(unsettled_, true)) server_.settleLater(shared_from_this());
}

void Connection::settle() {
  if (!std::exchange(unsettled_, false)) return;
  guarded([&] {
    if (closed_) return;
    releaseReplies();
    if (unsentBytes() > maxUnsentBytes) return server_.cutOff(*this);
    send();
    goOn();
  });
}

// Moves finished lines to the outgoing ones, as far as the order of the requests allows.
void Connection::releaseReplies() {
  while (!lines_.empty() && lines_.front()->open == 0) {
    const std::shared_ptr<RequestLine> line = std::move(lines_.front());
    lines_.pop_front();
    requestBytes_ -= line->bytes;
    std::string text;
    for (auto& element : line->elements) {
      if (!element.wantsReply) continue;
      heldBytes_ -= element.text.size();
      if (text.empty()) {
        text = line->batch ? "[" + element.text : std::move(element.text);
      } else {
        text += ',' + element.text;
      }
    }
    if (text.empty()) continue;
    text += line->batch ? "]\n" : "\n";
    lane_->unsentBytes += text.size();
    const std::size_t bytes = text.size();
    outgoing_.push_back({std::make_shared<const std::string>(std::move(text)), bytes});
  }
}

void Connection::notify(const Text& line) {
  guarded([&] {
    outgoing_.push_back({line, 0});
    notificationBytes_ += line->size();
    settleLater();
  });
}

void Connection::send() {
  if (sending_ || closed_ || outgoing_.empty()) return;
  sending_ = true;
  constexpr std::size_t maxChunks = 64;
  std::vector<asio::const_buffer> buffers;
  for (std::size_t i = 0; i < std::min(outgoing_.size(), maxChunks); ++i) {
    buffers.push_back(asio::buffer(*outgoing_[i].text));
  }
  const std::size_t chunks = buffers.size();
  asio::async_write(socket_, buffers,
                    [self = shared_from_this(), chunks](const auto& error, std::size_t) {
                      self->guarded([&] { self->sent(error, chunks); });
                    });
}

void Connection::sent(const boost::system::error_code& error, std::size_t chunks) {
  sending_ = false;
  if (closed_) return;
  if (error) return close();
  const bool wasResting = lane_->unsentBytes >= maxUnsentReplyBytes;
  for (; chunks != 0; --chunks) {
    const Chunk& chunk = outgoing_.front();
    if (chunk.replyBytes == 0) notificationBytes_ -= chunk.text->size();
    lane_->unsentBytes -= chunk.replyBytes;
    outgoing_.pop_front();
  }
  if (wasResting && lane_->unsentBytes < maxUnsentReplyBytes) server_.drained();
  send();
  goOn();
}

void Connection::endInput() {
  inputEnded_ = true;
  input_.clear();
  searched_ = 0;
}

void Connection::finish(const rpc::Error& error) {
  const auto open = lines_;
  for (const auto& line : open) {
    for (std::size_t i = 0; i < line->elements.size(); ++i) {
      if (line->elements[i].open) Reply(shared_from_this(), line, i).error(error);
    }
  }
  goOn();
}

void Connection::close() {
  if (closed_) return;
  closed_ = true;
  boost::system::error_code ignored;
  socket_.close(ignored);
  // An unfinished write still reads from the texts of outgoing_.
  if (!sending_) outgoing_.clear();
  lines_.clear();
  lane_->unsentBytes = 0;
  server_.forget(*this);
}

}  // namespace standin
