#include "tools/Client.h"

#include <boost/asio/error.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <istream>
#include <sstream>

#include "tools/ExitStatus.h"
#include "tools/Members.h"

namespace json = boost::json;

namespace tools {
namespace {

std::string secondsText(Client::Duration duration) {
  std::ostringstream text;
  text << std::chrono::duration<double>(duration).count();
  return text.str();
}

bool isTimeout(const boost::system::error_code& error) {
  return error == boost::asio::error::operation_aborted || error == boost::asio::error::timed_out;
}

[[noreturn]] void refused(const json::object& error) {
  const std::int64_t code = integerMember(error, "code");
  const std::string message = textMember(error, "message");
  constexpr std::int64_t badParameters = -32602, tooManyConnections = -32000, stopping = -32001;
  const int status = code == badParameters                            ? exitUsage
                     : code == tooManyConnections || code == stopping ? exitNoDaemon
                                                                      : exitNonsense;
  throw Failure{status, "the daemon refused the request: " + message + " (error " +
                            std::to_string(code) + ")"};
}

}  // namespace

Client::Client(std::string path, Duration timeout) : path_(std::move(path)), timeout_(timeout) {
  stream_.expires_after(timeout_);
  try {
    stream_.connect(boost::asio::local::stream_protocol::endpoint(path_));
  } catch (const boost::system::system_error& error) {
    throw Failure{exitUsage, "the socket path " + path_ + ": " + error.code().message()};
  }
  if (!stream_) lost("connecting");
}

void Client::lost(const std::string& doing) const {
  const boost::system::error_code error = stream_.error();
  if (isTimeout(error)) {
    throw Failure{exitTimedOut, doing + " took longer than " + secondsText(timeout_) +
                                    " s; --timeout allows more"};
  }
  if (doing == "connecting") {
    if (error == boost::asio::error::access_denied) {
      throw Failure{exitNoDaemon, "the socket " + path_ + ": " + error.message() +
                                      "; root and the members of the group \"apps\" may use it"};
    }
    throw Failure{exitNoDaemon, "no daemon at " + path_ + ": " + error.message() +
                                    "; start one with 'systemctl start quorin', 'quorin' or "
                                    "'./dev run', or name its socket with --socket"};
  }
  throw Failure{exitNoDaemon, "the daemon at " + path_ + " closed the connection while " + doing};
}

json::object Client::readMessage(std::string_view waitingFor) {
  std::string line;
  if (!std::getline(stream_, line)) lost("waiting for " + std::string(waitingFor));
  boost::system::error_code error;
  json::value value = json::parse(line, error);
  if (error) nonsense("it is no JSON text");
  if (!value.is_object()) nonsense("it is no object");
  return std::move(value.get_object());
}

json::object Client::call(std::string_view method, const json::object& params) {
  const std::int64_t id = ++lastId_;
  json::object request{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}};
  if (!params.empty()) request["params"] = params;
  stream_.expires_after(timeout_);
  stream_ << json::serialize(request) << '\n' << std::flush;
  // A failed write is reported by the read: the daemon may have said why it closed.
  stream_.clear();
  for (;;) {
    json::object reply = readMessage("the reply");
    if (reply.contains("method") && !reply.contains("id")) {
      notifications_.push_back(std::move(reply));
      continue;
    }
    if (const json::value* error = reply.if_contains("error")) {
      if (error->is_object()) refused(error->get_object());
      nonsense("error is no object");
    }
    if (integerMember(reply, "id") != id) nonsense("it answers another request");
    return objectMember(reply, "result");
  }
}

std::optional<json::object> Client::nextNotification(Duration wait) {
  if (!notifications_.empty()) {
    json::object first = std::move(notifications_.front());
    notifications_.pop_front();
    return first;
  }
  stream_.expires_after(wait);
  // What is buffered is whole lines or the beginning of one.
  std::string line;
  if (!std::getline(stream_, line)) {
    if (isTimeout(stream_.error())) return std::nullopt;
    lost("waiting for notifications");
  }
  boost::system::error_code error;
  json::value value = json::parse(line, error);
  if (error || !value.is_object()) nonsense("a notification is no JSON object");
  return std::move(value.get_object());
}

}  // namespace tools
