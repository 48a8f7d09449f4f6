// oamctl status: how the daemon is doing.
#include <iostream>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

std::string counts(const json::object& counters) {
  std::string text;
  for (const auto& [name, count] : counters) {
    if (!text.empty()) text += ", ";
    text += std::string(name) + " " + std::to_string(integerMember(counters, name));
  }
  return text.empty() ? "none" : text;
}

}  // namespace

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

}  // namespace tools
