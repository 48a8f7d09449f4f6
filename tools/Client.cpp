#include "tools/Client.h"

#include <boost/asio/error.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <filesystem>
#include <iostream>
#include <istream>
#include <sstream>

#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"

namespace json = boost::json;

namespace tools {
namespace {

/// More than a daemon ever has unsent.
constexpr std::size_t longestLine = 64U << 20, mostWaiting = 64U << 20;

std::string secondsText(Duration duration) {
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
  constexpr std::int64_t tooManyConnections = -32000, stopping = -32001;
  const bool isAway = code == tooManyConnections || code == stopping;
  throw Failure{
      isAway ? exitNoDaemon : exitOtherResult,
      "the daemon refused the request: " + message + " (error " + std::to_string(code) + ")", code};
}

}  // namespace

Duration durationOf(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

Client::Client(std::string path, Duration timeout, bool verbose)
    : path_(std::move(path)), timeout_(timeout), verbose_(verbose) {
  stream_.expires_after(timeout_);
  try {
    stream_.connect(boost::asio::local::stream_protocol::endpoint(path_));
  } catch (const boost::system::system_error& error) {
    throw UsageError{"the socket path " + path_ + ": " + error.code().message()};
  }
  if (!stream_) notConnected();
}

void Client::notConnected() const {
  const boost::system::error_code error = stream_.error();
  if (isTimeout(error)) lost("connecting");
  if (error == boost::asio::error::access_denied) {
    throw Failure{exitNoDaemon, "the socket " + path_ + ": " + error.message() +
                                    "; root and the members of the group \"apps\" may use it"};
  }
  std::error_code ignored;
  const std::filesystem::path path(path_), folder = path.parent_path();
  if (std::filesystem::exists(path, ignored) && !std::filesystem::is_socket(path, ignored)) {
    throw Failure{exitNoDaemon, path_ + " is not a socket; name that of a daemon with --socket"};
  }
  std::string reason = error.message();
  if (!folder.empty() && !std::filesystem::exists(folder, ignored)) {
    reason = "there is no folder " + folder.string() +
             ", which a daemon needs: 'install -d -o apps -g apps " + folder.string() +
             "' makes it";
  }
  throw Failure{exitNoDaemon, "no daemon at " + path_ + ": " + reason +
                                  "; start one with 'systemctl start quorin', 'quorin' or './dev "
                                  "run', or name its socket with --socket"};
}

void Client::lost(const std::string& doing) const {
  if (isTimeout(stream_.error())) {
    throw Failure{exitTimedOut, doing + " took longer than " + secondsText(timeout_) +
                                    " s; --timeout allows more"};
  }
  throw Failure{exitNoDaemon, "the daemon at " + path_ + " closed the connection while " + doing};
}

std::optional<json::object> Client::readMessage(const std::string& doing) {
  // In pieces: std::getline has no limit.
  for (char piece[4096];;) {
    stream_.clear();
    stream_.get(piece, sizeof piece, '\n');
    line_.append(piece, static_cast<std::size_t>(stream_.gcount()));
    if (stream_.eof() || stream_.bad()) {
      if (isTimeout(stream_.error())) return std::nullopt;
      lost(doing);
    }
    stream_.clear();  // An empty piece is a failure to the stream.
    if (stream_.peek() == '\n') break;
    if (line_.size() > longestLine) nonsense("a line does not end");
  }
  stream_.ignore();
  const std::string line = std::exchange(line_, {});
  if (verbose_) std::cerr << "<-- " + escaped(line) + '\n' << std::flush;
  boost::system::error_code error;
  json::value value = json::parse(line, error);
  if (error) nonsense("it is not a JSON text");
  if (!value.is_object()) nonsense("it is not an object");
  return std::move(value.get_object());
}

json::object Client::call(std::string_view method, const json::object& params) {
  const std::int64_t id = ++lastId_;
  json::object request{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}};
  if (!params.empty()) request["params"] = params;
  const std::string line = json::serialize(request);
  if (verbose_) std::cerr << "--> " + escaped(line) + '\n' << std::flush;
  stream_.clear();
  stream_.expires_after(timeout_);
  stream_ << line << '\n' << std::flush;
  // A failed write is reported by the read: the daemon may have said why it closed.
  for (;;) {
    auto message = readMessage("waiting for the reply");
    if (!message) lost("waiting for the reply");
    json::object& reply = *message;
    if (reply.contains("method") && !reply.contains("id")) {
      notificationBytes_ += json::serialize(reply).size();
      if (notificationBytes_ > mostWaiting) nonsense("too many notifications come before it");
      notifications_.push_back(std::move(reply));
      continue;
    }
    if (const json::value* error = reply.if_contains("error")) {
      if (error->is_object()) refused(error->get_object());
      nonsense("error is not an object");
    }
    const std::int64_t answered = integerMember(reply, "id");
    // The reply to a call that was given up.
    if (answered > 0 && answered < id) continue;
    if (answered != id) nonsense("it answers another request");
    return objectMember(reply, "result");
  }
}

std::optional<json::object> Client::nextNotification(Deadline end) {
  if (!notifications_.empty()) {
    json::object first = std::move(notifications_.front());
    notifications_.pop_front();
    if (notifications_.empty()) notificationBytes_ = 0;
    return first;
  }
  for (;;) {
    stream_.clear();
    stream_.expires_at(end);
    auto message = readMessage("waiting for notifications");
    // Replies to calls that were given up are skipped.
    if (!message || message->contains("method") || !message->contains("id")) return message;
  }
}

}  // namespace tools
