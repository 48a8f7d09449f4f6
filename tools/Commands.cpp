#include "tools/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>

#include "records/Block.h"
#include "records/MgmtEnums.h"
#include "tools/Output.h"
#include "tools/RecordTypes.h"

namespace json = boost::json;

namespace tools {
namespace {

using Words = std::vector<std::string>;

void expectWords(const Words& words, std::size_t min, std::size_t max, const char* synopsis) {
  if (words.size() < min || words.size() > max) {
    throw UsageError{std::string("usage: oamctl ") + synopsis};
  }
}

Assignment assignment(const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw UsageError{word + " is not of the form name=value"};
  }
  return {word.substr(0, equals), word.substr(equals + 1)};
}

std::vector<Assignment> assignments(const Words& words, std::size_t first) {
  std::vector<Assignment> result;
  for (std::size_t i = first; i < words.size(); ++i) result.push_back(assignment(words[i]));
  return result;
}

/// The key sets that the words name: where a name comes again, the next key set begins.
std::vector<std::vector<Assignment>> keySets(const Words& words, std::size_t first) {
  std::vector<std::vector<Assignment>> sets;
  for (Assignment& key : assignments(words, first)) {
    const auto isNamed = [&](const Assignment& other) { return other.name == key.name; };
    if (sets.empty() || std::any_of(sets.back().begin(), sets.back().end(), isNamed)) {
      sets.emplace_back();
    }
    sets.back().push_back(std::move(key));
  }
  return sets;
}

bool hasWildcard(const std::vector<std::vector<Assignment>>& sets) {
  for (const auto& set : sets) {
    for (const Assignment& key : set) {
      if (key.value == "*") return true;
    }
  }
  return false;
}

std::string title(const RecordType& type) { return type.name + " (" + hexId(type.id) + ")"; }

int exitStatusOf(std::int64_t result) { return result == 0 ? exitSuccess : exitOtherResult; }

/// "Success", or "Bad-Value (2)".
std::string resultText(const json::object& reply) {
  const std::int64_t result = integerMember(reply, "result");
  const std::string text = textMember(reply, "resultText");
  return result == 0 ? text : text + " (" + std::to_string(result) + ")";
}

void printErrorString(const json::object& reply) {
  const std::string errorString = textMember(reply, "errorString");
  if (!errorString.empty()) std::cout << "  error string: " << errorString << '\n';
}

Bytes bytesOf(const json::value& block) {
  if (!block.is_string()) nonsense("a block is no string");
  auto bytes = Zel::fromHex(block.get_string());
  if (!bytes) nonsense("a block is no hexadecimal text");
  return std::move(*bytes);
}

std::vector<Decoded> decodeAll(const json::array& blocks,
                               const std::function<Decoded(Bytes)>& decode) {
  std::vector<Decoded> decoded;
  for (const json::value& block : blocks) {
    decoded.push_back(decode(bytesOf(block)));
    if (!decoded.back().valid) nonsense("a block does not read: " + decoded.back().problem);
  }
  return decoded;
}

// Status -----------------------------------------------------------------------------------------

std::string joined(const json::array& values) {
  std::string text;
  for (const json::value& value : values) {
    if (!value.is_string()) nonsense("a group is no string");
    if (!text.empty()) text += ' ';
    text += value.get_string();
  }
  return text.empty() ? "none" : text;
}

std::string counts(const json::object& counters) {
  std::string text;
  for (const auto& [name, count] : counters) {
    if (!text.empty()) text += ", ";
    text += std::string(name) + " " + std::to_string(integerMember(counters, name));
  }
  return text.empty() ? "none" : text;
}

int status(const Invocation& invocation) {
  expectWords(invocation.words, 0, 0, "status");
  const json::object reply = invocation.connect().call("status", {});
  const json::object& slots = objectMember(reply, "slots");
  std::string filled, empty;
  for (const auto& [name, unused] : slots) {
    std::string& list = boolMember(slots, name) ? filled : empty;
    list += (list.empty() ? "" : " ") + std::string(name);
  }
  const json::object& registration = objectMember(reply, "serviceRegistration");
  const json::object& counters = objectMember(reply, "counters");
  const auto number = [&](const char* name) { return std::to_string(integerMember(reply, name)); };
  const std::string lines =
      "process        " + number("pid") + ", up " + number("uptimeSeconds") + " s\n" +
      "answers        " +
      (boolMember(reply, "auto") ? "registrations and set indications by itself\n"
                                 : "only what is asked for (KOR_OAM_AUTO=0)\n") +
      "groups         " + joined(arrayMember(registration, "groups")) +
      " (last indication: " + textMember(registration, "lastIndication") + ")\n" +
      "callbacks      " + (filled.empty() ? "none" : filled) +
      (empty.empty() ? "" : "\n  left out     " + empty) + "\n" + "requests       " +
      counts(objectMember(counters, "requests")) + "\n" + "notifications  " +
      counts(objectMember(counters, "notifications")) + "\n" + "connections    " +
      counts(objectMember(counters, "connections")) + "\n";
  if (invocation.json) {
    printJson(reply);
  } else {
    std::cout << lines;
  }
  return exitSuccess;
}

// Records ----------------------------------------------------------------------------------------

json::array jsonOf(const std::vector<FieldType>& fields) {
  json::array array;
  for (const FieldType& field : fields) {
    json::object object{{"name", field.name}, {"type", field.type}};
    if (!field.range.empty()) object["range"] = field.range;
    array.push_back(std::move(object));
  }
  return array;
}

json::object jsonOf(const RecordType& type) {
  return {{"name", type.name},
          {"id", hexId(type.id)},
          {"registered", type.registered},
          {"fields", jsonOf(type.fields)},
          {"keys", jsonOf(type.keys)}};
}

void printFields(const char* heading, const std::vector<FieldType>& fields) {
  if (fields.empty()) return;
  Table table({heading, "type", "range"});
  for (const FieldType& field : fields) table.add({field.name, field.type, field.range});
  table.print();
}

int records(const Invocation& invocation) {
  expectWords(invocation.words, 0, 1, "records [RECORD]");
  if (invocation.words.empty() && invocation.json) {
    json::array all;
    for (const RecordType& type : recordTypes()) all.push_back(jsonOf(type));
    printJson(all);
  } else if (invocation.words.empty()) {
    Table table({"record", "id", "keys", "made by the framework"});
    for (const RecordType& type : recordTypes()) {
      std::string keys;
      for (const FieldType& key : type.keys) keys += (keys.empty() ? "" : " ") + key.name;
      table.add(
          {type.name, hexId(type.id), keys.empty() ? "-" : keys, type.registered ? "yes" : "no"});
    }
    table.print();
  } else {
    const RecordType& type = recordTypeNamed(invocation.words.front());
    if (invocation.json) {
      printJson(jsonOf(type));
    } else {
      std::cout << title(type) << (type.registered ? "" : ", made only by the daemon itself")
                << '\n';
      printFields("field", type.fields);
      printFields("key", type.keys);
    }
  }
  return exitSuccess;
}

// Get --------------------------------------------------------------------------------------------

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
    parameters["batchSize"] = invocation.options["batch-size"].as<std::uint16_t>();
  }
  if (invocation.has("clear-on-read")) parameters["clearOnRead"] = true;
  return parameters;
}

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
    for (const Decoded& row : rows) decoded.push_back(tools::jsonOf(row.fields));
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

// Get-keys ---------------------------------------------------------------------------------------

/// Walks through the key space; adds each page to `rows` and `blocks`.
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
      parameters_["batchSize"] = invocation.options["batch-size"].as<std::uint16_t>();
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
  if (invocation.json) {
    json::array keys;
    for (const Decoded& row : walk.rows) keys.push_back(tools::jsonOf(row.fields));
    json::object printed = reply;
    printed["record"] = type.name;
    printed["recordId"] = hexId(type.id);
    printed["keys"] = std::move(keys);
    printed["pages"] = walk.pages;
    printJson(printed);
  } else {
    std::cout << title(type) << ": " << resultText(reply) << ", "
              << counted(walk.rows.size(), "key set")
              << (invocation.has("all") ? " in " + counted(walk.pages, "page") : "")
              << (boolMember(reply, "lastBatch") ? ", the last" : inPage != 0 ? ", more to come" : "") << '\n';
    printErrorString(reply);
    if (!walk.rows.empty()) fieldTable(walk.rows).print();
  }
  return exitStatusOf(integerMember(reply, "result"));
}

// Set, notify, clear -----------------------------------------------------------------------------

std::string lowerCase(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return text;
}

/// A number, or one of the texts that `textOf` gives for 0 to `last`, whatever the case.
std::int64_t numberOrText(const std::string& given, const char* what, std::int64_t min,
                          std::uint32_t last, const char* (*textOf)(std::uint32_t)) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), number);
  if (error == std::errc() && end == given.data() + given.size() && number >= min &&
      number <= 0xFFFFFFFF) {
    return number;
  }
  std::string names;
  for (std::uint32_t value = 0; value <= last; ++value) {
    const std::string name = lowerCase(textOf(value));
    if (name == lowerCase(given)) return value;
    if (name != "???") names += " " + name;
  }
  throw UsageError{std::string(what) + " is a number or one of:" + names};
}

std::int64_t opType(const Invocation& invocation) {
  if (!invocation.has("op")) return Zel::MGMT_OPTYPE_SET;
  return numberOrText(
      invocation.options["op"].as<std::string>(), "--op", 0, Zel::MGMT_OPTYPE_ACTION,
      [](std::uint32_t value) { return Zel::mgmtOpTypeText(static_cast<Zel::MgmtOpType>(value)); });
}

const char* applyActionName(std::uint32_t value) {
  return Zel::applyActionText(static_cast<Zel::ApplyActionType>(value));
}

std::int64_t managementResult(const std::string& given) {
  constexpr std::uint32_t last = 33;
  return numberOrText(
      given, "RESULT", std::numeric_limits<std::int32_t>::min(), last,
      [](std::uint32_t value) { return Zel::mgmtResultText(static_cast<Zel::MgmtResult>(value)); });
}

json::object changeParameters(const Invocation& invocation, const RecordType& type) {
  json::object parameters{{"record", type.encode(assignments(invocation.words, 1))},
                          {"opType", opType(invocation)}};
  if (invocation.has("reg-download")) parameters["regDownloadFlag"] = true;
  if (invocation.has("apply-action")) {
    parameters["applyAction"] =
        numberOrText(invocation.options["apply-action"].as<std::string>(), "--apply-action", 0,
                     Zel::APPLY_REBOOT_REQUIRED, applyActionName);
  }
  return parameters;
}

std::string applyActionOf(const json::object& object) {
  return applyActionName(static_cast<std::uint32_t>(integerMember(object, "applyAction")));
}

/// Waits for the deferred response to a transaction; a Failure when none comes.
json::object deferredResponse(Client& client, std::int64_t transactionId, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration_cast<Client::Duration>(
                                                          std::chrono::duration<double>(seconds));
  while (auto message = client.nextNotification(end - std::chrono::steady_clock::now())) {
    if (textMember(*message, "method") != "deferredSetRsp") continue;
    const json::object& response = objectMember(*message, "params");
    if (integerMember(response, "transactionId") == transactionId) return response;
  }
  throw Failure{exitTimedOut, "no deferred response to transaction " +
                                  std::to_string(transactionId) + " came in time"};
}

int set(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX, "set RECORD FIELDS... [options]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  json::object parameters = changeParameters(invocation, type);
  std::int64_t transactionId = 0;
  if (invocation.has("transaction")) {
    transactionId = invocation.options["transaction"].as<std::uint16_t>();
    parameters["transactionId"] = transactionId;
  }
  Client client = invocation.connect();
  const bool waits = invocation.has("wait-deferred");
  if (waits) client.call("subscribe", {});
  json::object reply = client.call("set", parameters);
  std::int64_t result = integerMember(reply, "result");
  const std::string summary =
      title(type) + ": " + resultText(reply) + ", apply action " + applyActionOf(reply);
  if (!invocation.json) {
    std::cout << summary << std::endl;
    printErrorString(reply);
  }
  if (waits && result == Zel::MGMT_RESPONSE_DEFERRED) {
    const json::object response =
        deferredResponse(client, transactionId, invocation.options["wait-deferred"].as<double>());
    result = integerMember(response, "result");
    reply["deferredSetRsp"] = response;
    if (!invocation.json) {
      std::cout << "deferred response to transaction " << transactionId << ": "
                << resultText(response) << ", apply action " << applyActionOf(response) << '\n';
      printErrorString(response);
    }
  }
  if (invocation.json) printJson(reply);
  return exitStatusOf(result);
}

/// Prints a reply that holds a result and perhaps an error string.
int printResult(const Invocation& invocation, const std::string& what, const json::object& reply) {
  if (invocation.json) {
    printJson(reply);
  } else {
    std::cout << what << ": " << resultText(reply) << '\n';
    if (reply.contains("errorString")) printErrorString(reply);
  }
  return exitStatusOf(integerMember(reply, "result"));
}

int notify(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX, "notify RECORD FIELDS... [options]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  const json::object parameters = changeParameters(invocation, type);
  return printResult(invocation, title(type), invocation.connect().call("notify", parameters));
}

int clear(const Invocation& invocation) {
  expectWords(invocation.words, 1, 1, "clear RECORD");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  return printResult(invocation, title(type),
                     invocation.connect().call("clear", {{"recordId", hexId(type.id)}}));
}

int initProvComplete(const Invocation& invocation) {
  expectWords(invocation.words, 0, 0, "init-prov-complete");
  return printResult(invocation, "initial provisioning complete",
                     invocation.connect().call("initProvComplete", {}));
}

// Service registration and set indications -------------------------------------------------------

std::int64_t number(const std::string& word, const char* what) {
  return numberOrText(word, what, 0, 0, [](std::uint32_t) { return "???"; });
}

int svcReg(const Invocation& invocation) {
  const Words& words = invocation.words;
  if (words.empty()) {
    return printResult(invocation, "service registration asked for",
                       invocation.connect().call("svcRegInd", {}));
  }
  if (words.front() != "result" || words.size() < 3) {
    throw UsageError{"usage: oamctl svc-reg [result KIND RESULT GROUPS...]"};
  }
  json::array groups;
  for (std::size_t i = 3; i < words.size(); ++i) {
    std::string rest = words[i];
    for (std::size_t colon; (colon = rest.find(':')) != std::string::npos;) {
      groups.emplace_back(rest.substr(0, colon));
      rest.erase(0, colon + 1);
    }
    if (!rest.empty()) groups.emplace_back(rest);
  }
  for (json::value& group : groups) {
    json::string& text = group.get_string();
    if (!text.starts_with("0x") && !text.starts_with("0X")) text.insert(0, "0x");
  }
  return printResult(
      invocation, "service registration outcome reported",
      invocation.connect().call("svcRegResult", {{"kind", number(words[1], "KIND")},
                                                 {"result", managementResult(words[2])},
                                                 {"groups", std::move(groups)}}));
}

int setIndResult(const Invocation& invocation) {
  expectWords(invocation.words, 2, 2, "set-ind-result ID RESULT");
  return printResult(invocation, "outcome of set indication " + invocation.words[0],
                     invocation.connect().call(
                         "setIndResult", {{"setIndId", number(invocation.words[0], "ID")},
                                          {"result", managementResult(invocation.words[1])}}));
}

// Monitor ----------------------------------------------------------------------------------------

std::string fieldsText(const std::vector<NamedValue>& fields) {
  std::string text;
  for (const NamedValue& field : fields) text += " " + field.name + "=" + textOf(field.value);
  return text;
}

/// What a block of a notification says: its name and its decoded fields.
struct Named {
  std::string name;
  std::vector<NamedValue> fields;
};

Named decodeNamed(const std::string& kind, const json::value& block) {
  const Bytes bytes = bytesOf(block);
  const auto id = idOf(bytes);
  if (!id) nonsense("a block is too short to hold an id");
  const RecordType* record = kind == "record" ? findRecordType(*id) : nullptr;
  const NotificationType* notification = findNotificationType(kind, *id);
  if (record == nullptr && notification == nullptr) return {hexId(*id), {}};
  const Decoded decoded = record != nullptr ? record->decode(bytes) : notification->decode(bytes);
  if (!decoded.valid) nonsense("a block does not read: " + decoded.problem);
  return {record != nullptr ? record->name : notification->name, decoded.fields};
}

/// A line for people.
std::string notificationText(const std::string& method, const json::object& params) {
  std::string text = method;
  for (const auto& [name, value] : params) {
    if (name == "record" || name == "event" || name == "alarm" || name == "recordUpdateEvent") {
      const Named named = decodeNamed(std::string(name), value);
      text += " " + named.name + fieldsText(named.fields);
    } else if (name == "applyAction") {
      text += " applyAction=" + applyActionOf(params);
    } else if (name == "opType") {
      text += std::string(" opType=") +
              Zel::mgmtOpTypeText(static_cast<Zel::MgmtOpType>(integerMember(params, "opType")));
    } else if (name == "groups") {
      text += " groups=" + joined(arrayMember(params, "groups"));
    } else if (value.is_string()) {
      if (!value.get_string().empty())
        text += " " + std::string(name) + "=" + value.as_string().c_str();
    } else {
      text += " " + std::string(name) + "=" + json::serialize(value);
    }
  }
  return text;
}

/// The notification with its blocks taken apart.
json::object notificationJson(const std::string& method, const json::object& params) {
  json::object printed{{"method", method}};
  for (const auto& [name, value] : params) {
    if (name == "record" || name == "event" || name == "alarm" || name == "recordUpdateEvent") {
      const Named named = decodeNamed(std::string(name), value);
      printed["name"] = named.name;
      printed["fields"] = tools::jsonOf(named.fields);
      printed["block"] = value;
    } else {
      printed[name] = value;
    }
  }
  return printed;
}

int monitor(const Invocation& invocation) {
  expectWords(invocation.words, 0, 0, "monitor [--count N] [--for S]");
  Client client = invocation.connect();
  client.call("subscribe", {});
  std::cerr << "oamctl: subscribed" << std::endl;
  constexpr double forever = 1e8;
  const std::chrono::duration<double> seconds(
      invocation.has("for") ? invocation.options["for"].as<double>() : forever);
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<Client::Duration>(seconds);
  std::uint64_t wanted = std::numeric_limits<std::uint64_t>::max();
  if (invocation.has("count")) wanted = invocation.options["count"].as<std::uint32_t>();
  for (std::uint64_t seen = 0; seen < wanted; ++seen) {
    const auto message = client.nextNotification(end - std::chrono::steady_clock::now());
    if (!message) {
      // With --count, the time is a limit; without, it is the plan.
      return invocation.has("count") ? exitTimedOut : exitSuccess;
    }
    const std::string method = textMember(*message, "method");
    const json::object& params = objectMember(*message, "params");
    if (invocation.json) {
      std::cout << json::serialize(notificationJson(method, params)) << std::endl;
    } else {
      std::cout << notificationText(method, params) << std::endl;
    }
  }
  return exitSuccess;
}

// Decode -----------------------------------------------------------------------------------------

/// One reading of a block.
struct Reading {
  std::string title;
  Decoded decoded;
};

/// All that a block may be, by its id: ids of records and of each kind of notification overlap.
std::vector<Reading> readingsOf(const Bytes& bytes) {
  const auto id = idOf(bytes);
  if (!id) throw UsageError{"BLOCK is too short to hold an id"};
  std::vector<Reading> readings;
  if (const RecordType* type = findRecordType(*id)) {
    readings.push_back({title(*type), type->decode(bytes)});
  }
  for (const NotificationType& type : notificationTypes()) {
    if (type.id != *id) continue;
    readings.push_back(
        {type.name + " (" + type.kind + " " + hexId(type.id) + ")", type.decode(bytes)});
  }
  if (readings.empty()) throw UsageError{"nothing has the id " + hexId(*id)};
  return readings;
}

/// The readings that fit best: valid and without bytes behind, else valid, else none.
std::vector<Reading> fitting(std::vector<Reading> readings, std::size_t bytes) {
  std::vector<Reading> valid, exact;
  for (Reading& reading : readings) {
    if (!reading.decoded.valid) continue;
    if (reading.decoded.bytesRead == bytes) exact.push_back(reading);
    valid.push_back(std::move(reading));
  }
  return exact.empty() ? valid : exact;
}

int decode(const Invocation& invocation) {
  expectWords(invocation.words, 1, 2, "decode BLOCK [RECORD] [--wildcard]");
  const auto bytes = Zel::fromHex(invocation.words.front());
  if (!bytes) throw UsageError{"BLOCK is an even number of hexadecimal digits"};
  std::vector<Reading> readings;
  if (invocation.words.size() == 2) {
    const RecordType& type = recordTypeNamed(invocation.words[1]);
    if (!type.decodeKeys) throw UsageError{title(type) + " has no keys"};
    readings.push_back(
        {"keys of " + title(type), type.decodeKeys(*bytes, invocation.has("wildcard"))});
  } else {
    readings = readingsOf(*bytes);
  }
  const std::vector<Reading> fits = fitting(readings, bytes->size());
  if (fits.empty()) {
    throw Failure{exitNonsense, "this block of " + readings.front().title +
                                    " does not read: " + readings.front().decoded.problem};
  }
  json::array printed;
  for (const auto& [title, decoded] : fits) {
    const std::size_t extra = bytes->size() - decoded.bytesRead;
    printed.push_back(
        {{"what", title}, {"fields", tools::jsonOf(decoded.fields)}, {"bytesBehind", extra}});
    if (invocation.json) continue;
    std::cout << title << '\n';
    fieldTable({decoded}).print();
    if (extra != 0) std::cout << "  and " << counted(extra, "byte") << " behind the last field\n";
  }
  if (invocation.json) printJson(printed);
  return exitSuccess;
}

}  // namespace

Client Invocation::connect() const {
  std::string path = "/run/quorin/oam.sock";
  if (const char* fromEnvironment = std::getenv("KOR_OAM_SOCKET")) path = fromEnvironment;
  if (has("socket")) path = options["socket"].as<std::string>();
  const std::chrono::duration<double> timeout(options["timeout"].as<double>());
  return Client(path, std::chrono::duration_cast<Client::Duration>(timeout));
}

const std::vector<Command>& commands() {
  static const std::vector<Command> all = {
      {"status", "status", "how the daemon is doing", {}, status},
      {"records", "records [RECORD]", "the catalogue, or the fields of one record", {}, records},
      {"get",
       "get RECORD [KEYS...] [--batch-size N] [--clear-on-read] [--wildcard]",
       "read a record; a key name that comes again begins the next key set",
       {"batch-size", "clear-on-read", "wildcard"},
       get},
      {"get-keys",
       "get-keys RECORD [KEYS...] [--batch-size N] [--all] [--wildcard]",
       "list key sets; --all walks through every page",
       {"batch-size", "all", "wildcard"},
       getKeys},
      {"set",
       "set RECORD FIELDS... [--op OP] [--transaction N] [--apply-action A] [--reg-download]\n"
       "      [--wait-deferred S]",
       "change a record, or run an action; fields that are left out are zero",
       {"op", "transaction", "apply-action", "reg-download", "wait-deferred"},
       set},
      {"notify",
       "notify RECORD FIELDS... [--op OP] [--apply-action A] [--reg-download]",
       "tell the daemon that a record has changed",
       {"op", "apply-action", "reg-download"},
       notify},
      {"clear", "clear RECORD", "reset what a record counts", {}, clear},
      {"init-prov-complete",
       "init-prov-complete",
       "tell the daemon that the initial provisioning is through",
       {},
       initProvComplete},
      {"svc-reg",
       "svc-reg [result KIND RESULT GROUPS...]",
       "ask for the service registration, or report an outcome of it",
       {},
       svcReg},
      {"set-ind-result",
       "set-ind-result ID RESULT",
       "report the outcome of a set indication",
       {},
       setIndResult},
      {"monitor",
       "monitor [--count N] [--for S]",
       "print events, alarms, set indications and the rest as they come",
       {"count", "for"},
       monitor},
      {"decode",
       "decode BLOCK [RECORD] [--wildcard]",
       "what a block says, or a key block of RECORD; needs no daemon",
       {"wildcard"},
       decode},
  };
  return all;
}

}  // namespace tools
