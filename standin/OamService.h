// The OAM client API on its socket: the callbacks it was given, the service registration, and the
// methods of the socket.
#pragma once

#include <array>
#include <atomic>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/KorOamApi.h"
#include "records/MgmtEnums.h"
#include "standin/Baton.h"
#include "standin/Faults.h"
#include "standin/Journal.h"
#include "standin/JsonText.h"
#include "standin/Parameters.h"
#include "standin/Pauses.h"
#include "standin/Replies.h"
#include "standin/SocketServer.h"

namespace standin {

/// The callbacks that can be reached from the socket; an empty one is not registered.
struct Slots {
  KorOamApi::GetFunction get;
  KorOamApi::SetFunction set;
  KorOamApi::NotifyFunction notify;
  KorOamApi::ClearFunction clear;
  KorOamApi::SvcRegIndFunction svcRegInd;
  KorOamApi::SvcRegResultFunction svcRegResult;
  KorOamApi::InitProvCompleteFunction initProvComplete;
  KorOamApi::SetIndResultFunction setIndResult;
  KorOamApi::GetKeysFunction getKeys;
};

// Outcomes of the service registration that this API reports by itself.
constexpr unsigned int svcRegIndOutcome = 12;
constexpr unsigned int svcRegSetUpdateOutcome = 14;

/// What the daemon sends on its own, and the names on the socket.
enum Notification {
  svcRegInd,
  svcRegSetUpdateInd,
  svcRegEndInd,
  setInd,
  event,
  alarm,
  recordUpdateEvent,
  deferredSetRsp,
  notificationCount
};

constexpr std::array<std::string_view, notificationCount> notificationNames = {
    "svcRegInd", "svcRegSetUpdateInd", "svcRegEndInd",  "setInd", "event",
    "alarm",     "recordUpdateEvent",  "deferredSetRsp"};

/// Does what a fault says with what `append()` appends for a connection.
template <typename Append>
void sendFaultily(Connection& connection, const Fault& fault, Append&& append) {
  if (fault.delayMilliseconds) {
    const auto time =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(*fault.delayMilliseconds);
    fault.ofNotification ? connection.holdNotifications(time) : connection.hold(time);
  }
  if (fault.action == Fault::Action::disconnect) return connection.endAfterThis();
  if (fault.action != Fault::Action::drop) append();
}

/// An outcome that the API reports by itself, once the callback that caused it has returned.
struct Automatic {
  enum class What { registration, outcome, setInd } what;
  unsigned int kind = 0;              ///< of an outcome
  std::vector<std::uint16_t> groups;  ///< of an outcome
  std::uint32_t setIndId = 0;
};

/// Made and registered with on the main thread. One thread at a time has the baton and serves; the
/// send operations come from any.
class OamService final : private RequestHandler, private MainDuty {
 public:
  OamService();
  ~OamService();

  /// Claims the socket's path; false when it cannot be had, with the reason on standard error.
  bool claim();
  /// Takes the callbacks and starts to serve. False when that fails or was done before.
  bool start(const Slots& slots);

  /// Sends a notification, whose parameters `write(members)` adds, to whoever has subscribed.
  /// False when nothing is sent any more. From any thread.
  template <typename Write>
  bool send(Notification which, Write&& write) {
    std::string params;
    ObjectText members(params);
    write(members);
    members.end();
    return post({which, std::move(params), std::nullopt}, nullptr);
  }
  /// The same for one that has a block, which is the first of its parameters.
  template <typename Write>
  bool send(Notification which, const Zel::Record& record, Write&& write) {
    Posted posted{which, {}, record.id};
    ObjectText members(posted.params);
    members.addFrom(notificationNames[which], [&] { appendQuotedBlock(posted.params, record); });
    posted.blockEnd = posted.params.size() - 1;
    write(members);
    members.end();
    return post(std::move(posted), nullptr);
  }
  bool sendGroups(Notification which, Zel::OamSvcRegInd::SvcRegType type,
                  const std::vector<std::uint16_t>& groups, unsigned int outcome);
  bool sendSetInd(const boost::shared_ptr<Zel::Record>& record, Zel::ApplyActionType applyAction,
                  Zel::MgmtOpType opType);

 private:
  struct Posted {
    Notification which;
    std::string params;
    std::optional<std::uint32_t> recordId;
    std::size_t blockEnd = 0;  ///< in `params`, where they hold a block
  };
  /// Time that a client lets pass, a pause at a time.
  struct Advance {
    Turn turn;
    Pauses::Duration left;
    std::chrono::steady_clock::time_point deadline;  ///< of the wait for the threads
    std::uint64_t ended = 0;
    bool settled = true;
  };
  struct Count {
    std::uint64_t requests = 0, answered = 0;
  };
  using Serve = Served (OamService::*)(Turn& turn, Parameters& parameters);
  struct Method {
    std::string_view name;
    Serve serve;
    bool ofDaemon;  ///< not the API's own
    mutable Count count;
  };

  // On the thread that has the baton.
  Served serve(Turn& turn, const rpc::Request& request) override;
  bool idle(bool mayCall, bool quiet) override;
  void prepare(bool mayCall) override {
    deliver();
    if (mayCall) runAutomatic();
  }
  Served get(Turn& turn, Parameters& parameters);
  Served getKeys(Turn& turn, Parameters& parameters);
  Served set(Turn& turn, Parameters& parameters);
  Served notify(Turn& turn, Parameters& parameters);
  Served clear(Turn& turn, Parameters& parameters);
  Served initProvComplete(Turn& turn, Parameters& parameters);
  Served svcRegInd(Turn& turn, Parameters& parameters);
  Served svcRegResult(Turn& turn, Parameters& parameters);
  Served setIndResult(Turn& turn, Parameters& parameters);
  Served subscribe(Turn& turn, Parameters& parameters);
  Served unsubscribe(Turn& turn, Parameters& parameters);
  Served status(Turn& turn, Parameters& parameters);
  Served journal(Turn& turn, Parameters& parameters);
  Served journalClear(Turn& turn, Parameters& parameters);
  Served advanceTime(Turn& turn, Parameters& parameters);
  Served faultAdd(Turn& turn, Parameters& parameters);
  Served faultList(Turn& turn, Parameters& parameters);
  Served faultRemove(Turn& turn, Parameters& parameters);

  struct About {
    std::optional<std::uint32_t> recordId{};
    bool hasErrorString = true;
  };
  template <typename Prepare, typename Callback, typename Rest>
  Served answer(Turn& turn, Parameters& parameters, About about, Prepare&& prepare,
                Callback&& callback, Rest&& rest);
  template <typename Callback>
  Served answerSlot(Turn& turn, Parameters& parameters, About about, bool filled,
                    Callback&& callback);
  /// Calls the daemon, without the baton. What the callback sent goes ahead of what follows.
  template <typename Callback>
  void call(JournalEntry& entry, Callback&& callback) {
    entry.called = true;
    const auto start = std::chrono::steady_clock::now();
    baton_.without(callback, [this] { server_.wake(); });
    entry.microseconds =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now() - start)
                                       .count());
    deliver();
  }
  const Method* methodOf(std::string_view name) const;
  bool isDaemonMethod(std::string_view name) const;
  void fail(Turn& turn, const rpc::Error& error);
  template <typename Write>
  void finish(Turn& turn, const Fault* fault, std::string_view member, Write&& write);
  void put(const JournalEntry& entry, std::string_view outcome, std::string_view value);
  static void begin(JournalEntry& entry, const Turn& turn, std::string_view method,
                    const rpc::Request& request);
  JournalEntry& entryOf(const Turn& turn) { return turn.mayCall ? called_ : meanwhile_; }
  template <typename Callback>
  void callAutomatically(std::string_view method, std::string params,
                         std::optional<std::uint32_t> recordId, Callback&& callback);
  void deliver(Posted& posted);
  boost::shared_ptr<Zel::Record> outstanding(std::uint32_t setIndId);
  void endAdvance();
  int wait() const;
  Served changeSubscription(Turn& turn, Parameters& parameters, bool wanted);
  void writeStatus(ObjectText& members, const Turn& turn) const;
  void deliver();
  void noteOutcome(unsigned int kind, Zel::MgmtResult result,
                   const std::vector<std::uint16_t>& groups);
  boost::shared_ptr<Zel::Record> takeSetInd(std::uint32_t setIndId);

  // Callback thread.
  void run();
  void runAutomatic();
  void runAutomatic(const Automatic& next);

  // Main thread.
  int patience() override { return baton_.patience(); }
  void attend() override;
  void end() override;

  /// False when nothing is sent any more. From any thread.
  bool post(Posted notification, const Automatic* automatic);

  const std::chrono::steady_clock::time_point startTime_ = std::chrono::steady_clock::now();
  Slots slots_;
  Baton baton_;
  SocketServer server_;
  const std::vector<Method> methods_;
  std::array<std::uint64_t, notificationCount> notificationCounts_{};
  Journal journal_;
  /// Of the request in turn: of the callback thread, and of the main thread while a callback runs.
  JournalEntry called_, meanwhile_;
  Faults faults_;
  std::optional<Advance> advance_;
  std::string reply_;  ///< one that is not written in its place at once
  std::set<std::uint16_t> confirmedGroups_;
  std::string lastIndication_ = "none";
  std::string line_;               ///< a notification's
  std::vector<Posted> delivered_;  ///< being handed over

  /// What other threads, or a callback, have for the clients.
  std::mutex postedMutex_;
  std::vector<Posted> posted_;
  std::deque<Automatic> automatic_;
  std::atomic<bool> hasPosted_{false}, hasAutomatic_{false};
  std::atomic<std::thread::id> callbackThreadId_{};

  /// Set indications that have no outcome yet, by their id; the oldest are forgotten.
  std::mutex setIndMutex_;
  std::map<std::uint32_t, boost::shared_ptr<Zel::Record>> outstandingSetInds_;
  std::uint32_t lastSetIndId_ = 0;

  std::mutex endMutex_;
  std::condition_variable hasEnded_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace standin
