#include "standin/Closer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <exception>
#include <thread>

namespace standin {

#ifndef SO_PASSRIGHTS
constexpr int SO_PASSRIGHTS = 83;
#endif

bool refuseDescriptors(int socket) {
  const int off = 0;
  return ::setsockopt(socket, SOL_SOCKET, SO_PASSRIGHTS, &off, sizeof off) == 0;
}

Closer& Closer::instance() {
  static auto& closer = *new Closer;
  return closer;
}

void Closer::close(int descriptor) {
  try {
    const std::lock_guard lock(mutex_);
    if (!started_) std::thread([this] { run(); }).detach();
    started_ = true;
    descriptors_.push_back(descriptor);
    ++pending_;
    changed_.notify_one();
  } catch (const std::exception&) {
    ::close(descriptor);
  }
}

void Closer::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return !descriptors_.empty(); });
    const int descriptor = descriptors_.front();
    descriptors_.pop_front();
    lock.unlock();
    ::close(descriptor);
    --pending_;
    lock.lock();
  }
}

}  // namespace standin
