// Starting the real programs as processes, and talking to the daemon's socket.
//
// What goes wrong in here is thrown, and so fails the test. A step that hangs fails after
// `longest`.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/datagram_protocol.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/json.hpp>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/harness/PrivateFolder.h"

namespace harness {

namespace json = boost::json;
using Protocol = boost::asio::local::stream_protocol;
using Clock = std::chrono::steady_clock;
using Strings = std::vector<std::string>;
using Names = std::set<std::string>;

/// A sanitizer makes the daemon many times slower, keeps what is freed, and needs terabytes of
/// addresses.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// Under a sanitizer on a loaded machine a step may take this long.
constexpr std::chrono::seconds longest{40};

/// Whether `condition` becomes true in time.
bool eventually(const std::function<bool()>& condition);

std::string fileContent(const std::string& path);

/// Of the file at the end of all links; zeros where there is none.
struct stat statusOf(const std::string& path);

/// The pieces of a text between separators.
Strings split(const std::string& text, char separator);

/// What the first group of `pattern` matches anywhere in a text.
Names allOf(const std::string& text, const std::string& pattern);

/// Whether `value` is as `expected` says: an object may have further members, and a string that
/// begins with a tilde is for every text that contains the rest of it.
bool matches(const json::value& value, const json::value& expected);

/// Parameters of a get whose answer is four rows.
const std::string stats5 = R"({"recordId":"0x111f000b"})";

/// The line of a request.
std::string request(int id, const std::string& method, const std::string& params = "{}");

/// What a program has left. `status` is the exit status, or minus the signal that killed it.
struct Outcome {
  int status = 0;
  std::string out, err;

  bool operator==(const Outcome&) const = default;
  friend std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << outcome.status << ", '" << outcome.out << "', '" << outcome.err << "'";
  }
};

/// A system call that the kernel is to refuse, and the errno that it gives.
struct Refusal {
  long call;
  int error;
};
using Refusals = std::vector<Refusal>;

/// A process whose output goes to files. Killed with the object, if it still runs.
class Process {
 public:
  /// `commandLine` is for `env`, read by a shell that expands no file names.
  Process(const std::string& commandLine, const std::string& outputPath, const Refusals& refusals);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const { ::kill(pid_, number); }
  bool ended();
  Outcome wait();
  /// A number of its /proc/PID/status, in the unit of that file.
  long status(const std::string& name) const;
  /// Processor time, in ticks of a hundredth of a second.
  long processorTicks() const;
  std::ptrdiff_t descriptors() const;
  std::string out() const { return fileContent(outputPath_ + ".out"); }
  std::string err() const { return fileContent(outputPath_ + ".err"); }

 private:
  std::string outputPath_;
  pid_t pid_ = 0;
  std::optional<int> waitStatus_;
};

/// One connection to a socket, line by line.
class Client {
 public:
  /// Null when nobody listens at the path.
  static std::unique_ptr<Client> connectTo(const std::string& path);

  /// Sends the bytes as they are. A peer that closes meanwhile is no error.
  void sendBytes(std::string_view bytes);
  void send(std::string_view line) { sendBytes(std::string(line) + '\n'); }
  /// Sends what the peer takes until it takes nothing for a while; returns how many bytes.
  std::size_t sendUntilFull(std::string_view bytes);
  int descriptor() { return stream_.socket().native_handle(); }
  void endInput() { stream_.socket().shutdown(Protocol::socket::shutdown_send); }

  /// Empty at the end of the connection; a reset is thrown.
  std::string readLine();
  json::object readObject();

  void request(int id, const std::string& method, const std::string& params = "{}") {
    send(harness::request(id, method, params));
  }
  /// A request's whole reply. Notifications that come before it are kept.
  json::object call(const std::string& method, const std::string& params = "{}");
  /// The same, but the result member of the reply.
  json::object result(const std::string& method, const std::string& params = "{}") {
    return call(method, params).at("result").as_object();
  }
  /// The oldest notification: its method, a blank, its parameters.
  std::string notification();

 private:
  Protocol::iostream stream_;
  int lastId_ = 1000;
  std::vector<json::object> notifications_;
};

/// Plays the service manager: what a process tells it comes to the socket at `path`.
class ServiceManager {
 public:
  explicit ServiceManager(const std::string& path);

  /// The oldest message; with MSG_DONTWAIT empty where there is none yet.
  std::string told(int flags = 0);

 private:
  boost::asio::io_context loop_;
  boost::asio::local::datagram_protocol::socket socket_;
};

/// Owns a private directory that the daemon may use, and one daemon in it.
class SystemTest : public testing::Test {
 protected:
  void SetUp() override;

  std::string path(const std::string& name) const { return folder_.path(name); }
  std::unique_ptr<Client> connect() const;

  /// Starts a daemon, in place of an earlier one, and connects to it.
  void start(const std::string& options, const std::string& environment = {});
  /// Expects that a daemon ends by itself with nothing but `out` and, on standard error, `reason`.
  void expectRefused(const std::string& options, const std::string& environment,
                     const std::string& reason, const std::string& out = {});
  Outcome oamctl(const std::string& options) {
    return launch(OAMCTL_PROGRAM " " + options)->wait();
  }
  std::unique_ptr<Process> launch(const std::string& commandLine,
                                  const std::string& environment = {});

  /// Expects that status is answered at once, while something is held up that stays so.
  void expectPromptStatus(Client& by);
  /// Has the lines of `script` with the daemon; a line that begins with a blank goes on with the
  /// one before. `METHOD PARAMETERS -> REPLY` expects that the reply's result, or its error,
  /// matches; `> LINE -> REPLY` sends a line as it is; `<- METHOD PARAMETERS` is the next
  /// notification.
  void converse(const std::string& script);
  /// Runs oamctl for each line that begins with `$ `, and expects what follows it until the
  /// next, standard output before standard error, with TIME for a time and `N us` for a duration;
  /// `exit status N` at the end where that is not 0.
  void expectTranscript(const std::string& script);

 private:
  const PrivateFolder folder_;
  int processes_ = 0;

 protected:
  const std::string socketPath = folder_.socketPath();
  /// Of every process that is launched from now on.
  Refusals refusals;
  std::unique_ptr<Process> daemon;
  std::unique_ptr<Client> client;
};

}  // namespace harness
