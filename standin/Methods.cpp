// The methods of the socket. Blocks are read, and the daemon is called, in the turn of the request.
#include <unistd.h>

#include <utility>

#include "records/Block.h"
#include "records/BoundedCopy.h"
#include "records/Factories.h"
#include "records/RecordKeys.h"
#include "standin/Environment.h"
#include "standin/Limits.h"
#include "standin/OamService.h"
#include "standin/Pauses.h"
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
                                            Block& block) {
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
boost::shared_ptr<Zel::Record> readRecord(Block& block) {
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

/// Adds a list of records or key sets, as blocks.
template <typename List>
ObjectText& addBlocks(ObjectText& members, std::string_view name, const List& list) {
  return members.addList(name, list.size(),
                         [&](std::size_t i) { appendQuotedBlock(members.text(), *list[i]); });
}

}  // namespace

/// Answers with what `callback(errorString)` returns, or with what the API answers itself where
/// `prepare()` throws a Refusal; `rest(members)` adds the further members of the result.
template <typename Prepare, typename Callback, typename Rest>
bool OamService::answer(Turn& turn, Count& count, Prepare&& prepare, Callback&& callback,
                        Rest&& rest) {
  Zel::MgmtResult result = Zel::MGMT_SUCCESS;
  Zel::ErrorString errorString;
  std::string why;
  try {
    prepare(errorString);
    if (!turn.mayCall) return false;
    ++count.requests;
    turn.take();
    call([&] { result = callback(errorString); });
  } catch (Refusal& refusal) {
    ++count.requests;
    result = refusal.result;
    why = std::move(refusal.why);
  }
  turn.result([&](std::string& out) {
    ObjectText members(out);
    addResult(members, result).add("errorString", why.empty() ? errorString.c_str() : why.c_str());
    rest(members);
    members.end();
  });
  return true;
}

/// Answers a method whose result is nothing but the outcome; `callback()` returns that.
template <typename Callback>
bool OamService::answerSlot(Turn& turn, Count& count, bool filled, Callback&& callback) {
  if (filled && !turn.mayCall) return false;
  ++count.requests;
  Zel::MgmtResult result = Zel::MGMT_MISSING_CALLBACK;
  if (filled) {
    turn.take();
    result = callback();
  }
  turn.result([&](std::string& out) {
    ObjectText members(out);
    addResult(members, result).end();
  });
  return true;
}

bool OamService::get(Turn& turn, Parameters& parameters, Count& count) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::vector<Block> blocks = parameters.blocks("queryKeys", maxKeyBlocks);
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  const bool clearOnRead = parameters.flag("clearOnRead", false);
  parameters.finish();
  Zel::RecordKeysList queryKeys;
  Zel::RecordList records;
  return answer(
      turn, count,
      [&](Zel::ErrorString&) {
        if (!slots_.get) throw missingCallback("get");
        for (Block& block : blocks) {
          queryKeys.push_back(readKeys(recordId, wildcardAllowed, block));
        }
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.get(recordId, queryKeys, batchSize, clearOnRead, records, errorString);
      },
      [&](ObjectText& members) { addBlocks(members, "records", records); });
}

bool OamService::getKeys(Turn& turn, Parameters& parameters, Count& count) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::optional<Block> queryBlock = parameters.optionalBlock("queryKeys");
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  std::optional<Block> lastSentBlock = parameters.optionalBlock("lastSentKeys");
  const bool firstRequest = parameters.flag("firstRequest", !lastSentBlock);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  parameters.finish();
  Zel::RecordKeysWrapper query, lastSent;
  Zel::RecordKeysList keys;
  bool lastBatch = false;
  return answer(
      turn, count,
      [&](Zel::ErrorString&) {
        if (!slots_.getKeys) throw missingCallback("getKeys");
        if (queryBlock) query.keys = readKeys(recordId, wildcardAllowed, *queryBlock);
        if (lastSentBlock) lastSent.keys = readKeys(recordId, false, *lastSentBlock);
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.getKeys(recordId, batchSize, firstRequest, query, lastSent, keys, errorString,
                              lastBatch);
      },
      [&](ObjectText& members) { addBlocks(members, "keys", keys).add("lastBatch", lastBatch); });
}

bool OamService::set(Turn& turn, Parameters& parameters, Count& count) {
  Block block = parameters.block("record");
  const auto opType = static_cast<Zel::MgmtOpType>(parameters.number("opType"));
  const bool regDownloadFlag = parameters.flag("regDownloadFlag", false);
  auto applyAction =
      static_cast<Zel::ApplyActionType>(parameters.number("applyAction", 0xFFFFFFFF, 0));
  const auto transactionId =
      static_cast<std::uint16_t>(parameters.number("transactionId", 0xFFFF, 0));
  const std::string given = parameters.text("errorString", "");
  parameters.finish();
  boost::shared_ptr<Zel::Record> record;
  return answer(
      turn, count,
      [&](Zel::ErrorString& errorString) {
        if (!slots_.set) throw missingCallback("set");
        record = readRecord(block);
        Zel::boundedCopy(errorString.data(), given.c_str(), Zel::ErrorString::size());
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.set(record, opType, regDownloadFlag, applyAction, errorString, transactionId);
      },
      [&](ObjectText& members) { members.add("applyAction", std::int64_t{applyAction}); });
}

bool OamService::notify(Turn& turn, Parameters& parameters, Count& count) {
  Block block = parameters.block("record");
  const auto opType = static_cast<Zel::MgmtOpType>(parameters.number("opType"));
  const bool regDownloadFlag = parameters.flag("regDownloadFlag", false);
  const auto applyAction =
      static_cast<Zel::ApplyActionType>(parameters.number("applyAction", 0xFFFFFFFF, 0));
  parameters.finish();
  boost::shared_ptr<Zel::Record> record;
  return answer(
      turn, count,
      [&](Zel::ErrorString&) {
        if (!slots_.notify) throw missingCallback("notify");
        record = readRecord(block);
      },
      [&](Zel::ErrorString&) {
        return slots_.notify(record, opType, regDownloadFlag, applyAction);
      },
      [](ObjectText&) {});
}

bool OamService::clear(Turn& turn, Parameters& parameters, Count& count) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  parameters.finish();
  return answer(
      turn, count,
      [&](Zel::ErrorString&) {
        if (!slots_.clear) throw missingCallback("clear");
      },
      [&](Zel::ErrorString& errorString) { return slots_.clear(recordId, errorString); },
      [](ObjectText&) {});
}

bool OamService::initProvComplete(Turn& turn, Parameters& parameters, Count& count) {
  parameters.finish();
  return answerSlot(turn, count, bool(slots_.initProvComplete), [&] {
    call([&] { slots_.initProvComplete(); });
    return Zel::MGMT_SUCCESS;
  });
}

bool OamService::svcRegInd(Turn& turn, Parameters& parameters, Count& count) {
  parameters.finish();
  return answerSlot(turn, count, bool(slots_.svcRegInd), [&] {
    call([&] { slots_.svcRegInd(); });
    return Zel::MGMT_SUCCESS;
  });
}

bool OamService::svcRegResult(Turn& turn, Parameters& parameters, Count& count) {
  const std::uint32_t kind = parameters.number("kind");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  const std::vector<std::uint16_t> groups = parameters.groups("groups", maxGroups);
  parameters.finish();
  return answerSlot(turn, count, bool(slots_.svcRegResult), [&] {
    reportOutcome(kind, result, groups);
    return Zel::MGMT_SUCCESS;
  });
}

bool OamService::setIndResult(Turn& turn, Parameters& parameters, Count& count) {
  const std::uint32_t setIndId = parameters.number("setIndId");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  parameters.finish();
  const bool filled = bool(slots_.setIndResult);
  if (filled && !turn.mayCall) return false;
  const boost::shared_ptr<Zel::Record> record = filled ? takeSetInd(setIndId) : nullptr;
  if (filled && !record) {
    ++count.requests;
    throw rpc::Error{rpc::badParameters, "setIndId " + std::to_string(setIndId) +
                                             " is not an outstanding set indication"};
  }
  return answerSlot(turn, count, filled, [&] {
    Zel::MgmtResult outcome = Zel::MGMT_SUCCESS;
    call([&] { outcome = slots_.setIndResult(record, result); });
    return outcome;
  });
}

bool OamService::changeSubscription(Turn& turn, Parameters& parameters, Count& count, bool wanted) {
  parameters.finish();
  ++count.requests;
  turn.take();
  if (turn.connection() != nullptr) server_.subscribe(*turn.connection(), wanted);
  turn.result([&](std::string& out) {
    ObjectText(out).add("subscribed", wanted).add("connection", turn.number).end();
  });
  return true;
}

bool OamService::subscribe(Turn& turn, Parameters& parameters, Count& count) {
  return changeSubscription(turn, parameters, count, true);
}

bool OamService::unsubscribe(Turn& turn, Parameters& parameters, Count& count) {
  return changeSubscription(turn, parameters, count, false);
}

bool OamService::status(Turn& turn, Parameters& parameters, Count& count) {
  parameters.finish();
  ++count.requests;
  turn.result([&](std::string& out) {
    ObjectText members(out);
    writeStatus(members, turn);
    members.end();
  });
  return true;
}

void OamService::writeStatus(ObjectText& members, const Turn& turn) const {
  std::string& text = members.text();
  const auto addCounts = [&](ObjectText& counts, std::uint64_t Count::*which) {
    for (const auto& [name, method] : methods_) {
      if (method.count.*which != 0) counts.add(name, method.count.*which);
    }
  };
  const SocketServer::Counters& counters = server_.counters();
  const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::steady_clock::now() - startTime_);
  members.add("version", QUORIN_VERSION)
      .addList("commandLine", commandLine().size(),
               [&](std::size_t i) { appendQuoted(text, commandLine()[i]); })
      .add("connection", turn.number)
      .add("pid", ::getpid())
      .add("uptimeSeconds", uptime.count())
      .add("auto", environment().automatic)
      .add("clock", environment().manualClock ? "manual" : "real")
      .add("logLevel", zelLogLevelThreshold);
  members.addObject("slots", [&](ObjectText& slots) {
    slots.add("get", bool(slots_.get))
        .add("getKeys", bool(slots_.getKeys))
        .add("set", bool(slots_.set))
        .add("notify", bool(slots_.notify))
        .add("clear", bool(slots_.clear))
        .add("initProvComplete", bool(slots_.initProvComplete))
        .add("svcRegInd", bool(slots_.svcRegInd))
        .add("svcRegResult", bool(slots_.svcRegResult))
        .add("setIndResult", bool(slots_.setIndResult));
  });
  members.addObject("serviceRegistration", [&](ObjectText& registration) {
    auto group = confirmedGroups_.begin();
    registration
        .addList("groups", confirmedGroups_.size(),
                 [&](std::size_t) { appendGroup(text, *group++); })
        .add("lastIndication", lastIndication_);
  });
  const std::vector<Pauses::Pause> pauses = Pauses::instance().all();
  members.addList("pauses", pauses.size(), [&](std::size_t i) {
    const double left = std::chrono::duration<double>(pauses[i].left).count();
    ObjectText(text)
        .add("thread", pauses[i].ofCallback ? "callback" : "simulator")
        .addFrom("secondsLeft", [&] { text += std::to_string(left); })
        .end();
  });
  members.addObject("counters", [&](ObjectText& all) {
    all.addObject("requests", [&](ObjectText& counts) { addCounts(counts, &Count::requests); })
        .addObject("answered", [&](ObjectText& counts) { addCounts(counts, &Count::answered); })
        .addObject("notifications",
                   [&](ObjectText& counts) {
                     for (std::size_t i = 0; i < notificationCounts_.size(); ++i) {
                       if (notificationCounts_[i] == 0) continue;
                       counts.add(notificationNames[i], notificationCounts_[i]);
                     }
                   })
        .addObject("connections",
                   [&](ObjectText& connections) {
                     connections.add("made", counters.made)
                         .add("refused", counters.refused)
                         .add("cutOff", counters.cutOff);
                   })
        .add("dropped", counters.dropped);
  });
  members.addObject("limits", [](ObjectText& limits) {
    limits.add("lineBytes", maxLineBytes)
        .add("nesting", maxNesting)
        .add("objectMembers", maxMembers)
        .add("lineMembers", maxLineMembers)
        .add("batchRequests", maxBatch)
        .add("waitingBytes", maxWaitingBytes)
        .add("orphanBytes", maxOrphanBytes)
        .add("keyBlocks", maxKeyBlocks)
        .add("groups", maxGroups)
        .add("connections", maxConnections)
        .add("unsentReplyBytes", maxUnsentReplyBytes)
        .add("unsentBytes", maxUnsentBytes);
  });
}

}  // namespace standin
