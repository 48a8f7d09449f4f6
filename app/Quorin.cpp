#include "app/Quorin.h"

#include <boost/bind/bind.hpp>
#include <boost/smart_ptr/make_shared.hpp>

namespace {

/// Selects the services of the process framework.
constexpr unsigned int processFlags = 33;

}  // namespace

Quorin::Quorin(int argc, char** argv)
    : Zel::Process(argc, argv, processFlags, describeOptions()),
      simulatorThread(boost::bind(&Quorin::serverSendEvents, this)),
      test3Action2Ptr(boost::make_shared<Zel::RecordTest3Action2>()) {
  if (isGood() && readOptions()) registerWithApi();
  startUp.store(isGood() ? StartUp::finished : StartUp::failed, std::memory_order_release);
  startUp.notify_all();
}

Quorin::~Quorin() {
  Zel::Process::halt();
  simulatorThread.join();
}
