// A platform for tests: it captures what the system gives it, fails where it is told to, and owns
// time. Linked in place of the stand-in.
#pragma once

#include <sys/time.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/KorOamApi.h"

namespace scripted {

/// A command line of the daemon, as `main` gets it; stays where it is.
struct CommandLine {
  explicit CommandLine(std::vector<std::string> arguments) : words(std::move(arguments)) {
    words.insert(words.begin(), "quorin");
    for (std::string& word : words) values.push_back(word.data());
    values.push_back(nullptr);
  }
  int count() const { return static_cast<int>(words.size()); }

  std::vector<std::string> words;
  std::vector<char*> values;
};

/// The payload as hexadecimal text, in network order.
std::string payloadOf(const Zel::Record& record);

struct LogLine {
  int level;
  std::string text;
};

/// What the daemon sent through the API.
struct Sent {
  std::uint64_t at;     ///< virtual seconds since the daemon was made
  std::string what;     ///< the operation, and its arguments short of the block
  std::string payload;  ///< of the record or notification

  friend bool operator==(const Sent&, const Sent&) = default;
};

struct Slots {
  KorOamApi::GetFunction get;
  KorOamApi::GetBySessionFunction getBySession;
  KorOamApi::SetFunction set;
  KorOamApi::SetBySessionFunction setBySession;
  KorOamApi::NotifyFunction notify;
  KorOamApi::NotifyBySessionFunction notifyBySession;
  KorOamApi::ClearFunction clear;
  KorOamApi::ClearBySessionFunction clearBySession;
  KorOamApi::SvcRegIndFunction svcRegInd;
  KorOamApi::SvcRegResultFunction svcRegResult;
  KorOamApi::InitProvCompleteFunction initProvComplete;
  KorOamApi::SetIndResultFunction setIndResult;
  KorOamApi::GetKeysFunction getKeys;
  KorOamApi::GetKeysBySessionFunction getKeysBySession;
  int option = 0;
};

/// What a test says, and what only its own thread sees.
struct Script {
  // Faults, to be set before the daemon is made.
  int privilegeError = 0;
  bool processGood = true;
  bool apiGood = true;
  int doRegisterResult = 0;
  bool sendFails = false;

  int mainLoopResult = 0;
  /// Called by `doRegister`.
  std::function<void()> duringRegistration;

  // What the system did, in order. The main thread's only.
  std::vector<std::string> calls;
  Slots slots;
  /// Pauses of the test's thread, which return at once.
  std::vector<unsigned int> pauses;
};

/// One exists. `reset` makes it as new, the factories included; no daemon object may exist then.
/// The thread that called `reset` is the test's thread, which plays the callback thread as well.
class Platform : public Script {
 public:
  void reset();

  std::vector<LogLine> log();
  /// The texts logged at `level`; the log is empty afterwards.
  std::vector<std::string> takeLog(int level);
  std::vector<Sent> takeSent();

  /// Lets virtual time pass for the simulator thread, pause by pause; returns when the thread
  /// pauses beyond that time or has ended.
  void advance(std::uint64_t seconds);
  /// The same without waiting for the thread.
  void advanceClock(std::uint64_t seconds);
  /// Whether the simulator thread has ended, once it pauses or has.
  bool simulatorEnded();
  /// What the daemon takes for the time of day.
  timeval timeOfDay();

  // For the double's parts.
  void addLog(LogLine line);
  void addSent(std::string what, std::string payload);
  void pause(unsigned int seconds);
  void stop();
  bool stopping();
  void threadEnded();

 private:
  bool idle() const { return ended_ || (pausing_ && wake_ > now_ && !stopping_); }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::thread::id testThread_;
  std::vector<LogLine> log_;
  std::vector<Sent> sent_;
  std::uint64_t now_ = 0;
  std::uint64_t wake_ = 0;  ///< when the simulator's pause ends
  bool pausing_ = false;
  bool ended_ = false;
  bool stopping_ = false;
};

Platform& platform();

}  // namespace scripted
