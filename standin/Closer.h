// Closing what a client may have made slow to close.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace standin {

/// Has the kernel keep files away from a socket, and from those accepted from it; false where it
/// cannot.
bool refuseDescriptors(int socket);

/// A file that a client has passed can take as long to close as its sender likes. So it is closed
/// on a thread of its own, which starts with the first one and is never waited for.
class Closer {
 public:
  static Closer& instance();

  /// Closes a descriptor, soon. Without a thread or memory it is closed here and now.
  void close(int descriptor);
  /// How many are not closed yet.
  std::size_t pending() const { return pending_; }

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<int> descriptors_;
  std::atomic<std::size_t> pending_{0};
  bool started_ = false;
};

}  // namespace standin
