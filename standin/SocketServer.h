// The socket: accepts clients, gives each its turns, and sends what there is for them.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "standin/Connection.h"
#include "standin/SocketPath.h"

namespace standin {

/// One request in its turn. It outlives its connection.
class Turn {
 public:
  Turn(std::shared_ptr<Connection> connection, std::uint64_t connectionNumber,
       const rpc::Request& request, bool callbacksAreFree);

  const bool mayCall;          ///< whether the daemon can be called now
  const std::uint64_t number;  ///< of the connection
  std::string id;              ///< JSON text; empty where no reply is wanted

  /// Null where the client had gone before.
  Connection* connection() const { return connection_.get(); }

  /// To be called before the baton is left: what the request holds may be gone afterwards.
  void take();

  /// Whether somebody gets the reply.
  bool wantsReply() const { return connection_ && !id.empty() && !connection_->isEnding(); }
  /// Replies with a result that `write(text)` appends, a JSON text, or with an error.
  template <typename Write>
  void result(Write&& write) {
    reply("result", write);
  }
  void error(const rpc::Error& error);
  /// Replies with the value of `member`.
  template <typename Write>
  void reply(std::string_view member, Write&& write) {
    take();
    if (!wantsReply()) return;
    connection_->reply([&](std::string& out) {
      rpc::startReply(out, id, member);
      write(out);
      out += '}';
    });
  }

 private:
  friend class SocketServer;

  std::shared_ptr<Connection> connection_;
  bool taken_ = false;
};

/// What became of a request.
enum class Served {
  done,
  needsCallback,  ///< nothing: it needs a callback, and none can be called
  later,          ///< nothing: it waits until `SocketServer::goOn`
  pending         ///< it was taken, and ends with `SocketServer::finish`
};

/// Serves requests; on whatever thread has the baton.
class RequestHandler {
 public:
  virtual Served serve(Turn& turn, const rpc::Request& request) = 0;
  /// Between requests; `quiet` where none can be served, and nothing is new. True where one may be
  /// served now.
  virtual bool idle(bool mayCall, bool quiet) = 0;
  /// Does what goes ahead of the next request.
  virtual void prepare(bool mayCall) = 0;

 protected:
  ~RequestHandler() = default;
};

/// Whoever has the baton, except `wake`.
class SocketServer {
 public:
  struct Counters {
    std::uint64_t made = 0;     ///< connections accepted
    std::uint64_t refused = 0;  ///< connections past the limit
    std::uint64_t cutOff = 0;   ///< connections that a limit, or lack of memory, has closed
    std::uint64_t dropped = 0;  ///< requests without an id, of clients that were gone
  };

  explicit SocketServer(RequestHandler& handler);
  ~SocketServer();
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;

  /// Claims the path. Returns an empty string, or why it failed.
  std::string claim(const std::string& path) { return path_.claim(path); }
  /// Lets clients connect; they are served from `startAccepting` on.
  std::string listen();
  void startAccepting() { accept(); }

  /// Gives connections their turns, and sends what is ready. True when more can be done at once.
  bool work(bool mayCall);
  /// Waits for events, for so many milliseconds at the most or (-1) without end, and takes them.
  void collect(int milliseconds);
  /// Milliseconds until something is due; -1 for nothing.
  int patience() const;
  /// Whether the last look at the events found some.
  bool sawEvents() const { return sawEvents_; }
  /// Readable when there are events.
  int descriptor() const { return epoll_; }
  /// Ends a wait for events. From any thread.
  void wake();

  /// Ends a request that was pending.
  void finish(Turn& turn);
  /// Requests that wait for something else can be tried again.
  void goOn();

  /// Calls `deliver(connection)` for each that has subscribed, or that sees requests.
  template <typename Deliver>
  void distribute(bool toThoseWhoSeeRequests, Deliver&& deliver) {
    for (std::size_t i = connections_.size(); i-- != 0;) {
      const Pointer connection = connections_[i];
      if (toThoseWhoSeeRequests ? connection->seesRequests : connection->subscribed) {
        deliverTo(connection, [&] { deliver(*connection); });
      }
    }
  }
  void subscribe(Connection& connection, bool wanted, bool toRequests);
  bool hasSubscribers() const { return subscribers_ != 0; }
  bool someoneSeesRequests() const { return requestSubscribers_ != 0; }

  /// Takes no further client, and no further byte.
  void takeNoMore();
  /// Answers what waits with an error, and sends what is answered, for at most a second.
  void shutDown();

  const Counters& counters() const { return counters_; }

 private:
  /// Requests without an id of clients that are gone.
  struct Orphans {
    std::uint64_t number;  ///< of the connection
    std::string lines;
    std::size_t begin = 0;
  };
  using Pointer = std::shared_ptr<Connection>;

  void deliverTo(const Pointer& connection, const std::function<void()>& action);
  template <typename Action>
  void guarded(const Pointer& connection, Action&& action);
  void accept();
  void acceptOne(int descriptor);
  void watchForClients(std::uint32_t events);
  void take(const Pointer& connection, std::uint32_t events);
  void hangUp(const Pointer& connection);
  bool serveNext(bool mayCall);
  void serve(const Pointer& connection, bool mayCall);
  bool serveOrphan(bool mayCall);
  void settle(const Pointer& connection);
  void settleAll();
  void watch(Connection& connection);
  void cutOff(const Pointer& connection);
  void close(const Pointer& connection);

  RequestHandler& handler_;
  SocketPath path_;
  int epoll_ = -1;
  int wakeUp_ = -1;
  std::chrono::steady_clock::time_point retryAccept_{};
  bool retrying_ = false;
  std::vector<Pointer> connections_;
  std::size_t next_ = 0;  ///< whose turn comes, one past the last for the orphans
  std::deque<Orphans> orphans_;
  std::size_t orphanBytes_ = 0;
  bool sawEvents_ = false;  ///< at the last look
  bool hasWorked_ = false;  ///< since memory went back
  std::size_t subscribers_ = 0;
  std::size_t requestSubscribers_ = 0;
  JsonDocument document_;
  Counters counters_;
};

}  // namespace standin
