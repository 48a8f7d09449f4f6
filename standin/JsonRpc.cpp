#include "standin/JsonRpc.h"

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <utility>

#include "records/Utf8.h"
#include "standin/Limits.h"

namespace json = boost::json;

namespace standin::rpc {
namespace {

Request invalid(std::string message) {
  Request request;
  request.error = {invalidRequest, std::move(message)};
  return request;
}

Request parseRequest(const json::value& value) {
  const json::object* object = value.if_object();
  if (object == nullptr) return invalid("a request is an object");
  Request request;
  const json::value* id = object->if_contains("id");
  // A number with a fraction or an exponent would not come back as it was sent.
  if (id != nullptr && !id->is_string() && !id->is_int64() && !id->is_uint64() && !id->is_null()) {
    return invalid("id must be a string, an integer of 64 bits or null");
  }
  request.wantsReply = id != nullptr;
  if (id != nullptr) request.id = json::serialize(*id);

  const auto refuse = [&](ErrorCode code, std::string message) {
    // Without a valid request there is no telling whether it was a notification.
    if (code == invalidRequest) request.wantsReply = true;
    request.error = {code, std::move(message)};
    return request;
  };
  const json::value* version = object->if_contains("jsonrpc");
  if (version == nullptr || *version != "2.0") {
    return refuse(invalidRequest, "jsonrpc must be \"2.0\"");
  }
  const json::value* method = object->if_contains("method");
  if (method == nullptr || !method->is_string()) {
    return refuse(invalidRequest, "method must be a string");
  }
  request.method = method->get_string();
  if (const json::value* params = object->if_contains("params")) {
    if (params->is_object()) {
      request.params = params->get_object();
    } else if (!params->is_array()) {
      return refuse(invalidRequest, "params must be an object");
    } else {
      request.positionalParams = !params->get_array().empty();
    }
  }
  return request;
}

}  // namespace

Line parseLine(std::string_view text) {
  json::parse_options options;
  const bool isBatch = text.find_first_not_of(" \t\r") == text.find('[');
  options.max_depth = maxNesting + (isBatch ? 1 : 0);
  json::error_code error;
  json::monotonic_resource memory;
  const json::value value = json::parse(text, error, &memory, options);
  Line line;
  if (error) {
    Request request;
    request.error = {notJson, error == json::error::too_deep
                                  ? "nested deeper than " + std::to_string(maxNesting)
                                  : "not a JSON text: " + error.message()};
    line.requests.push_back(std::move(request));
  } else if (const json::array* batch = value.if_array()) {
    if (batch->empty()) {
      line.requests.push_back(invalid("a batch holds at least one request"));
    } else if (batch->size() > maxBatch) {
      line.requests.push_back(
          invalid("a batch holds at most " + std::to_string(maxBatch) + " requests"));
    } else {
      line.batch = true;
      line.requests.reserve(batch->size());
      for (const json::value& element : *batch) line.requests.push_back(parseRequest(element));
    }
  } else {
    line.requests.push_back(parseRequest(value));
  }
  return line;
}

std::string resultReply(std::string_view id, std::string_view result) {
  std::string text;
  text.reserve(id.size() + result.size() + 40);
  text += R"({"jsonrpc":"2.0","id":)";
  text += id;
  text += R"(,"result":)";
  text += result;
  text += '}';
  return text;
}

std::string errorReply(std::string_view id, const Error& error) {
  return ObjectText()
      .add("jsonrpc", "2.0")
      .addJson("id", id)
      .addJson(
          "error",
          ObjectText().add("code", std::int64_t{error.code}).add("message", error.message).take())
      .take();
}

std::string notificationLine(std::string_view method, std::string_view params) {
  return ObjectText().add("jsonrpc", "2.0").add("method", method).addJson("params", params).take() +
         '\n';
}

std::string quoted(std::string_view text) { return json::serialize(Zel::validUtf8(text)); }

std::string& ObjectText::startMember(std::string_view name) {
  if (text_.size() > 1) text_ += ',';
  text_ += '"';
  text_ += name;
  return text_ += "\":";
}

ObjectText& ObjectText::add(std::string_view name, std::int64_t number) {
  startMember(name) += std::to_string(number);
  return *this;
}

ObjectText& ObjectText::add(std::string_view name, bool truth) {
  startMember(name) += truth ? "true" : "false";
  return *this;
}

ObjectText& ObjectText::add(std::string_view name, std::string_view text) {
  startMember(name) += quoted(text);
  return *this;
}

ObjectText& ObjectText::addJson(std::string_view name, std::string_view json) {
  startMember(name) += json;
  return *this;
}

std::string ObjectText::take() {
  text_ += '}';
  return std::exchange(text_, "{");
}

}  // namespace standin::rpc
