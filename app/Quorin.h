// The daemon's one object.
//
// Three threads meet here. The main thread constructs, runs and destroys it; the callback thread
// of the OAM client API calls the callbacks, one at a time; the simulator thread runs
// `serverSendEvents`. There is no lock: each member belongs to one thread, except where it says
// how it is handed over. The options are the main thread's until `doRegister` hands them to the
// callback thread and `startUp` to the simulator thread; then nobody changes them, except that the
// simulator thread clears `setInd`.
#pragma once

#include <array>
#include <atomic>
#include <boost/program_options/options_description.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "catalogue/ProvisioningRecords.h"
#include "platform/OamTypes.h"
#include "platform/Process.h"
#include "records/MgmtEnums.h"

/// The command line's description. Empty until the first `Quorin` is constructed.
extern boost::program_options::options_description optionsDescription;

class Quorin final : public Zel::Process {
 public:
  /// Reads the command line, registers with the OAM client API and starts the simulator thread.
  /// Whatever fails says why and leaves `isGood()` false, except a simulator thread that cannot be
  /// created: that error of the thread library leaves the constructor.
  Quorin(int argc, char** argv);

  /// Stops the process if it still runs, and waits for the simulator thread.
  ~Quorin() override;

  /// The pieces of `text` between ':' characters. Empty pieces count, except behind the last ':'.
  static std::vector<std::string> split(const std::string& text);

 private:
  // Options and service groups (main thread, during construction). Each reader returns false, with
  // the good flag cleared, when construction ends there.
  /// Adds the daemon's options to `optionsDescription`, unless they are there, and returns it.
  static const boost::program_options::options_description& describeOptions();
  bool readOptions();
  bool readGroups(const std::string& text);
  bool readSetUpdate(const std::string& text);
  bool refuseOption(const char* message);

  // Registration with the OAM client API (main thread, last step of construction).
  bool registerWithApi();
  bool registerCreators();

  // Callbacks (callback thread).
  void svcRegIndCallback();
  void svcRegResultCallback(unsigned int kind, Zel::MgmtResult result,
                            const std::vector<unsigned short>& groups);
  Zel::MgmtResult getCallback(unsigned int recordId, const Zel::RecordKeysList& queryKeys,
                              unsigned short batchSize, bool clearOnRead, Zel::RecordList& records,
                              Zel::SafeStringT<256, false>& errorString);
  Zel::MgmtResult getKeysCallback(unsigned int recordId, unsigned short batchSize,
                                  bool firstRequest, const Zel::RecordKeysWrapper& queryKeys,
                                  const Zel::RecordKeysWrapper& lastSentKeys,
                                  Zel::RecordKeysList& keys,
                                  Zel::SafeStringT<256, false>& errorString, bool& lastBatch);
  Zel::MgmtResult setCallback(const boost::shared_ptr<Zel::Record>& record, Zel::MgmtOpType opType,
                              bool regDownloadFlag, Zel::ApplyActionType& applyAction,
                              Zel::SafeStringT<256, false>& errorString,
                              unsigned short transactionId);
  Zel::MgmtResult notifyCallback(const boost::shared_ptr<Zel::Record>& record,
                                 Zel::MgmtOpType opType, bool regDownloadFlag,
                                 const Zel::ApplyActionType& applyAction);
  Zel::MgmtResult notifySetIndCallback(const boost::shared_ptr<Zel::Record>& record,
                                       Zel::MgmtResult result);
  Zel::MgmtResult clearCallback(unsigned int recordId, Zel::SafeStringT<256, false>& errorString);
  void initProvCompleteCallback();

  // What the handlers share (callback thread).
  bool groupRegistered(unsigned int recordId) const;
  void answerErrorString(Zel::ErrorString& errorString) const;
  void sleepBeforeAnswer() const;

  // Get (callback thread). False, with nothing appended, when a query key cannot be used.
  bool appendRecords(unsigned int recordId, const Zel::RecordKeysList& queryKeys,
                     unsigned short batchSize, bool clearOnRead, Zel::RecordList& records);
  void appendTest3Stats4(bool clearOnRead, Zel::RecordList& records);
  bool appendTest3Stats3(const Zel::RecordKeysList& queryKeys, Zel::RecordList& records);
  bool appendTest3Stats9(const Zel::RecordKeysList& queryKeys, std::uint16_t batchSize,
                         Zel::RecordList& records);
  void walkTest3Stats9(std::uint32_t key1, std::uint16_t sfn, std::uint16_t sf, std::uint16_t count,
                       Zel::RecordList& records) const;
  void initStatsTables();
  template <class Keys>
  bool readyForTables(const Zel::RecordKeysList& queryKeys);
  template <class R>
  void fillFromTables(R& row, std::uint16_t sfn, std::uint16_t sf) const;

  // Set (callback thread).
  void applySet(const Zel::Record& record, Zel::MgmtOpType opType,
                Zel::ApplyActionType& applyAction, std::uint16_t transactionId);
  void setTest1Prov1(const Zel::Record& record, Zel::ApplyActionType& applyAction) const;
  void setTest1Prov3(const Zel::Record& record, Zel::MgmtOpType opType,
                     Zel::ApplyActionType& applyAction);
  void setTest3Prov1(const Zel::Record& record) const;
  void setTest3Action1(const Zel::Record& record, Zel::ApplyActionType& applyAction);
  void setTest3Action2(const Zel::Record& record, Zel::ApplyActionType& applyAction,
                       std::uint16_t transactionId);

  // Simulator (its own thread). Each step pauses behind what it sends, the last one before, and is
  // false when the process is stopping.
  void serverSendEvents();
  bool runPass();
  bool sendSetIndSequence();
  bool sendPeriodicSetInd();
  bool sendPeriodicEvent();
  bool sendPeriodicAlarm();
  bool sendPeriodicRecordUpdate();
  bool sendOwedDeferredSetRsp();

  /// Lookup tables indexed [sfn][sf], built on first use.
  static constexpr std::uint32_t sfnCount = 1024;
  static constexpr std::uint32_t sfCount = 10;
  using StatsRow = std::array<std::uint32_t, sfCount>;
  using StatsTable = std::array<std::unique_ptr<StatsRow>, sfnCount>;

  /// Hands what the constructor wrote to the simulator thread, which starts before the options
  /// are read.
  enum class StartUp { running, finished, failed };
  std::atomic<StartUp> startUp{StartUp::running};

  /// A deferred set response that the callback thread leaves owed and the simulator thread sends.
  /// One word, so that each is handed over whole and once; aligned as one, or Clang calls a library
  /// for it.
  struct alignas(4) DeferredSetRsp {
    bool pending = false;
    bool testRun = false;
    std::uint16_t transactionId = 0;
  };

  /// What the simulator thread counts.
  struct SimulatorState {
    std::int32_t setIndCounter = 0;
    std::int32_t eventCounter = 0;
    bool alarmSetState = true;
    std::array<std::uint32_t, 3> recordUpdateValues = {1, 2, 3};
  };
  SimulatorState simulator;

  std::set<std::uint16_t> groupIds;
  std::vector<std::uint16_t> groupList;
  std::vector<std::uint16_t> setUpdateList;
  Zel::OamSvcRegInd::SvcRegType setUpdateType = Zel::OamSvcRegInd::SVC_REG_LIST;
  Zel::MgmtResult mgmtResult = Zel::MGMT_SUCCESS;
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
  bool setInd = false;
  boost::thread simulatorThread;
  bool initProvComplete = false;
  std::uint16_t test2Stats1Counter = 0;
  std::uint16_t test3Stats4Counter = 0;
  Zel::RecordTest3Action1 test3Action1;
  boost::shared_ptr<Zel::RecordTest3Action2> test3Action2Ptr;
  std::map<std::uint16_t, boost::shared_ptr<Zel::RecordTest1Prov3>> test1Prov3Map;
  std::unique_ptr<StatsTable> sfnTable;
  std::unique_ptr<StatsTable> sfTable;
  bool sendDeferredSetRsp = false;
  std::atomic<DeferredSetRsp> deferredSetRsp{DeferredSetRsp{}};
  static_assert(std::atomic<DeferredSetRsp>::is_always_lock_free);
};
