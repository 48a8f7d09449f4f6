#include "standin/Connection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "standin/Limits.h"
#include "standin/MainLoop.h"
#include "standin/SocketServer.h"

namespace asio = boost::asio;

namespace standin {

void Reply::result(std::string_view json) const {
  if (line_) finish(rpc::resultReply(line_->elements[index_].id, json));
}

void Reply::error(const rpc::Error& error) const {
  if (line_) finish(rpc::errorReply(line_->elements[index_].id, error));
}

void Reply::finish(std::string text) const {
  connection_->lane_->unsentBytes += text.size();
  asio::post(mainLoop(), [reply = *this, text = std::move(text)]() mutable {
    reply.connection_->answered(reply.line_.get(), reply.index_, std::move(text));
  });
}

Connection::Connection(SocketServer& server, Socket socket)
    : server_(server), socket_(std::move(socket)) {}

void Connection::start() { read(); }

std::size_t Connection::unsentBytes() const { return lane_->unsentBytes + notificationBytes_; }

bool Connection::resting() const {
  return lane_->unsentBytes >= maxUnsentReplyBytes || inFlight_ >= maxRequestsInFlight;
}

void Connection::read() {
  if (reading_ || inputEnded_ || closed_ || resting()) return;
  reading_ = true;
  socket_.async_read_some(asio::buffer(chunk_),
                          [self = shared_from_this()](const auto& error, std::size_t bytes) {
                            self->received(error, bytes);
                          });
}

void Connection::received(const boost::system::error_code& error, std::size_t bytes) {
  reading_ = false;
  if (closed_) return;
  if (error && error != asio::error::eof) return close();
  if (error) inputEnded_ = true;
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
  if (searched_ > maxLineBytes) refuseTooLong();
}

void Connection::refuseTooLong() {
  input_.clear();
  searched_ = 0;
  inputEnded_ = true;
  auto line = std::make_shared<ReplyLine>();
  line->elements.push_back({"null", ""});
  line->open = 1;
  replies_.push_back(line);
  ++inFlight_;
  Reply(shared_from_this(), line, 0)
      .error({rpc::invalidRequest,
              "a request line holds at most " + std::to_string(maxLineBytes) + " bytes"});
}

void Connection::serveLine(std::string_view text) {
  rpc::Line requests = rpc::parseLine(text);
  auto line = std::make_shared<ReplyLine>();
  line->batch = requests.batch;
  for (const rpc::Request& request : requests.requests) {
    if (request.wantsReply) line->elements.push_back({request.id, ""});
  }
  line->open = line->elements.size();
  if (line->open != 0) {
    replies_.push_back(line);
    inFlight_ += line->open;
  }
  std::size_t index = 0;
  for (rpc::Request& request : requests.requests) {
    const Reply reply(shared_from_this(), request.wantsReply ? line : nullptr, index);
    if (request.wantsReply) ++index;
    server_.serve(request, reply);
  }
}

void Connection::answered(ReplyLine* line, std::size_t index, std::string text) {
  // A reply that comes after the end of the connection, or again, counts for nothing.
  if (closed_ || !line->elements[index].text.empty()) {
    lane_->unsentBytes -= text.size();
    return;
  }
  line->elements[index].text = std::move(text);
  --line->open;
  --inFlight_;
  releaseReplies();
  send();
  goOn();
}

// Moves finished lines to the outgoing ones, as far as the order of the requests allows.
void Connection::releaseReplies() {
  while (!replies_.empty() && replies_.front()->open == 0) {
    const std::shared_ptr<ReplyLine> line = std::move(replies_.front());
    replies_.pop_front();
    std::size_t replyBytes = 0;
    auto text = std::make_shared<std::string>();
    if (line->batch) *text += '[';
    for (auto& element : line->elements) {
      if (replyBytes != 0) *text += ',';
      replyBytes += element.text.size();
      if (text->empty()) {
        *text = std::move(element.text);
      } else {
        *text += element.text;
      }
    }
    *text += line->batch ? "]\n" : "\n";
    outgoing_.push_back({std::move(text), replyBytes});
  }
  if (unsentBytes() > maxUnsentBytes) server_.cutOff(*this);
}

void Connection::notify(const Text& line) {
  if (closed_) return;
  notificationBytes_ += line->size();
  outgoing_.push_back({line, 0});
  if (unsentBytes() > maxUnsentBytes) return server_.cutOff(*this);
  send();
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
                      self->sent(error, chunks);
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
  if (wasResting && lane_->unsentBytes < maxUnsentReplyBytes) server_.laneDrained();
  send();
  goOn();
}

void Connection::finish(const rpc::Error& error) {
  inputEnded_ = true;
  input_.clear();
  searched_ = 0;
  const auto open = replies_;
  for (const auto& line : open) {
    for (std::size_t i = 0; i < line->elements.size(); ++i) {
      if (line->elements[i].text.empty()) Reply(shared_from_this(), line, i).error(error);
    }
  }
  goOn();
}

void Connection::close() {
  if (closed_) return;
  closed_ = true;
  boost::system::error_code ignored;
  socket_.close(ignored);
  // What is left of the lane must not rest for replies that nobody will read.
  std::size_t dropped = 0;
  for (const Chunk& chunk : outgoing_) dropped += chunk.replyBytes;
  for (const auto& line : replies_) {
    for (const auto& element : line->elements) dropped += element.text.size();
  }
  lane_->unsentBytes -= dropped;
  // An unfinished write still reads from the texts of outgoing_.
  if (!sending_) outgoing_.clear();
  replies_.clear();
  server_.laneDrained();
  server_.forget(*this);
}

}  // namespace standin
