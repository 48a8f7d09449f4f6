#include "bench/EchoServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

EchoServer::EchoServer(std::size_t connections, std::size_t replyBytes)
    : replyBytes_(replyBytes), wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  while (links_.size() < connections) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    clientEnds_.push_back(ends[0]);
    links_.push_back(std::make_unique<LineClient>(ends[1]));
  }
  server_ = std::thread([this] { serve(); });
  worker_ = std::thread([this] { work(); });
}

EchoServer::~EchoServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    changed_.notify_one();
  }
  wake();
  server_.join();
  worker_.join();
  ::close(wake_);
}

void EchoServer::wake() const {
  constexpr std::uint64_t one = 1;
  // It only fails where a wake-up is pending already.
  [[maybe_unused]] const ssize_t written = ::write(wake_, &one, sizeof one);
}

void EchoServer::serve() {
  std::vector<pollfd> waiting = {{wake_, POLLIN, 0}};
  for (const auto& link : links_) waiting.push_back({link->descriptor(), POLLIN, 0});
  for (;;) {
    for (std::size_t i = 0; i < links_.size(); ++i) waiting[i + 1].events = links_[i]->events();
    ::poll(waiting.data(), waiting.size(), -1);
    if (waiting.front().revents != 0) sendReplies();
    for (std::size_t i = 0; i < links_.size(); ++i) {
      if (waiting[i + 1].revents == 0) continue;
      if (!links_[i]->transfer()) waiting[i + 1].fd = -1;  // which is not polled
      readRequests(*links_[i]);
    }
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
  }
}

void EchoServer::readRequests(LineClient& link) {
  while (const auto line = link.nextLine()) {
    const std::lock_guard lock(mutex_);
    requests_.push_back({&link, std::string(*line)});
    changed_.notify_one();
  }
}

void EchoServer::sendReplies() {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const ssize_t count = ::read(wake_, &ignored, sizeof ignored);
  std::deque<Message> replies;
  {
    const std::lock_guard lock(mutex_);
    replies.swap(replies_);
  }
  for (const Message& reply : replies) reply.link->send(reply.text);
}

void EchoServer::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopping_ || !requests_.empty(); });
    if (stopping_) return;
    const Message request = std::move(requests_.front());
    requests_.pop_front();
    lock.unlock();
    Message reply{request.link, replyTo(request.text)};
    lock.lock();
    replies_.push_back(std::move(reply));
    if (replies_.size() == 1) wake();
  }
}

std::string EchoServer::replyTo(const std::string& request) const {
  std::string reply = request.substr(0, request.find(R"(,"method")")) + R"(,"result":{")";
  constexpr std::size_t end = 6;  // ":0}}\n
  if (reply.size() + end < replyBytes_) reply.resize(replyBytes_ - end, '.');
  return reply + "\":0}}\n";
}
