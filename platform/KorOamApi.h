// The OAM client API: the library that connects this process with the management framework.
#pragma once

#include <boost/function.hpp>
#include <memory>
#include <vector>

#include "platform/OamTypes.h"

/// What the daemon may rely on:
/// - Callbacks run on one thread of the API, one at a time, from the moment `doRegister` has
///   accepted them (possibly before it has returned) and never after the main loop of the
///   process has returned.
/// - A record given to a callback is never null; a query key may be. A callback may throw
///   std::bad_alloc, and nothing else.
/// - The API copies the functions it is given, and reads the factory maps (records/Factories.h),
///   which are complete when `doRegister` is called and do not change after that.
/// - The send operations may be called from any thread, also while a callback runs and from
///   within one, until the process object is gone; they neither wait for an answer nor throw.
///   They return 0, or a negative number when nothing was sent. What was sent lives at least until
///   the simulator's pause after it has ended.
class KorOamApi {
 public:
  using GetFunction = boost::function<Zel::MgmtResult(
      unsigned int recordId, const Zel::RecordKeysList& queryKeys, unsigned short batchSize,
      bool clearOnRead, Zel::RecordList& records, Zel::SafeStringT<256, false>& errorString)>;
  using GetBySessionFunction = boost::function<Zel::MgmtResult(
      unsigned short session, unsigned int recordId, const Zel::RecordKeysList& queryKeys,
      unsigned short batchSize, bool clearOnRead, Zel::SafeStringT<256, false>& errorString)>;
  using SetFunction = boost::function<Zel::MgmtResult(
      const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType, bool regDownloadFlag,
      Zel::ApplyActionType& applyAction, Zel::SafeStringT<256, false>& errorString,
      unsigned short transactionId)>;
  using SetBySessionFunction = boost::function<Zel::MgmtResult(
      unsigned short session, const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType,
      bool regDownloadFlag, Zel::ApplyActionType applyAction,
      Zel::SafeStringT<256, false>& errorString)>;
  using NotifyFunction = boost::function<Zel::MgmtResult(
      const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType, bool regDownloadFlag,
      Zel::ApplyActionType applyAction)>;
  using NotifyBySessionFunction = boost::function<Zel::MgmtResult(
      unsigned short session, const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType,
      bool regDownloadFlag, Zel::ApplyActionType applyAction)>;
  using ClearFunction = boost::function<Zel::MgmtResult(unsigned int recordId,
                                                        Zel::SafeStringT<256, false>& errorString)>;
  using ClearBySessionFunction = boost::function<Zel::MgmtResult(
      unsigned short session, unsigned int recordId, Zel::SafeStringT<256, false>& errorString)>;
  using SvcRegIndFunction = boost::function<void()>;
  using SvcRegResultFunction = boost::function<void(unsigned int kind, Zel::MgmtResult result,
                                                    const std::vector<unsigned short>& groups)>;
  using InitProvCompleteFunction = boost::function<void()>;
  using SetIndResultFunction = boost::function<Zel::MgmtResult(
      const boost::shared_ptr<Zel::Record>& record, Zel::MgmtResult result)>;
  /// `lastBatch` is in and out: a handler that does not serve the record leaves it alone.
  using GetKeysFunction = boost::function<Zel::MgmtResult(
      unsigned int recordId, unsigned short batchSize, bool firstRequest,
      const Zel::RecordKeysWrapper& queryKeys, const Zel::RecordKeysWrapper& lastSentKeys,
      Zel::RecordKeysList& keys, Zel::SafeStringT<256, false>& errorString, bool& lastBatch)>;
  using GetKeysBySessionFunction = boost::function<Zel::MgmtResult(
      unsigned short session, unsigned int recordId, unsigned short batchSize, bool firstRequest,
      const Zel::RecordKeysWrapper& queryKeys, const Zel::RecordKeysWrapper& lastSentKeys,
      Zel::SafeStringT<256, false>& errorString)>;

  /// The process's single API object; made on first use.
  static KorOamApi& instance();
  KorOamApi(const KorOamApi&) = delete;
  KorOamApi& operator=(const KorOamApi&) = delete;

  /// False when the API could not initialise.
  bool good = false;

  /// Registers the callbacks of this process; an empty function leaves its slot unused. Returns
  /// a negative number on failure. Called once.
  int doRegister(const GetFunction& get, const GetBySessionFunction& getBySession,
                 const SetFunction& set, const SetBySessionFunction& setBySession,
                 const NotifyFunction& notify, const NotifyBySessionFunction& notifyBySession,
                 const ClearFunction& clear, const ClearBySessionFunction& clearBySession,
                 const SvcRegIndFunction& svcRegInd, const SvcRegResultFunction& svcRegResult,
                 const InitProvCompleteFunction& initProvComplete,
                 const SetIndResultFunction& setIndResult, const GetKeysFunction& getKeys,
                 const GetKeysBySessionFunction& getKeysBySession, int option);

  /// Service registration: of groups, of the set-update values, and its end.
  int sendVmbSvcRegInd(Zel::OamSvcRegInd::SvcRegType type,
                       const std::vector<unsigned short>& groups);
  int sendVmbSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type,
                                const std::vector<unsigned short>& values);
  int sendVmbSvcRegEndInd();

  /// Reports a change that this process makes on its own; its outcome comes back through the
  /// set-indication slot. The API may keep the pointer until then.
  int sendSetInd(boost::shared_ptr<Zel::Record>& record, Zel::ApplyActionType applyAction,
                 Zel::MgmtOpType opType);
  int sendEvent(const boost::shared_ptr<Zel::Event>& event);
  int sendAlarm(const boost::shared_ptr<Zel::Alarm>& alarm);
  int sendRecordUpdateEvent(const boost::shared_ptr<Zel::RecordUpdateEvent>& event,
                            Zel::MgmtOpType opType);
  /// The late answer to a set request that was answered with `MGMT_RESPONSE_DEFERRED`.
  int sendDeferredSetRspInd(unsigned short transactionId, Zel::MgmtResult result,
                            const Zel::SafeStringT<256, false>& errorString,
                            Zel::ApplyActionType applyAction);

 private:
  KorOamApi();
  ~KorOamApi();

  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};
