// Gets of Test3-Stats3 and Test3-Stats9, whose values come from the lookup tables.
#include "app/Quorin.h"
#include "catalogue/StatisticsRecords.h"
#include "handlers/QueryKeys.h"
#include "handlers/Rows.h"

using namespace Zel;
using namespace handlers;

void Quorin::initStatsTables() {
  const auto allocate = [] {
    auto table = std::make_unique<StatsTable>();
    for (auto& row : *table) row = std::make_unique<StatsRow>();
    return table;
  };
  auto sfns = allocate(), sfs = allocate();
  for (std::uint32_t r = 0; r < sfnCount; ++r) {
    for (std::uint32_t c = 0; c < sfCount; ++c) {
      (*(*sfns)[r])[c] = r;
      (*(*sfs)[r])[c] = c;
    }
  }
  // Both or none: memory may run out on the way, and the next get looks at the first only.
  sfTable = std::move(sfs);
  sfnTable = std::move(sfns);
}

// Fills the positional fields of a row; `sfn` and `sf` lie inside the tables.
template <class R>
void Quorin::fillFromTables(R& row, std::uint16_t sfn, std::uint16_t sf) const {
  row.sfn = sfn;
  row.sf = sf;
  row.testField1 = (*(*sfnTable)[sfn])[sf];
  row.testField2 = (*(*sfTable)[sfn])[sf];
}

// Whether all query keys are of class `Keys` and lie inside the tables, which exist afterwards.
template <class Keys>
bool Quorin::readyForTables(const RecordKeysList& queryKeys) {
  if (!sfnTable) initStatsTables();
  return allAre<Keys>(queryKeys, [](const Keys& keys) {
    return keys.sfn.value < sfnCount && keys.sf.value < sfCount;
  });
}

bool Quorin::appendTest3Stats3(const RecordKeysList& queryKeys, RecordList& records) {
  using Keys = RecordTest3Stats3::Keys;
  if (!readyForTables<Keys>(queryKeys)) return false;
  for (const auto& entry : queryKeys) {
    const Keys& keys = keysAs<Keys>(entry);
    logKeys(ZEL_LOG_DETAIL, "Get for RECORD_TEST3STATS3, query keys ", keys);
    fillFromTables(appendNew<RecordTest3Stats3>(records), keys.sfn.value, keys.sf.value);
  }
  return true;
}

bool Quorin::appendTest3Stats9(const RecordKeysList& queryKeys, std::uint16_t batchSize,
                               RecordList& records) {
  using Keys = RecordTest3Stats9::Keys;
  if (!readyForTables<Keys>(queryKeys)) return false;
  for (const auto& entry : queryKeys) {
    logKeys(ZEL_LOG_DETAIL, "Get for RECORD_TEST3STATS9, query keys ", *entry);
  }
  if (queryKeys.empty()) {
    walkTest3Stats9(0, 0, 0, batchSize, records);
  } else if (queryKeys.size() == 1) {
    const Keys& start = keysAs<Keys>(queryKeys.front());
    walkTest3Stats9(start.key1.value, start.sfn.value, start.sf.value, batchSize, records);
  } else {
    for (const auto& entry : queryKeys) {
      const Keys& keys = keysAs<Keys>(entry);
      auto& row = appendNew<RecordTest3Stats9>(records);
      row.key1 = keys.key1.value;
      fillFromTables(row, keys.sfn.value, keys.sf.value);
    }
  }
  return true;
}

// `count` rows from (sfn, sf) on, through all positions and around.
void Quorin::walkTest3Stats9(std::uint32_t key1, std::uint16_t sfn, std::uint16_t sf,
                             std::uint16_t count, RecordList& records) const {
  RecordTest3Stats9* const rows = appendNew<RecordTest3Stats9>(records, count);
  for (std::uint16_t i = 0; i < count; ++i) {
    rows[i].key1 = key1;
    fillFromTables(rows[i], sfn, sf);
    if (++sf < sfCount) continue;
    sf = 0;
    if (++sfn >= sfnCount) sfn = 0;
  }
}
