#include "standin/JsonRpc.h"

#include <algorithm>
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
  request.method = std::string_view(method->get_string());
  if (const json::value* params = object->if_contains("params")) {
    if (params->is_object()) {
      request.params = &params->get_object();
    } else if (!params->is_array()) {
      return refuse(invalidRequest, "params must be an object");
    } else {
      request.positionalParams = !params->get_array().empty();
    }
  }
  return request;
}

}  // namespace

Line::Line(std::string_view text) : document_(json::storage_ptr(&memory_)) {
  json::parse_options options;
  const bool isBatch = text.find_first_not_of(" \t\r") == text.find('[');
  options.max_depth = maxNesting + (isBatch ? 1 : 0);
  json::error_code error;
  document_ = json::parse(text, error, &memory_, options);
  if (error) {
    Request request;
    request.error = {notJson, error == json::error::too_deep
                                  ? "nested deeper than " + std::to_string(maxNesting)
                                  : "not a JSON text: " + error.message()};
    requests.push_back(std::move(request));
  } else if (const json::array* list = document_.if_array()) {
    if (list->empty()) {
      requests.push_back(invalid("a batch holds at least one request"));
    } else if (list->size() > maxBatch) {
      requests.push_back(
          invalid("a batch holds at most " + std::to_string(maxBatch) + " requests"));
    } else {
      batch = true;
      requests.reserve(list->size());
      for (const json::value& element : *list) requests.push_back(parseRequest(element));
    }
  } else {
    requests.push_back(parseRequest(document_));
  }
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

void appendQuoted(std::string& out, std::string_view text) {
  const bool plain = std::all_of(text.begin(), text.end(), [](unsigned char character) {
    return character >= 0x20 && character < 0x7F && character != '"' && character != '\\';
  });
  if (!plain) {
    out += json::serialize(Zel::validUtf8(text));
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

ObjectText ObjectText::result(std::string_view id) {
  ObjectText object;
  object.isResult_ = true;
  object.text_ = R"({"jsonrpc":"2.0","id":)";
  object.text_ += id;
  object.text_ += R"(,"result":{)";
  return object;
}

std::string& ObjectText::startMember(std::string_view name) {
  if (!std::exchange(first_, false)) text_ += ',';
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
  appendQuoted(startMember(name), text);
  return *this;
}

ObjectText& ObjectText::addJson(std::string_view name, std::string_view json) {
  startMember(name) += json;
  return *this;
}

std::string ObjectText::take() {
  text_ += isResult_ ? "}}" : "}";
  std::string text = std::move(text_);
  *this = ObjectText();
  return text;
}

}  // namespace standin::rpc
