// The OAM client API of this site.
#pragma once

#include <functional>
#include <thread>
#include <vector>

#include "platform/OamTypes.h"

class KorOamApi {
 public:
  /// In place of the functions that the daemon leaves empty.
  struct Unused {};
  using GetBySessionFunction = Unused;
  using SetBySessionFunction = Unused;
  using NotifyBySessionFunction = Unused;
  using ClearBySessionFunction = Unused;
  using GetKeysBySessionFunction = Unused;

  using Groups = std::vector<unsigned short>;
  using RecordPointer = boost::shared_ptr<Zel::Record>;
  using GetFunction =
      std::function<Zel::MgmtResult(unsigned int, const Zel::RecordKeysList&, unsigned short, bool,
                                    Zel::RecordList&, Zel::ErrorString&)>;
  using SetFunction =
      std::function<Zel::MgmtResult(const RecordPointer&, Zel::MgmtOpType, bool,
                                    Zel::ApplyActionType&, Zel::ErrorString&, unsigned short)>;
  using NotifyFunction = std::function<Zel::MgmtResult(const RecordPointer&, Zel::MgmtOpType, bool,
                                                       Zel::ApplyActionType)>;
  using ClearFunction = std::function<Zel::MgmtResult(unsigned int, Zel::ErrorString&)>;
  using SvcRegIndFunction = std::function<void()>;
  using SvcRegResultFunction = std::function<void(unsigned int, Zel::MgmtResult, const Groups&)>;
  using InitProvCompleteFunction = std::function<void()>;
  using SetIndResultFunction =
      std::function<Zel::MgmtResult(const RecordPointer&, Zel::MgmtResult)>;
  using GetKeysFunction = std::function<Zel::MgmtResult(
      unsigned int, unsigned short, bool, const Zel::RecordKeysWrapper&,
      const Zel::RecordKeysWrapper&, Zel::RecordKeysList&, Zel::ErrorString&, bool&)>;

  static KorOamApi& instance();

  bool good = true;

  int doRegister(const GetFunction& get, Unused, const SetFunction&, Unused, const NotifyFunction&,
                 Unused, const ClearFunction&, Unused, const SvcRegIndFunction& svcRegInd,
                 const SvcRegResultFunction& svcRegResult, const InitProvCompleteFunction&,
                 const SetIndResultFunction&, const GetKeysFunction&, Unused, int) {
    get_ = get;
    svcRegInd_ = svcRegInd;
    svcRegResult_ = svcRegResult;
    callbackThread_ = std::thread(&KorOamApi::playSession, this);
    return 0;
  }

  int sendVmbSvcRegInd(Zel::OamSvcRegInd::SvcRegType type, const Groups& groups);
  int sendVmbSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type, const Groups& values);
  int sendVmbSvcRegEndInd();

  // The session ends before the daemon sends anything else.
  int sendSetInd(RecordPointer&, Zel::ApplyActionType, Zel::MgmtOpType) { return -1; }
  int sendEvent(const boost::shared_ptr<Zel::Event>&) { return -1; }
  int sendAlarm(const boost::shared_ptr<Zel::Alarm>&) { return -1; }
  int sendRecordUpdateEvent(const boost::shared_ptr<Zel::RecordUpdateEvent>&, Zel::MgmtOpType) {
    return -1;
  }
  int sendDeferredSetRspInd(unsigned short, Zel::MgmtResult, const Zel::ErrorString&,
                            Zel::ApplyActionType) {
    return -1;
  }

  /// The main loop returns after the last callback.
  void awaitEnd() { callbackThread_.join(); }

 private:
  void playSession();

  GetFunction get_;
  SvcRegIndFunction svcRegInd_;
  SvcRegResultFunction svcRegResult_;
  std::thread callbackThread_;
};
