// oamctl status and wait: how the daemon is doing, and whether it is there.
#include <thread>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

std::string counts(const json::object& counters) {
  std::string text;
  for (const auto& [name, count] : counters) {
    if (!text.empty()) text += ", ";
    if (count.is_object()) {
      text += std::string(name) + " (" + counts(count.get_object()) + ")";
    } else {
      text += std::string(name) + " " + std::to_string(integerMember(counters, name));
    }
  }
  return text.empty() ? "none" : text;
}

std::string processText(const json::object& reply) {
  return std::to_string(integerMember(reply, "pid")) + ", up " +
         std::to_string(integerMember(reply, "uptimeSeconds")) + " s";
}

std::string pausesText(const json::array& pauses) {
  std::string text;
  for (const json::value& pause : pauses) {
    if (!pause.is_object()) nonsense("a pause is not an object");
    const json::value* left = pause.get_object().if_contains("secondsLeft");
    if (left == nullptr || !left->is_number()) nonsense("secondsLeft is not a number");
    text += (text.empty() ? "" : ", ") + textMember(pause.get_object(), "thread") + " for " +
            valueText(*left) + " s";
  }
  return text.empty() ? "none" : text;
}

}  // namespace

int status(const Invocation& invocation, Answer& answer) {
  const json::object reply = invocation.client().call("status", {});
  const json::object& slots = objectMember(reply, "slots");
  std::string filled, empty;
  for (const auto& [name, unused] : slots) {
    std::string& list = boolMember(slots, name) ? filled : empty;
    list += (list.empty() ? "" : " ") + std::string(name);
  }
  const json::object& registration = objectMember(reply, "serviceRegistration");
  const json::object& counters = objectMember(reply, "counters");
  Answer lines;
  lines.line("process        " + processText(reply));
  if (reply.contains("version")) lines.line("version        " + textMember(reply, "version"));
  if (reply.contains("commandLine")) {
    lines.line("command line   " + joined(arrayMember(reply, "commandLine")));
  }
  lines.line("answers        " + std::string(boolMember(reply, "auto")
                                                 ? "registrations and set indications by itself"
                                                 : "only what is asked for (KOR_OAM_AUTO=0)"));
  lines.line("groups         " + joined(arrayMember(registration, "groups")) +
             " (last indication: " + textMember(registration, "lastIndication") + ")");
  lines.line("callbacks      " + (filled.empty() ? "none" : filled));
  if (!empty.empty()) lines.line("  left out     " + empty);
  if (reply.contains("clock")) lines.line("clock          " + textMember(reply, "clock"));
  if (reply.contains("pauses")) {
    lines.line("pauses         " + pausesText(arrayMember(reply, "pauses")));
  }
  for (const auto& [name, counted] : counters) {
    const std::string heading(name);
    lines.line(heading + std::string(15 - std::min<std::size_t>(heading.size(), 14), ' ') +
               (counted.is_object() ? counts(counted.get_object()) : valueText(counted)));
  }
  answer.text = lines.text;
  merge(answer, reply);
  return exitSuccess;
}

int waitForDaemon(const Invocation& invocation, Answer& answer) {
  constexpr double fallback = 5;
  const double seconds = invocation.has("timeout") ? invocation.seconds("timeout") : fallback;
  const Deadline end = std::chrono::steady_clock::now() + durationOf(seconds);
  constexpr std::chrono::milliseconds betweenTries{10};
  for (;;) {
    try {
      Client& client = invocation.client();
      client.setTimeout(end - std::chrono::steady_clock::now());
      const json::object reply = client.call("status", {});
      answer.line("ready: process " + processText(reply));
      merge(answer, reply);
      return exitSuccess;
    } catch (const Failure& failure) {
      // A daemon that does not answer has used up the time.
      if (failure.exitStatus != exitNoDaemon) throw;
      invocation.connection.reset();
      if (std::chrono::steady_clock::now() + betweenTries >= end) {
        throw Failure{exitTimedOut, "no daemon was ready in time: " + failure.message};
      }
    }
    std::this_thread::sleep_for(betweenTries);
  }
}

}  // namespace tools
