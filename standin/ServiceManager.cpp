#include "standin/ServiceManager.h"

#include <cstdio>

#ifdef QUORIN_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

namespace standin {
namespace {

// Allocates nothing: a stop goes on without memory.
void tell([[maybe_unused]] const char* state) {
#ifdef QUORIN_HAVE_SYSTEMD
  ::sd_notify(0, state);
#endif
}

}  // namespace

void tellReady(const char* path) {
  char state[200];  // a socket's path has 107 bytes at the most
  std::snprintf(state, sizeof state, "READY=1\nSTATUS=Serving %s", path);
  tell(state);
}

void tellStopping() { tell("STOPPING=1\nSTATUS=Stopping"); }

}  // namespace standin
