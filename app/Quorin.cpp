#include "app/Quorin.h"

#include <boost/smart_ptr/make_shared.hpp>

#include "app/Options.h"

namespace {

/// Selects the services of the process framework.
constexpr unsigned int processFlags = 33;

}  // namespace

Quorin::Quorin(int argc, char** argv)
    : Zel::Process(argc, argv, processFlags, describeOptions()),
      simulatorThread(&Quorin::serverSendEvents, this),
      test3Action2Ptr(boost::make_shared<Zel::RecordTest3Action2>()) {
  if (isGood() && !(readOptions() && registerWithApi())) good = false;
  startUp.finish(isGood());
}

Quorin::~Quorin() {
  Zel::Process::halt();
  simulatorThread.join();
}
