// JSON-RPC 2.0: what a request says, and what is said to a client.
#pragma once

#include <string>
#include <string_view>

#include "standin/JsonDocument.h"

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
  ErrorCode code{};
  std::string message;
};

/// One request. It refers to the document that it was read from.
struct Request {
  bool wantsReply = true;         ///< false for a notification
  const JsonValue* id = nullptr;  ///< null also where none can be told
  std::string_view method;
  const JsonValue* params = nullptr;  ///< null where there are none
  Error error;                        ///< with a code other than 0 it is not a valid request
};

/// Reads a request.
Request readRequest(const JsonValue& value);

/// The error of a text that the document could not parse.
Error errorOf(JsonDocument::Outcome outcome, const JsonDocument& document);

/// A name that a client gave, cut to what a message should hold.
std::string shown(std::string_view name);

/// Appends the beginning of a reply; `null` for an id that is not known. The value of `result` or
/// `error` follows, and a closing brace.
void startReply(std::string& out, std::string_view id, std::string_view member);
/// Appends the value of `error`.
void appendError(std::string& out, const Error& error);
/// Appends the reply to a request that failed, without a line end.
void appendErrorReply(std::string& out, std::string_view id, const Error& error);
/// Appends a notification's line.
void appendNotification(std::string& out, std::string_view method, std::string_view params);

}  // namespace standin::rpc
