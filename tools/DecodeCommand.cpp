// oamctl decode: what a block says, without a daemon.
#include <boost/json/array.hpp>
#include <iostream>

#include "records/Hex.h"
#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

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

}  // namespace

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
        {{"what", title}, {"fields", jsonOf(decoded.fields)}, {"bytesBehind", extra}});
    if (invocation.json) continue;
    std::cout << title << '\n';
    fieldTable({decoded}).print();
    if (extra != 0) std::cout << "  and " << counted(extra, "byte") << " behind the last field\n";
  }
  if (invocation.json) printJson(printed);
  return exitSuccess;
}

}  // namespace tools
