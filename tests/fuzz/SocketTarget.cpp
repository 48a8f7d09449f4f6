// Lines of a client to a daemon that runs in this process, over the real socket.
//
// Input: the lines, as they are sent. They are sent at once over a connection that stays, followed
// by a request of this program. The daemon keeps what the inputs before have done, but for the
// faults that they have added, so a finding that depends on them does not come back by itself.
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <csignal>
#include <future>
#include <optional>
#include <thread>

#include "app/Quorin.h"
#include "platform/LogStream.h"
#include "tests/fuzz/Input.h"
#include "tests/harness/LineClient.h"
#include "tests/harness/PrivateFolder.h"

namespace json = boost::json;

namespace fuzz {
namespace {

/// The daemon, made, run and destroyed on a thread that is its main thread.
class Daemon {
 public:
  Daemon() {
    // The daemon takes signals that are the fuzzer's.
    constexpr int fuzzers[] = {SIGINT, SIGTERM, SIGALRM};
    struct sigaction kept[std::size(fuzzers)];
    for (std::size_t i = 0; i < std::size(kept); ++i) ::sigaction(fuzzers[i], nullptr, &kept[i]);
    // Its console and log lines are not what is looked at.
    expect(std::freopen("/dev/null", "w", stdout) != nullptr, "there is /dev/null");
    zelLogLevelThreshold = 0;
    ::setenv("KOR_OAM_SOCKET", path().c_str(), 1);
    thread_ = std::thread([this] { run(); });
    expect(started_.get_future().get(), "the daemon starts");
    for (std::size_t i = 0; i < std::size(kept); ++i) ::sigaction(fuzzers[i], &kept[i], nullptr);
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

void checkReply(const json::value& reply) {
  const json::object* object = reply.if_object();
  expect(object != nullptr && object->size() == 3 && object->contains("id") &&
             object->contains("jsonrpc") && object->at("jsonrpc") == "2.0",
         "a reply has a version, an id, and a result or an error");
  const json::value* error = object->if_contains("error");
  if (error == nullptr) {
    expect(object->contains("result") && object->at("result").is_object(), "a result is an object");
  } else {
    expect(error->is_object() && error->get_object().size() == 2 && error->at("code").is_int64() &&
               error->at("message").is_string(),
           "an error has a code and a message");
  }
}

class Client {
 public:
  explicit Client(const std::string& path) : path_(path) {}

  void check(std::string lines) {
    if (lines.find("delayMilliseconds") != std::string::npos) return;  // it may be an hour
    if (!lines.empty() && lines.back() != '\n') lines += '\n';
    // The next input finds a connection as new.
    const std::string id = "the last of input " + std::to_string(++lastId_);
    const json::object last{{"jsonrpc", "2.0"}, {"id", id}, {"method", "unsubscribe"}};
    connection_->send(R"({"jsonrpc":"2.0","method":"faultRemove"})"
                      "\n" +
                      lines + json::serialize(last) + '\n');
    for (;;) {
      const std::optional<json::value> message = nextReply();
      if (!message) return checkCutOff();
      const json::array* batch = message->if_array();
      if (batch == nullptr) {
        checkReply(*message);
        if (message->at("id") == json::value(id)) return;
        continue;
      }
      expect(!batch->empty(), "a batch without replies has no line");
      for (const json::value& reply : *batch) checkReply(reply);
    }
  }

 private:
  /// The next message that is not a notification; nothing at the end of the connection.
  std::optional<json::value> nextReply() {
    // What hangs is the fuzzer's, or the test's, to notice.
    while (const auto line = connection_->awaitLine(-1)) {
      json::error_code error;
      json::value message = json::parse(*line, error);
      expect(!error, "whatever is sent is JSON");
      if (message.is_array() || !message.as_object().contains("method")) return message;
    }
    return std::nullopt;
  }

  /// A connection ends only at a limit, or by a fault.
  void checkCutOff() {
    connection_.emplace(path_);
    connection_->send(R"({"jsonrpc":"2.0","id":0,"method":"status"})"
                      "\n"
                      R"({"jsonrpc":"2.0","id":0,"method":"faultRemove"})"
                      "\n");
    const std::optional<json::value> status = nextReply(), faults = nextReply();
    expect(faults.has_value(), "a new connection is served");
    const std::int64_t before = std::exchange(
        cutOff_, status->at("result").at("counters").at("connections").at("cutOff").as_int64());
    expect(cutOff_ == before + 1 || faults->at("result").at("removed").as_int64() != 0,
           "a connection that ends has been cut off");
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
