#include "tests/harness/LineClient.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::size_t readSize = std::size_t{256} * 1024;

int connectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
  }
  path.copy(address.sun_path, path.size());
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor >= 0 &&
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return descriptor;
  }
  const int error = errno;
  if (descriptor >= 0) ::close(descriptor);
  throw std::system_error(error, std::generic_category(), path);
}

bool wouldBlock() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

LineClient::LineClient(const std::string& path) : LineClient(connectTo(path)) {}

LineClient::LineClient(int descriptor) : descriptor_(descriptor) {
  ::fcntl(descriptor_, F_SETFL, ::fcntl(descriptor_, F_GETFL) | O_NONBLOCK);
}

LineClient::~LineClient() { ::close(descriptor_); }

short LineClient::events() const {
  return static_cast<short>(output_.empty() ? POLLIN : POLLIN | POLLOUT);
}

void LineClient::send(std::string_view bytes) {
  output_ += bytes;
  sendWaiting();
}

void LineClient::endOutput() const { ::shutdown(descriptor_, SHUT_WR); }

bool LineClient::sendWaiting() {
  while (sent_ < output_.size()) {
    const ssize_t count =
        ::send(descriptor_, output_.data() + sent_, output_.size() - sent_, MSG_NOSIGNAL);
    if (count < 0) return wouldBlock();
    sent_ += static_cast<std::size_t>(count);
  }
  output_.clear();
  sent_ = 0;
  return true;
}

bool LineClient::transfer() {
  // What the other side said before it ended is read even if nothing can be sent any more.
  sendWaiting();
  if (begin_ != 0) {
    std::memmove(input_.data(), input_.data() + begin_, end_ - begin_);
    searched_ -= begin_;
    end_ -= begin_;
    begin_ = 0;
  }
  for (;;) {
    if (input_.size() - end_ < readSize) input_.resize(end_ + 2 * readSize);
    const std::size_t room = input_.size() - end_;
    const ssize_t count = ::recv(descriptor_, input_.data() + end_, room, 0);
    if (count == 0) return false;
    if (count < 0) return wouldBlock();
    end_ += static_cast<std::size_t>(count);
    if (static_cast<std::size_t>(count) < room) return true;
  }
}

bool LineClient::wait(int milliseconds) const {
  pollfd waiting{descriptor_, events(), 0};
  return ::poll(&waiting, 1, milliseconds) > 0;
}

std::optional<std::string_view> LineClient::nextLine() {
  const void* found = std::memchr(input_.data() + searched_, '\n', end_ - searched_);
  if (found == nullptr) {
    searched_ = end_;
    return std::nullopt;
  }
  const auto lineEnd = static_cast<std::size_t>(static_cast<const char*>(found) - input_.data());
  const std::string_view line(input_.data() + begin_, lineEnd - begin_);
  begin_ = searched_ = lineEnd + 1;
  return line;
}

std::optional<std::string_view> LineClient::awaitLine(int milliseconds) {
  for (;;) {
    if (const auto line = nextLine()) return line;
    if (!wait(milliseconds)) throw std::runtime_error("no line comes");
    if (!transfer()) return nextLine();
  }
}

std::optional<std::string_view> LineClient::nextBytes(std::size_t count) {
  if (end_ - begin_ < count) return std::nullopt;
  const std::string_view bytes(input_.data() + begin_, count);
  begin_ = searched_ = begin_ + count;
  return bytes;
}
