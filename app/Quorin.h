// The daemon's one object.
//
// Three threads meet here, without a lock: the main thread constructs, runs and destroys it; the
// callback thread of the OAM client API calls the callbacks, one at a time; the simulator thread
// runs `serverSendEvents`. The members say whose they are. Options are the main thread's until
// `doRegister` hands them to the callback thread and `startUp` to the simulator thread; then only
// two change, which say so.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/DeferredSetRsp.h"
#include "app/StartUp.h"
#include "catalogue/ProvisioningRecords.h"
#include "platform/OamTypes.h"
#include "platform/Process.h"
#include "records/MgmtEnums.h"

class Quorin final : public Zel::Process {
 public:
  /// Reads the command line, registers with the OAM client API and starts the simulator thread.
  /// Whatever fails says why and leaves `isGood()` false, except a simulator thread that cannot be
  /// created: that error of the thread library leaves the constructor.
  Quorin(int argc, char** argv);

  /// Stops the process if it still runs, and waits for the simulator thread.
  ~Quorin() override;

  /// The pieces of `text` between ':' characters. Empty pieces count, except after the last ':'.
  static std::vector<std::string> split(const std::string& text);

  /// Values of statistics records, read as table[sfn][sf]; null until the first use.
  using StatsTable = std::unique_ptr<std::unique_ptr<std::uint32_t[]>[]>;

 private:
  // Start-up (main thread). False, with the reason said, where construction ends.
  bool readOptions();
  bool registerWithApi();

  // Callbacks (callback thread), each in the file of its request in handlers/.
  void svcRegIndCallback();
  void svcRegResultCallback(unsigned int kind, Zel::MgmtResult result,
                            const std::vector<unsigned short>& groups);
  Zel::MgmtResult getCallback(unsigned int recordId, const Zel::RecordKeysList& queryKeys,
                              unsigned short batchSize, bool clearOnRead, Zel::RecordList& records,
                              Zel::ErrorString& errorString);
  Zel::MgmtResult getKeysCallback(unsigned int recordId, unsigned short batchSize,
                                  bool firstRequest, const Zel::RecordKeysWrapper& queryKeys,
                                  const Zel::RecordKeysWrapper& lastSentKeys,
                                  Zel::RecordKeysList& keys, Zel::ErrorString& errorString,
                                  bool& lastBatch);
  Zel::MgmtResult setCallback(const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType,
                              bool regDownloadFlag, Zel::ApplyActionType& applyAction,
                              Zel::ErrorString& errorString, unsigned short transactionId);
  Zel::MgmtResult notifyCallback(const boost::shared_ptr<Zel::Record>& record,
                                 Zel::MgmtOpType opType, bool regDownloadFlag,
                                 const Zel::ApplyActionType& applyAction);
  Zel::MgmtResult notifySetIndCallback(const boost::shared_ptr<Zel::Record>& record,
                                       Zel::MgmtResult result);
  Zel::MgmtResult clearCallback(unsigned int recordId, Zel::ErrorString& errorString);
  void initProvCompleteCallback();

  // The work of a get, false when a query key cannot be used; and of a set.
  bool appendRecords(unsigned int recordId, const Zel::RecordKeysList& queryKeys,
                     unsigned short batchSize, bool clearOnRead, Zel::RecordList& records);
  void initStatsTables();
  void applySet(const Zel::Record& record, Zel::MgmtOpType opType,
                Zel::ApplyActionType& applyAction, std::uint16_t transactionId);

  // How requests begin and end.
  bool groupRegistered(unsigned int recordId) const;
  Zel::MgmtResult answer(Zel::ErrorString& errorString) const;

  void serverSendEvents();  // simulator thread

  // Callback thread.
  std::set<std::uint16_t> groupIds;

  // Options.
  std::vector<std::uint16_t> groupList;
  std::vector<std::uint16_t> setUpdateList;
  Zel::OamSvcRegInd::SvcRegType setUpdateType = Zel::OamSvcRegInd::SVC_REG_LIST;
  Zel::MgmtResult mgmtResult = Zel::MGMT_SUCCESS;  ///< every set changes it, on the callback thread
  char errorStringText[256] = {};
  bool noGet = false;
  bool noGetKeys = false;
  bool noSet = false;
  bool noNotify = false;
  bool noClear = false;
  bool noInitProv = false;
  bool quiet = false;
  std::uint32_t eventSim = 0;
  std::uint32_t sleepTime = 0;  ///< seconds
  bool setInd = false;          ///< the simulator thread clears it

  StartUp startUp;                // main thread to simulator thread
  boost::thread simulatorThread;  // main thread

  // Callback thread.
  bool initProvComplete = false;
  std::uint16_t test2Stats1Counter = 0;
  std::uint16_t test3Stats4Counter = 0;
  Zel::RecordTest3Action1 test3Action1;
  boost::shared_ptr<Zel::RecordTest3Action2> test3Action2Ptr;
  std::map<std::uint16_t, boost::shared_ptr<Zel::RecordTest1Prov3>> test1Prov3Map;
  StatsTable sfnTable;
  StatsTable sfTable;

  bool sendDeferredSetRsp = false;       // option
  DeferredSetRspMailbox deferredSetRsp;  // callback thread to simulator thread
};
