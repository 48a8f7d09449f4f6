// oamctl monitor: what the daemon sends on its own, as it comes.
#include <boost/json/serialize.hpp>
#include <iostream>
#include <limits>

#include "records/MgmtEnums.h"
#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

std::string fieldsText(const std::vector<NamedValue>& fields) {
  std::string text;
  for (const NamedValue& field : fields) text += " " + field.name + "=" + textOf(field.value);
  return text;
}

/// What a block of a notification says: its name and its decoded fields.
struct Named {
  std::string name;
  std::vector<NamedValue> fields;
};

/// Whether a parameter of a notification is a block; its name is the kind of the block.
bool isBlock(std::string_view name) {
  return name == "record" || name == "event" || name == "alarm" || name == "recordUpdateEvent";
}

Named decodeNamed(const std::string& kind, const json::value& block) {
  const Bytes bytes = bytesOf(block);
  const auto id = idOf(bytes);
  if (!id) nonsense("a block is too short to hold an id");
  const RecordType* record = kind == "record" ? findRecordType(*id) : nullptr;
  const NotificationType* notification = findNotificationType(kind, *id);
  if (record == nullptr && notification == nullptr) return {hexId(*id), {}};
  const Decoded decoded = record != nullptr ? record->decode(bytes) : notification->decode(bytes);
  if (!decoded.valid) nonsense("a block does not read: " + decoded.problem);
  return {record != nullptr ? record->name : notification->name, decoded.fields};
}

/// A line for people.
std::string notificationText(const std::string& method, const json::object& params) {
  std::string text = method;
  for (const auto& [name, value] : params) {
    if (isBlock(name)) {
      const Named named = decodeNamed(std::string(name), value);
      text += " " + named.name + fieldsText(named.fields);
    } else if (name == "applyAction") {
      text += " applyAction=" + applyActionOf(params);
    } else if (name == "opType") {
      text += std::string(" opType=") +
              Zel::mgmtOpTypeText(static_cast<Zel::MgmtOpType>(integerMember(params, "opType")));
    } else if (name == "groups") {
      text += " groups=" + joined(arrayMember(params, "groups"));
    } else if (value.is_string()) {
      if (!value.get_string().empty()) {
        text += " " + std::string(name) + "=" + value.get_string().c_str();
      }
    } else {
      text += " " + std::string(name) + "=" + json::serialize(value);
    }
  }
  return text;
}

/// The notification with its blocks taken apart.
json::object notificationJson(const std::string& method, const json::object& params) {
  json::object printed{{"method", method}};
  for (const auto& [name, value] : params) {
    if (isBlock(name)) {
      const Named named = decodeNamed(std::string(name), value);
      printed["name"] = named.name;
      printed["fields"] = jsonOf(named.fields);
      printed["block"] = value;
    } else {
      printed[name] = value;
    }
  }
  return printed;
}

}  // namespace

int monitor(const Invocation& invocation) {
  expectWords(invocation.words, 0, 0, "monitor [--count N] [--for S]");
  constexpr double forever = 1e8;
  const std::chrono::duration<double> seconds(invocation.has("for") ? invocation.seconds("for")
                                                                    : forever);
  std::uint64_t wanted = std::numeric_limits<std::uint64_t>::max();
  if (invocation.has("count")) {
    wanted = static_cast<std::uint64_t>(invocation.number("count", 0xFFFFFFFF));
  }
  Client client = invocation.connect();
  client.call("subscribe", {});
  std::cerr << "oamctl: subscribed" << std::endl;
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<Client::Duration>(seconds);
  for (std::uint64_t seen = 0; seen < wanted; ++seen) {
    const auto message = client.nextNotification(end - std::chrono::steady_clock::now());
    if (!message) {
      // With --count, the time is a limit; without, it is the plan.
      if (!invocation.has("count")) return exitSuccess;
      throw Failure{exitTimedOut, std::to_string(seen) + " of " + std::to_string(wanted) +
                                      " notifications came in time"};
    }
    const std::string method = textMember(*message, "method");
    const json::object& params = objectMember(*message, "params");
    if (invocation.json) {
      std::cout << json::serialize(notificationJson(method, params)) << std::endl;
    } else {
      std::cout << notificationText(method, params) << std::endl;
    }
  }
  return exitSuccess;
}

}  // namespace tools
