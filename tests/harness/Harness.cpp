#include "Harness.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace harness {

bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + longest;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string fileContent(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  ::stat(path.c_str(), &status);
  return status;
}

Strings split(const std::string& text, char separator) {
  Strings pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) pieces.push_back(piece);
  return pieces;
}

Names allOf(const std::string& text, const std::string& pattern) {
  Names names;
  const std::regex name(pattern);
  for (std::sregex_iterator found(text.begin(), text.end(), name), end; found != end; ++found) {
    names.insert(found->str(1));
  }
  return names;
}

std::string request(int id, const std::string& method, const std::string& params) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":")" + method +
         R"(","params":)" + params + "}";
}

bool matches(const json::value& value, const json::value& expected) {
  if (value.is_object() && expected.is_object()) {
    const json::object& members = value.get_object();
    for (const auto& [name, member] : expected.get_object()) {
      if (!members.contains(name) || !matches(members.at(name), member)) return false;
    }
    return true;
  }
  if (value.is_string() && expected.is_string() && expected.get_string().starts_with('~')) {
    return value.get_string().find(expected.get_string().subview(1)) != json::string::npos;
  }
  return value == expected;
}

namespace {

// Lets the kernel refuse system calls of this process and of those that it becomes or starts.
void refuse(const Refusals& refusals) {
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const Refusal& refusal : refusals) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, std::uint32_t(refusal.call), 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | std::uint32_t(refusal.error)));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    ::_exit(126);
  }
}

}  // namespace

Process::Process(const std::string& commandLine, const std::string& outputPath,
                 const Refusals& refusals)
    : outputPath_(outputPath) {
  const std::string script = "set -f; exec env " + commandLine + " </dev/null >" + outputPath_ +
                             ".out 2>" + outputPath_ + ".err";
  pid_ = ::fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ != 0) return;
  if (!refusals.empty()) refuse(refusals);
  ::execlp("sh", "sh", "-c", script.c_str(), nullptr);
  ::_exit(127);
}

Process::~Process() {
  if (ended()) return;
  signal(SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

bool Process::ended() {
  int status = 0;
  if (!waitStatus_ && ::waitpid(pid_, &status, WNOHANG) == pid_) waitStatus_ = status;
  return waitStatus_.has_value();
}

Outcome Process::wait() {
  if (!eventually([&] { return ended(); })) throw std::runtime_error("the process does not end");
  const int status = *waitStatus_;
  return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), out(), err()};
}

long Process::status(const std::string& name) const {
  const std::string all = fileContent("/proc/" + std::to_string(pid_) + "/status");
  const std::size_t at = all.find("\n" + name + ":");
  return at == std::string::npos ? -1 : std::stol(all.substr(at + name.size() + 2));
}

long Process::processorTicks() const {
  const std::string stat = fileContent("/proc/" + std::to_string(pid_) + "/stat");
  const Strings fields = split(stat.substr(stat.rfind(')')), ' ');
  return std::stol(fields.at(12)) + std::stol(fields.at(13));
}

std::ptrdiff_t Process::descriptors() const {
  const std::filesystem::directory_iterator all("/proc/" + std::to_string(pid_) + "/fd");
  return std::distance(begin(all), end(all));
}

std::unique_ptr<Client> Client::connectTo(const std::string& path) {
  auto client = std::make_unique<Client>();
  client->stream_.expires_after(longest);
  client->stream_.connect(Protocol::endpoint(path));
  return client->stream_ ? std::move(client) : nullptr;
}

void Client::sendBytes(std::string_view bytes) {
  stream_.expires_after(longest);
  stream_ << bytes << std::flush;
  stream_.clear();
}

std::size_t Client::sendUntilFull(std::string_view bytes) {
  std::size_t sent = 0;
  for (int pauses = 0; sent < bytes.size() && pauses < 10;) {
    const ssize_t count =
        ::send(descriptor(), bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
      pauses = 0;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
      ++pauses;
    }
  }
  return sent;
}

std::string Client::readLine() {
  stream_.expires_after(longest);
  std::string line;
  std::getline(stream_, line);
  if (stream_.error() == boost::asio::error::timed_out) throw std::runtime_error("no line comes");
  if (stream_.error() == boost::asio::error::connection_reset) {
    throw std::runtime_error("the connection is reset");
  }
  return line;
}

json::object Client::readObject() {
  const std::string line = readLine();
  if (line.empty()) throw std::runtime_error("the connection ends instead of a line");
  return json::parse(line).as_object();
}

json::object Client::call(const std::string& method, const std::string& params) {
  request(++lastId_, method, params);
  for (;;) {
    json::object message = readObject();
    if (message.contains("id")) {
      if (message["id"] != lastId_) throw std::runtime_error("a reply to another request");
      return message;
    }
    notifications_.push_back(std::move(message));
  }
}

std::string Client::notification() {
  if (notifications_.empty()) notifications_.push_back(readObject());
  const json::object message = notifications_.front();
  notifications_.erase(notifications_.begin());
  return std::string(message.at("method").as_string()) + " " +
         json::serialize(message.at("params"));
}

ServiceManager::ServiceManager(const std::string& path)
    : socket_(loop_, boost::asio::local::datagram_protocol::endpoint(path)) {
  const timeval patience{longest.count(), 0};
  if (::chmod(path.c_str(), 0777) != 0 ||
      ::setsockopt(socket_.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) !=
          0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

std::string ServiceManager::told(int flags) {
  char text[200];
  const ssize_t bytes = ::recv(socket_.native_handle(), text, sizeof text, flags);
  return std::string(text, bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
}

void SystemTest::SetUp() {
  const passwd* apps = ::getpwnam("apps");
  if (apps == nullptr || (::getuid() != 0 && ::getuid() != apps->pw_uid)) {
    GTEST_SKIP() << "the daemon runs as the user apps only: be root or apps";
  }
}

std::unique_ptr<Client> SystemTest::connect() const {
  auto connected = Client::connectTo(socketPath);
  if (!connected) throw std::runtime_error("nobody listens at " + socketPath);
  return connected;
}

void SystemTest::start(const std::string& options, const std::string& environment) {
  client.reset();
  daemon.reset();
  daemon = launch(QUORIN_PROGRAM " " + options, environment);
  const bool ready = eventually([&] {
    client = Client::connectTo(socketPath);
    return client != nullptr || daemon->ended();
  });
  if (!ready || !client) throw std::runtime_error("the daemon does not start: " + daemon->err());
}

std::unique_ptr<Process> SystemTest::launch(const std::string& commandLine,
                                            const std::string& environment) {
  return std::make_unique<Process>(
      "-u KOR_OAM_AUTO -u KOR_OAM_CLOCK -u ZEL_LOG_LEVEL KOR_OAM_SOCKET=" + socketPath + " " +
          environment + " " + commandLine,
      path("process" + std::to_string(++processes_)), refusals);
}

void SystemTest::expectRefused(const std::string& options, const std::string& environment,
                               const std::string& reason, const std::string& out) {
  const Outcome outcome = launch(QUORIN_PROGRAM " " + options, environment)->wait();
  EXPECT_EQ(outcome, (Outcome{255, out, outcome.err})) << options << environment;
  EXPECT_NE(outcome.err.find(reason), std::string::npos) << options << environment << outcome.err;
}

void SystemTest::expectPromptStatus(Client& by) {
  EXPECT_TRUE(eventually([&] {  // one alone may meet a busy machine
    const auto before = Clock::now();
    EXPECT_EQ(by.result("status").at("pid"), daemon->pid());
    return Clock::now() - before < std::chrono::milliseconds(50);
  }));
}

void SystemTest::converse(const std::string& script) {
  Strings lines;
  for (const std::string& line : split(script, '\n')) {
    if (line.starts_with(' ')) {
      lines.back() += line;
    } else if (!line.empty()) {
      lines.push_back(line);
    }
  }
  for (const std::string& line : lines) {
    if (line.starts_with("<- ")) {
      EXPECT_EQ("<- " + client->notification(), line);
      continue;
    }
    const std::size_t blank = line.find(' ') + 1, arrow = line.find(" -> ", blank);
    const std::string sent = line.substr(blank, arrow - blank);
    if (line.starts_with("> ")) client->send(sent);
    const json::object reply = line.starts_with("> ")
                                   ? client->readObject()
                                   : client->call(line.substr(0, blank - 1), sent);
    const json::value& outcome = reply.at(reply.contains("error") ? "error" : "result");
    EXPECT_TRUE(matches(outcome, json::parse(line.substr(arrow + 4)))) << line << '\n' << outcome;
  }
}

void SystemTest::expectTranscript(const std::string& script) {
  const std::string prompt = "\n$ ", exitStatus = "exit status ";
  for (std::size_t at = script.find(prompt), next = at; at != std::string::npos; at = next) {
    const std::size_t begin = at + prompt.size(), end = script.find('\n', begin);
    next = script.find(prompt, begin);
    Outcome expected{0, script.substr(end + 1, next - end), ""};
    if (const auto status = expected.out.rfind(exitStatus); status != std::string::npos) {
      expected.status = std::stoi(expected.out.substr(status + exitStatus.size()));
      expected.out.erase(status);
    }
    Outcome actual = oamctl(script.substr(begin, end - begin));
    actual.out += std::exchange(actual.err, {});
    actual.out = std::regex_replace(
        actual.out, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)"), "TIME");
    actual.out = std::regex_replace(actual.out, std::regex(R"(\d+ us\b)"), "N us");
    EXPECT_EQ(actual, expected);
  }
}

}  // namespace harness
