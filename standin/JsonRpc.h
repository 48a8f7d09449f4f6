// JSON-RPC 2.0: reading a line of requests, writing replies and notifications.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace standin::rpc {

/// Codes of errors. They cross the socket and never change.
enum ErrorCode : int {
  tooManyConnections = -32000,
  stopping = -32001,
  notJson = -32700,
  invalidRequest = -32600,
  unknownMethod = -32601,
  badParameters = -32602,
  internalError = -32603,
};

/// An error of one request; thrown while its parameters are read.
struct Error {
  ErrorCode code;
  std::string message;
};

/// Nesting of arrays and objects in one request.
constexpr unsigned int maxNesting = 32;

/// One request of a line. Without `wantsReply` it is a notification; `error` is set, with a code
/// other than 0, when it is no valid request.
struct Request {
  bool wantsReply = true;
  std::string id = "null";  ///< JSON text
  std::string method;
  boost::json::object params;
  bool positionalParams = false;  ///< given as a list, which no method takes
  Error error{};
};

struct Line {
  bool batch = false;
  std::vector<Request> requests;
};

/// Never fails: what is wrong with a request stands in it.
Line parseLine(std::string_view text);

/// JSON texts of replies; `id` and `result` are JSON texts themselves.
std::string resultReply(std::string_view id, std::string_view result);
std::string errorReply(std::string_view id, const Error& error);
/// A notification, with its line end.
std::string notificationLine(std::string_view method, std::string_view params);

/// `text` as a JSON string in quotes. Bytes that are no UTF-8 become U+FFFD.
std::string quoted(std::string_view text);

/// Builds the text of a JSON object, member by member.
class ObjectText {
 public:
  ObjectText& add(std::string_view name, std::int64_t number);
  ObjectText& add(std::string_view name, bool truth);
  ObjectText& add(std::string_view name, std::string_view text);
  ObjectText& add(std::string_view name, const char* text) {
    return add(name, std::string_view(text));
  }
  /// `json` is a JSON text.
  ObjectText& addJson(std::string_view name, std::string_view json);
  /// An array of the JSON texts that `item(i)` returns for 0 to `count` - 1.
  template <typename Item>
  ObjectText& addArray(std::string_view name, std::size_t count, Item&& item) {
    startMember(name) += '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) text_ += ',';
      text_ += item(i);
    }
    text_ += ']';
    return *this;
  }
  /// The finished object; the builder is empty afterwards.
  std::string take();

 private:
  std::string& startMember(std::string_view name);

  std::string text_ = "{";
};

}  // namespace standin::rpc
