// oamctl records: the catalogue.
#include <iostream>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

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

}  // namespace

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

}  // namespace tools
