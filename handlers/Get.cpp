// Get requests.
#include <initializer_list>

#include "app/Quorin.h"
#include "catalogue/StatisticsRecords.h"
#include "handlers/Answers.h"
#include "handlers/Lines.h"
#include "handlers/QueryKeys.h"
#include "handlers/Rows.h"
#include "records/LogLine.h"

using namespace Zel;
using namespace handlers;

namespace {

constexpr std::uint16_t counterModulus = 100;

void advance(std::uint16_t& counter) {
  counter = static_cast<std::uint16_t>((counter + 1) % counterModulus);
}

template <class R>
void appendKeyPairRow(std::uint32_t key1, std::uint32_t key2, RecordList& records) {
  R& row = appendNew<R>(records);
  row.key1 = key1;
  row.key2 = key2;
  row.testField1 = 1;
  row.testField2 = 2;
  row.testField3 = 3;
}

// One row per query key, with its key values as they stand.
template <class R>
bool appendKeyPairRows(const char* dumpText, const RecordKeysList& queryKeys, RecordList& records) {
  using Keys = typename R::Keys;
  if (!allAre<Keys>(queryKeys)) return false;
  for (const auto& entry : queryKeys) {
    const Keys& keys = keysAs<Keys>(entry);
    logKeys(ZEL_LOG_DETAIL, dumpText, keys);
    appendKeyPairRow<R>(keys.key1.value, keys.key2.value, records);
  }
  return true;
}

void expandTest3Stats8(const RecordTest3Stats8::Keys& keys, RecordList& records) {
  const bool every1 = keys.wildcardAllowed && keys.key1.wildcard != 0;
  const bool every2 = keys.wildcardAllowed && keys.key2.wildcard != 0;
  if (!every1 && !every2) {
    appendKeyPairRow<RecordTest3Stats8>(keys.key1.value, keys.key2.value, records);
    return;
  }
  for (std::uint32_t i = 1; i <= lastSmallTableKey; ++i) {
    appendKeyPairRow<RecordTest3Stats8>(every1 ? i : keys.key1.value, every2 ? i : keys.key2.value,
                                        records);
  }
}

bool appendTest3Stats8(const RecordKeysList& queryKeys, RecordList& records) {
  using Keys = RecordTest3Stats8::Keys;
  if (!allAre<Keys>(queryKeys)) return false;
  for (const auto& entry : queryKeys) {
    const Keys& keys = keysAs<Keys>(entry);
    logKeys(ZEL_LOG_DETAIL, "Get for RECORD_TEST3STATS8, query keys ", keys);
    expandTest3Stats8(keys, records);
  }
  return true;
}

void appendTest3Stats1(RecordList& records) {
  for (const std::uint16_t first : std::initializer_list<std::uint16_t>{0, 2, 4}) {
    auto& row = appendNew<RecordTest3Stats1>(records);
    row.testField1 = first;
    row.testField2 = static_cast<std::uint16_t>(first + 1);
  }
}

void appendTest3Prov3(RecordList& records) {
  auto& row = appendNew<RecordTest3Prov3>(records);
  row.testKey1 = 1;
  row.testKey2 = 2;
  row.testField1 = RecordTest3Prov3::TEST_OFF;
  row.testField2 = 3;
  row.testField3 = 4;
  row.testField4 = 3;
}

void appendTest3Prov4(RecordList& records) {
  auto& row = appendNew<RecordTest3Prov4>(records);
  row.testField1 = 2;
  row.testField2 = 22;
  row.testField3 = 33;
}

void appendTest3Stats5(RecordList& records) {
  const auto append = [&](std::uint16_t testField1, std::uint32_t testField2,
                          std::uint32_t testField3) {
    auto& row = appendNew<RecordTest3Stats5>(records);
    row.testField1 = testField1;
    row.testField2 = testField2;
    row.testField3 = testField3;
  };
  append(0, 1, 3);
  append(10, 2, 0);
  append(20, 5, 1);
  append(30, 4, 2);
}

void appendTest3Stats6(RecordList& records) {
  const auto append = [&](std::uint32_t testField1, std::uint8_t testField2,
                          std::uint16_t testField3, std::uint32_t testField4,
                          std::uint32_t testField5) {
    auto& row = appendNew<RecordTest3Stats6>(records);
    row.testField1 = testField1;
    row.testField2 = testField2;
    row.testField3 = testField3;
    row.testField4 = testField4;
    row.testField5 = testField5;
  };
  append(0, 1, 2, 5, 1);
  append(2, 3, 4, 3, 3);
  append(1, 5, 6, 4, 0);
}

}  // namespace

MgmtResult Quorin::getCallback(unsigned int recordId, const RecordKeysList& queryKeys,
                               unsigned short batchSize, bool clearOnRead, RecordList& records,
                               SafeStringT<256, false>& errorString) {
  writeRecordLine("get", recordId);
  logLine(ZEL_LOG_TRACE, "Quorin::getCallback",
          " recordId=", LogStream::Hex16{static_cast<std::uint16_t>(recordId)},
          " batchSize=", batchSize, " clearOnRead=", clearOnRead);
  if (!quiet) consoleLine("get ", LogStream::Hex32{recordId});
  if (!groupRegistered(recordId)) return refuseGroup(recordId, errorString);
  if (!appendRecords(recordId, queryKeys, batchSize, clearOnRead, records)) {
    return refuseQueryKey(recordId, errorString);
  }
  answerErrorString(errorString);
  sleepBeforeAnswer();
  return mgmtResult;
}

bool Quorin::appendRecords(unsigned int recordId, const RecordKeysList& queryKeys,
                           unsigned short batchSize, bool clearOnRead, RecordList& records) {
  switch (recordId) {
    case RECORD_TEST2STATS1_ID:
      advance(test2Stats1Counter);
      appendNew<RecordTest2Stats1>(records).testField2 = test2Stats1Counter;
      return true;
    case RECORD_TEST3STATS1_ID:
      appendTest3Stats1(records);
      return true;
    case RECORD_TEST3ACTION1_ID:
      appendNew<RecordTest3Action1>(records).testRun = test3Action1.testRun;
      return true;
    case RECORD_TEST3STATS2_ID:
      return appendKeyPairRows<RecordTest3Stats2>("Get for RECORD_TEST3STATS2, query keys ",
                                                  queryKeys, records);
    case RECORD_TEST3STATS3_ID:
      return appendTest3Stats3(queryKeys, records);
    case RECORD_TEST3STATS9_ID:
      return appendTest3Stats9(queryKeys, batchSize, records);
    case RECORD_TEST3STATS4_ID:
      appendTest3Stats4(clearOnRead, records);
      return true;
    case RECORD_TEST3PROV3_ID:
      appendTest3Prov3(records);
      return true;
    case RECORD_TEST3PROV4_ID:
      appendTest3Prov4(records);
      return true;
    case RECORD_TEST3STATS5_ID:
      appendTest3Stats5(records);
      return true;
    case RECORD_TEST3STATS6_ID:
      appendTest3Stats6(records);
      return true;
    case RECORD_TEST3STATS7_ID:
      return appendKeyPairRows<RecordTest3Stats7>("Get for RECORD_TEST3STATS7, query keys ",
                                                  queryKeys, records);
    case RECORD_TEST3STATS8_ID:
      return appendTest3Stats8(queryKeys, records);
    case RECORD_TEST3ACTION2_ID:
      appendNew<RecordTest3Action2>(records).testRun = test3Action2Ptr->testRun;
      return true;
    default:
      return true;
  }
}

void Quorin::appendTest3Stats4(bool clearOnRead, RecordList& records) {
  for (std::uint16_t i = 1; i <= 3; ++i) {
    advance(test3Stats4Counter);
    auto& row = appendNew<RecordTest3Stats4>(records);
    row.testField1 = i;
    row.testField2 = test3Stats4Counter;
    row.testField3 = static_cast<std::uint16_t>(counterModulus - test3Stats4Counter);
  }
  if (!clearOnRead) return;
  test3Stats4Counter = 0;
  constexpr LogStream::Hex16 recordNumber{RECORD_TEST3STATS4_ID & 0xFFFF};
  logLine(ZEL_LOG_TRACE, "test3Stats4 Cleared After Read ", " recordId=", recordNumber);
  if (!quiet) consoleLine("test3Stats4 Cleared After Read ", recordNumber);
}
