// oamctl monitor: what the daemon sends on its own, and what it is asked, as it comes.
#include <limits>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/JournalText.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Names.h"

#include <boost/json/serialize.hpp>

namespace json = boost::json;

namespace tools {
namespace {

/// A line, or two of a request.
std::string shown(const Invocation& invocation, const std::string& method,
                  const json::object& params) {
  const bool isRequest = method == "request";
  if (!invocation.json) {
    if (isRequest) return entryText(params);
    return escaped(notificationText(method, params)) + '\n';
  }
  json::object line{{"command", "monitor"}, {"method", method}};
  if (isRequest) {
    line["request"] = decodedEntry(params);
  } else {
    for (const auto& [name, value] : decoded(params)) line[name] = value;
  }
  return json::serialize(line) + '\n';
}

}  // namespace

int monitor(const Invocation& invocation, Answer& answer) {
  const bool requests = invocation.has("requests"), untilOne = invocation.has("until");
  std::vector<std::string> methods = notificationMethods();
  if (requests) methods.emplace_back("request");
  const std::string last =
      untilOne ? oneOf(methods, invocation.text("until"), "--until") : std::string();
  std::uint64_t wanted = std::numeric_limits<std::uint64_t>::max();
  if (invocation.has("count")) {
    wanted = static_cast<std::uint64_t>(invocation.number("count", 0xFFFFFFFF));
  }
  const double seconds = invocation.has("for") ? invocation.seconds("for") : aYear;
  Client& client = invocation.client();
  json::object parameters;
  if (requests) parameters["requests"] = true;
  client.call("subscribe", parameters);
  say("subscribed");
  const Deadline end = std::chrono::steady_clock::now() + durationOf(seconds);
  // The lines are the answer.
  answer.json.clear();
  for (std::uint64_t seen = 0; seen < wanted; ++seen) {
    const auto message = client.nextNotification(end);
    if (!message) {
      // Without --count or --until, the time is all that was asked for.
      if (untilOne) throw Failure{exitTimedOut, "no " + last + " came in time"};
      if (!invocation.has("count")) return exitSuccess;
      throw Failure{exitTimedOut, std::to_string(seen) + " of " + std::to_string(wanted) +
                                      " notifications came in time"};
    }
    const std::string method = textMember(*message, "method");
    const json::value* params = message->if_contains("params");
    print(shown(invocation, method,
                params == nullptr ? json::object() : objectMember(*message, "params")));
    if (method == last) return exitSuccess;
  }
  return exitSuccess;
}

}  // namespace tools
