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

template <class R>
bool registerRecord() {
  if constexpr (Zel::catalogue::Registered<R>) {
    const int result = Zel::RecordFactory::registerFunc(R::recordId, &R::create);
    if (!accepted(result, "registerFunc", R::recordId)) return false;
  }
  if constexpr (Zel::catalogue::Keyed<R>) {
    const int result = Zel::RecordFactory::registerKeysFunc(R::recordId, &R::Keys::create);
    if (!accepted(result, "registerKeysFunc", R::recordId)) return false;
  }
  return true;
}

}  // namespace

bool Quorin::registerCreators() {
  return Zel::catalogue::every(Zel::catalogue::Records{}, [](auto tag) {
    return registerRecord<typename decltype(tag)::Type>();
  });
}

bool Quorin::registerWithApi() {
  using namespace boost::placeholders;

  if (!KorOamApi::instance().good) {
    Zel::logLine(ZEL_LOG_ERROR, "KorOamApi is not good");
    return good = false;
  }
  if (!registerCreators()) return good = false;

  KorOamApi::GetFunction get;
  KorOamApi::SvcRegIndFunction svcRegInd;
  KorOamApi::SvcRegResultFunction svcRegResult;
  if (!noGet) get = boost::bind(&Quorin::getCallback, this, _1, _2, _3, _4, _5, _6);
  if (!noNotify) {
    svcRegInd = boost::bind(&Quorin::svcRegIndCallback, this);
    svcRegResult = boost::bind(&Quorin::svcRegResultCallback, this, _1, _2, _3);
  }
  const int result = KorOamApi::instance().doRegister(
      get, KorOamApi::GetBySessionFunction(), KorOamApi::SetFunction(),
      KorOamApi::SetBySessionFunction(), KorOamApi::NotifyFunction(),
      KorOamApi::NotifyBySessionFunction(), KorOamApi::ClearFunction(),
      KorOamApi::ClearBySessionFunction(), svcRegInd, svcRegResult,
      KorOamApi::InitProvCompleteFunction(), KorOamApi::SetIndResultFunction(),
      KorOamApi::GetKeysFunction(), KorOamApi::GetKeysBySessionFunction(), registerOption);
  if (result < 0) {
    Zel::logLine(ZEL_LOG_ERROR, "Error from doRegister");
    return good = false;
  }
  return true;
}
