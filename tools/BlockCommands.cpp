// oamctl encode and decode: blocks, without a daemon.
#include <boost/json/array.hpp>

#include "records/Hex.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Messages.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

/// One reading of a block.
struct Reading {
  std::string kind;
  std::string name;
  std::uint32_t id;
  Decoded decoded;

  std::string title() const {
    if (kind == "keys") return "keys of " + name + " (" + hexId(id) + ")";
    return name + " (" + (kind == "record" ? "" : kind + " ") + hexId(id) + ")";
  }
};

/// All that a block may be, by its id: ids of records and of each kind of notification overlap.
std::vector<Reading> readingsOf(const Bytes& bytes) {
  const auto id = idOf(bytes);
  if (!id) throw UsageError{"BLOCK is too short to hold an id"};
  std::vector<Reading> readings;
  if (const RecordType* type = findRecordType(*id)) {
    readings.push_back({"record", type->name, *id, type->decode(bytes)});
  }
  for (const NotificationType& type : notificationTypes()) {
    if (type.id == *id) readings.push_back({type.kind, type.name, *id, type.decode(bytes)});
  }
  if (readings.empty()) throw UsageError{"nothing has the id " + hexId(*id)};
  return readings;
}

/// The readings that fit best: valid and without bytes after it, else valid, else none.
std::vector<Reading> fitting(const std::vector<Reading>& readings, std::size_t bytes) {
  std::vector<Reading> valid, exact;
  for (const Reading& reading : readings) {
    if (!reading.decoded.valid) continue;
    if (reading.decoded.bytesRead == bytes) exact.push_back(reading);
    valid.push_back(reading);
  }
  return exact.empty() ? valid : exact;
}

}  // namespace

int decode(const Invocation& invocation, Answer& answer) {
  const auto bytes = Zel::fromHex(invocation.words.front());
  if (!bytes)
    throw UsageError{"BLOCK must be an even number of hexadecimal digits, not '" +
                     invocation.words.front() + "'"};
  std::vector<Reading> readings;
  if (invocation.words.size() == 2) {
    const RecordType& type = recordTypeNamed(invocation.words[1]);
    if (!type.decodeKeys) throw UsageError{title(type) + " has no keys"};
    readings.push_back(
        {"keys", type.name, type.id, type.decodeKeys(*bytes, invocation.has("wildcard"))});
  } else {
    readings = readingsOf(*bytes);
  }
  const std::vector<Reading> fits = fitting(readings, bytes->size());
  if (fits.empty()) {
    throw Failure{exitNonsense, "this block of " + readings.front().title() +
                                    " does not read: " + readings.front().decoded.problem};
  }
  answer.json["block"] = invocation.words.front();
  json::array shown;
  for (const Reading& reading : fits) {
    const std::size_t extra = bytes->size() - reading.decoded.bytesRead;
    const json::object fields = jsonOf(reading.decoded.fields);
    const bool isRecord = reading.kind == "record" || reading.kind == "keys";
    const std::string name = isRecord ? "record" : reading.kind;
    shown.push_back({{"kind", reading.kind},
                     {name, reading.name},
                     {name + "Id", hexId(reading.id)},
                     {"fields", fields},
                     {"bytesAfter", extra}});
    answer.line(reading.title());
    answer.rows({json::object{{"fields", fields}}});
    if (extra != 0) answer.line("  and " + counted(extra, "byte") + " after the last field");
  }
  answer.json["readings"] = std::move(shown);
  return exitSuccess;
}

int encode(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  const auto given = assignments(invocation.words, 1);
  if (invocation.has("wildcard") && !invocation.has("keys")) {
    throw UsageError{"--wildcard goes with --keys"};
  }
  aboutRecord(answer, type);
  if (invocation.has("keys")) {
    if (!type.encodeKeys) throw UsageError{title(type) + " has no keys"};
    const bool wildcardAllowed = invocation.has("wildcard") || hasWildcard({given});
    const std::string block = type.encodeKeys(given, wildcardAllowed);
    answer.line(block);
    merge(answer, decodedKeys(type, json::value(block), wildcardAllowed));
  } else {
    const std::string block = type.encode(given);
    answer.line(block);
    merge(answer, decodedRecord(type, json::value(block)));
  }
  return exitSuccess;
}

}  // namespace tools
