// Registration with the OAM client API: creators first, then the callbacks.
#include <functional>

#include "app/Quorin.h"
#include "catalogue/Catalogue.h"
#include "platform/KorOamApi.h"
#include "records/Factories.h"
#include "records/LogLine.h"

namespace {

/// The last argument of `doRegister`; only the API knows what it means.
constexpr int registerOption = 30;

bool accepted(int result, const char* operation, unsigned int id) {
  if (result >= 0) return true;
  Zel::logLine(ZEL_LOG_ERROR, "Error from ", operation, " for ", Zel::LogStream::Hex32{id});
  return false;
}

template <class Factory, class R>
bool registerClass() {
  return accepted(Factory::registerFunc(R::recordId, &R::create), "registerFunc", R::recordId);
}

template <class R>
bool registerRecord() {
  if constexpr (Zel::catalogue::Registered<R>) {
    if (!registerClass<Zel::RecordFactory, R>()) return false;
  }
  if constexpr (Zel::catalogue::Keyed<R>) {
    const int result = Zel::RecordFactory::registerKeysFunc(R::recordId, &R::Keys::create);
    if (!accepted(result, "registerKeysFunc", R::recordId)) return false;
  }
  return true;
}

bool registerCreators() {
  using namespace Zel::catalogue;
  return every(Records{}, []<class R>() { return registerRecord<R>(); }) &&
         every(Events{}, []<class R>() { return registerClass<Zel::EventFactory, R>(); }) &&
         every(RecordUpdateEvents{},
               []<class R>() { return registerClass<Zel::RecordUpdateEventFactory, R>(); });
}

}  // namespace

bool Quorin::registerWithApi() {
  if (!KorOamApi::instance().good) {
    Zel::logLine(ZEL_LOG_ERROR, "KorOamApi is not good");
    return false;
  }
  if (!registerCreators()) return false;

  const auto bound = [this](auto callback) { return std::bind_front(callback, this); };
  KorOamApi::GetFunction get;
  KorOamApi::SetFunction set;
  KorOamApi::NotifyFunction notify;
  KorOamApi::ClearFunction clear;
  KorOamApi::SvcRegIndFunction svcRegInd;
  KorOamApi::SvcRegResultFunction svcRegResult;
  KorOamApi::InitProvCompleteFunction initProvCompleted;
  KorOamApi::SetIndResultFunction setIndResult;
  KorOamApi::GetKeysFunction getKeys;
  if (!noGet) get = bound(&Quorin::getCallback);
  if (!noSet) set = bound(&Quorin::setCallback);
  if (!noNotify) {
    notify = bound(&Quorin::notifyCallback);
    svcRegInd = bound(&Quorin::svcRegIndCallback);
    svcRegResult = bound(&Quorin::svcRegResultCallback);
    setIndResult = bound(&Quorin::notifySetIndCallback);
  }
  if (!noClear) clear = bound(&Quorin::clearCallback);
  if (!noInitProv) initProvCompleted = bound(&Quorin::initProvCompleteCallback);
  if (!noGetKeys) getKeys = bound(&Quorin::getKeysCallback);
  const int result = KorOamApi::instance().doRegister(
      get, KorOamApi::GetBySessionFunction(), set, KorOamApi::SetBySessionFunction(), notify,
      KorOamApi::NotifyBySessionFunction(), clear, KorOamApi::ClearBySessionFunction(), svcRegInd,
      svcRegResult, initProvCompleted, setIndResult, getKeys, KorOamApi::GetKeysBySessionFunction(),
      registerOption);
  if (result < 0) Zel::logLine(ZEL_LOG_ERROR, "Error from doRegister");
  return result >= 0;
}
