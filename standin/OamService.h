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
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/KorOamApi.h"
#include "records/MgmtEnums.h"
#include "standin/Baton.h"
#include "standin/JsonText.h"
#include "standin/Parameters.h"
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
    if (stopping()) return false;
    std::string params;
    if (server_.hasSubscribers()) {
      ObjectText members(params);
      write(members);
      members.end();
    }
    post({which, std::move(params)}, nullptr);
    return true;
  }
  bool sendGroups(Notification which, Zel::OamSvcRegInd::SvcRegType type,
                  const std::vector<std::uint16_t>& groups, unsigned int outcome);
  bool sendSetInd(const boost::shared_ptr<Zel::Record>& record, Zel::ApplyActionType applyAction,
                  Zel::MgmtOpType opType);

 private:
  struct Posted {
    Notification which;
    std::string params;  ///< empty where nobody had subscribed
  };
  struct Count {
    std::uint64_t requests = 0, answered = 0;
  };
  /// Serves a method. False, and nothing done, where it needs a callback and has none.
  using Serve = bool (OamService::*)(Turn& turn, Parameters& parameters, Count& count);
  struct Method {
    Serve serve;
    mutable Count count;
  };

  // On the thread that has the baton.
  bool serve(Turn& turn, const rpc::Request& request) override;
  void prepare(bool mayCall) override {
    deliver();
    if (mayCall) runAutomatic();
  }
  bool get(Turn& turn, Parameters& parameters, Count& count);
  bool getKeys(Turn& turn, Parameters& parameters, Count& count);
  bool set(Turn& turn, Parameters& parameters, Count& count);
  bool notify(Turn& turn, Parameters& parameters, Count& count);
  bool clear(Turn& turn, Parameters& parameters, Count& count);
  bool initProvComplete(Turn& turn, Parameters& parameters, Count& count);
  bool svcRegInd(Turn& turn, Parameters& parameters, Count& count);
  bool svcRegResult(Turn& turn, Parameters& parameters, Count& count);
  bool setIndResult(Turn& turn, Parameters& parameters, Count& count);
  bool subscribe(Turn& turn, Parameters& parameters, Count& count);
  bool unsubscribe(Turn& turn, Parameters& parameters, Count& count);
  bool status(Turn& turn, Parameters& parameters, Count& count);

  template <typename Prepare, typename Callback, typename Rest>
  bool answer(Turn& turn, Count& count, Prepare&& prepare, Callback&& callback, Rest&& rest);
  template <typename Callback>
  bool answerSlot(Turn& turn, Count& count, bool filled, Callback&& callback);
  /// Calls the daemon, without the baton. What the callback sent goes ahead of what follows.
  template <typename Callback>
  void call(Callback&& callback) {
    baton_.without(callback, [this] { server_.wake(); });
    server_.callbackIsBack();
    deliver();
  }
  bool changeSubscription(Turn& turn, Parameters& parameters, Count& count, bool wanted);
  void writeStatus(ObjectText& members, const Turn& turn) const;
  void deliver();
  void reportOutcome(unsigned int kind, Zel::MgmtResult result,
                     const std::vector<std::uint16_t>& groups);
  boost::shared_ptr<Zel::Record> takeSetInd(std::uint32_t setIndId);

  // Callback thread.
  void run();
  void runAutomatic();

  // Main thread.
  int patience() override { return baton_.patience(); }
  void attend() override;
  void end() override;

  // Any thread.
  void post(Posted notification, const Automatic* automatic);

  const std::chrono::steady_clock::time_point startTime_ = std::chrono::steady_clock::now();
  Slots slots_;
  Baton baton_;
  SocketServer server_;
  std::map<std::string, Method, std::less<>> methods_;
  std::array<std::uint64_t, notificationCount> notificationCounts_{};
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
