#include "standin/SocketServer.h"

#include <malloc.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "standin/Closer.h"
#include "standin/Limits.h"
#include "standin/MainLoop.h"

namespace standin {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto acceptPause = std::chrono::milliseconds(100);
constexpr auto shutDownTime = std::chrono::seconds(1);
/// Milliseconds without an event after which memory goes back to the system. Sooner, one large
/// reply after another would have all its pages made anew.
constexpr int restTime = 50;
/// Turns between two looks at the events.
constexpr int turnsAtOnce = 256;
/// Reads of what a client that is gone has sent last.
constexpr int readsAtTheEnd = 64;
/// A reply is sent ahead of the others when so much is ready.
constexpr std::size_t sendAtOnceBytes = 128U << 10;

int millisecondsUntil(Clock::time_point time) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
}

bool addTo(int epoll, int descriptor, std::uint32_t events, void* data) {
  epoll_event event{};
  event.events = events;
  event.data.ptr = data;
  return ::epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

Turn::Turn(std::shared_ptr<Connection> connection, std::uint64_t connectionNumber,
           const rpc::Request& request, bool callbacksAreFree)
    : mayCall(callbacksAreFree), number(connectionNumber), connection_(std::move(connection)) {
  if (!connection_ || !request.wantsReply) return;
  if (request.id == nullptr) {
    id = "null";
  } else {
    appendJson(id, *request.id);
  }
}

void Turn::take() {
  if (std::exchange(taken_, true) || !connection_) return;
  connection_->takeRequest();
  connection_->turnId = id;
}

void Turn::error(const rpc::Error& error) {
  reply("error", [&](std::string& out) { rpc::appendError(out, error); });
}

SocketServer::SocketServer(RequestHandler& handler) : handler_(handler) {
  connections_.reserve(maxConnections);
}

SocketServer::~SocketServer() {
  ::close(epoll_);
  ::close(wakeUp_);
}

std::string SocketServer::listen() {
  // First what may fail: whoever connects to a process that cannot start would see a reset.
  epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
  wakeUp_ = epoll_ < 0 ? -1 : ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeUp_ < 0 || !addTo(epoll_, wakeUp_, EPOLLIN, &wakeUp_) ||
      !addTo(epoll_, path_.descriptor(), 0, this)) {
    return std::string("cannot watch the socket: ") + std::strerror(errno);
  }
  return path_.listen();
}

void SocketServer::wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(wakeUp_, &one, sizeof one);  // or it is awake
}

int SocketServer::patience() const {
  int milliseconds = retrying_ ? millisecondsUntil(retryAccept_) : -1;
  for (const Pointer& connection : connections_) {
    const auto held = connection->heldUntil();
    if (!held || connection->isBlocked()) continue;
    const int wait = millisecondsUntil(*held);
    milliseconds = milliseconds < 0 ? wait : std::min(milliseconds, wait);
  }
  return milliseconds;
}

// --- events -------------------------------------------------------------------------------------

void SocketServer::collect(int milliseconds) {
  std::array<epoll_event, maxConnections> events;
  const bool maySeeRest = hasWorked_ && milliseconds != 0;
  if (maySeeRest && (milliseconds < 0 || milliseconds > restTime)) milliseconds = restTime;
  const int count =
      ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), milliseconds);
  sawEvents_ = count > 0;
  if (sawEvents_) {
    hasWorked_ = true;
  } else if (maySeeRest) {
    hasWorked_ = false;
    document_ = {};
    ::malloc_trim(0);
  }
  bool mayAccept = retrying_ && Clock::now() >= retryAccept_;
  if (mayAccept) retrying_ = false;
  for (int i = 0; i < count; ++i) {
    const epoll_event& event = events[static_cast<std::size_t>(i)];
    if (event.data.ptr == &wakeUp_) {
      std::uint64_t times = 0;
      while (::read(wakeUp_, &times, sizeof times) > 0) {
      }
    } else if (event.data.ptr == this) {
      mayAccept = true;
    } else {
      const auto* which = static_cast<const Connection*>(event.data.ptr);
      const auto found = std::find_if(connections_.begin(), connections_.end(),
                                      [&](const Pointer& other) { return other.get() == which; });
      if (found == connections_.end()) continue;
      const Pointer connection = *found;
      guarded(connection, [&] { take(connection, event.events); });
    }
  }
  if (mayAccept) accept();
}

/// Where memory runs out the client is cut off: the others are served on.
template <typename Action>
void SocketServer::guarded(const Pointer& connection, Action&& action) {
  try {
    action();
  } catch (const std::bad_alloc&) {
    cutOff(connection);
  }
}

void SocketServer::accept() {
  // As many at a time as there may be: whoever connects for ever holds nobody up.
  for (std::size_t i = 0; i < maxConnections && !stopping(); ++i) {
    // What is being closed for clients that passed slow files counts, too.
    const bool room = Closer::instance().pending() < maxConnections;
    const int descriptor =
        room ? ::accept4(path_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC) : -1;
    if (descriptor >= 0) {
      acceptOne(descriptor);
      continue;
    }
    if (room && (errno == EINTR || errno == ECONNABORTED)) continue;
    if (room && errno == EAGAIN) break;
    // No descriptor left, most likely: the connection stays queued until there is one.
    retrying_ = true;
    retryAccept_ = Clock::now() + acceptPause;
    return watchForClients(0);
  }
  watchForClients(EPOLLIN);
}

void SocketServer::watchForClients(std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.ptr = this;
  ::epoll_ctl(epoll_, EPOLL_CTL_MOD, path_.descriptor(), &event);
}

void SocketServer::acceptOne(int descriptor) {
  Pointer connection;
  try {
    connection = std::make_shared<Connection>(descriptor, counters_.made + 1);
    if (connections_.size() >= maxConnections) {
      ++counters_.refused;
      const rpc::Error reason{rpc::tooManyConnections,
                              "at most " + std::to_string(maxConnections) + " connections"};
      connection->reply([&](std::string& out) { rpc::appendErrorReply(out, "null", reason); });
      connection->send();
      return;
    }
  } catch (const std::bad_alloc&) {
    if (!connection) Connection::end(descriptor);
    ++counters_.cutOff;
    return;
  }
  ++counters_.made;
  if (!addTo(epoll_, descriptor, EPOLLIN, connection.get())) {
    ++counters_.cutOff;
    return;
  }
  connection->watched = EPOLLIN;
  connections_.push_back(std::move(connection));
}

void SocketServer::take(const Pointer& connection, std::uint32_t events) {
  if ((events & (EPOLLHUP | EPOLLERR)) != 0) return hangUp(connection);
  if ((events & EPOLLIN) != 0) {
    const Connection::Read outcome = connection->read();
    if (outcome == Connection::Read::end) connection->endInput();
    if (outcome == Connection::Read::failed) return close(connection);
  }
  if ((events & EPOLLOUT) != 0) settle(connection);
}

// The client is gone: what it sent without an id still counts.
void SocketServer::hangUp(const Pointer& connection) {
  // No more than its buffers hold: others may still write into them.
  for (int i = 0; i < readsAtTheEnd && !connection->inputEnded(); ++i) {
    if (connection->read() != Connection::Read::some) break;
  }
  const std::uint64_t number = connection->number;
  std::string lines = connection->waitingNotifications(document_);
  close(connection);
  std::size_t begin = 0;
  while (lines.size() - begin + orphanBytes_ > maxOrphanBytes && begin < lines.size()) {
    begin = lines.find('\n', begin) + 1;
    ++counters_.dropped;
  }
  lines.erase(0, begin);
  if (lines.empty()) return;
  orphans_.push_back({number, std::move(lines)});
  orphanBytes_ += orphans_.back().lines.size();
}

void SocketServer::watch(Connection& connection) {
  std::uint32_t events = 0;
  if (connection.wantsInput()) events |= EPOLLIN;
  if (connection.isBlocked()) events |= EPOLLOUT;
  if (events == connection.watched) return;
  epoll_event event{};
  event.events = events;
  event.data.ptr = &connection;
  if (::epoll_ctl(epoll_, EPOLL_CTL_MOD, connection.descriptor(), &event) == 0) {
    connection.watched = events;
  }
}

// --- turns --------------------------------------------------------------------------------------

bool SocketServer::work(bool mayCall) {
  bool more = true;
  for (int turns = 0; more && turns < turnsAtOnce && !stopping(); ++turns) {
    handler_.prepare(mayCall);
    more = serveNext(mayCall);
  }
  more |= handler_.idle(mayCall, !more && !sawEvents_);
  settleAll();
  return more;
}

// The next in turn that can be served; false when none can.
bool SocketServer::serveNext(bool mayCall) {
  const std::size_t places = connections_.size() + 1;
  for (std::size_t i = 0; i < places; ++i) {
    const std::size_t place = next_ < places ? next_ : 0;
    next_ = place + 1;
    if (place == connections_.size()) {
      if (serveOrphan(mayCall)) return true;
    } else if (connections_[place]->isReady(mayCall)) {
      const Pointer connection = connections_[place];
      serve(connection, mayCall);
      return true;
    }
  }
  return false;
}

void SocketServer::serve(const Pointer& connection, bool mayCall) {
  connection->inTurn = true;
  bool isPending = false;
  guarded(connection, [&] {
    if (connection->isTooLong()) ++counters_.cutOff;
    rpc::Request request;
    if (!connection->readRequest(document_, request)) return;
    Turn turn(connection, connection->number, request, mayCall);
    const Served served = handler_.serve(turn, request);
    connection->waitsForCallback = served == Served::needsCallback;
    connection->waits = served == Served::later;
    isPending = served == Served::pending;
    if (served != Served::done) return;
    turn.take();
    connection->endRequest();
  });
  connection->inTurn = isPending;
  if (connection->unsentBytes() >= sendAtOnceBytes)
    guarded(connection, [&] { settle(connection); });
}

bool SocketServer::serveOrphan(bool mayCall) {
  // The callback thread takes them: one that waits for it must not lose its place.
  if (orphans_.empty() || !mayCall) return false;
  Orphans& first = orphans_.front();
  const std::size_t end = first.lines.find('\n', first.begin);
  const std::uint64_t number = first.number;
  Served served = Served::done;
  try {
    const std::string line = first.lines.substr(first.begin, end - first.begin);
    document_.parse(line, maxNesting, true);
    const rpc::Request request = rpc::readRequest(document_.value());
    Turn turn(nullptr, number, request, mayCall);
    orphanBytes_ -= end + 1 - first.begin;
    first.begin = end + 1;
    if (first.begin == first.lines.size()) orphans_.pop_front();
    served = handler_.serve(turn, request);
    if (served == Served::later) {
      orphans_.push_front({number, line + '\n'});
      orphanBytes_ += line.size() + 1;
    }
  } catch (const std::bad_alloc&) {
    ++counters_.dropped;
  }
  return served == Served::done;
}

void SocketServer::finish(Turn& turn) {
  Connection* const connection = turn.connection();
  if (connection == nullptr) return;
  connection->inTurn = false;
  guarded(turn.connection_, [&] { connection->endRequest(); });
}

void SocketServer::goOn() {
  for (const Pointer& connection : connections_) connection->waits = false;
}

// --- sending ------------------------------------------------------------------------------------

void SocketServer::settleAll() {
  // From the end: whoever leaves is replaced by what follows.
  for (std::size_t i = connections_.size(); i-- != 0;) {
    const Pointer connection = connections_[i];
    const std::size_t unsent = connection->unsentBytes();
    const bool isWatched = (connection->watched & EPOLLOUT) != 0;  // an event tells when to go on
    if (unsent > maxUnsentBytes || (unsent != 0 && !isWatched) || connection->inputEnded() ||
        connection->wantsInput() != ((connection->watched & EPOLLIN) != 0)) {
      guarded(connection, [&] { settle(connection); });
    }
  }
}

// Sends what can be sent, and ends a connection that is finished.
void SocketServer::settle(const Pointer& connection) {
  if (connection->closed()) return;
  if (!connection->send()) return hangUp(connection);
  if (connection->unsentBytes() > maxUnsentBytes) return cutOff(connection);
  if (connection->inputEnded() && !connection->inTurn && !connection->hasRequest() &&
      connection->unsentBytes() == 0 && !connection->isHeld()) {
    return close(connection);
  }
  watch(*connection);
}

void SocketServer::deliverTo(const Pointer& connection, const std::function<void()>& action) {
  guarded(connection, [&] {
    action();
    if (connection->unsentBytes() >= sendAtOnceBytes) settle(connection);
  });
}

void SocketServer::subscribe(Connection& connection, bool wanted, bool toRequests) {
  subscribers_ += std::size_t{wanted} - std::size_t{connection.subscribed};
  requestSubscribers_ += std::size_t{toRequests} - std::size_t{connection.seesRequests};
  connection.subscribed = wanted;
  connection.seesRequests = toRequests;
}

void SocketServer::cutOff(const Pointer& connection) {
  if (connection->closed()) return;
  ++counters_.cutOff;
  close(connection);
}

void SocketServer::close(const Pointer& connection) {
  subscribe(*connection, false, false);
  ::epoll_ctl(epoll_, EPOLL_CTL_DEL, connection->descriptor(), nullptr);
  connection->close();
  const auto place = std::find(connections_.begin(), connections_.end(), connection);
  const auto index = static_cast<std::size_t>(place - connections_.begin());
  if (next_ > index) --next_;
  connections_.erase(place);
}

// --- the end ------------------------------------------------------------------------------------

void SocketServer::takeNoMore() {
  ::epoll_ctl(epoll_, EPOLL_CTL_DEL, path_.descriptor(), nullptr);
  ::shutdown(path_.descriptor(), SHUT_RDWR);
  path_.remove();
  // Those who wait to be accepted see an end, not a reset.
  for (;;) {
    const int descriptor =
        ::accept4(path_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0) break;
    Connection::end(descriptor);
  }
  for (const Pointer& connection : connections_) connection->endInput();
}

void SocketServer::shutDown() {
  for (std::size_t i = connections_.size(); i-- != 0;) {
    const Pointer connection = connections_[i];
    guarded(connection, [&] {
      connection->release();
      connection->refuseAll(document_, {rpc::stopping, "the process is stopping"});
      settle(connection);
    });
  }
  const auto deadline = Clock::now() + shutDownTime;
  while (!connections_.empty() && Clock::now() < deadline) {
    collect(millisecondsUntil(deadline));
    settleAll();
  }
  while (!connections_.empty()) close(connections_.back());
}

}  // namespace standin
