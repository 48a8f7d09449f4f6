// When the stand-in tells the service manager that it is ready: seen by a process whose service
// registration takes as long as the test wants.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "Harness.h"
#include "platform/KorOamApi.h"
#include "platform/Process.h"

using namespace harness;

namespace {

class ReadinessTest : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
#ifndef QUORIN_HAVE_SYSTEMD
    GTEST_SKIP() << "built without libsystemd";
#endif
  }

  /// Starts a process that does `registration` when it is asked for its service registration. There
  /// is one API in a process.
  void serve(const KorOamApi::SvcRegIndFunction& registration) {
    child_ = ::fork();
    if (child_ != 0) return;
    ::setenv("KOR_OAM_SOCKET", socketPath.c_str(), 1);
    ::setenv("NOTIFY_SOCKET", path("notify").c_str(), 1);
    char name[] = "quorin";
    char* arguments[] = {name, nullptr};
    Zel::Process process(1, arguments, 0, {});
    const auto accepted = [&] {
      return KorOamApi::instance().doRegister({}, {}, {}, {}, {}, {}, {}, {}, registration, {}, {},
                                              {}, {}, {}, 0) == 0;
    };
    const bool registered =
        process.isGood() && KorOamApi::instance().good && accepted() && !accepted();
    std::exit(registered ? process() : 1);
  }

  int exitStatus() {
    int status = 0;
    EXPECT_EQ(::waitpid(child_, &status, 0), child_);
    return status;
  }

  ServiceManager manager{path("notify")};
  pid_t child_ = 0;
};

TEST_F(ReadinessTest, NothingIsToldBeforeTheRegistrationIsThrough) {
  int released[2];
  ASSERT_EQ(::pipe(released), 0);
  serve([&] {
    char byte;
    if (::read(released[0], &byte, 1) != 1) std::abort();
  });
  ASSERT_TRUE(eventually([&] { return Client::connectTo(socketPath) != nullptr; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(manager.told(MSG_DONTWAIT), "");
  ASSERT_EQ(::write(released[1], "", 1), 1);
  EXPECT_EQ(manager.told(), "READY=1\nSTATUS=Serving " + socketPath);
  ::kill(child_, SIGTERM);
  EXPECT_EQ(manager.told(), "STOPPING=1\nSTATUS=Stopping");
  EXPECT_EQ(exitStatus(), 0);
}

TEST_F(ReadinessTest, WhoStopsBeforeItWasReadyNeverIs) {
  serve([] { Zel::Process::instance()->halt(); });
  EXPECT_EQ(manager.told(), "STOPPING=1\nSTATUS=Stopping");
  EXPECT_EQ(exitStatus(), 0);
  EXPECT_EQ(manager.told(MSG_DONTWAIT), "");
}

}  // namespace
