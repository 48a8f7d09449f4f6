// oamctl records: the catalogue.
#include <boost/json/serialize.hpp>

#include "records/MgmtEnums.h"
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

void addFields(std::string& text, const char* heading, const std::vector<FieldType>& fields) {
  if (fields.empty()) return;
  Table table({heading, "type", "range"});
  for (const FieldType& field : fields) table.add({field.name, field.type, field.range});
  text += table.text();
}

void addMarkdown(std::string& text, const char* title, const json::array& enumeration) {
  text += std::string("\n## ") + title + "\n\n| number | text |\n|---|---|\n";
  for (const json::value& entry : enumeration) {
    text += "| " + json::serialize(entry.at("number")) + " | " +
            entry.at("text").as_string().c_str() + " |\n";
  }
}

/// The catalogue as docs/records.md shows it at its end.
std::string markdown() {
  std::string text =
      "## All fields\n\n"
      "From here on the page is what `oamctl records --markdown` prints.\n\n"
      "| record | id | made by the framework | fields, in wire order | keys |\n"
      "|---|---|---|---|---|\n";
  const auto list = [](const std::vector<FieldType>& fields) {
    std::string cell;
    for (const FieldType& field : fields) {
      cell += (cell.empty() ? "`" : "; `") + field.name + "` " + field.type;
      if (!field.range.empty()) cell += ", " + field.range;
    }
    return cell;
  };
  for (const RecordType& type : recordTypes()) {
    text += "| " + type.name + " | " + hexId(type.id) + " | " + (type.registered ? "yes" : "no") +
            " | " + list(type.fields) + " | " + list(type.keys) + " |\n";
  }
  text += "\n| notification | kind | id |\n|---|---|---|\n";
  for (const NotificationType& type : notificationTypes()) {
    text += "| " + type.name + " | " + type.kind + " | " + hexId(type.id) + " |\n";
  }
  addMarkdown(text, "Results", enumeration(Zel::mgmtResultText, 0));
  addMarkdown(text, "Operations", enumeration(Zel::mgmtOpTypeText, 1));
  addMarkdown(text, "Apply actions", enumeration(Zel::applyActionText, 0));
  addMarkdown(text, "Severities", enumeration(Zel::severityText, 1));
  return text;
}

std::string listing() {
  Table table({"record", "id", "keys", "made by the framework"});
  for (const RecordType& type : recordTypes()) {
    std::string keys;
    for (const FieldType& key : type.keys) keys += (keys.empty() ? "" : " ") + key.name;
    table.add(
        {type.name, hexId(type.id), keys.empty() ? "-" : keys, type.registered ? "yes" : "no"});
  }
  return table.text();
}

}  // namespace

int records(const Invocation& invocation, Answer& answer) {
  const bool all = invocation.words.empty();
  if (invocation.has("markdown")) {
    if (!all) throw UsageError{"--markdown is for the whole catalogue"};
    answer.json.clear();
    answer.text = markdown();
  } else if (all) {
    answer.json = catalogueJson();
    answer.text = listing();
  } else {
    const RecordType& type = recordTypeNamed(invocation.words.front());
    json::object described = jsonOf(type);
    described.stable_erase("id");
    described.stable_erase("name");
    aboutRecord(answer, type);
    merge(answer, described);
    answer.line(title(type) + (type.registered ? "" : ", made only by the daemon itself"));
    addFields(answer.text, "field", type.fields);
    addFields(answer.text, "key", type.keys);
  }
  return exitSuccess;
}

}  // namespace tools
