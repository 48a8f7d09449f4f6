// Claiming the path of the socket, so that two daemons never share it.
#pragma once

#include <sys/types.h>

#include <string>

namespace standin {

/// A claimed path: a bound socket and an advisory lock on `PATH.lock`, held until destruction. Main
/// thread only.
class SocketPath {
 public:
  SocketPath() = default;
  ~SocketPath();
  SocketPath(const SocketPath&) = delete;
  SocketPath& operator=(const SocketPath&) = delete;

  /// Locks and binds. Only a socket that refuses connections is taken for stale and replaced;
  /// anything else at the path is left alone. Returns an empty string, or why it failed.
  std::string claim(const std::string& path);

  /// Lets connections queue up, from now on. Returns an empty string, or why it failed.
  std::string listen();

  /// Removes the path, if it still is ours; so does the destructor.
  void remove();

  /// The bound socket, which does not block.
  int descriptor() const { return socket_; }

 private:
  std::string lock();
  std::string removeStale();
  std::string bind();
  std::string failure(const std::string& what, int error) const;

  std::string path_;
  int lock_ = -1;
  int socket_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace standin
