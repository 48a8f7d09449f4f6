// oamctl fault: faults of the platform, at run time.
#include <algorithm>
#include <boost/json/array.hpp>
#include <cmath>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Names.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

/// Requests and notifications share the name svcRegInd: it is the request unless said otherwise.
void addSubject(const Invocation& invocation, json::object& parameters) {
  const std::string& word = invocation.words[0];
  if (!invocation.has("notification")) {
    std::vector<std::string> names = daemonMethods();
    for (const std::string& name : notificationMethods()) {
      if (name != "svcRegInd") names.push_back(name);
    }
    const std::string name = oneOf(names, word, "METHOD");
    const auto& methods = daemonMethods();
    const bool isRequest = std::find(methods.begin(), methods.end(), name) != methods.end();
    parameters[isRequest ? "method" : "notification"] = name;
  } else {
    parameters["notification"] = oneOf(notificationMethods(), word, "METHOD");
  }
}

void addEffects(const Invocation& invocation, json::object& parameters) {
  const std::size_t before = parameters.size();
  constexpr double longestDelay = 3600;
  if (invocation.has("delay")) {
    parameters["delayMilliseconds"] =
        std::llround(invocation.seconds("delay", longestDelay) * 1000);
  }
  if (invocation.has("result")) {
    parameters["result"] = managementResultNamed(invocation.text("result"));
  }
  for (const char* effect : {"drop", "disconnect", "duplicate"}) {
    if (invocation.has(effect)) parameters[effect] = true;
  }
  if (invocation.has("blocks")) {
    parameters["blocks"] = oneOf({"truncate", "flip"}, invocation.text("blocks"), "--blocks");
  }
  if (parameters.size() == before) {
    throw UsageError{
        "a fault needs one of --delay, --result, --drop, --disconnect, --duplicate "
        "and --blocks"};
  }
  if (invocation.has("error-string")) {
    if (!invocation.has("result")) throw UsageError{"--error-string goes with --result"};
    parameters["errorString"] = invocation.text("error-string");
  }
}

/// What a fault of the list does.
std::string effects(json::object fault) {
  for (const char* other :
       {"faultId", "hits", "method", "notification", "record", "recordId", "count"}) {
    fault.erase(other);
  }
  return membersText(fault);
}

}  // namespace

int faultAdd(const Invocation& invocation, Answer& answer) {
  json::object parameters;
  addSubject(invocation, parameters);
  if (invocation.has("record")) {
    parameters["recordId"] = hexId(anyRecordType(invocation.text("record")).id);
  }
  if (invocation.has("count")) parameters["count"] = invocation.number("count", 0xFFFFFFFF);
  addEffects(invocation, parameters);
  const json::object reply = invocation.client().call("faultAdd", parameters);
  answer.line("fault " + std::to_string(integerMember(reply, "faultId")) + " added");
  merge(answer, reply);
  return exitSuccess;
}

int faultList(const Invocation& invocation, Answer& answer) {
  const json::object reply = invocation.client().call("faultList", {});
  Table table({"fault", "method", "record", "effect", "hits", "count"});
  json::array faults;
  for (const json::value& listed : arrayMember(reply, "faults")) {
    if (!listed.is_object()) nonsense("a fault is not an object");
    const json::object fault = decoded(listed.get_object());
    const auto text = [&](const char* name, const std::string& without) {
      const json::value* value = fault.if_contains(name);
      return value == nullptr ? without : valueText(*value);
    };
    table.add({std::to_string(integerMember(fault, "faultId")),
               text("method", text("notification", "?")), text("record", text("recordId", "any")),
               effects(fault), std::to_string(integerMember(fault, "hits")), text("count", "any")});
    faults.push_back(fault);
  }
  answer.text = faults.empty() ? "no faults\n" : table.text();
  answer.json["faults"] = std::move(faults);
  return exitSuccess;
}

int faultRemove(const Invocation& invocation, Answer& answer) {
  json::object parameters;
  const Words& words = invocation.words;
  if (!words.empty()) parameters["faultId"] = number(words[0], "ID", 0xFFFFFFFF);
  const json::object reply = invocation.client().call("faultRemove", parameters);
  const auto removed = static_cast<std::size_t>(integerMember(reply, "removed"));
  answer.line(counted(removed, "fault") + " removed");
  merge(answer, reply);
  if (removed == 0 && !words.empty()) {
    throw Failure{exitOtherResult, "there is no fault " + words[0]};
  }
  return exitSuccess;
}

}  // namespace tools
