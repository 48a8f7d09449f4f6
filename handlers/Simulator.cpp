// The simulator thread: it exercises the sending side of the OAM client API.
#include <boost/smart_ptr/make_shared.hpp>
#include <cstdio>

#include "app/Quorin.h"
#include "catalogue/Notifications.h"
#include "catalogue/ProvisioningRecords.h"
#include "handlers/SimulatorCounters.h"
#include "platform/KorOamApi.h"
#include "records/BoundedCopy.h"
#include "records/LogLine.h"
#include "records/ValuesOf.h"

using namespace Zel;
using handlers::SimulatorCounters;

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

constexpr auto TEST_OFF = RecordTest3Prov3::TEST_OFF;

/// The set indications of the one-shot sequence.
constexpr struct {
  MgmtOpType opType;
  ValuesOf<RecordTest3Prov3> values;
} setIndSequence[] = {
    {MGMT_OPTYPE_SET, {1, 3, TEST_OFF, 55, 77, 3}},
    {MGMT_OPTYPE_SET, {1, 3, TEST_OFF, 55, 88, 1}},
    {MGMT_OPTYPE_DELETE, {1, 3, TEST_OFF, 55, 88, 2}},
    {MGMT_OPTYPE_INSERT, {1, 3, TEST_OFF, 55, 77, 4}},
    {MGMT_OPTYPE_INSERT, {1, 3, TEST_OFF, 55, 88, 5}},
    {MGMT_OPTYPE_UPDATE, {1, 3, TEST_OFF, 55, 88, 5}},
    {MGMT_OPTYPE_DELETE, {1, 3, TEST_OFF, 55, 88, 5}},
    {MGMT_OPTYPE_SET, {2, 4, TEST_OFF, 6, 8, 10}},
    {MGMT_OPTYPE_INSERT, {2, 4, TEST_OFF, 6, 8, 2}},
    {MGMT_OPTYPE_UPDATE, {2, 4, TEST_OFF, 66, 88, 2}},
    {MGMT_OPTYPE_DELETE, {2, 4, TEST_OFF, 66, 88, 4}},
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

void writeStep(MgmtOpType opType, const RecordTest3Prov3& record) {
  char line[128];
  const int length =
      std::snprintf(line, sizeof line, "%sRecordTest3Prov3(%d, %u, TEST_OFF, %u, %u, %u)\n",
                    operationText(opType), record.testKey1, record.testKey2, record.testField2,
                    record.testField3, record.testField4);
  plainLine({line, static_cast<std::size_t>(length)});
}

template <class R>
boost::shared_ptr<R> made(const ValuesOf<R>& values) {
  auto record = boost::make_shared<R>();
  values.storeIn(*record);
  return record;
}

// Pauses; false when the process is stopping, and nothing more is to be sent. What was sent last
// lives through the pause.
bool pauseFor(unsigned int seconds) {
  sleepSeconds(seconds);
  return !Process::instance()->exiting();
}

bool sendSetIndSequence() {
  for (const auto& [opType, values] : setIndSequence) {
    const auto changed = made<RecordTest3Prov3>(values);
    writeStep(opType, *changed);
    boost::shared_ptr<Record> record = changed;
    KorOamApi::instance().sendSetInd(record, APPLY_NO_ACTION_REQUIRED, opType);
    if (!pauseFor(sequencePause)) return false;
  }
  return true;
}

bool sendSetInd(SimulatorCounters& counters) {
  boost::shared_ptr<Record> record = made<RecordTest1Prov2>({1, 12, 34});
  KorOamApi::instance().sendSetInd(record, counters.nextApplyAction(), MGMT_OPTYPE_UPDATE);
  return pauseFor(periodicPause);
}

bool sendEvent(SimulatorCounters& counters) {
  const auto event = made<EventTest1Evt1>({1, 12, 34});
  event->severity = counters.nextSeverity();
  KorOamApi::instance().sendEvent(event);
  return pauseFor(periodicPause);
}

bool sendAlarm(SimulatorCounters& counters) {
  const auto alarm = boost::make_shared<AlarmTest1Alarm1>();
  alarm->alarmSet = counters.nextAlarmSet();
  alarm->testAlarmKey1 = 1;
  alarm->testAlarmfield1 = 12;
  alarm->testAlarmfield2 = 34;
  fillText(alarm->additionalText, "alarm texts");
  KorOamApi::instance().sendAlarm(alarm);
  return pauseFor(periodicPause);
}

bool sendRecordUpdate(SimulatorCounters& counters) {
  const auto [a, b, c] = counters.nextRecordUpdateValues();
  const auto event =
      made<RecordUpdateEventTest1RecUpdt1>({999, static_cast<std::uint8_t>(a), b, c});
  KorOamApi::instance().sendRecordUpdateEvent(event, MGMT_OPTYPE_UPDATE);
  return pauseFor(periodicPause);
}

bool sendOwed(DeferredSetRspMailbox& deferredSetRsp) {
  if (!pauseFor(deferredPause)) return false;
  const DeferredSetRsp owed = deferredSetRsp.take();
  if (!owed.pending) return true;
  logLine(ZEL_LOG_TRACE, "Set RECORD_TEST3ACTION2_ID testRun = ", owed.testRun);
  KorOamApi::instance().sendDeferredSetRspInd(owed.transactionId, MGMT_SUCCESS, ErrorString(),
                                              APPLY_NO_ACTION_REQUIRED);
  return true;
}

}  // namespace

// Each step sends and then pauses, only the last pauses first; false when the process is stopping.
void Quorin::serverSendEvents() {
  logLine(ZEL_LOG_TRACE, "serverSendEvents started");
  sleepSeconds(initialPause);
  // After a failed start there is nothing to do.
  if (!startUp.awaitGood()) return;
  SimulatorCounters counters;
  while (setInd || sendDeferredSetRsp || (eventSim & simulateAnything) != 0) {
    if (Process::instance()->exiting()) return;
    if (setInd && !sendSetIndSequence()) return;
    setInd = false;
    if ((eventSim & simulateSetInds) != 0 && !sendSetInd(counters)) return;
    if ((eventSim & simulateEvents) != 0 && !sendEvent(counters)) return;
    if ((eventSim & simulateAlarms) != 0 && !sendAlarm(counters)) return;
    if ((eventSim & simulateRecordUpdates) != 0 && !sendRecordUpdate(counters)) return;
    if (sendDeferredSetRsp && !sendOwed(deferredSetRsp)) return;
  }
}
