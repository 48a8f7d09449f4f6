// What oamctl makes of whatever a daemon replies.
//
// Input: a letter that chooses the command, in upper case with --json; then all that the daemon
// sends before it hangs up.
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <boost/json/parse.hpp>
#include <cctype>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

#include "tests/fuzz/Input.h"
#include "tests/harness/PrivateFolder.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"

namespace asio = boost::asio;

namespace fuzz {
namespace {

/// A daemon that sends the same to everyone, whatever is asked, on a thread of its own.
class Server {
 public:
  ~Server() {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    Protocol::socket(loop_).connect(path());  // ends the waiting
    thread_.join();
  }

  std::string path() const { return folder_.socketPath(); }
  void answerWith(std::string bytes) {
    const std::lock_guard lock(mutex_);
    bytes_ = std::move(bytes);
  }

 private:
  using Protocol = asio::local::stream_protocol;

  void serve() {
    for (;;) {
      Protocol::socket socket = acceptor_.accept();
      const std::lock_guard lock(mutex_);
      if (stopping_) return;
      boost::system::error_code ignored;
      asio::write(socket, asio::buffer(bytes_), ignored);
    }
  }

  PrivateFolder folder_;
  asio::io_context loop_;
  Protocol::acceptor acceptor_{loop_, Protocol::endpoint(path())};
  std::mutex mutex_;
  std::string bytes_;
  bool stopping_ = false;
  std::thread thread_{[this] { serve(); }};
};

constexpr const char* commandLines[] = {
    "status",
    "get Test3-Prov1",
    "get Test3-Stats3 sfn=1 sf=2",
    "get-keys Test3-Stats9 --all",
    "get-keys Test3-Prov1",
    "set Test3-Action2 testRun=1 --transaction=7 --wait-deferred=1",
    "notify Test3-Prov2",
    "clear Test3-Stats4",
    "init-prov-complete",
    "svc-reg",
    "svc-reg result 12 0 0x111d",
    "set-ind-result 1 0",
    "monitor --count=2",
};

struct CommandLine {
  CommandLine(const char* line, bool json, const std::string& socket) {
    std::istringstream text(line);
    std::string name;
    text >> name;
    for (const tools::Command& one : tools::commands()) {
      if (name == one.name) command = &one;
    }
    const auto setOption = [&](const std::string& option, const std::string& value) {
      invocation.options.emplace(option, boost::program_options::variable_value(value, false));
    };
    for (std::string word; text >> word;) {
      const std::size_t equals = word.find('=');
      if (!word.starts_with("--")) {
        invocation.words.push_back(word);
      } else if (equals != std::string::npos) {
        setOption(word.substr(2, equals - 2), word.substr(equals + 1));
      } else {
        setOption(word.substr(2), "");
      }
    }
    setOption("socket", socket);
    setOption("timeout", "5");
    invocation.json = json;
  }

  const tools::Command* command = nullptr;
  tools::Invocation invocation;
};

/// What is written to a stream while it exists.
class Capture {
 public:
  explicit Capture(std::ostream& stream) : stream_(stream), old_(stream.rdbuf(text_.rdbuf())) {}
  ~Capture() { stream_.rdbuf(old_); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::ostream& stream_;
  std::streambuf* old_;
};

/// The number of lines, each of which must be a JSON text.
std::size_t jsonLines(const std::string& output) {
  std::istringstream lines(output);
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    boost::json::error_code error;
    boost::json::parse(line, error);
    expect(!error, "--json prints JSON and nothing else");
  }
  return count;
}

void check(const CommandLine& line) {
  const Capture output(std::cout), errors(std::cerr);
  const bool isMonitor = line.invocation.words.empty() && line.invocation.has("count");
  bool finished = true;
  try {
    const int status = line.command->run(line.invocation);
    expect(status == tools::exitSuccess || status == tools::exitOtherResult,
           "a command that ends tells of success or of another result");
    expect(!output.text().empty(), "a command that ends prints what it learnt");
  } catch (const tools::Failure& failure) {
    finished = false;
    expect(failure.exitStatus >= tools::exitUsage && failure.exitStatus <= tools::exitNonsense &&
               !failure.message.empty(),
           "a failure has a status of its own and says why");
  }
  if (!line.invocation.json) return;
  const std::size_t count = jsonLines(output.text());
  expect(isMonitor || count == (finished ? 1 : 0), "--json prints one text, or none on failure");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static fuzz::Server server;
  fuzz::Input input(bytes, count);
  const std::uint8_t letter = input.byte();
  server.answerWith(input.text());
  fuzz::check({fuzz::commandLines[static_cast<std::uint8_t>((letter | 0x20) - 'a') %
                                  std::size(fuzz::commandLines)],
               std::isupper(letter) != 0, server.path()});
  return 0;
}
