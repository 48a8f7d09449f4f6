// What the machine refuses: system calls, descriptors, memory, room for output, and the access of
// those who do not belong.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "Harness.h"

using namespace harness;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool boundedDescriptors = false;  // each check of a virtual call makes a pipe
#else
constexpr bool boundedDescriptors = true;
#endif

class FaultsTest : public SystemTest {
 protected:
  /// Changes a soft limit of the daemon; only who runs as it does may do that.
  void setLimit(const std::string& limit) {
    const std::string asApps =
        ::getuid() == 0 ? "setpriv --reuid=apps --regid=apps --clear-groups " : "";
    const std::string pid = std::to_string(daemon->pid());
    EXPECT_EQ(launch(asApps + "prlimit --pid=" + pid + " --" + limit + ":")->wait().status, 0);
  }

  /// A daemon whose standard output is `file`.
  void startInto(const std::string& file, const std::string& prefix = "") {
    daemon = launch(prefix + "sh -c 'exec " QUORIN_PROGRAM " --group 111f >" + file + "'");
    ASSERT_TRUE(eventually([&] { return (client = Client::connectTo(socketPath)) != nullptr; }));
  }

  /// Sends two open files with a blank.
  static void pass(int file, Client& by) {
    const int files[] = {STDIN_FILENO, file};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof files)] = {};
    char byte = ' ';
    iovec piece{&byte, 1};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    *CMSG_FIRSTHDR(&message) = {CMSG_LEN(sizeof files), SOL_SOCKET, SCM_RIGHTS};
    std::memcpy(CMSG_DATA(CMSG_FIRSTHDR(&message)), files, sizeof files);
    ::sendmsg(by.descriptor(), &message, MSG_NOSIGNAL);
  }

  void expectStop() {
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait().status, 0);
  }
};

TEST_F(FaultsTest, ARefusedSystemCallEndsTheStartWithItsReason) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  const std::string privileges = "L1: Error dropping privileges: 1\n";
  const struct {
    Refusal refusal;
    std::string reason;
  } cases[] = {
      {{SYS_setgroups, EPERM}, privileges},
      {{SYS_setresgid, EPERM}, privileges},
      {{SYS_setresuid, EPERM}, privileges},
      {{SYS_capset, EPERM}, privileges},
      {{SYS_eventfd2, ENFILE}, "cannot set up the main loop: Too many open files in system\n"},
      {{SYS_epoll_create1, EMFILE}, "quorin: cannot watch the socket: Too many open files\n"},
      {{SYS_flock, ENOLCK}, "cannot lock " + socketPath + ".lock: No locks available\n"},
      {{SYS_socket, ENOBUFS}, "cannot make a socket for " + socketPath + ": No buffer space"},
      {{SYS_bind, EADDRNOTAVAIL}, "cannot bind a socket to " + socketPath + ": Cannot assign"},
      {{SYS_listen, EADDRINUSE}, "cannot listen at " + socketPath + ": Address already in use\n"},
      {{SYS_epoll_ctl, ENOSPC}, "cannot watch the socket: No space left on device\n"}};
  for (const auto& [refusal, reason] : cases) {
    refusals = {refusal};
    expectRefused("", "", reason);
    EXPECT_FALSE(std::filesystem::exists(socketPath)) << reason;
  }
  // A socket that its daemon has not removed.
  refusals = {};
  start("");
  daemon->signal(SIGKILL);
  daemon->wait();
  refusals = {{SYS_connect, EPERM}};
  expectRefused("", "", "cannot tell who serves " + socketPath + ": Operation not permitted");
  refusals = {{SYS_unlink, EROFS}};
  expectRefused("", "", "cannot remove the stale socket " + socketPath + ": Read-only file system");
}

TEST_F(FaultsTest, AForbiddenOrOccupiedPlaceIsNamed) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  const std::string there = path("there"), lock = there + "/oam.sock.lock";
  const std::string variable = "KOR_OAM_SOCKET=" + there + "/oam.sock";
  std::filesystem::create_directory(there);
  expectRefused("", variable, "cannot open the lock file " + lock + ": Permission denied\n");
  std::ofstream(lock) << "";
  ASSERT_EQ(::chmod(lock.c_str(), 0600), 0);
  expectRefused("", variable, ": Permission denied; the file belongs to user 0\n");
  ASSERT_EQ(::chmod(lock.c_str(), 0666), 0);
  expectRefused("", variable, "cannot bind a socket to " + there + "/oam.sock: Permission denied");
  std::filesystem::remove(lock);
  std::filesystem::create_directory(lock);
  expectRefused("", variable, "cannot open the lock file " + lock + ": Is a directory");
  std::filesystem::remove(lock);
  std::filesystem::create_symlink(path("elsewhere"), lock);
  expectRefused("", variable, "cannot open the lock file " + lock + ": Too many levels");
  EXPECT_FALSE(std::filesystem::exists(path("elsewhere")));
}

TEST_F(FaultsTest, WithFewDescriptorsItSaysSoOrServesOnceThereAreMore) {
  if (!boundedDescriptors) GTEST_SKIP() << "a sanitizer is at work";
  bool served = false;
  for (int limit = 4; !served; ++limit) {
    daemon = launch("prlimit --nofile=" + std::to_string(limit) + ": " QUORIN_PROGRAM);
    ASSERT_TRUE(eventually([&] {
      client = Client::connectTo(socketPath);
      return client != nullptr || daemon->ended();
    }));
    served = client != nullptr;
    if (served) continue;
    const Outcome outcome = daemon->wait();
    if (outcome.status == 127) continue;  // not even its libraries can be opened
    EXPECT_EQ(outcome.status, 255) << limit;
    EXPECT_NE(outcome.err.find(": Too many open files"), std::string::npos) << outcome;
  }
  // It has all that it needs, and no descriptor for a client: it waits, and does not spin.
  client->request(1, "status");
  const long before = daemon->processorTicks();
  ::sleep(1);
  EXPECT_LT(daemon->processorTicks() - before, 20);
  EXPECT_FALSE(daemon->ended());
  setLimit("nofile=64");
  EXPECT_EQ(client->readObject().at("id"), 1);

  const std::ptrdiff_t atRest = daemon->descriptors();
  for (int round = 0; round < 20; ++round) connect()->result("status");
  EXPECT_TRUE(eventually([&] { return daemon->descriptors() == atRest; }));
}

TEST_F(FaultsTest, AConnectionThatCannotBeReadOrWrittenIsLeftAlone) {
  for (const auto& [one, many] :
       {std::pair{SYS_recvfrom, SYS_recvmsg}, std::pair{SYS_sendto, SYS_sendmsg}}) {
    refusals = {{one, EIO}, {many, EIO}};
    start("");
    const std::ptrdiff_t atRest = daemon->descriptors();
    for (int round = 0; round < 20; ++round) {
      const auto other = connect();
      other->request(1, "status");
      try {
        EXPECT_EQ(other->readLine(), "");
      } catch (const std::runtime_error&) {
        EXPECT_EQ(one, SYS_recvfrom);  // a request that cannot be read is a reset
      }
    }
    EXPECT_TRUE(eventually(
        [&] { return daemon->descriptors() <= atRest + 1; }));  // `client`, accepted late
    expectStop();
  }
}

TEST_F(FaultsTest, WithoutItsCallbackThreadItEnds) {
  if (sanitized) GTEST_SKIP() << "a sanitizer is at work";
  // Room for the stack of one thread, the simulator.
  expectRefused("", "prlimit --stack=4294967296 --as=6442450944",
                "quorin: cannot start the callback thread: Resource temporarily unavailable");
}

TEST_F(FaultsTest, WithoutMemoryForAReplyTheNextIsAnswered) {
  if (sanitized) GTEST_SKIP() << "a sanitizer is at work";
  // Without further arenas, which are set aside whole, what the limit leaves is small.
  start("--group 111f --quiet", "GLIBC_TUNABLES=glibc.malloc.arena_max=1");
  const std::string large = R"({"recordId":"0x111f0007","batchSize":65535})";
  setLimit("as=" + std::to_string((daemon->status("VmSize") + 1024) * 1024));
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(matches(client->call("get", large), json::parse(R"({"error":{"code":-32603}})")));
    EXPECT_EQ(client->result("get", stats5).at("records").as_array().size(), 4U);
  }
  setLimit("as=unlimited");
  EXPECT_EQ(connect()->result("status").at("pid"), daemon->pid());
  EXPECT_EQ(client->result("get", large).at("records").as_array().size(), 65535U);
}

TEST_F(FaultsTest, AnAllocationThatFailsHarmsNobodyElse) {
  if (sanitized) GTEST_SKIP() << "a sanitizer is at work";
  const std::string requests =
      request(1, "subscribe") + "\n" + request(2, "svcRegInd") + "\n[" +
      request(3, "get", R"({"recordId":"0x111f0007","batchSize":20})") + "," +
      request(4, "getKeys", R"({"recordId":"0x111f000e","batchSize":2})") + "]\n" +
      request(5, "set", R"({"record":"111f000400010101","opType":4})") + "\n" +
      request(6, "svcRegResult", R"({"kind":12,"result":0,"groups":[1,2]})") + "\n" +
      request(7, "n\\u006f") + "\n{\n" +
      R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1}})"
      "\n" +
      request(8, "status") + "\n";
  const std::string file = path("allocations");
  std::ofstream(file) << std::string(sizeof(std::int64_t), '\0');
  const int shared = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::fchmod(shared, 0666), 0);
  void* memory =
      ::mmap(nullptr, sizeof(std::int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, shared, 0);
  ::close(shared);
  ASSERT_NE(memory, MAP_FAILED);
  auto& countdown = *static_cast<std::atomic<std::int64_t>*>(memory);
  const std::string preload = "LD_PRELOAD=" FAILING_NEW " FAILING_NEW=" + file;
  refusals = {{SYS_setsockopt, ENOPROTOOPT}};
  start("--group 111f --set-ind", preload);
  connect()->result("status");
  client->result("subscribe");
  const std::ptrdiff_t atRest = daemon->descriptors() - 1;
  std::int64_t nth = 0;
  do {
    SCOPED_TRACE(++nth);
    countdown = nth;
    for (const bool hangUp : {true, false}) {
      const auto passing = connect();
      passing->sendBytes(requests);
      if (hangUp) {
        pass(STDIN_FILENO, *passing);
        continue;
      }
      passing->endInput();
      while (!passing->readLine().empty()) {
      }
    }
    EXPECT_TRUE(eventually([&] { return daemon->descriptors() <= atRest + 1 || daemon->ended(); }));
    ASSERT_FALSE(daemon->ended()) << daemon->wait();
  } while (countdown.exchange(0) <= 0 && !HasFailure());
  EXPECT_GT(nth, 50);
  const json::object counters = connect()->result("status").at("counters").as_object();
  EXPECT_LE(counters.at("dropped").as_int64(), nth);
  EXPECT_NE(daemon->err().find("out of memory on the callback thread"), std::string::npos);
  expectStop();
  for (nth = 1, countdown = 0; countdown <= 0 && !HasFailure(); ++nth) {
    SCOPED_TRACE(nth);
    countdown = 0;
    start("--group 111f --sleep-time 9", preload);
    client->sendBytes(requests);
    ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleep") != std::string::npos; }));
    countdown = nth;
    expectStop();
  }
  ::munmap(memory, sizeof(std::int64_t));
}

TEST_F(FaultsTest, StandardOutputThatTakesNothingHoldsUpNoAnswer) {
  for (const auto& [file, prefix] : {std::pair<std::string, std::string>{"/dev/full", ""},
                                     {path("small"), "prlimit --fsize=100: "}}) {
    startInto(file, prefix);
    for (int round = 0; round < 20; ++round) client->result("get", stats5);
    expectStop();
  }
}

TEST_F(FaultsTest, APipeThatNobodyReadsDoesNotHoldUpTheStop) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "ThreadSanitizer keeps the signal back that ends a stop";
#endif
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  const int pipe = ::open(path("pipe").c_str(), O_RDWR);
  startInto(path("pipe"));
  client->result("status");
  std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  // With nothing to do the main thread does not look now and then.
  const long switches = daemon->status("voluntary_ctxt_switches");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(daemon->status("voluntary_ctxt_switches"), switches);
  std::string requests;
  for (int id = 0; id < 20000; ++id) requests += request(id, "get", stats5) + "\n";
  // A page of a pipe may keep less room than the next line needs.
  constexpr int longestLine = 15, pageSize = 4096;
  const int capacity = ::fcntl(pipe, F_GETPIPE_SZ);
  std::size_t sent = 0;
  ASSERT_TRUE(eventually([&, before = 0]() mutable {
    sent += client->sendUntilFull(std::string_view(requests).substr(sent));
    int unread = 0;
    ::ioctl(pipe, FIONREAD, &unread);
    return std::exchange(before, unread) == unread &&
           unread > capacity - capacity / pageSize * longestLine;
  }));
  // The callback thread hangs; everything else goes on.
  const auto other = connect();
  expectPromptStatus(*other);
  EXPECT_EQ(other->result("advanceTime", R"({"seconds":0})").at("settled"), false);
  other->send(R"({"jsonrpc":"2.0","method":"clear","params":{"recordId":1}})");
  other->request(1, "clear", stats5);
  const long ticks = daemon->processorTicks();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_LE(daemon->processorTicks() - ticks, 10);
  expectStop();
  EXPECT_EQ(other->readObject().at("error").at("code"), -32001);
  EXPECT_EQ(other->readLine(), "");
  EXPECT_FALSE(std::filesystem::exists(socketPath));
  EXPECT_NE(daemon->err().find("a thread does not end"), std::string::npos);
  ::close(pipe);
}

TEST_F(FaultsTest, ConsoleLinesAreWholeWhateverHappensToTheirPipe) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  for (const int flags : {0, O_NONBLOCK}) {
    const int reader = ::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = ::open(path("pipe").c_str(), O_WRONLY | flags);
    ::fcntl(writer, F_SETPIPE_SZ, 4096);
    startInto("&" + std::to_string(writer));
    ::close(writer);
    std::string requests, output;
    for (int id = 0; id < 2000; ++id) requests += request(id, "clear", stats5) + "\n";
    client->sendBytes(requests);
    client->request(2000, "status");
    char bytes[100];
    const auto lines = [&] { return std::count(output.begin(), output.end(), '\n'); };
    EXPECT_TRUE(eventually([&] {
      for (int signal = 0; signal < 10; ++signal) daemon->signal(SIGUSR1);
      for (ssize_t size; (size = ::read(reader, bytes, sizeof bytes)) > 0 && lines() < 4000;) {
        output.append(bytes, static_cast<std::size_t>(size));
        daemon->signal(SIGUSR2);
      }
      return lines() >= 4000;
    }));
    std::string expected;
    for (int i = 0; i < 2000; ++i) expected += "clear 111f000b\nclear 0x111f000b\n";
    EXPECT_TRUE(output == expected) << lines();
    expectStop();
    ::close(reader);
  }
}

TEST_F(FaultsTest, StreamsThatAreClosedAreNobodyElses) {
  for (const std::string streams : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
    startInto("/dev/null " + streams);
    EXPECT_EQ(client->result("get", stats5).at("records").as_array().size(), 4U);
    for (const int stream : {0, 1, 2}) {
      const std::string link =
          "/proc/" + std::to_string(daemon->pid()) + "/fd/" + std::to_string(stream);
      const mode_t mode = statusOf(link).st_mode;
      EXPECT_TRUE(S_ISCHR(mode) || S_ISREG(mode)) << streams << stream;
    }
    expectStop();
  }
}

// A file that a client has passed is the client's to make slow: here a socket that waits for its
// unread bytes when the last that has it open closes it.
TEST_F(FaultsTest, PassedFilesHoldUpNobody) {
  refusals = {{SYS_setsockopt, ENOPROTOOPT}};  // the kernel keeps none away
  start("");
  client->result("status");
  const std::ptrdiff_t atRest = daemon->descriptors();
  boost::asio::io_context loop;
  using Tcp = boost::asio::ip::tcp;
  Tcp::acceptor acceptor(loop, Tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
  Tcp::socket slow(loop), peer(loop);
  slow.connect(acceptor.local_endpoint());
  acceptor.accept(peer);
  slow.set_option(Tcp::socket::linger(true, static_cast<int>(2 * longest.count())));
  slow.non_blocking(true);
  boost::system::error_code full;
  while (!full) slow.write_some(boost::asio::buffer(std::string(65536, 'x')), full);

  const auto offender = connect();
  daemon->signal(SIGSTOP);
  pass(slow.native_handle(), *offender);
  slow.close();  // the daemon's is the last
  daemon->signal(SIGCONT);
  EXPECT_EQ(offender->result("status").at("pid"), daemon->pid());
  expectPromptStatus(*client);
  EXPECT_TRUE(sanitized || daemon->status("Threads") == 4);
  // The next to pass some is not served; all others come and go.
  const auto next = connect();
  pass(STDIN_FILENO, *next);
  const long ticks = daemon->processorTicks();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_LE(daemon->processorTicks() - ticks, 10);
  for (int round = 0; round < 70; ++round) connect()->result("status");
  EXPECT_TRUE(eventually([&] { return daemon->descriptors() == atRest + 2; }));
  expectStop();
}

TEST_F(FaultsTest, WhoIsNotAcceptedAtAStopSeesAnEndAndDoesNotDelayIt) {
  std::string requests;  // enough that it is busy when it goes on
  while (requests.size() < (sanitized ? 200'000 : 2'000'000))
    requests += request(1, "clear", R"({"recordId":1})") + "\n";
  Clock::duration fastest = longest;  // one alone may meet a busy machine
  for (int round = 0; round < 5; ++round) {
    start("--group 111f");
    client->sendBytes(requests);
    daemon->signal(SIGSTOP);
    std::vector<std::unique_ptr<Client>> others;
    while (others.size() < 20) {
      others.push_back(connect());
      others.back()->request(1, "status");
    }
    daemon->signal(SIGTERM);
    client.reset();
    const auto before = Clock::now();
    daemon->signal(SIGCONT);
    EXPECT_EQ(daemon->wait().status, 0);
    fastest = std::min(fastest, Clock::now() - before);
    for (const auto& other : others) {
      while (!other->readLine().empty()) {
      }
    }
  }
  EXPECT_LT(fastest, std::chrono::milliseconds(800));
}

TEST_F(FaultsTest, OthersAreRefusedByTheKernel) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  start("--group 111f");
  ASSERT_EQ(::chmod(path("").c_str(), 0755), 0);
  const std::string stranger = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
  const std::string command = OAMCTL_PROGRAM " get Test3-Stats5";
  const Outcome refused = launch(stranger + command)->wait();
  if (refused.status == 126) GTEST_SKIP() << "nobody cannot reach " OAMCTL_PROGRAM;
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("Permission denied"), std::string::npos) << refused;
  // A member of the group may.
  EXPECT_EQ(launch("setpriv --reuid=65534 --regid=apps --clear-groups " + command)->wait().status,
            0);
  EXPECT_EQ(statusOf(socketPath + ".lock").st_mode, S_IFREG | 0600U);
}

}  // namespace
