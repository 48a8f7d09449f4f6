// Lines of a client to a daemon that runs in this process, behind the real socket.
//
// Input: the lines, as they are sent. They are sent at once over a connection that stays, with a
// last request of this program's behind them. The daemon keeps what the inputs before have done,
// so a finding that depends on them does not come back by itself.
#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <csignal>
#include <future>
#include <optional>
#include <thread>

#include "app/Quorin.h"
#include "platform/LogStream.h"
#include "standin/JsonRpc.h"
#include "standin/Limits.h"
#include "tests/fuzz/Input.h"
#include "tests/harness/LineClient.h"
#include "tests/harness/PrivateFolder.h"

namespace json = boost::json;

namespace fuzz {
namespace {

/// Is as it was before once this ends: the daemon takes signals that are the fuzzer's.
class KeptSignals {
 public:
  KeptSignals() {
    for (std::size_t i = 0; i < kept.size(); ++i) ::sigaction(kept[i], nullptr, &actions_[i]);
  }
  ~KeptSignals() {
    for (std::size_t i = 0; i < kept.size(); ++i) ::sigaction(kept[i], &actions_[i], nullptr);
  }
  KeptSignals(const KeptSignals&) = delete;
  KeptSignals& operator=(const KeptSignals&) = delete;

 private:
  static constexpr std::array<int, 2> kept = {SIGINT, SIGTERM};
  std::array<struct sigaction, kept.size()> actions_{};
};

/// The daemon, made, run and destroyed on a thread that is its main thread.
class Daemon {
 public:
  Daemon() {
    const KeptSignals kept;
    // Its console and log lines are not what is looked at.
    expect(std::freopen("/dev/null", "w", stdout) != nullptr, "there is /dev/null");
    zelLogLevelThreshold = 0;
    ::setenv("KOR_OAM_SOCKET", path().c_str(), 1);
    thread_ = std::thread([this] { run(); });
    expect(started_.get_future().get(), "the daemon starts");
  }
  ~Daemon() {
    Zel::Process::instance()->halt();
    thread_.join();
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  std::string path() const { return folder_.socketPath(); }

 private:
  void run() {
    std::string words[] = {"quorin", "--quiet", "--group=0x111d:0x111e:0x111f:0x0801"};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    Quorin quorin(static_cast<int>(std::size(words)), arguments);
    started_.set_value(quorin.isGood());
    if (quorin.isGood()) quorin();
  }

  PrivateFolder folder_;
  std::promise<bool> started_;
  std::thread thread_;
};

/// The next line; nothing at the end of the connection. What hangs is the fuzzer's, or the test's,
/// to notice.
std::optional<std::string_view> readLine(LineClient& link) {
  for (;;) {
    if (const auto line = link.nextLine()) return line;
    link.wait(-1);
    if (!link.transfer()) return link.nextLine();
  }
}

/// A reply that must come: to which id, and with which error where that is settled by the line.
struct Reply {
  json::value id;
  std::int64_t error = 0;
};

/// What must come for one line, if anything: one reply, or a list of them.
struct Answer {
  bool batch = false;
  std::vector<Reply> replies;
};

using namespace standin::rpc;
using standin::maxNesting;

/// Appends the reply to one request; nothing for a notification.
void expectReply(const json::value& request, std::vector<Reply>& replies) {
  const json::object* object = request.if_object();
  const json::value* id = object == nullptr ? nullptr : object->if_contains("id");
  if (object == nullptr ||
      (id != nullptr && (id->is_double() || id->is_bool() || id->is_structured()))) {
    return replies.push_back({nullptr, invalidRequest});
  }
  const json::value* params = object->if_contains("params");
  const json::value* method = object->if_contains("method");
  const json::value* version = object->if_contains("jsonrpc");
  if (version == nullptr || *version != "2.0" || method == nullptr || !method->is_string() ||
      (params != nullptr && !params->is_structured())) {
    return replies.push_back({id == nullptr ? json::value() : *id, invalidRequest});
  }
  if (id != nullptr) replies.push_back({*id});
}

/// Parses a line that may be nested as deep as given.
std::optional<json::value> parsed(std::string_view line, unsigned int depth) {
  json::parse_options options;
  options.max_depth = depth;
  json::error_code error;
  json::value value = json::parse(line, error, {}, options);
  return error ? std::nullopt : std::optional(std::move(value));
}

Answer answerTo(std::string_view line) {
  // The list around a batch is not counted.
  const auto value = parsed(line, maxNesting + 1);
  Answer answer;
  if (const json::array* batch = value ? value->if_array() : nullptr) {
    if (batch->empty() || batch->size() > standin::maxBatch)
      return {false, {{nullptr, invalidRequest}}};
    answer.batch = true;
    for (const json::value& request : *batch) expectReply(request, answer.replies);
  } else if (value && parsed(line, maxNesting)) {
    expectReply(*value, answer.replies);
  } else {
    answer.replies.push_back({nullptr, notJson});
  }
  return answer;
}

void checkError(const json::value& error, std::int64_t expected) {
  const json::object* object = error.if_object();
  expect(object != nullptr && object->size() == 2 && object->contains("code") &&
             object->contains("message") && object->at("message").is_string(),
         "an error has a code and a message");
  const json::value& code = object->at("code");
  expect(expected != 0 ? code == expected : code == unknownMethod || code == badParameters,
         "the error is that of the request");
}

void checkReply(const json::value& reply, const Reply& expected) {
  const json::object* object = reply.if_object();
  expect(object != nullptr && object->size() == 3 && object->contains("jsonrpc") &&
             object->at("jsonrpc") == "2.0" && object->contains("id"),
         "a reply has a version, an id, and a result or an error");
  expect(object->at("id") == expected.id, "replies come in the order of the requests");
  if (const json::value* error = object->if_contains("error")) {
    return checkError(*error, expected.error);
  }
  expect(expected.error == 0 && object->contains("result") && object->at("result").is_object(),
         "only a request that can be served has a result");
}

bool isNotification(const json::value& message) {
  const json::object* object = message.if_object();
  return object != nullptr && object->contains("method") && !object->contains("id");
}

class Client {
 public:
  explicit Client(const std::string& path) : path_(path) {}

  void check(std::string lines) {
    if (!lines.empty() && lines.back() != '\n') lines += '\n';
    std::vector<Answer> answers;
    for (const std::string& line : between(lines, '\n')) answers.push_back(answerTo(line));
    answers.pop_back();  // behind the last line end
    // The next input finds a connection as new.
    const std::int64_t id = ++lastId_;
    json::object last{{"jsonrpc", "2.0"}, {"id", id}, {"method", "unsubscribe"}};
    answers.push_back({false, {{id}}});
    connection_->send(lines + json::serialize(last) + '\n');
    for (const Answer& answer : answers) {
      if (answer.replies.empty()) continue;
      std::optional<json::value> message = nextReply();
      if (!message) return checkCutOff();
      if (!answer.batch) {
        checkReply(*message, answer.replies.front());
        continue;
      }
      const json::array* batch = message->if_array();
      expect(batch != nullptr && batch->size() == answer.replies.size(),
             "a batch is answered by a list with a reply for each request");
      for (std::size_t i = 0; i < batch->size(); ++i) checkReply((*batch)[i], answer.replies[i]);
    }
  }

 private:
  /// The next message that is no notification; nothing at the end of the connection.
  std::optional<json::value> nextReply() {
    while (const auto line = readLine(*connection_)) {
      std::optional<json::value> message = parsed(*line, maxNesting);
      expect(message.has_value(), "whatever is sent is JSON");
      if (!isNotification(*message)) return message;
    }
    return std::nullopt;
  }

  /// A connection ends only where more replies were owed at once than are kept for it.
  void checkCutOff() {
    connection_.emplace(path_);
    connection_->send(R"({"jsonrpc":"2.0","id":0,"method":"status"})"
                      "\n");
    const std::optional<json::value> status = nextReply();
    expect(status.has_value(), "a new connection is served");
    const std::int64_t cutOff =
        status->at("result").at("counters").at("connections").at("cutOff").as_int64();
    expect(cutOff == ++cutOff_, "a connection that ends has been cut off");
  }

  const std::string path_;
  std::optional<LineClient> connection_{path_};
  std::int64_t lastId_ = 0;
  std::int64_t cutOff_ = 0;
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const fuzz::Daemon daemon;
  static fuzz::Client client(daemon.path());
  client.check(fuzz::Input(bytes, count).text());
  return 0;
}
