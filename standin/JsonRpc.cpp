#include "standin/JsonRpc.h"

#include <utility>

#include "standin/JsonText.h"
#include "standin/Limits.h"

namespace standin::rpc {

using Kind = JsonValue::Kind;

Request readRequest(const JsonValue& value) {
  Request request;
  // Without a valid request there is no telling whether it was a notification.
  const auto refuse = [&](std::string message) {
    request.wantsReply = true;
    request.error = {invalidRequest, std::move(message)};
    return request;
  };
  if (!value.is(Kind::object)) return refuse("a request is an object");
  // Of several with one name, the last.
  const JsonValue *id = nullptr, *version = nullptr, *method = nullptr;
  value.eachMember([&](std::string_view name, const JsonValue& member) {
    if (name == "id") id = &member;
    if (name == "jsonrpc") version = &member;
    if (name == "method") method = &member;
    if (name == "params") request.params = &member;
  });
  // A number with a fraction or an exponent would not come back as it was sent.
  if (id != nullptr && !id->is(Kind::text) && !id->is(Kind::integer) && !id->is(Kind::null)) {
    return refuse("id must be a string, an integer of 64 bits or null");
  }
  request.wantsReply = id != nullptr;
  request.id = id;
  if (version == nullptr || !version->is(Kind::text) || version->text != "2.0") {
    return refuse("jsonrpc must be \"2.0\"");
  }
  if (method == nullptr || !method->is(Kind::text)) return refuse("method must be a string");
  request.method = method->text;
  if (request.params != nullptr && !request.params->is(Kind::object) &&
      !request.params->is(Kind::list)) {
    return refuse("params must be an object");
  }
  return request;
}

Error errorOf(JsonDocument::Outcome outcome, const JsonDocument& document) {
  switch (outcome) {
    case JsonDocument::Outcome::tooDeep:
      return {notJson, "nested deeper than " + std::to_string(maxNesting)};
    case JsonDocument::Outcome::tooManyMembers:
      return {invalidRequest, "an object holds at most " + std::to_string(maxMembers) +
                                  " name/value pairs, a line " + std::to_string(maxLineMembers)};
    default:
      return {notJson, "not a JSON text: " + document.reason()};
  }
}

std::string shown(std::string_view name) {
  constexpr std::size_t most = 64;
  return name.size() <= most ? std::string(name) : std::string(name.substr(0, most)) + "...";
}

void startReply(std::string& out, std::string_view id, std::string_view member) {
  out += R"({"jsonrpc":"2.0","id":)";
  out += id;
  out += ",\"";
  out += member;
  out += "\":";
}

void appendError(std::string& out, const Error& error) {
  ObjectText(out).add("code", int{error.code}).add("message", error.message).end();
}

void appendErrorReply(std::string& out, std::string_view id, const Error& error) {
  startReply(out, id, "error");
  appendError(out, error);
  out += '}';
}

void appendNotification(std::string& out, std::string_view method, std::string_view params) {
  out += R"({"jsonrpc":"2.0","method":")";
  out += method;
  out += R"(","params":)";
  out += params;
  out += "}\n";
}

}  // namespace standin::rpc
