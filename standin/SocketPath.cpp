#include "standin/SocketPath.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "standin/Closer.h"

namespace standin {
namespace {

constexpr mode_t socketMode = 0660;

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Whose file it is, where it is somebody else's.
std::string owner(const std::string& file) {
  struct stat status {};
  if (::lstat(file.c_str(), &status) != 0 || status.st_uid == ::geteuid()) return "";
  return "; the file belongs to user " + std::to_string(status.st_uid);
}

}  // namespace

SocketPath::~SocketPath() {
  ::close(socket_);
  remove();
  // The lock file stays: removing it would let two daemons lock two files of the same name.
  ::close(lock_);
}

void SocketPath::remove() {
  struct stat status {};
  if (inode_ != 0 && ::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ &&
      status.st_ino == inode_) {
    ::unlink(path_.c_str());
  }
  inode_ = 0;
}

std::string SocketPath::failure(const std::string& what, int error) const {
  return "cannot " + what + " " + path_ + ": " + std::strerror(error);
}

std::string SocketPath::claim(const std::string& path) {
  path_ = path;
  constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
  if (path.size() > longest) {
    return "the socket path " + path + " has " + std::to_string(path.size()) +
           " bytes; a socket address holds " + std::to_string(longest);
  }
  std::string reason = lock();
  if (reason.empty()) reason = removeStale();
  if (reason.empty()) reason = bind();
  return reason;
}

std::string SocketPath::lock() {
  const std::string lockPath = path_ + ".lock";
  lock_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (lock_ < 0) {
    const int error = errno;
    return "cannot open the lock file " + lockPath + ": " + std::strerror(error) + owner(lockPath);
  }
  if (::flock(lock_, LOCK_EX | LOCK_NB) == 0) return "";
  if (errno == EWOULDBLOCK) {
    return "another process serves " + path_ + ": it holds " + lockPath + owner(lockPath);
  }
  return "cannot lock " + lockPath + ": " + std::strerror(errno);
}

std::string SocketPath::removeStale() {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) != 0) {
    return errno == ENOENT ? "" : failure("look at", errno);
  }
  if (!S_ISSOCK(status.st_mode)) return path_ + " exists and is not a socket; it is left alone";
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) return failure("make a socket for", errno);
  const sockaddr_un address = addressOf(path_);
  const int error = ::connect(probe, generic(address), sizeof address) == 0 ? 0 : errno;
  ::close(probe);
  // A full queue of connections is a live process, too.
  if (error == 0 || error == EAGAIN) return "another process answers at " + path_;
  if (error != ECONNREFUSED) return failure("tell who serves", error);
  return ::unlink(path_.c_str()) == 0 ? "" : failure("remove the stale socket", errno);
}

std::string SocketPath::bind() {
  socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket_ < 0) return failure("make a socket for", errno);
  const sockaddr_un address = addressOf(path_);
  // The mode is there with the path: it is nobody else's for a moment, and no link is followed.
  const mode_t before = ::umask(0777 & ~socketMode);
  const int error = ::bind(socket_, generic(address), sizeof address) == 0 ? 0 : errno;
  ::umask(before);
  if (error != 0) return failure("bind a socket to", error);
  struct stat status {};
  if (::lstat(path_.c_str(), &status) != 0) return failure("look at", errno);
  device_ = status.st_dev;
  inode_ = status.st_ino;
  return "";
}

std::string SocketPath::listen() {
  refuseDescriptors(socket_);  // also what is sent before the connection is accepted
  return ::listen(socket_, SOMAXCONN) == 0 ? "" : failure("listen at", errno);
}

}  // namespace standin
