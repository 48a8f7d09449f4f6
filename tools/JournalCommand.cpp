// oamctl journal: what has arrived, and what was replied.
#include <boost/json/array.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/JournalText.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Names.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

std::string labelled(const json::object& entry, const char* name, const char* label) {
  const json::value* value = entry.if_contains(name);
  return value == nullptr ? "" : std::string(", ") + label + " " + valueText(*value);
}

}  // namespace

std::string entryText(const json::object& entry) {
  const json::object shown = decodedEntry(entry);
  const std::int64_t connection = integerMember(entry, "connection");
  const json::value* cut = entry.if_contains("cut");
  const std::string who =
      connection == 0 ? "by itself" : "connection " + std::to_string(connection);
  const std::string took =
      boolMember(entry, "called")
          ? " after " + std::to_string(integerMember(entry, "microseconds")) + " us"
          : ", not called";
  const json::value* params = shown.if_contains("params");
  const bool hasParams = params != nullptr && params->is_object();
  const json::value* reply = shown.if_contains("reply");
  const json::value* error = shown.if_contains("error");
  if (reply == nullptr && error == nullptr) nonsense("an entry has neither a reply nor an error");
  const json::value& outcome = reply != nullptr ? *reply : *error;
  Answer text;
  text.line(std::to_string(integerMember(entry, "seq")) + "  " + textMember(entry, "time") + "  " +
            who + labelled(entry, "id", "id") + ": " + textMember(entry, "method") +
            (hasParams ? " " + membersText(params->get_object()) : ""));
  text.line(std::string("   -> ") + (reply != nullptr ? "" : "error ") +
            (outcome.is_object() ? membersText(outcome.get_object()) : valueText(outcome)) + took +
            labelled(entry, "faultId", "fault") + (cut != nullptr ? ", cut" : ""));
  return text.text;
}

int journal(const Invocation& invocation, Answer& answer) {
  if (invocation.has("clear")) {
    if (invocation.has("after") || invocation.has("limit") || invocation.has("method") ||
        invocation.has("record")) {
      throw UsageError{"--clear takes nothing else: all entries go"};
    }
    const json::object reply = invocation.client().call("journalClear", {});
    const auto cleared = static_cast<std::size_t>(integerMember(reply, "cleared"));
    answer.line("cleared " + std::to_string(cleared) + (cleared == 1 ? " entry" : " entries"));
    merge(answer, reply);
    return exitSuccess;
  }
  json::object parameters;
  constexpr std::int64_t mostEntries = 1000;
  if (invocation.has("after")) parameters["after"] = invocation.number("after", INT64_MAX);
  if (invocation.has("limit")) parameters["limit"] = invocation.number("limit", mostEntries, 1);
  if (invocation.has("method")) {
    parameters["method"] = oneOf(daemonMethods(), invocation.text("method"), "--method");
  }
  if (invocation.has("record")) {
    parameters["recordId"] = hexId(anyRecordType(invocation.text("record")).id);
  }
  const json::object reply = invocation.client().call("journal", parameters);
  const json::array& entries = arrayMember(reply, "entries");
  const std::int64_t last = integerMember(reply, "last"), dropped = integerMember(reply, "dropped");
  json::array shown;
  std::string text;
  for (const json::value& entry : entries) {
    if (!entry.is_object()) nonsense("an entry is not an object");
    text += entryText(entry.get_object());
    shown.push_back(decodedEntry(entry.get_object()));
  }
  answer.text = text;
  answer.line(std::to_string(entries.size()) + (entries.size() == 1 ? " entry" : " entries") +
              " shown; the newest is " + std::to_string(last) + ", " + std::to_string(dropped) +
              " dropped since the start");
  answer.json["entries"] = std::move(shown);
  answer.json["last"] = last;
  answer.json["dropped"] = dropped;
  return exitSuccess;
}

}  // namespace tools
