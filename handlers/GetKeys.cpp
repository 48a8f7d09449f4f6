// Get-keys requests: a walk through the key space of a record, page by page. The position of a walk
// travels in the last sent key set; nothing is kept here.
#include "app/Quorin.h"
#include "catalogue/StatisticsRecords.h"
#include "handlers/Answers.h"
#include "handlers/QueryKeys.h"

using namespace Zel;
using namespace handlers;

namespace {

/// The keys of Test3-Stats2 run from 1 to this.
constexpr std::uint32_t lastLargeTableKey = 100;

/// One get-keys request, and where its answer goes.
struct KeyRequest {
  std::uint16_t batchSize;
  bool firstRequest;
  const RecordKeysWrapper& queryKeys;
  const RecordKeysWrapper& lastSentKeys;
  RecordKeysList& keys;
  bool& lastBatch;
};

template <class Keys>
void appendKeys(std::uint32_t key1, std::uint32_t key2, RecordKeysList& list) {
  auto keys = boost::make_shared<Keys>(false);
  keys->key1.value = key1;
  keys->key2.value = key2;
  list.push_back(std::move(keys));
}

// Each wildcard key counts on from (`key1`, `key2`), at most to `bound`.
template <class Keys>
void walk(const Keys& query, std::uint32_t key1, std::uint32_t key2, std::uint32_t bound,
          const KeyRequest& request) {
  // A batch without a size is the whole key space, so it is the last.
  const std::uint32_t limit = request.batchSize == 0 ? bound : request.batchSize;
  request.lastBatch = request.batchSize == 0;
  for (std::uint32_t produced = 0; produced < limit; ++produced) {
    if (!query.hasWildcard()) {
      appendKeys<Keys>(query.key1.value, query.key2.value, request.keys);
      request.lastBatch = true;
      return;
    }
    key1 = query.key1.wildcard != 0 ? key1 + 1 : query.key1.value;
    key2 = query.key2.wildcard != 0 ? key2 + 1 : query.key2.value;
    appendKeys<Keys>(key1, key2, request.keys);
    if (key1 >= bound || key2 >= bound) {
      request.lastBatch = true;
      return;
    }
  }
}

// False, with nothing done, when a key set that is needed is missing or of another class.
template <class R>
bool answerKeys(const char* queryText, const char* lastSentText, std::uint32_t bound,
                const KeyRequest& request) {
  using Keys = typename R::Keys;
  const auto* query = dynamic_cast<const Keys*>(request.queryKeys.keys.get());
  const auto* lastSent =
      request.firstRequest ? nullptr : dynamic_cast<const Keys*>(request.lastSentKeys.keys.get());
  if (query == nullptr || (!request.firstRequest && lastSent == nullptr)) return false;
  logKeys(ZEL_LOG_TRACE, queryText, *query);
  if (request.firstRequest) {
    walk(*query, 0, 0, bound, request);
  } else {
    logKeys(ZEL_LOG_TRACE, lastSentText, *lastSent);
    walk(*query, lastSent->key1.value, lastSent->key2.value, bound, request);
  }
  return true;
}

bool answerKeys(unsigned int recordId, const KeyRequest& request) {
  switch (recordId) {
    case RECORD_TEST3STATS2_ID:
      return answerKeys<RecordTest3Stats2>("Get Keys for RECORD_TEST3STATS2, query keys ",
                                           "Get Keys for RECORD_TEST3STATS2, last sent keys ",
                                           lastLargeTableKey, request);
    case RECORD_TEST3STATS7_ID:
      return answerKeys<RecordTest3Stats7>("Get Keys for RECORD_TEST3STATS7, query keys ",
                                           "Get Keys for RECORD_TEST3STATS7, last sent keys ",
                                           lastSmallTableKey, request);
    case RECORD_TEST3STATS8_ID:
      return answerKeys<RecordTest3Stats8>("Get Keys for RECORD_TEST3STATS8, query keys ",
                                           "Get Keys for RECORD_TEST3STATS8, last sent keys ",
                                           lastSmallTableKey, request);
    default:
      return true;
  }
}

}  // namespace

MgmtResult Quorin::getKeysCallback(unsigned int recordId, unsigned short batchSize,
                                   bool firstRequest, const RecordKeysWrapper& queryKeys,
                                   const RecordKeysWrapper& lastSentKeys, RecordKeysList& keys,
                                   ErrorString& errorString, bool& lastBatch) {
  logLine(ZEL_LOG_TRACE, "Quorin::getKeysCallback", " recordId=", LogStream::Hex32{recordId},
          " batchSize=", batchSize, " firstRequest=", firstRequest);
  if (!quiet) consoleLine("get keys ", LogStream::Hex32{recordId});
  if (!groupRegistered(recordId)) return refuseGroup(recordId, errorString);
  const KeyRequest request{batchSize, firstRequest, queryKeys, lastSentKeys, keys, lastBatch};
  if (!answerKeys(recordId, request)) return refuseQueryKey(recordId, errorString);
  return answer(errorString);
}
