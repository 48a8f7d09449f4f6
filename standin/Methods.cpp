// The management requests of the socket. Parameters are read on the main thread; blocks are
// decoded, and the daemon is called, on the callback thread.
#include <utility>

#include "records/Block.h"
#include "records/BoundedCopy.h"
#include "records/Factories.h"
#include "records/RecordKeys.h"
#include "standin/OamService.h"
#include "standin/Replies.h"

namespace standin {
namespace {

/// What the API answers itself, without a call of the daemon.
struct Refusal {
  Zel::MgmtResult result;
  std::string why;
};

Refusal missingCallback(const char* method) {
  return {Zel::MGMT_MISSING_CALLBACK,
          std::string("the daemon has registered no callback for ") + method};
}

std::string hexId(std::uint32_t id) { return "0x" + Zel::hexText(id); }

/// Reads one key block of the record; throws a Refusal when it is none.
boost::shared_ptr<Zel::RecordKeys> readKeys(std::uint32_t recordId, bool wildcardAllowed,
                                            Block block) {
  const auto& creators = Zel::RecordFactory::keysFuncMap();
  const auto create = creators.find(recordId);
  if (create == creators.end()) {
    throw Refusal{Zel::MGMT_BAD_KEY_VALUE,
                  "record " + hexId(recordId) + " has no key class, and key blocks were given"};
  }
  boost::shared_ptr<Zel::RecordKeys> keys = create->second(wildcardAllowed);
  Zel::SerialStream stream = Zel::blockReader(block);
  keys->deserialize(stream);
  if (!keys->valid) {
    throw Refusal{Zel::MGMT_BAD_KEY_VALUE, std::string("a key block of ") + keys->recordName() +
                                               " (" + hexId(recordId) +
                                               ") does not read as a valid key set"};
  }
  return keys;
}

/// Reads a record block; throws a Refusal when it is none.
boost::shared_ptr<Zel::Record> readRecord(Block block) {
  std::uint32_t recordId = 0;
  Zel::SerialStream stream = Zel::blockReader(block);
  if (!(stream >> recordId).good) {
    throw Refusal{Zel::MGMT_BAD_VALUE, "the record block is too short to hold a record id"};
  }
  const auto& creators = Zel::RecordFactory::funcMap();
  const auto create = creators.find(recordId);
  if (create == creators.end()) {
    throw Refusal{Zel::MGMT_INVALID_RECORD_ID,
                  "there is no record class for the id " + hexId(recordId)};
  }
  boost::shared_ptr<Zel::Record> record = create->second();
  stream.readPos = 0;
  record->deserialize(stream);
  if (!record->valid) {
    throw Refusal{Zel::MGMT_BAD_VALUE, std::string("the record block of ") + record->recordName() +
                                           " (" + hexId(recordId) +
                                           ") does not read as a valid record"};
  }
  return record;
}

/// Answers with what `call` returns, or what the API answers itself.
template <typename Call>
void answer(rpc::ObjectText& text, Call&& call) {
  Zel::ErrorString buffer;
  try {
    const Zel::MgmtResult result = call(buffer);
    addResult(text, result).add("errorString", buffer.c_str());
  } catch (const Refusal& refusal) {
    addResult(text, refusal.result).add("errorString", refusal.why);
  }
}

/// Adds a list of records or key sets, as blocks.
template <typename List>
rpc::ObjectText& addBlocks(rpc::ObjectText& text, std::string_view name, const List& list) {
  return text.addArray(name, list.size(),
                       [&](std::string& out, std::size_t i) { appendQuotedBlock(out, *list[i]); });
}

/// Answers a method whose callback returns nothing.
void answerFilled(rpc::ObjectText& text, bool filled) {
  addResult(text, filled ? Zel::MGMT_SUCCESS : Zel::MGMT_MISSING_CALLBACK);
}

}  // namespace

const std::map<std::string, OamService::Prepare, std::less<>>& OamService::methods() {
  static const std::map<std::string, Prepare, std::less<>> table = {
      {"get", &OamService::prepareGet},
      {"getKeys", &OamService::prepareGetKeys},
      {"set", &OamService::prepareSet},
      {"notify", &OamService::prepareNotify},
      {"clear", &OamService::prepareClear},
      {"initProvComplete", &OamService::prepareInitProvComplete},
      {"svcRegInd", &OamService::prepareSvcRegInd},
      {"svcRegResult", &OamService::prepareSvcRegResult},
      {"setIndResult", &OamService::prepareSetIndResult},
  };
  return table;
}

OamService::Work OamService::prepareGet(Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::vector<Block> keyBlocks = parameters.blocks("queryKeys");
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  const bool clearOnRead = parameters.flag("clearOnRead", false);
  return [=, this, keyBlocks = std::move(keyBlocks)](rpc::ObjectText& text) {
    Zel::RecordList records;
    const auto call = [&](Zel::ErrorString& errorString) {
      if (!slots_.get) throw missingCallback("get");
      Zel::RecordKeysList queryKeys;
      for (const Block& block : keyBlocks) {
        queryKeys.push_back(readKeys(recordId, wildcardAllowed, block));
      }
      return slots_.get(recordId, queryKeys, batchSize, clearOnRead, records, errorString);
    };
    answer(text, call);
    addBlocks(text, "records", records);
  };
}

OamService::Work OamService::prepareGetKeys(Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::optional<Block> queryBlock = parameters.optionalBlock("queryKeys");
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  std::optional<Block> lastSentBlock = parameters.optionalBlock("lastSentKeys");
  const bool firstRequest = parameters.flag("firstRequest", !lastSentBlock);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  return [=, this, queryBlock = std::move(queryBlock),
          lastSentBlock = std::move(lastSentBlock)](rpc::ObjectText& text) {
    Zel::RecordKeysList keys;
    bool lastBatch = false;
    const auto call = [&](Zel::ErrorString& errorString) {
      if (!slots_.getKeys) throw missingCallback("getKeys");
      Zel::RecordKeysWrapper query, lastSent;
      if (queryBlock) query.keys = readKeys(recordId, wildcardAllowed, *queryBlock);
      if (lastSentBlock) lastSent.keys = readKeys(recordId, false, *lastSentBlock);
      return slots_.getKeys(recordId, batchSize, firstRequest, query, lastSent, keys, errorString,
                            lastBatch);
    };
    answer(text, call);
    addBlocks(text, "keys", keys).add("lastBatch", lastBatch);
  };
}

OamService::Work OamService::prepareSet(Parameters& parameters) {
  Block block = parameters.block("record");
  const auto opType = static_cast<Zel::MgmtOpType>(parameters.number("opType"));
  const bool regDownloadFlag = parameters.flag("regDownloadFlag", false);
  const auto requested =
      static_cast<Zel::ApplyActionType>(parameters.number("applyAction", 0xFFFFFFFF, 0));
  const auto transactionId =
      static_cast<std::uint16_t>(parameters.number("transactionId", 0xFFFF, 0));
  const std::string givenErrorString = parameters.text("errorString", "");
  return [=, this, block = std::move(block)](rpc::ObjectText& text) {
    Zel::ApplyActionType applyAction = requested;
    const auto call = [&](Zel::ErrorString& errorString) {
      if (!slots_.set) throw missingCallback("set");
      const boost::shared_ptr<Zel::Record> record = readRecord(block);
      Zel::boundedCopy(errorString.data(), givenErrorString.c_str(), Zel::ErrorString::size());
      return slots_.set(record, opType, regDownloadFlag, applyAction, errorString, transactionId);
    };
    answer(text, call);
    text.add("applyAction", std::int64_t{applyAction});
  };
}

OamService::Work OamService::prepareNotify(Parameters& parameters) {
  Block block = parameters.block("record");
  const auto opType = static_cast<Zel::MgmtOpType>(parameters.number("opType"));
  const bool regDownloadFlag = parameters.flag("regDownloadFlag", false);
  const auto applyAction =
      static_cast<Zel::ApplyActionType>(parameters.number("applyAction", 0xFFFFFFFF, 0));
  return [=, this, block = std::move(block)](rpc::ObjectText& text) {
    const auto call = [&](Zel::ErrorString&) {
      if (!slots_.notify) throw missingCallback("notify");
      return slots_.notify(readRecord(block), opType, regDownloadFlag, applyAction);
    };
    answer(text, call);
  };
}

OamService::Work OamService::prepareClear(Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  return [=, this](rpc::ObjectText& text) {
    const auto call = [&](Zel::ErrorString& errorString) {
      if (!slots_.clear) throw missingCallback("clear");
      return slots_.clear(recordId, errorString);
    };
    answer(text, call);
  };
}

OamService::Work OamService::prepareInitProvComplete(Parameters&) {
  return [this](rpc::ObjectText& text) {
    if (slots_.initProvComplete) slots_.initProvComplete();
    answerFilled(text, bool(slots_.initProvComplete));
  };
}

OamService::Work OamService::prepareSvcRegInd(Parameters&) {
  return [this](rpc::ObjectText& text) {
    if (slots_.svcRegInd) slots_.svcRegInd();
    answerFilled(text, bool(slots_.svcRegInd));
  };
}

OamService::Work OamService::prepareSvcRegResult(Parameters& parameters) {
  const std::uint32_t kind = parameters.number("kind");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  std::vector<std::uint16_t> groups = parameters.groups("groups");
  return [=, this, groups = std::move(groups)](rpc::ObjectText& text) {
    if (slots_.svcRegResult) reportOutcome(kind, result, groups);
    answerFilled(text, bool(slots_.svcRegResult));
  };
}

OamService::Work OamService::prepareSetIndResult(Parameters& parameters) {
  const std::uint32_t setIndId = parameters.number("setIndId");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  return [=, this](rpc::ObjectText& text) {
    if (!slots_.setIndResult) return answerFilled(text, false);
    const boost::shared_ptr<Zel::Record> record = takeSetInd(setIndId);
    if (!record) {
      throw rpc::Error{rpc::badParameters, "setIndId " + std::to_string(setIndId) +
                                               " names no outstanding set indication"};
    }
    addResult(text, slots_.setIndResult(record, result));
  };
}

}  // namespace standin
