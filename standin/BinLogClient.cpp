#include "platform/BinLogClient.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/LogStream.h"
#include "standin/Environment.h"
#include "standin/Pauses.h"

namespace {

/// A socket that took the number of a closed standard stream would get what is written to that.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) return;
  }
  // Lines would get lost where a write does not wait.
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    ::fcntl(stream, F_SETFL, ::fcntl(stream, F_GETFL) & ~O_NONBLOCK);
  }
}

}  // namespace

int zelClientBinLogInit(unsigned int) {
  occupyStandardStreams();
  zelLogLevelThreshold = standin::environment().logLevel;
  if (standin::environment().manualClock) standin::Pauses::instance().setManual();
  return 0;
}
