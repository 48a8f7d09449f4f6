// Get requests.
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

// The lookup tables are indexed by all positions.
constexpr std::uint16_t sfnCount = 1024;
constexpr std::uint16_t sfCount = 10;

void advance(std::uint16_t& counter) {
  counter = static_cast<std::uint16_t>((counter + 1) % counterModulus);
}

void appendTest3Stats4(std::uint16_t& counter, bool clearOnRead, bool quiet, RecordList& records) {
  for (std::uint16_t i = 1; i <= 3; ++i) {
    advance(counter);
    const auto rest = static_cast<std::uint16_t>(counterModulus - counter);
    appendRows<RecordTest3Stats4>(records, {{i, counter, rest}});
  }
  if (!clearOnRead) return;
  counter = 0;
  constexpr LogStream::Hex16 recordNumber{RECORD_TEST3STATS4_ID & 0xFFFF};
  logLine(ZEL_LOG_TRACE, "test3Stats4 Cleared After Read ", " recordId=", recordNumber);
  if (!quiet) consoleLine("test3Stats4 Cleared After Read ", recordNumber);
}

// Query keys come from a peer: one may be missing, of another class or outside the tables.
template <class Keys>
bool usable(const RecordKeys* queryKey) {
  const auto* keys = dynamic_cast<const Keys*>(queryKey);
  if constexpr (requires { keys->sfn; }) {
    return keys != nullptr && keys->sfn.value < sfnCount && keys->sf.value < sfCount;
  } else {
    return keys != nullptr;
  }
}

// Logs each query key after `text` and calls `append(keys)`. False, with nothing done, when one of
// them cannot be used.
template <class R, typename Append>
bool forEachKey(const RecordKeysList& queryKeys, const char* text, Append&& append) {
  using Keys = typename R::Keys;
  for (const auto& entry : queryKeys) {
    if (!usable<Keys>(entry.get())) return false;
  }
  for (const auto& entry : queryKeys) {
    logKeys(ZEL_LOG_DETAIL, text, *entry);
    append(static_cast<const Keys&>(*entry));
  }
  return true;
}

template <class R>
void appendKeyPairRow(std::uint32_t key1, std::uint32_t key2, RecordList& records) {
  appendRows<R>(records, {{key1, key2, 1, 2, 3}});
}

template <class R>
bool appendKeyPairRows(const RecordKeysList& queryKeys, const char* text, RecordList& records) {
  return forEachKey<R>(queryKeys, text, [&](const auto& keys) {
    appendKeyPairRow<R>(keys.key1.value, keys.key2.value, records);
  });
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

/// Both lookup tables, which exist.
struct Tables {
  const Quorin::StatsTable& sfn;
  const Quorin::StatsTable& sf;
};

bool appendTest3Stats3(const RecordKeysList& queryKeys, const Tables& tables, RecordList& records) {
  const char* const text = "Get for RECORD_TEST3STATS3, query keys ";
  return forEachKey<RecordTest3Stats3>(queryKeys, text, [&](const auto& keys) {
    const std::uint16_t sfn = keys.sfn.value, sf = keys.sf.value;
    appendRows<RecordTest3Stats3>(records, {{sfn, sf, tables.sfn[sfn][sf], tables.sf[sfn][sf]}});
  });
}

ValuesOf<RecordTest3Stats9> test3Stats9Row(std::uint32_t key1, std::uint16_t sfn, std::uint16_t sf,
                                           const Tables& tables) {
  return {key1, sfn, sf, tables.sfn[sfn][sf], tables.sf[sfn][sf]};
}

// `count` rows from (sfn, sf) on, through all positions and around.
void walkTest3Stats9(std::uint32_t key1, std::uint16_t sfn, std::uint16_t sf, std::uint16_t count,
                     const Tables& tables, RecordList& records) {
  RecordTest3Stats9* const rows = appendNew<RecordTest3Stats9>(records, count);
  for (std::uint16_t i = 0; i < count; ++i) {
    test3Stats9Row(key1, sfn, sf, tables).storeIn(rows[i]);
    if (++sf < sfCount) continue;
    sf = 0;
    if (++sfn >= sfnCount) sfn = 0;
  }
}

// Without a query key a walk from the first position, with one a walk from there, with more a row
// each.
bool appendTest3Stats9(const RecordKeysList& queryKeys, std::uint16_t batchSize,
                       const Tables& tables, RecordList& records) {
  if (queryKeys.empty()) walkTest3Stats9(0, 0, 0, batchSize, tables, records);
  const char* const text = "Get for RECORD_TEST3STATS9, query keys ";
  return forEachKey<RecordTest3Stats9>(queryKeys, text, [&](const auto& keys) {
    const std::uint32_t key1 = keys.key1.value;
    const std::uint16_t sfn = keys.sfn.value, sf = keys.sf.value;
    if (queryKeys.size() == 1) return walkTest3Stats9(key1, sfn, sf, batchSize, tables, records);
    appendRows<RecordTest3Stats9>(records, {test3Stats9Row(key1, sfn, sf, tables)});
  });
}

}  // namespace

MgmtResult Quorin::getCallback(unsigned int recordId, const RecordKeysList& queryKeys,
                               unsigned short batchSize, bool clearOnRead, RecordList& records,
                               ErrorString& errorString) {
  writeRecordLine("get", recordId);
  logLine(ZEL_LOG_TRACE, "Quorin::getCallback",
          " recordId=", LogStream::Hex16{static_cast<std::uint16_t>(recordId)},
          " batchSize=", batchSize, " clearOnRead=", clearOnRead);
  if (!quiet) consoleLine("get ", LogStream::Hex32{recordId});
  if (!groupRegistered(recordId)) return refuseGroup(recordId, errorString);
  if (!appendRecords(recordId, queryKeys, batchSize, clearOnRead, records)) {
    return refuseQueryKey(recordId, errorString);
  }
  return answer(errorString);
}

bool Quorin::appendRecords(unsigned int recordId, const RecordKeysList& queryKeys,
                           unsigned short batchSize, bool clearOnRead, RecordList& records) {
  switch (recordId) {
    case RECORD_TEST2STATS1_ID:
      advance(test2Stats1Counter);
      appendRows<RecordTest2Stats1>(records, {{0, test2Stats1Counter}});
      return true;
    case RECORD_TEST3STATS1_ID:
      appendRows<RecordTest3Stats1>(records, {{0, 1}, {2, 3}, {4, 5}});
      return true;
    case RECORD_TEST3ACTION1_ID:
      appendRows<RecordTest3Action1>(records, {{test3Action1.testRun}});
      return true;
    case RECORD_TEST3STATS2_ID:
      return appendKeyPairRows<RecordTest3Stats2>(
          queryKeys, "Get for RECORD_TEST3STATS2, query keys ", records);
    case RECORD_TEST3STATS3_ID:
      if (!sfnTable) initStatsTables();
      return appendTest3Stats3(queryKeys, {sfnTable, sfTable}, records);
    case RECORD_TEST3STATS9_ID:
      if (!sfnTable) initStatsTables();
      return appendTest3Stats9(queryKeys, batchSize, {sfnTable, sfTable}, records);
    case RECORD_TEST3STATS4_ID:
      appendTest3Stats4(test3Stats4Counter, clearOnRead, quiet, records);
      return true;
    case RECORD_TEST3PROV3_ID:
      appendRows<RecordTest3Prov3>(records, {{1, 2, RecordTest3Prov3::TEST_OFF, 3, 4, 3}});
      return true;
    case RECORD_TEST3PROV4_ID:
      appendRows<RecordTest3Prov4>(records, {{2, 22, 33}});
      return true;
    case RECORD_TEST3STATS5_ID:
      appendRows<RecordTest3Stats5>(records, {{0, 1, 3}, {10, 2, 0}, {20, 5, 1}, {30, 4, 2}});
      return true;
    case RECORD_TEST3STATS6_ID:
      appendRows<RecordTest3Stats6>(records, {{0, 1, 2, 5, 1}, {2, 3, 4, 3, 3}, {1, 5, 6, 4, 0}});
      return true;
    case RECORD_TEST3STATS7_ID:
      return appendKeyPairRows<RecordTest3Stats7>(
          queryKeys, "Get for RECORD_TEST3STATS7, query keys ", records);
    case RECORD_TEST3STATS8_ID:
      return forEachKey<RecordTest3Stats8>(
          queryKeys, "Get for RECORD_TEST3STATS8, query keys ",
          [&](const auto& keys) { expandTest3Stats8(keys, records); });
    case RECORD_TEST3ACTION2_ID:
      appendRows<RecordTest3Action2>(records, {{test3Action2Ptr->testRun}});
      return true;
    default:
      return true;
  }
}

void Quorin::initStatsTables() {
  const auto allocate = [] {
    auto table = std::make_unique<std::unique_ptr<std::uint32_t[]>[]>(sfnCount);
    for (std::uint32_t sfn = 0; sfn < sfnCount; ++sfn) {
      table[sfn] = std::make_unique<std::uint32_t[]>(sfCount);
    }
    return table;
  };
  StatsTable sfns = allocate(), sfs = allocate();
  for (std::uint32_t sfn = 0; sfn < sfnCount; ++sfn) {
    for (std::uint32_t sf = 0; sf < sfCount; ++sf) {
      sfns[sfn][sf] = sfn;
      sfs[sfn][sf] = sf;
    }
  }
  // Both or none: memory may run out on the way, and the next get looks at the first only.
  sfTable = std::move(sfs);
  sfnTable = std::move(sfns);
}
