#include "platform/KorOamApi.h"

#include <new>

#include "records/Notifications.h"
#include "standin/OamService.h"
#include "standin/Replies.h"

using standin::ObjectText;

struct KorOamApi::Implementation {
  standin::OamService service;
};

namespace {

/// 0 where `operation` returns true. Lack of memory is one way to fail.
template <typename Operation>
int outcome(Operation&& operation) {
  try {
    return operation() ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

}  // namespace

KorOamApi::KorOamApi() : implementation_(std::make_unique<Implementation>()) {
  good = implementation_->service.claim();
}

KorOamApi::~KorOamApi() = default;

KorOamApi& KorOamApi::instance() {
  static KorOamApi api;
  return api;
}

int KorOamApi::doRegister(const GetFunction& get, const GetBySessionFunction&,
                          const SetFunction& set, const SetBySessionFunction&,
                          const NotifyFunction& notify, const NotifyBySessionFunction&,
                          const ClearFunction& clear, const ClearBySessionFunction&,
                          const SvcRegIndFunction& svcRegInd,
                          const SvcRegResultFunction& svcRegResult,
                          const InitProvCompleteFunction& initProvComplete,
                          const SetIndResultFunction& setIndResult, const GetKeysFunction& getKeys,
                          const GetKeysBySessionFunction&, int) {
  return outcome([&] {
    return implementation_->service.start({get, set, notify, clear, svcRegInd, svcRegResult,
                                           initProvComplete, setIndResult, getKeys});
  });
}

int KorOamApi::sendVmbSvcRegInd(Zel::OamSvcRegInd::SvcRegType type,
                                const std::vector<unsigned short>& groups) {
  return outcome([&] {
    return implementation_->service.sendGroups(standin::svcRegInd, type, groups,
                                               standin::svcRegIndOutcome);
  });
}

int KorOamApi::sendVmbSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type,
                                         const std::vector<unsigned short>& values) {
  return outcome([&] {
    return implementation_->service.sendGroups(standin::svcRegSetUpdateInd, type, values,
                                               standin::svcRegSetUpdateOutcome);
  });
}

int KorOamApi::sendVmbSvcRegEndInd() {
  return outcome(
      [&] { return implementation_->service.send(standin::svcRegEndInd, [](auto&) {}); });
}

int KorOamApi::sendSetInd(boost::shared_ptr<Zel::Record>& record, Zel::ApplyActionType applyAction,
                          Zel::MgmtOpType opType) {
  return outcome([&] { return implementation_->service.sendSetInd(record, applyAction, opType); });
}

int KorOamApi::sendEvent(const boost::shared_ptr<Zel::Event>& event) {
  return outcome(
      [&] { return implementation_->service.send(standin::event, *event, [](ObjectText&) {}); });
}

int KorOamApi::sendAlarm(const boost::shared_ptr<Zel::Alarm>& alarm) {
  return outcome(
      [&] { return implementation_->service.send(standin::alarm, *alarm, [](ObjectText&) {}); });
}

int KorOamApi::sendRecordUpdateEvent(const boost::shared_ptr<Zel::RecordUpdateEvent>& event,
                                     Zel::MgmtOpType opType) {
  return outcome([&] {
    return implementation_->service.send(
        standin::recordUpdateEvent, *event,
        [&](ObjectText& members) { members.add("opType", std::int64_t{opType}); });
  });
}

int KorOamApi::sendDeferredSetRspInd(unsigned short transactionId, Zel::MgmtResult result,
                                     const Zel::SafeStringT<256, false>& errorString,
                                     Zel::ApplyActionType applyAction) {
  return outcome([&] {
    return implementation_->service.send(standin::deferredSetRsp, [&](ObjectText& members) {
      members.add("transactionId", transactionId);
      standin::addResult(members, result)
          .add("errorString", errorString.c_str())
          .add("applyAction", std::int64_t{applyAction});
    });
  });
}
