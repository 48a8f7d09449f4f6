// JSON-RPC 2.0: reading a line of requests, writing replies and notifications.
#pragma once

#include <array>
#include <boost/json/monotonic_resource.hpp>
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

/// One request of a line, whose memory it refers to. Without `wantsReply` it is a notification;
/// `error` is set, with a code other than 0, when it is no valid request.
struct Request {
  bool wantsReply = true;
  std::string id = "null";  ///< JSON text
  std::string_view method;
  const boost::json::object* params = nullptr;  ///< null where there are none
  bool positionalParams = false;                ///< given as a list, which no method takes
  Error error{};
};

/// The requests of a line: one, or those of a batch.
class Line {
 public:
  /// Never fails: what is wrong with a request stands in it.
  explicit Line(std::string_view text);
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  bool batch = false;
  std::vector<Request> requests;

 private:
  std::array<unsigned char, 2048> few_;  ///< enough for most lines
  boost::json::monotonic_resource memory_{few_.data(), few_.size()};
  boost::json::value document_;
};

/// The reply to a request that failed; `id` is a JSON text.
std::string errorReply(std::string_view id, const Error& error);
/// A notification, with its line end.
std::string notificationLine(std::string_view method, std::string_view params);

/// Appends `text` as a JSON string in quotes. Bytes that are no UTF-8 become U+FFFD.
void appendQuoted(std::string& out, std::string_view text);

/// Builds the text of a JSON object, member by member.
class ObjectText {
 public:
  ObjectText() = default;
  /// The reply to a request: its result is the object that is built. `id` is a JSON text.
  static ObjectText result(std::string_view id);

  ObjectText& add(std::string_view name, std::int64_t number);
  ObjectText& add(std::string_view name, bool truth);
  ObjectText& add(std::string_view name, std::string_view text);
  ObjectText& add(std::string_view name, const char* text) {
    return add(name, std::string_view(text));
  }
  /// `json` is a JSON text.
  ObjectText& addJson(std::string_view name, std::string_view json);
  /// An array of `count` JSON texts: `append(text, i)` appends the one with the number `i`.
  template <typename Append>
  ObjectText& addArray(std::string_view name, std::size_t count, Append&& append) {
    startMember(name) += '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) text_ += ',';
      const std::size_t begin = text_.size();
      append(text_, i);
      // Elements of one array are much alike: room for all of them at once.
      if (i == 0) text_.reserve(text_.size() + count * (text_.size() - begin + 1));
    }
    text_ += ']';
    return *this;
  }
  /// The finished text; the builder is empty afterwards.
  std::string take();

 private:
  std::string& startMember(std::string_view name);

  std::string text_ = "{";
  bool first_ = true;      ///< no member yet
  bool isResult_ = false;  ///< the object stands in a reply
};

}  // namespace standin::rpc
