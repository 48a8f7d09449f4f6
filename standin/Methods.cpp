// The management requests of the socket. Parameters are read on the main thread; blocks are
// decoded, and the daemon is called, on the callback thread.
#include <utility>

#include "records/Block.h"
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

std::string hexId(std::uint32_t id) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", id);
  return text;
}

/// Reads one key block of the record; throws a Refusal when it is none.
boost::shared_ptr<Zel::RecordKeys> readKeys(std::uint32_t recordId, bool wildcardAllowed,
                                            Block block) {
  const auto& creators = Zel::RecordFactory::keysFuncMap();
  const auto create = creators.find(recordId);
  if (create == creators.end()) {
    throw Refusal{Zel::MGMT_BAD_KEY_VALUE,
                  "record " + hexId(recordId) + " has no key class, and key blocks were given"};
  }
  const boost::shared_ptr<Zel::RecordKeys> keys = create->second(wildcardAllowed);
  Zel::SerialStream stream = Zel::blockReader(block);
  keys->deserialize(stream);
  if (!keys->valid) {
    throw Refusal{Zel::MGMT_BAD_KEY_VALUE, std::string("a key block of ") + keys->recordName() +
                                               " (" + hexId(recordId) +
                                               ") does not read as a valid key set"};
  }
  return keys;
}

std::string errorStringOf(const Zel::ErrorString& errorString) { return errorString.c_str(); }

/// Finishes a work that answers `result`, `resultText`, `errorString` and what `more` adds, also
/// where the API refuses: then `more` finds its lists empty.
template <typename Call, typename More>
void answer(const Reply& reply, Call&& call, More&& more) {
  Zel::MgmtResult result;
  std::string errorString;
  try {
    Zel::ErrorString buffer;
    result = call(buffer);
    errorString = errorStringOf(buffer);
  } catch (const Refusal& refusal) {
    result = refusal.result;
    errorString = refusal.why;
  }
  rpc::ObjectText text = resultText(result);
  text.add("errorString", errorString);
  more(text);
  reply.result(text.take());
}

}  // namespace

const std::map<std::string, OamService::Prepare, std::less<>>& OamService::methods() {
  static const std::map<std::string, Prepare, std::less<>> table = {
      {"get", &OamService::prepareGet},
      {"svcRegInd", &OamService::prepareSvcRegInd},
      {"svcRegResult", &OamService::prepareSvcRegResult},
  };
  return table;
}

OamService::Work OamService::prepareGet(Parameters& parameters) {
  const std::uint32_t recordId = parameters.recordId("recordId");
  std::vector<Block> keyBlocks = parameters.blocks("queryKeys");
  const bool wildcardAllowed = parameters.flag("wildcardAllowed", false);
  const auto batchSize = static_cast<std::uint16_t>(parameters.number("batchSize", 0xFFFF, 0));
  const bool clearOnRead = parameters.flag("clearOnRead", false);
  return [=, this, keyBlocks = std::move(keyBlocks)](const Reply& reply) {
    Zel::RecordList records;
    const auto call = [&](Zel::ErrorString& errorString) {
      if (!slots_.get) throw missingCallback("get");
      Zel::RecordKeysList queryKeys;
      for (const Block& block : keyBlocks) {
        queryKeys.push_back(readKeys(recordId, wildcardAllowed, block));
      }
      return slots_.get(recordId, queryKeys, batchSize, clearOnRead, records, errorString);
    };
    answer(reply, call, [&](rpc::ObjectText& text) {
      text.addArray("records", records.size(),
                    [&](std::size_t i) { return quotedBlock(*records[i]); });
    });
  };
}

OamService::Work OamService::prepareSvcRegInd(Parameters&) {
  return [this](const Reply& reply) {
    if (slots_.svcRegInd) slots_.svcRegInd();
    const auto result = slots_.svcRegInd ? Zel::MGMT_SUCCESS : Zel::MGMT_MISSING_CALLBACK;
    reply.result(resultText(result).take());
  };
}

OamService::Work OamService::prepareSvcRegResult(Parameters& parameters) {
  const std::uint32_t kind = parameters.number("kind");
  const auto result = static_cast<Zel::MgmtResult>(parameters.result("result"));
  std::vector<std::uint16_t> groups = parameters.groups("groups");
  return [=, this, groups = std::move(groups)](const Reply& reply) {
    if (slots_.svcRegResult) reportOutcome(kind, result, groups);
    const auto answered = slots_.svcRegResult ? Zel::MGMT_SUCCESS : Zel::MGMT_MISSING_CALLBACK;
    reply.result(resultText(answered).take());
  };
}

}  // namespace standin
