#include "ScriptedPlatform.h"

#include <boost/program_options/parsers.hpp>
#include <sstream>
#include <utility>

#include "platform/BinLogClient.h"
#include "platform/LogStream.h"
#include "platform/ProcPrivs.h"
#include "platform/Process.h"
#include "records/Block.h"
#include "records/Factories.h"
#include "records/Hex.h"
#include "records/MgmtEnums.h"
#include "records/Notifications.h"
#include "records/Record.h"

namespace po = boost::program_options;

int zelLogLevelThreshold = 2;

namespace scripted {
namespace {

Zel::Process* theProcess = nullptr;

/// Tells the platform when the simulator thread has ended.
struct ThreadWatch {
  ThreadWatch() = default;
  ThreadWatch(const ThreadWatch&) = delete;
  ThreadWatch& operator=(const ThreadWatch&) = delete;
  ~ThreadWatch() { platform().threadEnded(); }
};

}  // namespace

std::string payloadOf(const Zel::Record& record) {
  return Zel::blockText([&](Zel::SerialStream& stream) { record.serialize(stream, true); }).value();
}

Platform& platform() {
  static auto& one = *new Platform;
  return one;
}

void Platform::reset() {
  static_cast<Script&>(*this) = {};
  zelLogLevelThreshold = 2;
  Zel::RecordFactory::funcMap().clear();
  Zel::RecordFactory::keysFuncMap().clear();
  Zel::EventFactory::funcMap().clear();
  Zel::RecordUpdateEventFactory::funcMap().clear();
  const std::lock_guard lock(mutex_);
  testThread_ = std::this_thread::get_id();
  log_.clear();
  sent_.clear();
  now_ = wake_ = 0;
  pausing_ = ended_ = stopping_ = false;
}

std::vector<LogLine> Platform::log() {
  const std::lock_guard lock(mutex_);
  return log_;
}

std::vector<std::string> Platform::takeLog(int level) {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (const LogLine& line : log_) {
    if (line.level == level) texts.push_back(line.text);
  }
  log_.clear();
  return texts;
}

std::vector<Sent> Platform::takeSent() {
  const std::lock_guard lock(mutex_);
  return std::exchange(sent_, {});
}

void Platform::addLog(LogLine line) {
  const std::lock_guard lock(mutex_);
  log_.push_back(std::move(line));
}

void Platform::addSent(std::string what, std::string payload) {
  const std::lock_guard lock(mutex_);
  sent_.push_back({now_, std::move(what), std::move(payload)});
}

timeval Platform::timeOfDay() {
  const std::lock_guard lock(mutex_);
  return {1000000000 + static_cast<time_t>(now_), 4500};
}

void Platform::pause(unsigned int seconds) {
  std::unique_lock lock(mutex_);
  if (std::this_thread::get_id() == testThread_) {
    pauses.push_back(seconds);
    return;
  }
  lock.unlock();
  thread_local const ThreadWatch watch;
  lock.lock();
  wake_ = now_ + seconds;
  pausing_ = true;
  changed_.notify_all();
  changed_.wait(lock, [&] { return stopping_ || now_ >= wake_; });
  pausing_ = false;
}

void Platform::advance(std::uint64_t seconds) {
  std::unique_lock lock(mutex_);
  const std::uint64_t target = now_ + seconds;
  changed_.wait(lock, [&] { return idle(); });
  while (!ended_ && wake_ <= target) {
    now_ = wake_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return idle(); });
  }
  now_ = target;
}

void Platform::advanceClock(std::uint64_t seconds) {
  const std::lock_guard lock(mutex_);
  now_ += seconds;
  changed_.notify_all();
}

bool Platform::simulatorEnded() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return idle(); });
  return ended_;
}

void Platform::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

bool Platform::stopping() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

void Platform::threadEnded() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

}  // namespace scripted

using scripted::payloadOf;
using scripted::platform;

// In place of the C library's.
extern "C" int gettimeofday(timeval* time, void*) noexcept {
  *time = platform().timeOfDay();
  return 0;
}

int zelClientBinLogInit(unsigned int client) {
  platform().calls.push_back("zelClientBinLogInit 0x" + Zel::hexText(client));
  return 0;
}

namespace Zel {

LogStream::LogStream(ZelLogLevel level, const char* file, int line, const char* function)
    : level_(level), file_(file), line_(line), function_(function) {
  // What every call site passes.
  if (file_ != nullptr || line_ != -1 || function_ != nullptr) std::abort();
}

void LogStream::done() {
  platform().addLog({level_, text_});
  std::fprintf(stderr, "L%d: %s\n", level_, text_);
}

ProcPrivs::ProcPrivs() = default;
ProcPrivs::~ProcPrivs() { platform().calls.emplace_back("~ProcPrivs"); }
void ProcPrivs::setUser(const char* user) { user_ = user; }
void ProcPrivs::setGroup(const char* group) { group_ = group; }
int ProcPrivs::applyPrivileges() {
  platform().calls.push_back("applyPrivileges " + user_ + " " + group_);
  return platform().privilegeError;
}

struct Process::Implementation {
  po::variables_map variables;
};

Process::Process(int argc, char** argv, unsigned int flags, const po::options_description& options)
    : implementation_(std::make_unique<Implementation>()) {
  scripted::theProcess = this;
  platform().calls.push_back("Process " + std::to_string(flags) + " " +
                             std::to_string(options.options().size()) + " options");
  po::store(po::command_line_parser(argc, argv).options(options).run(), implementation_->variables);
  good = platform().processGood;
}

Process::~Process() {
  platform().calls.emplace_back("~Process");
  scripted::theProcess = nullptr;
}

void Process::halt() { platform().stop(); }
void Process::quit() {}
void Process::userDefined() {}
void Process::dumpStats() {}
void Process::reload() {}
void Process::childTerm() {}

const po::variables_map& Process::programOptions() const { return implementation_->variables; }

int Process::operator()() {
  platform().calls.emplace_back("main loop");
  return platform().mainLoopResult;
}

Process* Process::instance() { return scripted::theProcess; }
bool Process::exiting() const { return platform().stopping(); }
void sleepSeconds(unsigned int seconds) { platform().pause(seconds); }

}  // namespace Zel

struct KorOamApi::Implementation {};

KorOamApi::KorOamApi() = default;
KorOamApi::~KorOamApi() = default;

KorOamApi& KorOamApi::instance() {
  static KorOamApi api;
  api.good = platform().apiGood;
  return api;
}

int KorOamApi::doRegister(const GetFunction& get, const GetBySessionFunction& getBySession,
                          const SetFunction& set, const SetBySessionFunction& setBySession,
                          const NotifyFunction& notify,
                          const NotifyBySessionFunction& notifyBySession,
                          const ClearFunction& clear, const ClearBySessionFunction& clearBySession,
                          const SvcRegIndFunction& svcRegInd,
                          const SvcRegResultFunction& svcRegResult,
                          const InitProvCompleteFunction& initProvComplete,
                          const SetIndResultFunction& setIndResult, const GetKeysFunction& getKeys,
                          const GetKeysBySessionFunction& getKeysBySession, int option) {
  platform().calls.emplace_back("doRegister");
  platform().slots = {
      get,     getBySession,     set,       setBySession, notify,           notifyBySession,
      clear,   clearBySession,   svcRegInd, svcRegResult, initProvComplete, setIndResult,
      getKeys, getKeysBySession, option};
  if (platform().duringRegistration) platform().duringRegistration();
  return platform().doRegisterResult;
}

namespace {

int record(std::string what, std::string payload = "") {
  platform().addSent(std::move(what), std::move(payload));
  return platform().sendFails ? -1 : 0;
}

// Told only when it is not of now.
std::string timeText(const Zel::DateTime& time) {
  const timeval now = platform().timeOfDay();
  const bool isNow = time.isSet && time.seconds == now.tv_sec && time.microseconds == now.tv_usec;
  return isNow ? "" : " at another time";
}

std::string listText(Zel::OamSvcRegInd::SvcRegType type,
                     const std::vector<unsigned short>& values) {
  std::ostringstream text;
  text << ' ' << type << std::hex;
  for (const unsigned short value : values) text << ' ' << value;
  return text.str();
}

}  // namespace

int KorOamApi::sendVmbSvcRegInd(Zel::OamSvcRegInd::SvcRegType type,
                                const std::vector<unsigned short>& groups) {
  return record("svcRegInd" + listText(type, groups));
}

int KorOamApi::sendVmbSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type,
                                         const std::vector<unsigned short>& values) {
  return record("svcRegSetUpdateInd" + listText(type, values));
}

int KorOamApi::sendVmbSvcRegEndInd() { return record("svcRegEndInd"); }

int KorOamApi::sendSetInd(boost::shared_ptr<Zel::Record>& sent, Zel::ApplyActionType applyAction,
                          Zel::MgmtOpType opType) {
  return record("setInd " + Zel::hexText(sent->id) + " applyAction " + std::to_string(applyAction) +
                    " opType " + std::to_string(opType),
                payloadOf(*sent));
}

int KorOamApi::sendEvent(const boost::shared_ptr<Zel::Event>& event) {
  return record("event " + Zel::hexText(event->id) + " severity " +
                    std::to_string(event->severity) + timeText(event->time),
                payloadOf(*event));
}

int KorOamApi::sendAlarm(const boost::shared_ptr<Zel::Alarm>& alarm) {
  return record("alarm " + Zel::hexText(alarm->id) + (alarm->alarmSet ? " set" : " cleared") +
                    timeText(alarm->time),
                payloadOf(*alarm));
}

int KorOamApi::sendRecordUpdateEvent(const boost::shared_ptr<Zel::RecordUpdateEvent>& event,
                                     Zel::MgmtOpType opType) {
  return record("recordUpdateEvent " + Zel::hexText(event->id) + " opType " +
                    std::to_string(opType) + timeText(event->time),
                payloadOf(*event));
}

int KorOamApi::sendDeferredSetRspInd(unsigned short transactionId, Zel::MgmtResult result,
                                     const Zel::SafeStringT<256, false>& errorString,
                                     Zel::ApplyActionType applyAction) {
  return record("deferredSetRsp " + std::to_string(transactionId) + " result " +
                std::to_string(result) + " errorString \"" + errorString.c_str() +
                "\" applyAction " + std::to_string(applyAction));
}
