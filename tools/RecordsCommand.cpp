// oamctl records: the catalogue.
#include <iostream>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
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

/// The catalogue as docs/records.md shows it.
void printMarkdown() {
  std::cout << "# The catalogue\n\n"
               "Written by `oamctl records --markdown`; a test compares.\n\n"
               "| record | id | made by the framework | fields, in wire order | keys |\n"
               "|---|---|---|---|---|\n";
  const auto list = [](const std::vector<FieldType>& fields) {
    std::string text;
    for (const FieldType& field : fields) {
      text += (text.empty() ? "`" : "; `") + field.name + "` " + field.type;
      if (!field.range.empty()) text += ", " + field.range;
    }
    return text;
  };
  for (const RecordType& type : recordTypes()) {
    std::cout << "| " << type.name << " | " << hexId(type.id) << " | "
              << (type.registered ? "yes" : "no") << " | " << list(type.fields) << " | "
              << list(type.keys) << " |\n";
  }
  std::cout << "\n| notification | kind | id |\n|---|---|---|\n";
  for (const NotificationType& type : notificationTypes()) {
    std::cout << "| " << type.name << " | " << type.kind << " | " << hexId(type.id) << " |\n";
  }
}

}  // namespace

int records(const Invocation& invocation) {
  expectWords(invocation.words, 0, 1, "records [RECORD]");
  if (invocation.has("markdown") && !invocation.words.empty()) {
    throw UsageError{"--markdown is for the whole catalogue"};
  }
  if (invocation.has("markdown")) {
    printMarkdown();
  } else if (invocation.words.empty() && invocation.json) {
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
