#include "tools/Commands.h"

#include <boost/json/array.hpp>
#include <cstdio>
#include <cstdlib>
#include <iostream>

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

// Decode -----------------------------------------------------------------------------------------

int decode(const Invocation& invocation) {
  expectWords(invocation.words, 1, 2, "decode BLOCK [RECORD]");
  auto bytes = Zel::fromHex(invocation.words.front());
  if (!bytes) throw UsageError{"BLOCK is an even number of hexadecimal digits"};
  const bool isKeyBlock = invocation.words.size() == 2;
  const RecordType* type = nullptr;
  if (isKeyBlock) {
    type = &recordTypeNamed(invocation.words[1]);
    if (!type->decodeKeys) throw UsageError{title(*type) + " has no keys"};
  } else {
    constexpr std::size_t idBytes = 4;
    if (bytes->size() < idBytes) throw UsageError{"BLOCK is too short to hold a record id"};
    std::uint32_t id = 0;
    for (std::size_t i = 0; i < idBytes; ++i) id = id << 8 | (*bytes)[i];
    type = findRecordType(id);
    if (type == nullptr) throw UsageError{"there is no record with the id " + hexId(id)};
  }
  const Decoded decoded =
      isKeyBlock ? type->decodeKeys(*bytes, invocation.has("wildcard")) : type->decode(*bytes);
  if (!decoded.valid) {
    throw Failure{exitNonsense, "this " + std::string(isKeyBlock ? "key block" : "record block") +
                                    " of " + title(*type) + " does not read: " + decoded.problem};
  }
  const std::size_t extra = bytes->size() - decoded.bytesRead;
  if (invocation.json) {
    printJson(json::object{{"record", type->name},
                           {"recordId", hexId(type->id)},
                           {isKeyBlock ? "keys" : "fields", tools::jsonOf(decoded.fields)},
                           {"bytesBehind", extra}});
  } else {
    std::cout << title(*type) << (isKeyBlock ? ", keys" : "") << '\n';
    fieldTable({decoded}).print();
    if (extra != 0) std::cout << "  and " << counted(extra, "byte") << " behind the last field\n";
  }
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
      {"decode",
       "decode BLOCK [RECORD] [--wildcard]",
       "what a record block says, or a key block of RECORD; needs no daemon",
       {"wildcard"},
       decode},
  };
  return all;
}

}  // namespace tools
