#include "standin/Connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "standin/Closer.h"
#include "standin/Limits.h"

namespace standin {
namespace {

/// What one read takes.
constexpr std::size_t chunkBytes = 65536;
/// A buffer that was larger gives its memory back.
constexpr std::size_t keptBytes = 256U << 10;
constexpr std::size_t largeBytes = mebibyte;

/// Reads bytes, and has the descriptors closed that came with them.
ssize_t receive(int socket, char* to, std::size_t room) {
  // The most that one message can carry.
  alignas(cmsghdr) std::array<char, CMSG_SPACE(253 * sizeof(int))> control;
  iovec piece{to, room};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  if (Closer::instance().pending() != 0) {
    // No more of them before those are gone.
    if (::recvmsg(socket, &message, MSG_DONTWAIT | MSG_PEEK) > 0 &&
        (message.msg_flags & MSG_CTRUNC) != 0) {
      errno = ENOBUFS;
      return -1;
    }
  }
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t bytes = ::recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (bytes < 0) return bytes;
  // Nothing but descriptors: no option of the socket asks for more.
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
       part = CMSG_NXTHDR(&message, part)) {
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int descriptor;
      std::memcpy(&descriptor, CMSG_DATA(part) + i * sizeof(int), sizeof descriptor);
      Closer::instance().close(descriptor);
    }
  }
  return bytes;
}

void emptied(std::string& text) {
  if (text.capacity() > keptBytes) std::string().swap(text);
  text.clear();
}

rpc::Error tooLong() {
  return {rpc::invalidRequest,
          "a request line holds at most " + std::to_string(maxLineBytes) + " bytes"};
}

}  // namespace

Connection::Connection(int descriptor, std::uint64_t acceptanceNumber)
    : number(acceptanceNumber),
      descriptor_(descriptor),
      kernelRefusesDescriptors_(refuseDescriptors(descriptor)) {}

void Connection::close() {
  if (!closed()) end(std::exchange(descriptor_, -1));
}

void Connection::end(int descriptor) {
  // Bytes that are left unread would turn the end into a reset.
  ::shutdown(descriptor, SHUT_RDWR);
  char bytes[4096];
  ssize_t left;
  do {
    left = receive(descriptor, bytes, sizeof bytes);
  } while (left > 0 || (left < 0 && errno == ECONNRESET));  // which is told once, ahead of the rest
  // What cannot be read goes with the socket, and may be slow to close.
  if (left < 0) return Closer::instance().close(descriptor);
  ::close(descriptor);
}

Connection::Read Connection::read() {
  if (begin_ != 0 && begin_ >= input_.size() - begin_) {
    input_.erase(0, begin_);
    searched_ -= std::min(searched_, begin_);
    if (lineEnd_ != none) lineEnd_ -= begin_;
    element_ -= std::min(element_, begin_);
    begin_ = 0;
  }
  static std::array<char, chunkBytes> chunk;
  ssize_t bytes;
  do {
    bytes = kernelRefusesDescriptors_
                ? ::recv(descriptor_, chunk.data(), chunk.size(), MSG_DONTWAIT)
                : receive(descriptor_, chunk.data(), chunk.size());
  } while (bytes < 0 && errno == EINTR);
  if (bytes < 0) return errno == EAGAIN ? Read::nothing : Read::failed;
  if (bytes == 0) return Read::end;
  input_.append(chunk.data(), static_cast<std::size_t>(bytes));
  findLine();
  return Read::some;
}

void Connection::findLine() {
  if (lineEnd_ != none) return;
  lineEnd_ = input_.find('\n', std::max(begin_, searched_));
  searched_ = std::min(lineEnd_, input_.size());
}

bool Connection::wantsInput() const {
  const std::size_t waiting = lineEnd_ == none ? 0 : input_.size() - lineEnd_;
  return !inputEnded_ && !isTooLong() && waiting < maxWaitingBytes;
}

bool Connection::isTooLong() const {
  const std::size_t end = lineEnd_ == none ? input_.size() : lineEnd_;
  return end - begin_ > maxLineBytes;
}

bool Connection::readRequest(JsonDocument& document, rpc::Request& request) {
  if (isTooLong()) {
    request.error = tooLong();
    inputEnded_ = true;
    input_.resize(begin_);
    lineEnd_ = requestEnd_ = begin_;
    return true;
  }
  const std::string_view all = input_;
  if (!inBatch_) {
    const std::string_view line = all.substr(begin_, lineEnd_ - begin_);
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first != std::string_view::npos && line[first] == '[') {
      element_ = begin_ + first + 1;
      return !beginBatch(line, document, request);
    }
    requestEnd_ = lineEnd_;
    const JsonDocument::Outcome outcome = document.parse(line, maxNesting, true);
    if (outcome == JsonDocument::Outcome::good) {
      request = rpc::readRequest(document.value());
    } else {
      request.error = rpc::errorOf(outcome, document);
    }
    return true;
  }
  requestEnd_ = endOfJsonValue(all.substr(0, lineEnd_), element_);
  // It is known to be good.
  document.parse(all.substr(element_, requestEnd_ - element_), maxNesting, true);
  request = rpc::readRequest(document.value());
  return true;
}

// False, and an error for the whole line, where it cannot be served as a batch.
bool Connection::beginBatch(std::string_view line, JsonDocument& document, rpc::Request& request) {
  requestEnd_ = lineEnd_;
  const JsonDocument::Outcome outcome = document.parse(line, maxNesting + 1, false);
  if (outcome != JsonDocument::Outcome::good) {
    request.error = rpc::errorOf(outcome, document);
    return false;
  }
  std::size_t count = 0, at = element_ - begin_;
  if (line[line.find_first_not_of(" \t\r", at)] != ']') {
    for (count = 1; line[at = endOfJsonValue(line, at)] == ','; ++at) ++count;
  }
  if (count == 0) {
    request.error = {rpc::invalidRequest, "a batch holds at least one request"};
  } else if (count > maxBatch) {
    request.error = {rpc::invalidRequest,
                     "a batch holds at most " + std::to_string(maxBatch) + " requests"};
  } else {
    inBatch_ = true;
    lastOfBatch_ = false;
  }
  return inBatch_;
}

void Connection::takeRequest() {
  if (inBatch_) {
    lastOfBatch_ = input_[requestEnd_] == ']';
    element_ = requestEnd_ + 1;
    return;
  }
  begin_ = searched_ = std::min(requestEnd_ + 1, input_.size());
  lineEnd_ = none;
  findLine();
}

void Connection::endRequest() {
  if (inBatch_ && lastOfBatch_) finishBatch();
  emptied(turnId);
  if (inBatch_ || begin_ != input_.size()) return;
  emptied(input_);
  begin_ = searched_ = 0;
}

void Connection::finishBatch() {
  inBatch_ = false;
  begin_ = searched_ = lineEnd_ + 1;
  lineEnd_ = none;
  findLine();
  if (batchHasReply()) {
    holdBatch();
    outgoing_ += batchReply_;
    outgoing_ += "]\n";
  }
  batchHold_ = {};
  emptied(batchReply_);
  if (std::exchange(streaming_, false)) {
    for (const Hold& hold : std::exchange(laterHolds_, {})) {
      add(holds_, {sentBefore_ + outgoing_.size() + hold.from, hold.until});
    }
    appendNotification(afterBatch_);
    emptied(afterBatch_);
  }
}

// A reply that is long enough to be sent in parts is.
void Connection::streamBatch() {
  if (unsentBytes() < maxUnsentReplyBytes) return;
  holdBatch();
  outgoing_ += batchReply_;
  emptied(batchReply_);
  streaming_ = true;
}

std::string Connection::waitingNotifications(JsonDocument& document) {
  std::string lines;
  if (inTurn) endRequest();
  while (hasRequest() && !isTooLong()) {
    rpc::Request request;
    if (!readRequest(document, request)) continue;
    if (request.error.code == 0 && !request.wantsReply) {
      const std::size_t from = inBatch_ ? element_ : begin_;
      lines.append(input_, from, requestEnd_ - from) += '\n';
    }
    takeRequest();
    endRequest();
  }
  return lines;
}

void Connection::notify(std::string_view line) {
  if (ending_) return;
  if (streaming_) {
    afterBatch_ += line;
  } else {
    appendNotification(line);
  }
}

void Connection::appendNotification(std::string_view line) {
  const std::uint64_t end = sentBefore_ + outgoing_.size();
  if (stretches_.empty() || stretches_.back().end != end) stretches_.push_back({end, 0});
  outgoing_ += line;
  stretches_.back().end += line.size();
  stretches_.back().bytes += line.size();
  notificationBytes_ += line.size();
}

bool Connection::isResting() const {
  return outgoing_.size() - sent_ - notificationBytes_ + batchReply_.size() >= maxUnsentReplyBytes;
}

// How many bytes may be sent now.
std::size_t Connection::sendable() {
  const std::uint64_t position = sentBefore_ + sent_;
  while (!holds_.empty() && holds_.front().from <= position &&
         holds_.front().until <= std::chrono::steady_clock::now()) {
    holds_.pop_front();
  }
  if (holds_.empty()) return outgoing_.size() - sent_;
  return static_cast<std::size_t>(holds_.front().from - position);
}

// One for each place, however much is held back there that is then dropped.
void Connection::add(std::deque<Hold>& holds, const Hold& hold) {
  if (holds.empty() || holds.back().from != hold.from) {
    holds.push_back(hold);
  } else {
    holds.back().until = std::max(holds.back().until, hold.until);
  }
}

void Connection::hold(Time time) {
  if (inBatch_ && !streaming_) {
    batchHold_ = std::max(batchHold_, time);
  } else {
    add(holds_, {sentBefore_ + outgoing_.size(), time});
  }
}

void Connection::holdNotifications(Time time) {
  if (streaming_) {
    add(laterHolds_, {afterBatch_.size(), time});
  } else {
    add(holds_, {sentBefore_ + outgoing_.size(), time});
  }
}

// What is ready of a batch's reply waits for the delay of its elements.
void Connection::holdBatch() {
  if (batchHold_ == Time()) return;
  add(holds_, {sentBefore_ + outgoing_.size(), std::exchange(batchHold_, {})});
}

void Connection::endAfterThis() {
  holdBatch();
  ending_ = inputEnded_ = true;
  inBatch_ = streaming_ = false;
  emptied(batchReply_);
  emptied(afterBatch_);
  input_.clear();
  begin_ = searched_ = 0;
  lineEnd_ = none;
}

std::optional<Connection::Time> Connection::heldUntil() const {
  // Nothing that is held back may be left: what held it goes when more comes.
  const bool isNeeded = sent_ != outgoing_.size() || inputEnded_;
  return holds_.empty() || !isNeeded ? std::nullopt : std::optional(holds_.front().until);
}

bool Connection::send() {
  while (const std::size_t room = sendable()) {
    const ssize_t bytes =
        ::send(descriptor_, outgoing_.data() + sent_, room, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (bytes < 0 && errno == EINTR) continue;
    blocked_ = bytes < 0 && errno == EAGAIN;
    if (bytes < 0) return blocked_;
    noteSent(static_cast<std::size_t>(bytes));
  }
  return true;
}

void Connection::noteSent(std::size_t bytes) {
  sent_ += bytes;
  const std::uint64_t position = sentBefore_ + sent_;
  while (!stretches_.empty()) {
    Stretch& first = stretches_.front();
    const std::uint64_t left =
        std::min<std::uint64_t>(first.bytes, first.end - std::min(first.end, position));
    notificationBytes_ -= first.bytes - static_cast<std::size_t>(left);
    first.bytes = static_cast<std::size_t>(left);
    if (left != 0) break;
    stretches_.pop_front();
  }
  if (sent_ == outgoing_.size()) {
    sentBefore_ += sent_;
    sent_ = 0;
    emptied(outgoing_);
  } else if (sent_ >= largeBytes && sent_ >= outgoing_.size() / 2) {
    sentBefore_ += sent_;
    outgoing_.erase(0, std::exchange(sent_, 0));
  }
}

void Connection::refuseAll(JsonDocument& document, const rpc::Error& error) {
  if (std::exchange(inTurn, false)) {
    if (!turnId.empty())
      reply([&](std::string& out) { rpc::appendErrorReply(out, turnId, error); });
    endRequest();
  }
  while (hasRequest() && !isResting()) {
    rpc::Request request;
    if (!readRequest(document, request)) continue;
    if (request.wantsReply) {
      std::string id = "null";
      if (request.id != nullptr) appendJson(id = "", *request.id);
      const rpc::Error& reason = request.error.code == 0 ? error : request.error;
      reply([&](std::string& out) { rpc::appendErrorReply(out, id, reason); });
    }
    takeRequest();
    endRequest();
  }
}

}  // namespace standin
