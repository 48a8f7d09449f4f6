// Registration with the OAM client API: creators first, then the callbacks.
#include <boost/bind/bind.hpp>

#include "app/Quorin.h"
#include "catalogue/Catalogue.h"
#include "platform/KorOamApi.h"
#include "records/Factories.h"
#include "records/LogLine.h"

namespace {

/// The last argument of `doRegister`; its meaning is the API's.
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

}  // namespace

bool Quorin::registerCreators() {
  using namespace Zel::catalogue;
  return every(Records{}, []<class R>() { return registerRecord<R>(); }) &&
         every(Events{}, []<class R>() { return registerClass<Zel::EventFactory, R>(); }) &&
         every(RecordUpdateEvents{},
               []<class R>() { return registerClass<Zel::RecordUpdateEventFactory, R>(); });
}

bool Quorin::registerWithApi() {
  using namespace boost::placeholders;

  if (!KorOamApi::instance().good) {
    Zel::logLine(ZEL_LOG_ERROR, "KorOamApi is not good");
    return good = false;
  }
  if (!registerCreators()) return good = false;

  KorOamApi::GetFunction get;
  KorOamApi::SetFunction set;
  KorOamApi::NotifyFunction notify;
  KorOamApi::ClearFunction clear;
  KorOamApi::SvcRegIndFunction svcRegInd;
  KorOamApi::SvcRegResultFunction svcRegResult;
  KorOamApi::InitProvCompleteFunction initProvCompleted;
  KorOamApi::SetIndResultFunction setIndResult;
  KorOamApi::GetKeysFunction getKeys;
  if (!noGet) get = boost::bind(&Quorin::getCallback, this, _1, _2, _3, _4, _5, _6);
  if (!noSet) set = boost::bind(&Quorin::setCallback, this, _1, _2, _3, _4, _5, _6);
  if (!noNotify) {
    notify = boost::bind(&Quorin::notifyCallback, this, _1, _2, _3, _4);
    svcRegInd = boost::bind(&Quorin::svcRegIndCallback, this);
    svcRegResult = boost::bind(&Quorin::svcRegResultCallback, this, _1, _2, _3);
    setIndResult = boost::bind(&Quorin::notifySetIndCallback, this, _1, _2);
  }
  if (!noClear) clear = boost::bind(&Quorin::clearCallback, this, _1, _2);
  if (!noInitProv) initProvCompleted = boost::bind(&Quorin::initProvCompleteCallback, this);
  if (!noGetKeys) {
    getKeys = boost::bind(&Quorin::getKeysCallback, this, _1, _2, _3, _4, _5, _6, _7, _8);
  }
  const int result = KorOamApi::instance().doRegister(
      get, KorOamApi::GetBySessionFunction(), set, KorOamApi::SetBySessionFunction(), notify,
      KorOamApi::NotifyBySessionFunction(), clear, KorOamApi::ClearBySessionFunction(), svcRegInd,
      svcRegResult, initProvCompleted, setIndResult, getKeys, KorOamApi::GetKeysBySessionFunction(),
      registerOption);
  if (result < 0) {
    Zel::logLine(ZEL_LOG_ERROR, "Error from doRegister");
    return good = false;
  }
  return true;
}
