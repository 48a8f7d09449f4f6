// The OAM client API behind KorOamApi: the callbacks it was given, the service registration, and
// the methods of the socket.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/KorOamApi.h"
#include "records/MgmtEnums.h"
#include "standin/CallbackThread.h"
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

/// Made and registered with on the main thread; the send operations come from any.
class OamService {
 public:
  OamService();
  ~OamService();

  /// Claims the socket's path; false when it cannot be had, with the reason on standard error.
  bool claim();

  /// Takes the callbacks and starts to serve. False when that fails or was done before.
  bool start(const Slots& slots);

  bool sendSvcRegInd(Zel::OamSvcRegInd::SvcRegType type, const std::vector<std::uint16_t>& groups);
  bool sendSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type,
                              const std::vector<std::uint16_t>& values);
  bool sendSvcRegEndInd();
  bool sendSetInd(const boost::shared_ptr<Zel::Record>& record, Zel::ApplyActionType applyAction,
                  Zel::MgmtOpType opType);
  bool sendEvent(const Zel::Event& event);
  bool sendAlarm(const Zel::Alarm& alarm);
  bool sendRecordUpdateEvent(const Zel::RecordUpdateEvent& event, Zel::MgmtOpType opType);
  bool sendDeferredSetRspInd(std::uint16_t transactionId, Zel::MgmtResult result,
                             const Zel::ErrorString& errorString, Zel::ApplyActionType applyAction);

 private:
  /// Adds the members of the result; throws an rpc::Error where there is none.
  using Work = std::function<void(rpc::ObjectText& text)>;
  /// Reads the parameters of a method and returns the work that the callback thread does for it.
  using Prepare = Work (OamService::*)(Parameters& parameters);

  void serve(const rpc::Request& request, const Reply& reply);
  void addStatus(rpc::ObjectText& text) const;

  Work prepareGet(Parameters& parameters);
  Work prepareGetKeys(Parameters& parameters);
  Work prepareSet(Parameters& parameters);
  Work prepareNotify(Parameters& parameters);
  Work prepareClear(Parameters& parameters);
  Work prepareInitProvComplete(Parameters& parameters);
  Work prepareSvcRegInd(Parameters& parameters);
  Work prepareSvcRegResult(Parameters& parameters);
  Work prepareSetIndResult(Parameters& parameters);

  bool sendGroups(std::string_view method, Zel::OamSvcRegInd::SvcRegType type,
                  const std::vector<std::uint16_t>& groups, unsigned int outcome);
  void noteIndication(std::string_view method);
  void reportOutcome(unsigned int kind, Zel::MgmtResult result,
                     const std::vector<std::uint16_t>& groups);
  boost::shared_ptr<Zel::Record> takeSetInd(std::uint32_t setIndId);
  bool publish(std::string_view method, std::string_view params);
  void shutDown();

  static const std::map<std::string, Prepare, std::less<>>& methods();

  const std::chrono::steady_clock::time_point startTime_ = std::chrono::steady_clock::now();
  Slots slots_;
  CallbackThread callbacks_;
  SocketServer server_;
  std::map<std::string, std::uint64_t, std::less<>> requests_;  ///< by method; main thread
  bool started_ = false;

  /// The service registration, as far as it got; written on the callback thread.
  mutable std::mutex registrationMutex_;
  std::set<std::uint16_t> confirmedGroups_;
  std::string lastIndication_ = "none";

  /// Set indications that have no outcome yet, by their id; the oldest are forgotten.
  std::mutex setIndMutex_;
  std::map<std::uint32_t, boost::shared_ptr<Zel::Record>> outstandingSetInds_;
  std::uint32_t lastSetIndId_ = 0;
};

}  // namespace standin
