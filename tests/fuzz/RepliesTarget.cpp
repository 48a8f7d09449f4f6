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
#include "tools/CommandLine.h"
#include "tools/ExitStatus.h"

namespace asio = boost::asio;

namespace fuzz {
namespace {

/// A daemon that sends the same to everyone, whatever is asked, on a thread of its own.
class Server {
 public:
  ~Server() {
    thread_.request_stop();
    Protocol::socket(loop_).connect(path());  // ends the waiting
  }

  std::string path() const { return folder_.socketPath(); }
  void answerWith(std::string bytes) {
    const std::lock_guard lock(mutex_);
    bytes_ = std::move(bytes);
  }

 private:
  using Protocol = asio::local::stream_protocol;

  void serve(const std::stop_token& stop) {
    for (;;) {
      Protocol::socket socket = acceptor_.accept();
      const std::lock_guard lock(mutex_);
      if (stop.stop_requested()) return;
      boost::system::error_code ignored;
      asio::write(socket, asio::buffer(bytes_), ignored);
    }
  }

  PrivateFolder folder_;
  asio::io_context loop_;
  Protocol::acceptor acceptor_{loop_, Protocol::endpoint(path())};
  std::mutex mutex_;
  std::string bytes_;
  std::jthread thread_{[this](const std::stop_token& stop) { serve(stop); }};
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
    "monitor --requests --count=2",
    "journal",
    "advance 3",
    "fault list",
    "fault remove",
    "call status"};

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

void check(const std::string& line, bool json, const std::string& socket) {
  std::istringstream text(line);
  tools::Words words{"--socket", socket, "--timeout", "5"};
  if (json) words.push_back("--json");
  for (std::string word; text >> word;) words.push_back(word);
  tools::Connection connection;
  std::stringbuf output, errors;
  auto* const out = std::cout.rdbuf(&output);
  auto* const err = std::cerr.rdbuf(&errors);
  const int status = tools::run(words, connection);
  std::cout.rdbuf(out);
  std::cerr.rdbuf(err);
  const bool isMonitor = line.starts_with("monitor");
  expect(
      status >= tools::exitSuccess && status <= tools::exitNonsense && status != tools::exitUsage,
      "a command ends with a status of its own");
  expect(status <= tools::exitOtherResult || !errors.str().empty(), "a failure says why");
  expect(isMonitor || status != tools::exitSuccess || !output.str().empty(),
         "a command that ends prints what it learned");
  for (const char byte : output.str() + errors.str()) {
    expect(json || byte == '\n' || static_cast<unsigned char>(byte) >= 0x20,
           "no control character reaches a terminal");
  }
  if (json) expect(jsonLines(output.str()) == 1 || isMonitor, "--json prints one text");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static fuzz::Server server;
  fuzz::Input input(bytes, count);
  const std::uint8_t letter = input.byte();
  server.answerWith(input.text());
  const auto number = static_cast<std::uint8_t>((letter | 0x20) - 'a');
  fuzz::check(fuzz::commandLines[number % std::size(fuzz::commandLines)], std::isupper(letter) != 0,
              server.path());
  return 0;
}
