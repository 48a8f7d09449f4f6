// The least that a server with two threads can cost: one thread reads lines and sends replies, the
// other makes them. What it measures against is a daemon whose callbacks have a thread of their
// own.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/harness/LineClient.h"

class EchoServer {
 public:
  /// Replies are lines of `replyBytes` bytes, line end included, with the id of the request.
  EchoServer(std::size_t connections, std::size_t replyBytes);
  ~EchoServer();
  EchoServer(const EchoServer&) = delete;
  EchoServer& operator=(const EchoServer&) = delete;

  /// The clients' ends, each to be taken over by a LineClient.
  const std::vector<int>& clientEnds() const { return clientEnds_; }

 private:
  struct Message {
    LineClient* link;
    std::string text;
  };

  void serve();
  void work();
  void readRequests(LineClient& link);
  void sendReplies();
  std::string replyTo(const std::string& request) const;
  void wake() const;

  const std::size_t replyBytes_;
  std::vector<int> clientEnds_;
  std::vector<std::unique_ptr<LineClient>> links_;
  const int wake_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Message> requests_, replies_;
  bool stopping_ = false;

  std::thread server_, worker_;  ///< last, since they use all the others
};
