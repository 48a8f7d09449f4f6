// oamctl get and get-keys.
#include <unistd.h>

#include <boost/json/array.hpp>
#include <iostream>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

json::object getParameters(const Invocation& invocation, const RecordType& type) {
  const auto sets = keySets(invocation.words, 1);
  if (!sets.empty() && !type.encodeKeys) throw UsageError{title(type) + " has no keys"};
  const bool wildcardAllowed = invocation.has("wildcard") || hasWildcard(sets);
  json::array blocks;
  for (const auto& set : sets) blocks.emplace_back(type.encodeKeys(set, wildcardAllowed));
  json::object parameters{{"recordId", hexId(type.id)}};
  if (!blocks.empty()) parameters["queryKeys"] = std::move(blocks);
  if (wildcardAllowed) parameters["wildcardAllowed"] = true;
  if (invocation.has("batch-size")) {
    parameters["batchSize"] = invocation.number("batch-size", 0xFFFF);
  }
  if (invocation.has("clear-on-read")) parameters["clearOnRead"] = true;
  return parameters;
}

/// Walks through the key space; the key sets of all pages so far are in `rows`.
class KeyWalk {
 public:
  KeyWalk(const Invocation& invocation, const RecordType& type)
      : type_(type), client_(invocation.connect()) {
    parameters_["recordId"] = hexId(type.id);
    const auto sets = keySets(invocation.words, 1);
    if (sets.size() > 1) throw UsageError{"get-keys takes one key set"};
    if (!sets.empty() && !type.encodeKeys) throw UsageError{title(type) + " has no keys"};
    if (!sets.empty()) {
      const bool wildcardAllowed = invocation.has("wildcard") || hasWildcard(sets);
      parameters_["queryKeys"] = type.encodeKeys(sets.front(), wildcardAllowed);
      parameters_["wildcardAllowed"] = wildcardAllowed;
    }
    if (invocation.has("batch-size")) {
      parameters_["batchSize"] = invocation.number("batch-size", 0xFFFF);
    }
  }

  /// Asks for the next page. Returns how many key sets it held.
  std::size_t nextPage() {
    if (!lastBlock_.empty()) parameters_["lastSentKeys"] = lastBlock_;
    reply = client_.call("getKeys", parameters_);
    ++pages;
    const json::array& page = arrayMember(reply, "keys");
    if (!page.empty() && !type_.decodeKeys) nonsense("it holds keys of a record without any");
    const auto decode = [this](Bytes block) { return type_.decodeKeys(std::move(block), false); };
    for (Decoded& row : decodeAll(page, decode)) rows.push_back(std::move(row));
    if (!page.empty()) lastBlock_ = page.back().as_string();
    return page.size();
  }

  bool ended() const {
    return boolMember(reply, "lastBatch") || integerMember(reply, "result") != 0;
  }

  json::object reply;
  std::vector<Decoded> rows;
  std::size_t pages = 0;

 private:
  const RecordType& type_;
  Client client_;
  json::object parameters_;
  std::string lastBlock_;
};

}  // namespace

int get(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX,
              "get RECORD [KEYS...] [--batch-size N] [--clear-on-read] [--wildcard]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  const json::object parameters = getParameters(invocation, type);
  json::object reply = invocation.connect().call("get", parameters);
  const std::vector<Decoded> rows = decodeAll(arrayMember(reply, "records"), type.decode);
  const std::string summary = title(type) + ": " + resultText(reply);
  if (invocation.json) {
    json::array decoded;
    for (const Decoded& row : rows) decoded.push_back(jsonOf(row.fields));
    reply["record"] = type.name;
    reply["recordId"] = hexId(type.id);
    reply["records"] = std::move(decoded);
    printJson(reply);
  } else {
    std::cout << summary << ", " << counted(rows.size(), "record") << '\n';
    printErrorString(reply);
    if (!rows.empty()) fieldTable(rows).print();
  }
  return exitStatusOf(integerMember(reply, "result"));
}

int getKeys(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX,
              "get-keys RECORD [KEYS...] [--batch-size N] [--all] [--wildcard]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  KeyWalk walk(invocation, type);
  const bool showsProgress = invocation.has("all") && ::isatty(STDERR_FILENO) != 0;
  std::size_t inPage = walk.nextPage();
  while (invocation.has("all") && !walk.ended()) {
    if (inPage == 0) nonsense("an empty page that is not the last");
    inPage = walk.nextPage();
    if (showsProgress) std::cerr << '\r' << counted(walk.rows.size(), "key set") << std::flush;
  }
  if (showsProgress) std::cerr << "\r\033[K";
  const json::object& reply = walk.reply;
  const std::string summary = title(type) + ": " + resultText(reply) + ", " +
                              counted(walk.rows.size(), "key set") +
                              (invocation.has("all") ? " in " + counted(walk.pages, "page") : "") +
                              (boolMember(reply, "lastBatch") ? ", the last"
                               : inPage != 0                  ? ", more to come"
                                                              : "");
  if (invocation.json) {
    json::array keys;
    for (const Decoded& row : walk.rows) keys.push_back(jsonOf(row.fields));
    json::object printed = reply;
    printed["record"] = type.name;
    printed["recordId"] = hexId(type.id);
    printed["keys"] = std::move(keys);
    printed["pages"] = walk.pages;
    printJson(printed);
  } else {
    std::cout << summary << '\n';
    printErrorString(reply);
    if (!walk.rows.empty()) fieldTable(walk.rows).print();
  }
  return exitStatusOf(integerMember(reply, "result"));
}

}  // namespace tools
