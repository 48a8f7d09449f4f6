// The simulator thread: it exercises the sending side of the OAM client API.
#include <boost/smart_ptr/make_shared.hpp>
#include <cstdio>

#include "app/Quorin.h"
#include "catalogue/Notifications.h"
#include "catalogue/ProvisioningRecords.h"
#include "platform/KorOamApi.h"
#include "records/BoundedCopy.h"
#include "records/LogLine.h"

using namespace Zel;

namespace {

// Pauses, in seconds.
constexpr unsigned int initialPause = 5;
constexpr unsigned int sequencePause = 10;
constexpr unsigned int periodicPause = 30;
constexpr unsigned int deferredPause = 10;

// Bits of the "event-sim" option.
constexpr std::uint32_t simulateEvents = 1;
constexpr std::uint32_t simulateAlarms = 2;
constexpr std::uint32_t simulateSetInds = 4;
constexpr std::uint32_t simulateRecordUpdates = 8;
constexpr std::uint32_t simulateAnything =
    simulateEvents | simulateAlarms | simulateSetInds | simulateRecordUpdates;

constexpr std::int32_t skippedMultiple = 7;

/// One set indication of the one-shot sequence: a Test3-Prov3 record, switched off.
struct SequenceStep {
  MgmtOpType opType;
  std::int16_t testKey1;
  std::uint16_t testKey2;
  std::uint16_t testField2;
  std::uint16_t testField3;
  std::uint8_t testField4;
};

constexpr SequenceStep setIndSequence[] = {
    {MGMT_OPTYPE_SET, 1, 3, 55, 77, 3},    {MGMT_OPTYPE_SET, 1, 3, 55, 88, 1},
    {MGMT_OPTYPE_DELETE, 1, 3, 55, 88, 2}, {MGMT_OPTYPE_INSERT, 1, 3, 55, 77, 4},
    {MGMT_OPTYPE_INSERT, 1, 3, 55, 88, 5}, {MGMT_OPTYPE_UPDATE, 1, 3, 55, 88, 5},
    {MGMT_OPTYPE_DELETE, 1, 3, 55, 88, 5}, {MGMT_OPTYPE_SET, 2, 4, 6, 8, 10},
    {MGMT_OPTYPE_INSERT, 2, 4, 6, 8, 2},   {MGMT_OPTYPE_UPDATE, 2, 4, 66, 88, 2},
    {MGMT_OPTYPE_DELETE, 2, 4, 66, 88, 4},
};

const char* operationText(MgmtOpType opType) {
  switch (opType) {
    case MGMT_OPTYPE_INSERT:
      return "MGMT_OPTYPE_INSERT ";
    case MGMT_OPTYPE_UPDATE:
      return "MGMT_OPTYPE_UPDATE ";
    case MGMT_OPTYPE_DELETE:
      return "MGMT_OPTYPE_DELETE ";
    default:
      return "MGMT_OPTYPE_SET ";
  }
}

void writeStep(const SequenceStep& step) {
  char line[128];
  const int length =
      std::snprintf(line, sizeof line, "%sRecordTest3Prov3(%d, %u, TEST_OFF, %u, %u, %u)\n",
                    operationText(step.opType), step.testKey1, step.testKey2, step.testField2,
                    step.testField3, step.testField4);
  plainLine({line, static_cast<std::size_t>(length)});
}

boost::shared_ptr<Record> recordOf(const SequenceStep& step) {
  auto record = boost::make_shared<RecordTest3Prov3>();
  record->testKey1 = step.testKey1;
  record->testKey2 = step.testKey2;
  record->testField1 = RecordTest3Prov3::TEST_OFF;
  record->testField2 = step.testField2;
  record->testField3 = step.testField3;
  record->testField4 = step.testField4;
  return record;
}

// Pauses; false when the process is stopping, and nothing more is to be sent.
bool pauseFor(unsigned int seconds) {
  sleepSeconds(seconds);
  return !Process::instance()->exiting();
}

}  // namespace

void Quorin::serverSendEvents() {
  logLine(ZEL_LOG_TRACE, "serverSendEvents started");
  sleepSeconds(initialPause);
  // The options are there once start-up has finished; after a failure there is nothing to do.
  startUp.wait(StartUp::running, std::memory_order_acquire);
  if (startUp.load(std::memory_order_acquire) == StartUp::failed) return;
  while (setInd || sendDeferredSetRsp || (eventSim & simulateAnything) != 0) {
    if (!runPass()) return;
  }
}

bool Quorin::runPass() {
  if (Process::instance()->exiting()) return false;
  if (setInd && !sendSetIndSequence()) return false;
  if ((eventSim & simulateSetInds) != 0 && !sendPeriodicSetInd()) return false;
  if ((eventSim & simulateEvents) != 0 && !sendPeriodicEvent()) return false;
  if ((eventSim & simulateAlarms) != 0 && !sendPeriodicAlarm()) return false;
  if ((eventSim & simulateRecordUpdates) != 0 && !sendPeriodicRecordUpdate()) return false;
  return !sendDeferredSetRsp || sendOwedDeferredSetRsp();
}

bool Quorin::sendSetIndSequence() {
  for (const SequenceStep& step : setIndSequence) {
    writeStep(step);
    boost::shared_ptr<Record> record = recordOf(step);
    KorOamApi::instance().sendSetInd(record, APPLY_NO_ACTION_REQUIRED, step.opType);
    if (!pauseFor(sequencePause)) return false;
  }
  setInd = false;
  return true;
}

bool Quorin::sendPeriodicSetInd() {
  auto changed = boost::make_shared<RecordTest1Prov2>();
  changed->xyzService = 1;
  changed->testField1 = 12;
  changed->testField2 = 34;
  boost::shared_ptr<Record> record = std::move(changed);
  ++simulator.setIndCounter;
  KorOamApi::instance().sendSetInd(
      record, static_cast<ApplyActionType>(simulator.setIndCounter % 4), MGMT_OPTYPE_UPDATE);
  return pauseFor(periodicPause);
}

bool Quorin::sendPeriodicEvent() {
  ++simulator.eventCounter;
  if (simulator.eventCounter % skippedMultiple == 0) ++simulator.eventCounter;
  auto event = boost::make_shared<EventTest1Evt1>();
  event->severity = static_cast<std::uint32_t>(simulator.eventCounter % skippedMultiple);
  event->testEvtKey1 = 1;
  event->testEvtfield1 = 12;
  event->testEvtfield2 = 34;
  KorOamApi::instance().sendEvent(event);
  return pauseFor(periodicPause);
}

bool Quorin::sendPeriodicAlarm() {
  simulator.alarmSetState = !simulator.alarmSetState;
  auto alarm = boost::make_shared<AlarmTest1Alarm1>();
  alarm->alarmSet = simulator.alarmSetState;
  alarm->testAlarmKey1 = 1;
  alarm->testAlarmfield1 = 12;
  alarm->testAlarmfield2 = 34;
  fillText(alarm->additionalText, "alarm texts");
  KorOamApi::instance().sendAlarm(alarm);
  return pauseFor(periodicPause);
}

bool Quorin::sendPeriodicRecordUpdate() {
  auto& [a, b, c] = simulator.recordUpdateValues;
  auto event = boost::make_shared<RecordUpdateEventTest1RecUpdt1>();
  event->entryId = 999;
  event->entryPriority = static_cast<std::uint8_t>(a);
  event->entryPcycles = b;
  event->entryAvgPcycles = c;
  KorOamApi::instance().sendRecordUpdateEvent(event, MGMT_OPTYPE_UPDATE);
  const std::uint32_t first = a;
  a = b;
  b = c;
  c = first;
  return pauseFor(periodicPause);
}

bool Quorin::sendOwedDeferredSetRsp() {
  if (!pauseFor(deferredPause)) return false;
  const DeferredSetRsp owed = deferredSetRsp.exchange({}, std::memory_order_acquire);
  if (!owed.pending) return true;
  logLine(ZEL_LOG_TRACE, "Set RECORD_TEST3ACTION2_ID testRun = ", owed.testRun);
  KorOamApi::instance().sendDeferredSetRspInd(owed.transactionId, MGMT_SUCCESS, ErrorString(),
                                              APPLY_NO_ACTION_REQUIRED);
  return true;
}
