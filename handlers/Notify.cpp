// Notifications from the framework: of changed records, and of the outcome of set indications.
#include <string>

#include "app/Quorin.h"
#include "catalogue/ProvisioningRecords.h"
#include "handlers/Common.h"
#include "records/LogLine.h"

using namespace Zel;
using namespace handlers;

namespace {

void printNotified(const Record& record, bool quiet) {
  switch (record.id) {
    case RECORD_TEST1PROV1_ID:
      printRecordOf<RecordTest1Prov1>(record, quiet);
      break;
    case RECORD_TEST2PROV1_ID:
      printRecordOf<RecordTest2Prov1>(record, quiet);
      break;
    case RECORD_TEST3PROV1_ID:
      printRecordOf<RecordTest3Prov1>(record, quiet);
      break;
    case RECORD_TEST3PROV2_ID:
      printRecordOf<RecordTest3Prov2>(record, quiet);
      break;
    case RECORD_TEST3PROV3_ID:
      printRecordOf<RecordTest3Prov3>(record, quiet);
      break;
    case RECORD_TEST3PROV4_ID:
      printRecordOf<RecordTest3Prov4>(record, quiet);
      break;
    case RECORD_PROVLABELSCONFIG_ID:
      printRecordOf<RecordProvLabelsConfig>(record, quiet);
      break;
    default:
      break;
  }
}

}  // namespace

MgmtResult Quorin::notifyCallback(const boost::shared_ptr<Record>& record, MgmtOpType opType,
                                  bool regDownloadFlag, const ApplyActionType& applyAction) {
  writeChangeLine(std::string("notify ") + mgmtOpTypeText(opType) + " " + hexText(record->id) +
                  changeText(regDownloadFlag, applyAction));
  logLine(ZEL_LOG_TRACE, "Quorin::notifyCallback", " recordId=", LogStream::Hex32{record->id},
          " opType=", mgmtOpTypeText(opType), " regDownloadFlag=", regDownloadFlag,
          " applyAction=", applyActionText(applyAction));
  printNotified(*record, quiet);
  sleepBeforeAnswer();
  return mgmtResult;
}

MgmtResult Quorin::notifySetIndCallback(const boost::shared_ptr<Record>& record,
                                        MgmtResult result) {
  logLine(ZEL_LOG_TRACE, "Quorin::notifySetIndCallback", " recordId=", LogStream::Hex32{record->id},
          " update = ", result == MGMT_SUCCESS ? "ACK" : "NACK", " Error code ",
          static_cast<int>(result), " = ", mgmtResultText(result));
  return result;
}
