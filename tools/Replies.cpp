#include "tools/Replies.h"

#include <algorithm>

#include "records/Hex.h"
#include "records/MgmtEnums.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Names.h"

namespace json = boost::json;

namespace tools {

std::string title(const RecordType& type) {
  return type.name.empty() ? hexId(type.id) : type.name + " (" + hexId(type.id) + ")";
}

int exitStatusOf(std::int64_t result) { return result == 0 ? exitSuccess : exitOtherResult; }

std::string resultText(const json::object& reply) {
  const std::int64_t result = integerMember(reply, "result");
  const std::string text = textMember(reply, "resultText");
  return result == 0 ? text : text + " (" + std::to_string(result) + ")";
}

std::string applyActionOf(const json::object& reply) {
  const std::int64_t action = integerMember(reply, "applyAction");
  if (action < 0 || action > 0xFFFFFFFF) nonsense("applyAction is out of range");
  return namedText("applyAction", action);
}

std::string joined(const json::array& values) {
  std::string text;
  for (const json::value& value : values) {
    if (!value.is_string()) nonsense("a group is not a string");
    if (!text.empty()) text += ' ';
    text += value.get_string();
  }
  return text.empty() ? "none" : text;
}

void aboutRecord(Answer& answer, const RecordType& type) {
  if (!type.name.empty()) answer.json["record"] = type.name;
  answer.json["recordId"] = hexId(type.id);
}

void merge(Answer& answer, const json::object& members) {
  for (const auto& [name, value] : members) answer.json[name] = value;
}

int answerResult(Answer& answer, const std::string& what, const json::object& reply) {
  const std::string summary = what + ": " + resultText(reply);
  const int status = exitStatusOf(integerMember(reply, "result"));
  merge(answer, decoded(reply));
  answer.line(summary);
  if (reply.contains("errorString")) answer.errorString(reply);
  return status;
}

void explainRefusal(const Invocation& invocation, const RecordType& type, const json::object& reply,
                    Answer& answer) try {
  if (integerMember(reply, "result") != Zel::MGMT_INVALID_RECORD_ID) return;
  const json::object status = invocation.client().call("status", {});
  const json::array& groups = arrayMember(objectMember(status, "serviceRegistration"), "groups");
  const std::string group = "0x" + Zel::hexText(type.id >> 16);
  const auto isIt = [&](const json::value& one) {
    return one.is_string() && parsedNumber(std::string(one.get_string())) == type.id >> 16;
  };
  if (std::any_of(groups.begin(), groups.end(), isIt)) return;
  const std::string hint = "the group " + group + " of this record is not registered, only " +
                           joined(groups) + "; the daemon's option --group registers it";
  answer.json["hint"] = hint;
  answer.hint = hint;
} catch (const Failure&) {
  // The reply itself has come; only the hint is missing.
}

}  // namespace tools
