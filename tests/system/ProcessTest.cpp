// The daemon as a process: its privileges, its claim of the socket's path, and its end.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "Harness.h"

using namespace harness;

namespace {

class ProcessTest : public SystemTest {};

TEST_F(ProcessTest, RunsAsAppsWithoutSupplementaryGroups) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  daemon = launch("setpriv --groups=1,2 " QUORIN_PROGRAM);
  ASSERT_TRUE(eventually([&] { return Client::connectTo(socketPath) != nullptr; }));
  const struct stat directory = statusOf(path("")), socket = statusOf(socketPath);
  EXPECT_EQ(socket.st_mode, S_IFSOCK | 0660U);
  EXPECT_EQ(socket.st_uid, directory.st_uid);
  EXPECT_EQ(socket.st_gid, directory.st_gid);
  const std::string status = fileContent("/proc/" + std::to_string(daemon->pid()) + "/status");
  for (const auto& [name, id] : {std::pair{"\nUid:", socket.st_uid}, {"\nGid:", socket.st_gid}}) {
    const std::string text = "\t" + std::to_string(id);
    EXPECT_NE(status.find(name + text + text + text + text + "\n"), std::string::npos) << status;
  }
  EXPECT_NE(status.find("\nUmask:\t0077\n"), std::string::npos) << status;
  const std::string groups = status.substr(status.find("\nGroups:") + 8);
  EXPECT_EQ(groups.substr(0, groups.find('\n')).find_first_not_of(" \t"), std::string::npos);
}

TEST_F(ProcessTest, EndsWhereItCannotBecomeApps) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  const Outcome outcome =
      launch("setpriv --reuid=65534 --regid=65534 --clear-groups " QUORIN_PROGRAM)->wait();
  if (outcome.status == 126) GTEST_SKIP() << "nobody cannot reach " QUORIN_PROGRAM;
  EXPECT_EQ(outcome, (Outcome{255, "", outcome.err}));
  EXPECT_EQ(outcome.err.substr(outcome.err.find(']')), "] L1: Error dropping privileges: 1\n");
}

TEST_F(ProcessTest, EndsAbnormallyWithoutItsSimulatorThread) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  EXPECT_EQ(launch("prlimit --core=0 --nproc=1 " QUORIN_PROGRAM)->wait().status, -SIGABRT);
  EXPECT_EQ(Client::connectTo(socketPath), nullptr);
}

TEST_F(ProcessTest, APathThatCannotBeHadEndsIt) {
  const std::string variable = "KOR_OAM_SOCKET=";
  expectRefused("", variable + path("missing/oam.sock"), path("missing/oam.sock"));
  const std::string longest = path(std::string(107 - path("").size(), 'x'));
  expectRefused("", variable + longest + "x", "has 108 bytes; a socket address holds 107");
  daemon = launch(QUORIN_PROGRAM, variable + longest);
  EXPECT_TRUE(eventually([&] { return Client::connectTo(longest) != nullptr; }));
  std::ofstream(path("file")) << "precious";
  expectRefused("", variable + path("file"), path("file") + " exists and is not a socket");
  EXPECT_EQ(fileContent(path("file")), "precious");

  boost::asio::io_context loop;
  const Protocol::acceptor other(loop, Protocol::endpoint(path("other.sock")));
  ASSERT_EQ(::chmod(path("other.sock").c_str(), 0777), 0);
  expectRefused("", variable + path("other.sock"), "another process");
  EXPECT_NE(Client::connectTo(path("other.sock")), nullptr);

  start("");
  expectRefused("", variable + socketPath, "another process");
  EXPECT_EQ(connect()->result("status").at("pid"), daemon->pid());

  // A socket that nobody serves any more can be had.
  daemon->signal(SIGKILL);
  EXPECT_EQ(daemon->wait().status, -SIGKILL);
  ASSERT_TRUE(S_ISSOCK(statusOf(socketPath).st_mode));
  start("");
  EXPECT_EQ(client->result("status").at("pid"), daemon->pid());
  // What takes its place is somebody else's.
  std::filesystem::rename(path("file"), socketPath);
  daemon->signal(SIGTERM);
  daemon->wait();
  EXPECT_EQ(fileContent(socketPath), "precious");
}

TEST_F(ProcessTest, TermAndIntStopItAndRemoveThePathAndOtherSignalsDoNot) {
  for (const int last : {SIGTERM, SIGINT}) {
    start("");
    for (const int other : {SIGHUP, SIGUSR1, SIGUSR2, SIGCHLD}) {
      daemon->signal(other);
      EXPECT_EQ(client->result("status").at("pid"), daemon->pid()) << other;
    }
    daemon->signal(last);
    EXPECT_EQ(daemon->wait(), (Outcome{0, "", ""}));
    EXPECT_EQ(statusOf(socketPath).st_nlink, 0U);
    EXPECT_EQ(client->readLine(), "");
  }
}

TEST_F(ProcessTest, TheServiceManagerIsToldWhenRequestsAreServedAndWhenTheyNoLongerAre) {
#ifndef QUORIN_HAVE_SYSTEMD
  GTEST_SKIP() << "built without libsystemd";
#endif
  ServiceManager manager(path("notify"));
  daemon = launch(QUORIN_PROGRAM " --group 111f", "NOTIFY_SOCKET=" + path("notify"));
  EXPECT_EQ(manager.told(), "READY=1\nSTATUS=Serving " + socketPath);
  // No waiting: it is registered, and serves.
  EXPECT_EQ(oamctl("clear Test3-Stats4"), (Outcome{0, "Test3-Stats4 (0x111f0008): Success\n", ""}));
  daemon->signal(SIGTERM);
  EXPECT_EQ(manager.told(), "STOPPING=1\nSTATUS=Stopping");
  EXPECT_EQ(daemon->wait().status, 0);
}

TEST_F(ProcessTest, InTheJournalLinesCarryAPriority) {
  const auto inJournal = [&](const std::string& options, const std::string& environment,
                             const std::string& inode = "%i") {
    const std::string stream = "JOURNAL_STREAM=$(stat -Lc %d:" + inode + " /dev/fd/2)";
    return launch("sh -c '" + stream + " exec " QUORIN_PROGRAM " " + options + "'", environment);
  };
  EXPECT_EQ(inJournal("--no-such", "")->wait().err,
            "<3>quorin: unrecognised option '--no-such'; 'quorin --help' lists the options\n");
  daemon = inJournal("--group 111f", "ZEL_LOG_LEVEL=6");
  ASSERT_TRUE(eventually([&] { return Client::connectTo(socketPath) != nullptr; }));
  EXPECT_EQ(oamctl("get Test3-Stats3 sfn=5 sf=3").status, 0);
  for (const std::string& line : split(daemon->err(), '\n')) {
    const std::size_t level = line.find("] L");
    ASSERT_NE(level, std::string::npos) << line;
    EXPECT_EQ(line.substr(0, 5), line[level + 3] == '6' ? "<7>20" : "<6>20") << line;
  }
  EXPECT_NE(daemon->err().find("] L6: "), std::string::npos) << daemon->err();
  // A service may have its standard error elsewhere.
  EXPECT_EQ(inJournal("", "KOR_OAM_AUTO=2", "1")->wait().err,
            "quorin: environment variable KOR_OAM_AUTO is '2'; it must be 0 or 1\n");
}

TEST_F(ProcessTest, AStopWakesASleepingGetAndAnswersWhatIsOpen) {
  // A second signal does not cut the answers off.
  for (const std::vector<int>& signals : {std::vector{SIGTERM}, {SIGTERM, SIGINT}}) {
    start("--group 111f --sleep-time 60");
    for (const int id : {1, 2}) client->request(id, "get", R"({"recordId":"0x111f000b"})");
    ASSERT_TRUE(eventually([&] { return daemon->out().find("Sleeping") != std::string::npos; }));
    // Others are served meanwhile.
    EXPECT_EQ(connect()->result("status").at("counters").at("requests").at("get"), 1);
    for (const int signal : signals) daemon->signal(signal);
    for (const int id : {1, 2}) {
      const json::object reply = client->readObject();
      EXPECT_EQ(reply.at("id"), id);
      // On a slow machine the first one's sleep may end too late.
      EXPECT_TRUE(id == 1 ? sanitized || reply.contains("result")
                          : reply.at("error").at("code") == -32001)
          << json::serialize(reply);
    }
    EXPECT_EQ(client->readLine(), "");
    EXPECT_EQ(daemon->wait().status, 0);
  }
}

}  // namespace
