// The least that the daemon runs on: a platform that plays one session with it by itself, says what
// comes back, and stops.
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <boost/program_options/parsers.hpp>
#include <csignal>
#include <cstdio>

#include "platform/BinLogClient.h"
#include "platform/KorOamApi.h"
#include "platform/LogStream.h"
#include "platform/ProcPrivs.h"
#include "platform/Process.h"
#include "records/Factories.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"
#include "records/RecordKeys.h"

namespace po = boost::program_options;

int zelLogLevelThreshold = ZEL_LOG_ERROR;

int zelClientBinLogInit(unsigned int client) {
  std::printf("log client %x\n", client);
  return 0;
}

namespace Zel {

LogStream::LogStream(ZelLogLevel level, const char* file, int line, const char* function)
    : level_(level), file_(file), line_(line), function_(function) {}

void LogStream::done() { std::printf("log %d: %s\n", level_, text_); }

ProcPrivs::ProcPrivs() = default;
ProcPrivs::~ProcPrivs() = default;
void ProcPrivs::setUser(const char* user) { user_ = user; }
void ProcPrivs::setGroup(const char* group) { group_ = group; }

int ProcPrivs::applyPrivileges() {
  std::printf("become %s:%s\n", user_.c_str(), group_.c_str());
  return 0;
}

namespace {

std::atomic<Process*> theProcess{nullptr};

// Readable once the process is stopping. Never closed: a thread may pause while `exit` runs.
const int stopEvent = ::eventfd(0, 0);

void raiseStop(int) { ::eventfd_write(stopEvent, 1); }

bool stopWithin(int milliseconds) {
  pollfd stop{stopEvent, POLLIN, 0};
  return ::poll(&stop, 1, milliseconds) == 1;
}

}  // namespace

Process::Process(int argc, char** argv, unsigned int flags,
                 const po::options_description& options) {
  std::printf("process %u\n", flags);
  theProcess = this;
  std::signal(SIGTERM, raiseStop);
  try {
    po::store(po::parse_command_line(argc, argv, options), variables_);
  } catch (const po::error& error) {
    std::puts(error.what());
    good = false;
  }
}

Process::~Process() { theProcess = nullptr; }

void Process::halt() { raiseStop(0); }

int Process::operator()() {
  while (!stopWithin(-1)) {
  }
  KorOamApi::instance().awaitEnd();
  std::puts("end");
  return 0;
}

Process* Process::instance() { return theProcess; }
bool Process::exiting() const { return stopWithin(0); }

void sleepSeconds(unsigned int seconds) {
  stopWithin(static_cast<int>(std::min(seconds, 1'000'000u)) * 1000);
}

}  // namespace Zel

namespace {

constexpr bool swapBytes = std::endian::native == std::endian::little;

void printBlock(const Zel::Record& record) {
  std::uint8_t bytes[256];
  Zel::SerialStream stream(bytes, sizeof bytes, 0, swapBytes);
  record.serialize(stream, false);
  for (std::uint32_t i = 0; i < stream.size(); ++i) std::printf("%02x", bytes[i]);
  std::puts("");
}

int printSent(const char* what, const KorOamApi::Groups& values) {
  std::printf("%s", what);
  for (const unsigned short value : values) std::printf(" %x", value);
  std::puts("");
  return 0;
}

}  // namespace

KorOamApi& KorOamApi::instance() {
  static auto& api = *new KorOamApi;
  return api;
}

void KorOamApi::playSession() {
  svcRegInd_();
  svcRegResult_(12, Zel::MGMT_SUCCESS, {0x111D, 0x111F});
  svcRegResult_(14, Zel::MGMT_SUCCESS, {});
  svcRegResult_(14, Zel::MGMT_BAD_VALUE, {});

  std::uint8_t block[] = {0, 12, 0, 1, 0, 2, 0, 5, 0, 2, 0, 2, 0, 3};
  Zel::SerialStream stream(block, sizeof block, sizeof block, swapBytes);
  const auto keys = Zel::RecordFactory::keysFuncMap().at(0x111F0006)(false);
  keys->deserialize(stream);
  Zel::RecordList records;
  Zel::ErrorString errorString;
  const Zel::MgmtResult result = get_(0x111F0006, {keys}, 0, false, records, errorString);
  std::printf("got %d \"%s\"\n", result, errorString.c_str());
  for (const auto& record : records) printBlock(*record);

  std::raise(SIGTERM);
}

int KorOamApi::sendVmbSvcRegInd(Zel::OamSvcRegInd::SvcRegType, const Groups& groups) {
  return printSent("groups", groups);
}

int KorOamApi::sendVmbSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType, const Groups& values) {
  return printSent("set update", values);
}

int KorOamApi::sendVmbSvcRegEndInd() { return printSent("registration end", {}); }
