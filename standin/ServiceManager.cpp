#include "standin/ServiceManager.h"

#ifdef QUORIN_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

namespace standin {
namespace {

void tell([[maybe_unused]] const std::string& state) {
#ifdef QUORIN_HAVE_SYSTEMD
  ::sd_notify(0, state.c_str());
#endif
}

}  // namespace

void tellReady(const std::string& path) { tell("READY=1\nSTATUS=Serving " + path); }
void tellStopping() { tell("STOPPING=1\nSTATUS=Stopping"); }

}  // namespace standin
