#include "platform/BinLogClient.h"

#include "platform/LogStream.h"
#include "standin/Environment.h"

int zelClientBinLogInit(unsigned int) {
  zelLogLevelThreshold = standin::environment().logLevel;
  return 0;
}
