// Configuration of the stand-in: environment variables, read once.
#pragma once

#include <string>
#include <vector>

namespace standin {

struct Environment {
  std::string socketPath = "/run/quorin/oam.sock";  ///< KOR_OAM_SOCKET
  bool automatic = true;                            ///< KOR_OAM_AUTO
  bool manualClock = false;                         ///< KOR_OAM_CLOCK
  int logLevel = 2;                                 ///< ZEL_LOG_LEVEL
};

/// Read on first use, which is on the main thread at start. A bad value is named on standard error
/// and ends the process with status 255.
const Environment& environment();

/// The words of the command line. Main thread at start, afterwards any.
void noteCommandLine(int argc, char** argv);
const std::vector<std::string>& commandLine();

}  // namespace standin
