// oamctl records: the catalogue.
#include <iostream>

#include "records/MgmtEnums.h"
#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

json::object jsonOf(const FieldType& field) {
  json::object object{{"name", field.name}, {"type", field.code}};
  if (field.code == "text") {
    object["maxLength"] = field.max;
    return object;
  }
  object["width"] = field.width;
  if (field.code == "bool") return object;
  object["min"] = field.min;
  object["max"] = field.max;
  return object;
}

json::object jsonOf(const RecordType& type);
json::object jsonOf(const NotificationType& type);

template <class Type>
json::array listOf(const std::vector<Type>& types) {
  json::array array;
  for (const Type& type : types) array.push_back(jsonOf(type));
  return array;
}

json::object jsonOf(const RecordType& type) {
  return {{"id", hexId(type.id)},
          {"name", type.name},
          {"registered", type.registered},
          {"fields", listOf(type.fields)},
          {"keys", listOf(type.keys)}};
}

json::object jsonOf(const NotificationType& type) {
  return {{"kind", type.kind},
          {"id", hexId(type.id)},
          {"name", type.name},
          {"fields", listOf(type.fields)}};
}

/// An enumeration, whose numbers follow each other from `first` as long as they have a text.
template <typename Enumeration>
json::array enumeration(const char* (*textOf)(Enumeration), int first) {
  json::array array;
  for (int number = first;; ++number) {
    const std::string text = textOf(static_cast<Enumeration>(number));
    if (text == "???") return array;
    array.push_back(json::object{{"number", number}, {"text", text}});
  }
}

json::object catalogueJson() {
  return {{"records", listOf(recordTypes())},
          {"notifications", listOf(notificationTypes())},
          {"results", enumeration(Zel::mgmtResultText, 0)},
          {"operations", enumeration(Zel::mgmtOpTypeText, 1)},
          {"applyActions", enumeration(Zel::applyActionText, 0)},
          {"severities", enumeration(Zel::severityText, 1)}};
}

void printFields(const char* heading, const std::vector<FieldType>& fields) {
  if (fields.empty()) return;
  Table table({heading, "type", "range"});
  for (const FieldType& field : fields) table.add({field.name, field.type, field.range});
  table.print();
}

void printMarkdown(const char* title, const json::array& enumeration) {
  std::cout << "\n## " << title << "\n\n| number | text |\n|---|---|\n";
  for (const json::value& entry : enumeration) {
    std::cout << "| " << entry.at("number") << " | " << entry.at("text").as_string().c_str()
              << " |\n";
  }
}

/// The catalogue as docs/records.md shows it at its end.
void printMarkdown() {
  std::cout << "## All fields\n\n"
               "From here on the page is what `oamctl records --markdown` prints.\n\n"
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
  printMarkdown("Results", enumeration(Zel::mgmtResultText, 0));
  printMarkdown("Operations", enumeration(Zel::mgmtOpTypeText, 1));
  printMarkdown("Apply actions", enumeration(Zel::applyActionText, 0));
  printMarkdown("Severities", enumeration(Zel::severityText, 1));
}

}  // namespace

int records(const Invocation& invocation, Answer& answer) {
  answer.json.clear();
  if (invocation.has("markdown") && !invocation.words.empty()) {
    throw UsageError{"--markdown is for the whole catalogue"};
  }
  if (invocation.has("markdown")) {
    printMarkdown();
  } else if (invocation.words.empty() && invocation.json) {
    printJson(catalogueJson());
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
