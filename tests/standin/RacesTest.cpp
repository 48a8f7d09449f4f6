// The daemon on the stand-in in one process, so that ThreadSanitizer sees every thread of it: all
// that clients and signals can do at once, against a simulator for which time flies.
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <thread>

#include "Harness.h"
#include "app/Quorin.h"
#include "standin/Pauses.h"

using namespace harness;

namespace {

class RacesTest : public SystemTest {
 protected:
  /// Repeats `action` on a thread of its own until the daemon is gone.
  std::thread untilTheEnd(std::function<void(int round)> action) {
    return std::thread([this, action = std::move(action)] {
      try {
        for (int round = 0; !ended_; ++round) action(round);
      } catch (const std::exception& error) {
        EXPECT_TRUE(stopping_) << error.what();
      }
    });
  }

  void hammerDeferredSets();
  void runWithEverything();

  std::atomic<bool> stopping_{false}, ended_{false};
};

// Sets in bursts: the last of a burst is answered later, exactly once; of those before it, each at
// most once, since a newer set takes its place. Behind some bursts, and the last, two passes of the
// simulator are awaited, in which nothing may be sent again.
void RacesTest::hammerDeferredSets() {
  const auto setter = connect();
  setter->result("subscribe");
  int lastSet = 0, lastAnswered = 0;
  std::int64_t answers = 0;
  for (int burst = 1; burst <= 200; ++burst) {
    for (int i = 0; i <= burst % 4; ++i) {
      const json::object reply =
          setter->result("set", R"({"record":"111f0010000101","opType":4,"transactionId":)" +
                                    std::to_string(++lastSet) + "}");
      EXPECT_EQ(reply.at("resultText"), "Response deferred");
    }
    int passes = burst % 20 == 0 ? 0 : 2;
    while (lastAnswered != lastSet || passes < 2) {
      const std::string notification = setter->notification();
      if (lastAnswered == lastSet && notification.starts_with("alarm ")) ++passes;
      if (!notification.starts_with("deferredSetRsp ")) continue;
      const json::value params = json::parse(notification.substr(notification.find('{')));
      const auto answered = params.at("transactionId").to_number<int>();
      ASSERT_GT(answered, lastAnswered);
      ASSERT_LE(answered, lastSet);
      lastAnswered = answered;
      ++answers;
    }
  }
  const json::object status = setter->result("status");
  EXPECT_EQ(status.at("counters").at("notifications").at("deferredSetRsp"), answers);
}

constexpr int allWasWell = 7;  // not 0, with which a stop that hangs ends

void RacesTest::runWithEverything() {
  ::setenv("KOR_OAM_SOCKET", socketPath.c_str(), 1);
  standin::Pauses::instance().setManual();
  Strings words = split(
      "quorin --group 111d:111e:111f:0801 --event-sim 15 --set-ind --send-deferred-set-rsp", ' ');
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  {
    Quorin quorin(static_cast<int>(words.size()), arguments.data());
    ASSERT_TRUE(quorin.isGood());
    // The clients' threads leave the signals to the daemon's, where they belong.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    threads.push_back(std::thread([&] {
      ASSERT_TRUE(eventually([&] { return Client::connectTo(socketPath) != nullptr; }));
      hammerDeferredSets();
      stopping_ = true;
      ::kill(::getpid(), SIGTERM);
    }));
    threads.push_back(untilTheEnd([&, getter = std::shared_ptr(connect())](int round) {
      getter->result("get", R"({"recordId":"0x111f0007","batchSize":300})");
      getter->result("getKeys", R"({"recordId":"0x111f0005","batchSize":20})");
      getter->result("clear", R"({"recordId":"0x111f0008"})");
      getter->result(
          "set", R"({"record":"111f000400010)" + std::to_string(round % 2) + R"(","opType":4})");
      getter->result("initProvComplete");
      getter->result("svcRegInd");
    }));
    threads.push_back(untilTheEnd([&](int round) {
      const auto passing = connect();
      if (round % 3 != 0) passing->result("subscribe");
      passing->sendBytes(request(1, "get", R"({"recordId":"0x111f000b"})"));
      if (round % 2 != 0) passing->sendBytes("\n");
    }));
    threads.push_back(untilTheEnd([&](int round) {
      constexpr int signals[] = {SIGHUP, SIGUSR1, SIGUSR2, SIGCHLD};
      ::kill(::getpid(), signals[round % 4]);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }));
    threads.push_back(untilTheEnd([&](int) {
      standin::Pauses::instance().pass(std::chrono::seconds(10));
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(quorin(), 0);
    ended_ = true;
  }
  for (std::thread& thread : threads) thread.join();
  const std::string output = testing::internal::GetCapturedStdout();
  if (HasFailure()) std::fputs(output.c_str(), stdout);  // it holds what has failed, too
  std::exit(HasFailure() ? 1 : allWasWell);
}

// In a process of its own: the API is one for a process.
TEST_F(RacesTest, EveryOwedResponseIsSentOnceWhateverElseGoesOn) {
  EXPECT_EXIT(runWithEverything(), testing::ExitedWithCode(allWasWell), "");
}

}  // namespace
