// Set requests.
#include <string>

#include "app/Quorin.h"
#include "catalogue/ProvisioningRecords.h"
#include "handlers/Answers.h"
#include "handlers/Lines.h"
#include "records/BoundedCopy.h"
#include "records/Hex.h"
#include "records/LogLine.h"

using namespace Zel;
using namespace handlers;

namespace {

using Test1Prov3Rows = std::map<std::uint16_t, boost::shared_ptr<RecordTest1Prov3>>;

void traceApplyAction(ApplyActionType applyAction) {
  logLine(ZEL_LOG_TRACE, "Reset applyAction to ", applyActionText(applyAction));
}

void logMissingRow(std::uint16_t key) {
  logLine(ZEL_LOG_ERROR, "Can't locate tes1Prov3 for key ", key);
}

// Stores the first field that differs, and no other. Each field needs an action of its own.
void updateRow(RecordTest1Prov3& row, const RecordTest1Prov3& request,
               ApplyActionType& applyAction) {
  const struct {
    std::uint16_t RecordTest1Prov3::*field;
    ApplyActionType applyAction;
  } fields[] = {{&RecordTest1Prov3::testField2, APPLY_REBOOT_REQUIRED},
                {&RecordTest1Prov3::testField3, APPLY_DISABLE_REQUIRED},
                {&RecordTest1Prov3::testField4, APPLY_REBOOT_POSSIBLE},
                {&RecordTest1Prov3::testField5, APPLY_NO_ACTION_REQUIRED}};
  for (const auto& [field, needed] : fields) {
    if (row.*field == request.*field) continue;
    row.*field = request.*field;
    applyAction = needed;
    return;
  }
}

void setTest1Prov1(const Record& record, bool quiet, ApplyActionType& applyAction) {
  const auto* request = printRecordOf<RecordTest1Prov1>(record, quiet);
  if (request == nullptr) return;
  logLine(ZEL_LOG_TRACE, "Set RECORD_TEST1PROV1_ID testField2 = ", request->testField2);
  applyAction = APPLY_NO_ACTION_REQUIRED;
  traceApplyAction(applyAction);
}

void setTest1Prov3(Test1Prov3Rows& rows, const Record& record, MgmtOpType opType, bool quiet,
                   ApplyActionType& applyAction) {
  const auto* request = printRecordOf<RecordTest1Prov3>(record, quiet);
  if (request == nullptr) {
    logLine(ZEL_LOG_ERROR, "test1Prov3Ptr is NULL");
    return;
  }
  const std::uint16_t key = request->testField1;
  const auto row = rows.find(key);
  if (opType == MGMT_OPTYPE_INSERT) {
    auto stored = boost::make_shared<RecordTest1Prov3>(*request);
    stored->valid = true;
    rows[key] = std::move(stored);
    applyAction = APPLY_REBOOT_REQUIRED;
  } else if (opType == MGMT_OPTYPE_UPDATE) {
    applyAction = APPLY_NO_ACTION_REQUIRED;
    if (row == rows.end()) return logMissingRow(key);
    updateRow(*row->second, *request, applyAction);
  } else if (opType == MGMT_OPTYPE_DELETE) {
    applyAction = APPLY_NO_ACTION_REQUIRED;
    if (row == rows.end()) return logMissingRow(key);
    rows.erase(row);
    applyAction = APPLY_REBOOT_REQUIRED;
  }
}

void setTest3Prov1(const Record& record, bool quiet) {
  const auto* request = printRecordOf<RecordTest3Prov1>(record, quiet);
  if (request == nullptr) return;
  char testField4[sizeof request->testField4];
  fillText(testField4, request->testField4);
  logLine(ZEL_LOG_DETAIL, "Set RECORD_TEST3PROV1_ID testField1 = ", request->testField1,
          " testField4 = ", testField4);
}

}  // namespace

MgmtResult Quorin::setCallback(const boost::shared_ptr<Record>& record, MgmtOpType opType,
                               bool regDownloadFlag, ApplyActionType& applyAction,
                               ErrorString& errorString, unsigned short transactionId) {
  writeChangeLine(std::string("set ") + mgmtOpTypeText(opType) + " " + hexText(record->id) +
                  " transaction id " + std::to_string(transactionId) +
                  changeText(regDownloadFlag, applyAction) + " errorString=" + errorString.c_str());
  logLine(ZEL_LOG_TRACE, "Quorin::setCallback", " transactionId=", transactionId,
          " recordId=", LogStream::Hex32{record->id}, " opType=", mgmtOpTypeText(opType),
          " regDownloadFlag=", regDownloadFlag, " applyAction= ", applyActionText(applyAction));
  mgmtResult = MGMT_SUCCESS;
  if (!groupRegistered(record->id)) return refuseGroup(record->id, errorString);
  applySet(*record, opType, applyAction, transactionId);
  return answer(errorString);
}

void Quorin::applySet(const Record& record, MgmtOpType opType, ApplyActionType& applyAction,
                      std::uint16_t transactionId) {
  switch (record.id) {
    case RECORD_TEST1PROV1_ID:
      setTest1Prov1(record, quiet, applyAction);
      break;
    case RECORD_TEST1PROV3_ID:
      setTest1Prov3(test1Prov3Map, record, opType, quiet, applyAction);
      break;
    case RECORD_TEST3PROV1_ID:
      setTest3Prov1(record, quiet);
      break;
    case RECORD_TEST3ACTION1_ID:
      if (const auto* request = dynamic_cast<const RecordTest3Action1*>(&record)) {
        logLine(ZEL_LOG_TRACE, "Set RECORD_TEST3ACTION1_ID testRun = ", request->testRun);
        test3Action1.testRun = request->testRun;
        applyAction = initProvComplete ? APPLY_REBOOT_POSSIBLE : APPLY_NO_ACTION_REQUIRED;
        traceApplyAction(applyAction);
      }
      break;
    case RECORD_TEST3ACTION2_ID:
      if (const auto* request = dynamic_cast<const RecordTest3Action2*>(&record)) {
        test3Action2Ptr->testRun = request->testRun;
        logLine(ZEL_LOG_TRACE, "Sending deferred set response for Test3Action2 later... ");
        applyAction = APPLY_NO_ACTION_REQUIRED;
        mgmtResult = MGMT_RESPONSE_DEFERRED;
        deferredSetRsp.owe(transactionId, request->testRun);
      }
      break;
    default:
      printOneOf<RecordTest2Prov1, RecordTest3Prov2, RecordTest3Prov3, RecordTest3Prov4>(record,
                                                                                         quiet);
      break;
  }
}
