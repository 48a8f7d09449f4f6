// oamctl get and get-keys.
#include <unistd.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/program_options/parsers.hpp>
#include <iostream>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

void refuseKeys(const RecordType& type) {
  if (type.name.empty()) {
    throw UsageError{"the catalogue does not have " + hexId(type.id) + ", so its keys are unknown"};
  }
  throw UsageError{title(type) + " has no keys"};
}

/// What get and get-keys have in common.
json::object queryParameters(const Invocation& invocation, const RecordType& type,
                             const std::vector<std::vector<Assignment>>& sets) {
  if (!sets.empty() && !type.encodeKeys) refuseKeys(type);
  json::object parameters{{"recordId", hexId(type.id)}};
  const bool wildcardAllowed = invocation.has("wildcard") || hasWildcard(sets);
  json::array blocks;
  for (const auto& set : sets) blocks.emplace_back(type.encodeKeys(set, wildcardAllowed));
  if (!blocks.empty()) parameters["queryKeys"] = std::move(blocks);
  if (wildcardAllowed) parameters["wildcardAllowed"] = true;
  if (invocation.has("batch-size")) {
    parameters["batchSize"] = invocation.number("batch-size", 0xFFFF);
  }
  return parameters;
}

/// "key1=3,key2=5" as a key block.
std::string keyBlock(const RecordType& type, std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  if (!type.encodeKeys) refuseKeys(type);
  const auto sets = keySets(boost::program_options::split_unix(text), 0);
  if (sets.size() != 1) throw UsageError{"--after takes one key set"};
  return type.encodeKeys(sets.front(), false);
}

json::object keysParameters(const Invocation& invocation, const RecordType& type) {
  const auto sets = keySets(invocation.words, 1);
  if (sets.size() > 1) {
    throw UsageError{"get-keys takes one key set, and " + sets[1].front().name + " is there twice"};
  }
  json::object parameters = queryParameters(invocation, type, sets);
  if (!sets.empty()) parameters["queryKeys"] = parameters["queryKeys"].as_array().front();
  if (invocation.has("after")) {
    parameters["lastSentKeys"] = keyBlock(type, invocation.text("after"));
  }
  return parameters;
}

/// Rows that do not read are shown as they came, but the reply makes no sense.
void refuseUnread(const json::array& rows) {
  for (const json::value& row : rows) {
    if (!row.is_object()) nonsense("a block is not a string");
    const json::value* problem = row.get_object().if_contains("problem");
    if (problem != nullptr) nonsense("a block does not read: " + valueText(*problem));
  }
}

/// Asks for page after page; `answer` has what has come.
class KeyWalk {
 public:
  KeyWalk(const Invocation& invocation, const RecordType& type, Answer& answer)
      : type_(type), client_(invocation.client()), answer_(answer) {
    parameters_ = keysParameters(invocation, type);
    answer_.json["keys"] = json::array();
    answer_.json["pages"] = 0;
  }

  /// Asks for the next page; false where there cannot be one after it.
  bool nextPage(bool keepsGoing) {
    const json::object reply = client_.call("getKeys", parameters_);
    const std::int64_t result = integerMember(reply, "result");
    json::object shown = decodedReply(parameters_, reply);
    const json::array blocks = arrayMember(reply, "keys");
    if (!blocks.empty() && !type_.name.empty() && !type_.decodeKeys) {
      nonsense("it holds keys of a record without any");
    }
    const json::array page = std::move(shown["keys"].as_array());
    shown.erase("keys");
    if (firstBad_.empty() && result != 0) firstBad_ = reply;
    inLastPage_ = page.size();
    merge(answer_, shown);
    json::array& rows = answer_.json["keys"].as_array();
    rows.insert(rows.end(), page.begin(), page.end());
    answer_.json["pages"] = ++pages_;
    summarize(reply);
    refuseUnread(page);
    if (rows.size() > mostKeys) nonsense("the key sets do not end");
    if (page.empty() || boolMember(reply, "lastBatch")) return false;
    parameters_["lastSentKeys"] = blocks.back();
    return result == 0 || keepsGoing;
  }

  /// The first that is not Success decides.
  int status() const { return firstBad_.empty() ? exitSuccess : exitOtherResult; }
  std::size_t count() const { return answer_.json.at("keys").as_array().size(); }

  void print(bool all) {
    if (reply_.empty()) return;
    const bool last = boolMember(reply_, "lastBatch");
    answer_.line(title(type_) + ": " + resultText(firstBad_.empty() ? reply_ : firstBad_) + ", " +
                 counted(count(), "key set") + (all ? " in " + counted(pages_, "page") : "") +
                 (last               ? ", the last"
                  : inLastPage_ != 0 ? ", more to come"
                                     : ""));
    answer_.errorString(firstBad_.empty() ? reply_ : firstBad_);
    answer_.rows(answer_.json["keys"].as_array());
  }

 private:
  static constexpr std::size_t mostKeys = 5'000'000;

  void summarize(const json::object& reply) {
    // All that is printed later, so that nothing is when it makes no sense.
    resultText(reply);
    textMember(reply, "errorString");
    boolMember(reply, "lastBatch");
    reply_ = reply;
    reply_.erase("keys");
  }

  const RecordType& type_;
  Client& client_;
  Answer& answer_;
  json::object parameters_, reply_, firstBad_;
  std::size_t pages_ = 0, inLastPage_ = 0;
};

}  // namespace

int get(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  json::object parameters = queryParameters(invocation, type, keySets(invocation.words, 1));
  if (invocation.has("clear-on-read")) parameters["clearOnRead"] = true;
  const json::object reply = invocation.client().call("get", parameters);
  const std::size_t count = arrayMember(reply, "records").size();
  const std::string summary =
      title(type) + ": " + resultText(reply) + ", " + counted(count, "record");
  textMember(reply, "errorString");
  const json::object shown = decodedReply(parameters, reply);
  aboutRecord(answer, type);
  merge(answer, shown);
  const json::array& rows = shown.at("records").as_array();
  refuseUnread(rows);
  answer.line(summary);
  answer.errorString(reply);
  answer.rows(rows);
  explainRefusal(invocation, type, reply, answer);
  return exitStatusOf(integerMember(reply, "result"));
}

int getKeys(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  const bool all = invocation.has("all"), keepsGoing = invocation.has("keep-going");
  if (keepsGoing && !all) throw UsageError{"--keep-going goes with --all"};
  const bool showsProgress = all && ::isatty(STDERR_FILENO) != 0;
  aboutRecord(answer, type);
  KeyWalk walk(invocation, type, answer);
  try {
    while (walk.nextPage(keepsGoing) && all) {
      if (showsProgress) std::cerr << '\r' << counted(walk.count(), "key set") << std::flush;
    }
  } catch (const Failure&) {
    if (showsProgress) std::cerr << "\r\033[K";
    walk.print(all);
    throw;
  }
  if (showsProgress) std::cerr << "\r\033[K";
  walk.print(all);
  explainRefusal(invocation, type, answer.json, answer);
  return walk.status();
}

}  // namespace tools
