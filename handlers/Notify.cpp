// Notifications from the framework: of changed records, and of the outcome of set indications.
#include <string>

#include "app/Quorin.h"
#include "catalogue/ProvisioningRecords.h"
#include "handlers/Lines.h"
#include "records/Hex.h"
#include "records/LogLine.h"

using namespace Zel;
using namespace handlers;

MgmtResult Quorin::notifyCallback(const boost::shared_ptr<Record>& record, MgmtOpType opType,
                                  bool regDownloadFlag, const ApplyActionType& applyAction) {
  writeChangeLine(std::string("notify ") + mgmtOpTypeText(opType) + " " + hexText(record->id) +
                  changeText(regDownloadFlag, applyAction));
  logLine(ZEL_LOG_TRACE, "Quorin::notifyCallback", " recordId=", LogStream::Hex32{record->id},
          " opType=", mgmtOpTypeText(opType), " regDownloadFlag=", regDownloadFlag,
          " applyAction=", applyActionText(applyAction));
  printOneOf<RecordTest1Prov1, RecordTest2Prov1, RecordTest3Prov1, RecordTest3Prov2,
             RecordTest3Prov3, RecordTest3Prov4, RecordProvLabelsConfig>(*record, quiet);
  ErrorString notSent;  // a notification is answered without one
  return answer(notSent);
}

MgmtResult Quorin::notifySetIndCallback(const boost::shared_ptr<Record>& record,
                                        MgmtResult result) {
  logLine(ZEL_LOG_TRACE, "Quorin::notifySetIndCallback", " recordId=", LogStream::Hex32{record->id},
          " update = ", result == MGMT_SUCCESS ? "ACK" : "NACK", " Error code ",
          static_cast<int>(result), " = ", mgmtResultText(result));
  return result;
}
