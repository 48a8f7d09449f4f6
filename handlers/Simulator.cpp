// The simulator thread.
#include "app/Quorin.h"
#include "records/LogLine.h"

namespace {

/// Seconds before the simulator looks at the options.
constexpr unsigned int initialPause = 5;

}  // namespace

void Quorin::serverSendEvents() {
  Zel::logLine(ZEL_LOG_TRACE, "serverSendEvents started");
  Zel::sleepSeconds(initialPause);
  startUp.wait(StartUp::running, std::memory_order_acquire);
}
