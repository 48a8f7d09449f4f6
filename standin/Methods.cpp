// The methods of the socket. Blocks are read, and the daemon is called, in the turn of the request.
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "records/Block.h"
#include "records/BoundedCopy.h"
#include "records/Factories.h"
#include "records/RecordKeys.h"
#include "standin/Environment.h"
#include "standin/Limits.h"
#include "standin/LogCapture.h"
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

std::string because(const LogCapture& log) { return log.text().empty() ? "" : ": " + log.text(); }

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
  const LogCapture log;
  keys->deserialize(stream);
  if (!keys->valid) {
    throw Refusal{Zel::MGMT_BAD_KEY_VALUE, std::string("a key block of ") + keys->recordName() +
                                               " (" + hexId(recordId) +
                                               ") does not read as a valid key set" + because(log)};
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
  const LogCapture log;
  record->deserialize(stream);
  if (!record->valid) {
    throw Refusal{Zel::MGMT_BAD_VALUE, std::string("the record block of ") + record->recordName() +
                                           " (" + hexId(recordId) +
                                           ") does not read as a valid record" + because(log)};
  }
  return record;
}

/// Adds a list of records or key sets, as blocks.
template <typename List>
ObjectText& addBlocks(ObjectText& members, std::string_view name, const List& list,
                      Fault::Blocks how) {
  std::string& text = members.text();
  return members.addList(name, list.size(), [&](std::size_t i) {
    appendQuotedBlock(text, *list[i]);
    spoilBlock(text, text.size() - 1, how);
  });
}

/// What set and notify have in common.
struct Change {
  explicit Change(Parameters& parameters)
      : block(parameters.block("record")),
        opType(static_cast<Zel::MgmtOpType>(parameters.number("opType"))),
        regDownloadFlag(parameters.flag("regDownloadFlag", false)),
        applyAction(
            static_cast<Zel::ApplyActionType>(parameters.number("applyAction", 0xFFFFFFFF, 0))) {}

  /// The id in the block, where it has one.
  std::optional<std::uint32_t> recordId() {
    std::uint32_t recordId = 0;
    Zel::SerialStream stream = Zel::blockReader(block);
    return (stream >> recordId).good ? std::optional(recordId) : std::nullopt;
  }

  Block block;
  Zel::MgmtOpType opType;
  bool regDownloadFlag;
  Zel::ApplyActionType applyAction;
};

}  // namespace

/// Puts a reply into the journal and sends it, or does with it what the fault says.
template <typename Write>
void OamService::finish(Turn& turn, const Fault* fault, std::string_view member, Write&& write) {
  const JournalEntry& entry = entryOf(turn);
  const std::string_view outcome = member == "result" ? "reply" : member;
  if (turn.wantsReply() && fault == nullptr && !server_.someoneSeesRequests()) {
    return turn.reply(member, [&](std::string& out) {
      const std::size_t begin = out.size();
      write(out);
      put(entry, outcome, std::string_view(out).substr(begin));
    });
  }
  reply_.clear();
  write(reply_);
  put(entry, outcome, reply_);
  const auto reply = [&] { turn.reply(member, [&](std::string& out) { out += reply_; }); };
  Connection* const connection = turn.connection();
  if (fault == nullptr) {
    reply();
  } else if (turn.wantsReply()) {
    sendFaultily(*connection, *fault, reply);
  } else if (connection != nullptr && fault->action == Fault::Action::disconnect) {
    connection->endAfterThis();
  }
  if (reply_.capacity() > mebibyte) std::string().swap(reply_);
}

void OamService::fail(Turn& turn, const rpc::Error& error) {
  finish(turn, nullptr, "error", [&](std::string& out) { rpc::appendError(out, error); });
}

/// Answers with what `callback(errorString)` returns, or with what the API answers itself where
/// `prepare(errorString)` throws a Refusal, or a fault says so; `rest(members, how)` adds the
/// further members of the result, their blocks as a fault wants them.
template <typename Prepare, typename Callback, typename Rest>
Served OamService::answer(Turn& turn, Parameters& parameters, About about, Prepare&& prepare,
                          Callback&& callback, Rest&& rest) {
  parameters.finish();
  JournalEntry& entry = entryOf(turn);
  entry.recordId = about.recordId;
  Fault* const found = faults_.choose(false, entry.method, about.recordId);
  Zel::MgmtResult result = Zel::MGMT_SUCCESS;
  Zel::ErrorString errorString;
  std::string why;
  bool calls = false;
  if (found != nullptr && found->result) {
    result = static_cast<Zel::MgmtResult>(*found->result);
    why = found->errorString.value_or("");
  } else {
    try {
      prepare(errorString);
      calls = true;
    } catch (Refusal& refusal) {
      result = refusal.result;
      why = std::move(refusal.why);
    }
  }
  if (calls && !turn.mayCall) return Served::needsCallback;
  // It may be removed while the callback runs.
  std::optional<Fault> fault;
  if (found != nullptr) {
    fault = *found;
    ++found->hits;
    entry.faultId = fault->id;
  }
  turn.take();
  if (calls) call(entry, [&] { result = callback(errorString); });
  finish(turn, fault ? &*fault : nullptr, "result", [&](std::string& out) {
    ObjectText members(out);
    addResult(members, result);
    if (about.hasErrorString) members.add("errorString", calls ? errorString.c_str() : why.c_str());
    rest(members, fault ? fault->blocks : Fault::Blocks::whole);
    members.end();
  });
  return Served::done;
}

/// Answers a method whose result is nothing but the outcome; `callback()` returns that.
template <typename Callback>
Served OamService::answerSlot(Turn& turn, Parameters& parameters, About about, bool filled,
                              Callback&& callback) {
  about.hasErrorString = false;
  return answer(
      turn, parameters, about,
      [&](Zel::ErrorString&) {
        if (!filled) throw Refusal{Zel::MGMT_MISSING_CALLBACK, ""};
      },
      [&](Zel::ErrorString&) { return callback(); }, [](ObjectText&, Fault::Blocks) {});
}

Served OamService::get(Turn& turn, Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::vector<Block> blocks = parameters.blocks("queryKeys", maxKeyBlocks);
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  const bool clearOnRead = parameters.flag("clearOnRead", false);
  Zel::RecordKeysList queryKeys;
  Zel::RecordList records;
  return answer(
      turn, parameters, {recordId},
      [&](Zel::ErrorString&) {
        if (!slots_.get) throw missingCallback("get");
        for (Block& block : blocks) {
          queryKeys.push_back(readKeys(recordId, wildcardAllowed, block));
        }
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.get(recordId, queryKeys, batchSize, clearOnRead, records, errorString);
      },
      [&](ObjectText& members, Fault::Blocks how) { addBlocks(members, "records", records, how); });
}

Served OamService::getKeys(Turn& turn, Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::optional<Block> queryBlock = parameters.optionalBlock("queryKeys");
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  std::optional<Block> lastSentBlock = parameters.optionalBlock("lastSentKeys");
  const bool firstRequest = parameters.flag("firstRequest", !lastSentBlock);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  Zel::RecordKeysWrapper query, lastSent;
  Zel::RecordKeysList keys;
  bool lastBatch = false;
  return answer(
      turn, parameters, {recordId},
      [&](Zel::ErrorString&) {
        if (!slots_.getKeys) throw missingCallback("getKeys");
        if (queryBlock) query.keys = readKeys(recordId, wildcardAllowed, *queryBlock);
        if (lastSentBlock) lastSent.keys = readKeys(recordId, false, *lastSentBlock);
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.getKeys(recordId, batchSize, firstRequest, query, lastSent, keys, errorString,
                              lastBatch);
      },
      [&](ObjectText& members, Fault::Blocks how) {
        addBlocks(members, "keys", keys, how).add("lastBatch", lastBatch);
      });
}

Served OamService::set(Turn& turn, Parameters& parameters) {
  Change change(parameters);
  const auto transactionId =
      static_cast<std::uint16_t>(parameters.number("transactionId", 0xFFFF, 0));
  const std::string given = parameters.text("errorString", "");
  boost::shared_ptr<Zel::Record> record;
  return answer(
      turn, parameters, {change.recordId()},
      [&](Zel::ErrorString& errorString) {
        if (!slots_.set) throw missingCallback("set");
        record = readRecord(change.block);
        Zel::boundedCopy(errorString.data(), given.c_str(), Zel::ErrorString::size());
      },
      [&](Zel::ErrorString& errorString) {
        return slots_.set(record, change.opType, change.regDownloadFlag, change.applyAction,
                          errorString, transactionId);
      },
      [&](ObjectText& members, Fault::Blocks) {
        members.add("applyAction", std::int64_t{change.applyAction});
      });
}

Served OamService::notify(Turn& turn, Parameters& parameters) {
  Change change(parameters);
  boost::shared_ptr<Zel::Record> record;
  return answer(
      turn, parameters, {change.recordId()},
      [&](Zel::ErrorString&) {
        if (!slots_.notify) throw missingCallback("notify");
        record = readRecord(change.block);
      },
      [&](Zel::ErrorString&) {
        return slots_.notify(record, change.opType, change.regDownloadFlag, change.applyAction);
      },
      [](ObjectText&, Fault::Blocks) {});
}

Served OamService::clear(Turn& turn, Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  return answer(
      turn, parameters, {recordId},
      [&](Zel::ErrorString&) {
        if (!slots_.clear) throw missingCallback("clear");
      },
      [&](Zel::ErrorString& errorString) { return slots_.clear(recordId, errorString); },
      [](ObjectText&, Fault::Blocks) {});
}

Served OamService::initProvComplete(Turn& turn, Parameters& parameters) {
  return answerSlot(turn, parameters, {}, bool(slots_.initProvComplete), [&] {
    slots_.initProvComplete();
    return Zel::MGMT_SUCCESS;
  });
}

Served OamService::svcRegInd(Turn& turn, Parameters& parameters) {
  return answerSlot(turn, parameters, {}, bool(slots_.svcRegInd), [&] {
    slots_.svcRegInd();
    return Zel::MGMT_SUCCESS;
  });
}

Served OamService::svcRegResult(Turn& turn, Parameters& parameters) {
  const std::uint32_t kind = parameters.number("kind");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  const std::vector<std::uint16_t> groups = parameters.groups("groups", maxGroups);
  return answer(
      turn, parameters, {.hasErrorString = false},
      [&](Zel::ErrorString&) {
        if (!slots_.svcRegResult) throw Refusal{Zel::MGMT_MISSING_CALLBACK, ""};
        if (turn.mayCall) noteOutcome(kind, result, groups);
      },
      [&](Zel::ErrorString&) {
        slots_.svcRegResult(kind, result, groups);
        return Zel::MGMT_SUCCESS;
      },
      [](ObjectText&, Fault::Blocks) {});
}

Served OamService::setIndResult(Turn& turn, Parameters& parameters) {
  const std::uint32_t setIndId = parameters.number("setIndId");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  const bool filled = bool(slots_.setIndResult);
  boost::shared_ptr<Zel::Record> record = outstanding(setIndId);
  if (filled && !record) {
    throw rpc::Error{rpc::badParameters, "setIndId " + std::to_string(setIndId) +
                                             " is not an outstanding set indication"};
  }
  const About about{record ? std::optional(record->id) : std::nullopt};
  return answerSlot(turn, parameters, about, filled, [&] {
    // Taken here, not before: a fault leaves it outstanding.
    record = takeSetInd(setIndId);
    return slots_.setIndResult(record, result);
  });
}

Served OamService::changeSubscription(Turn& turn, Parameters& parameters, bool wanted) {
  const bool requests = wanted && parameters.flag("requests", false);
  parameters.finish();
  if (Connection* const connection = turn.connection(); connection != nullptr) {
    server_.subscribe(*connection, wanted, requests);
  }
  turn.result([&](std::string& out) {
    ObjectText(out)
        .add("subscribed", wanted)
        .add("requests", requests)
        .add("connection", turn.number)
        .end();
  });
  return Served::done;
}

Served OamService::subscribe(Turn& turn, Parameters& parameters) {
  return changeSubscription(turn, parameters, true);
}

Served OamService::unsubscribe(Turn& turn, Parameters& parameters) {
  return changeSubscription(turn, parameters, false);
}

Served OamService::status(Turn& turn, Parameters& parameters) {
  parameters.finish();
  turn.result([&](std::string& out) {
    ObjectText members(out);
    writeStatus(members, turn);
    members.end();
  });
  return Served::done;
}

Served OamService::journal(Turn& turn, Parameters& parameters) {
  Journal::Filter filter;
  if (parameters.has("after")) filter.after = parameters.longNumber("after");
  if (parameters.has("limit")) filter.limit = parameters.positive("limit", maxJournalPage);
  filter.method = parameters.text("method", "");
  if (parameters.has("recordId")) filter.recordId = parameters.recordId("recordId");
  if (parameters.has("method") && !isDaemonMethod(filter.method)) {
    throw rpc::Error{rpc::badParameters, "method must be a method of the daemon"};
  }
  parameters.finish();
  turn.result([&](std::string& out) {
    ObjectText(out)
        .addFrom("entries", [&] { journal_.write(out, filter); })
        .add("last", journal_.last())
        .add("dropped", journal_.dropped())
        .end();
  });
  return Served::done;
}

Served OamService::journalClear(Turn& turn, Parameters& parameters) {
  parameters.finish();
  const std::size_t cleared = journal_.clear();
  turn.result([&](std::string& out) { ObjectText(out).add("cleared", cleared).end(); });
  return Served::done;
}

Served OamService::faultAdd(Turn& turn, Parameters& parameters) {
  const std::uint64_t id = faults_.add(
      parameters, [this](std::string_view name) { return isDaemonMethod(name); },
      [](std::string_view name) {
        return std::find(notificationNames.begin(), notificationNames.end(), name) !=
               notificationNames.end();
      });
  turn.result([&](std::string& out) { ObjectText(out).add("faultId", id).end(); });
  return Served::done;
}

Served OamService::faultList(Turn& turn, Parameters& parameters) {
  parameters.finish();
  turn.result([&](std::string& out) {
    ObjectText(out).addFrom("faults", [&] { faults_.write(out); }).end();
  });
  return Served::done;
}

Served OamService::faultRemove(Turn& turn, Parameters& parameters) {
  std::optional<std::uint64_t> id;
  if (parameters.has("faultId")) id = parameters.longNumber("faultId");
  parameters.finish();
  const std::size_t removed = faults_.remove(id);
  turn.result([&](std::string& out) { ObjectText(out).add("removed", removed).end(); });
  return Served::done;
}

void OamService::writeStatus(ObjectText& members, const Turn& turn) const {
  std::string& text = members.text();
  const auto addCounts = [&](ObjectText& counts, std::uint64_t Count::*which) {
    for (const Method& method : methods_) {
      if (method.count.*which != 0) counts.add(method.name, method.count.*which);
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
        .add("journalEntries", maxJournalEntries)
        .add("journalBytes", maxJournalBytes)
        .add("journalPage", maxJournalPage)
        .add("faults", maxFaults)
        .add("connections", maxConnections)
        .add("unsentReplyBytes", maxUnsentReplyBytes)
        .add("unsentBytes", maxUnsentBytes);
  });
}

}  // namespace standin
