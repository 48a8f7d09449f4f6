#include "app/Run.h"

#include <cstdlib>

#include "app/Quorin.h"
#include "platform/BinLogClient.h"
#include "platform/ProcPrivs.h"
#include "records/LogLine.h"

namespace {

/// The number of the daemon in the binary log.
constexpr unsigned int binLogClient = 0x9100;

}  // namespace

int runQuorin(int argc, char** argv) {
  zelClientBinLogInit(binLogClient);

  Zel::ProcPrivs privileges;
  privileges.setUser("apps");
  privileges.setGroup("apps");
  if (const int error = privileges.applyPrivileges(); error != 0) {
    Zel::logLine(ZEL_LOG_FATAL, "Error dropping privileges: ", error);
    std::exit(-1);
  }

  Quorin quorin(argc, argv);
  if (!quorin.isGood()) std::exit(-1);
  return quorin();
}
