// Clear requests, and the end of the initial provisioning.
#include "app/Quorin.h"
#include "catalogue/RecordIds.h"
#include "handlers/Answers.h"
#include "handlers/Lines.h"
#include "records/LogLine.h"

using namespace Zel;
using namespace handlers;

MgmtResult Quorin::clearCallback(unsigned int recordId, ErrorString& errorString) {
  writeRecordLine("clear ", recordId);
  logLine(ZEL_LOG_TRACE, "Quorin::clearCallback", " recordId=", LogStream::Hex32{recordId});
  if (!quiet) consoleLine("clear ", LogStream::Hex32{recordId});
  if (!groupRegistered(recordId)) return refuseGroup(recordId, errorString);
  if (recordId == RECORD_TEST2STATS1_ID) test2Stats1Counter = 0;
  return answer(errorString);
}

void Quorin::initProvCompleteCallback() {
  logLine(ZEL_LOG_TRACE, "Quorin::initProvCompleteCallback");
  initProvComplete = true;
  if (!quiet) consoleLine("initProvComplete");
}
