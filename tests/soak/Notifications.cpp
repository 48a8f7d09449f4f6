#include "tests/soak/Notifications.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include "tests/soak/Expected.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

/// A pause may take this much longer on a busy machine; the early side is rounding.
constexpr auto late = 3s;
constexpr auto early = 500ms;

/// How long after its reply a set is sure to be the one that is owed.
constexpr auto settled = 1s;

const std::string head = R"({"jsonrpc":"2.0","method":")";

const std::map<std::string, std::string> registration = {
    {"svcRegInd", R"({"type":0,"groups":["0x111d","0x111e","0x111f","0x801"]})"},
    {"svcRegSetUpdateInd", R"({"type":0,"groups":["0x1234","0xabcd"]})"},
    {"svcRegEndInd", "{}"},
};

/// Of the one-shot sequence: testKey1 to testField4, and the operation.
const char* const sequence[][2] = {
    {"00010003010037004d03", "4"}, {"00010003010037005801", "4"}, {"00010003010037005802", "3"},
    {"00010003010037004d04", "1"}, {"00010003010037005805", "1"}, {"00010003010037005805", "2"},
    {"00010003010037005805", "3"}, {"0002000401000600080a", "4"}, {"00020004010006000802", "1"},
    {"00020004010042005802", "2"}, {"00020004010042005804", "3"},
};
constexpr unsigned int sequenceSteps = std::size(sequence);

/// The steps of a pass, in their order.
const char* const passSteps[] = {"setInd", "event", "alarm", "recordUpdateEvent", "deferredSetRsp"};
constexpr unsigned int deferredStep = 4;

std::string setIndParams(unsigned int id, const std::string& record, const std::string& opType,
                         unsigned int applyAction) {
  return R"({"setIndId":)" + std::to_string(id) + R"(,"record":")" + record + R"(","opType":)" +
         opType + R"(,"applyAction":)" + std::to_string(applyAction) + "}";
}

/// What a pass sends; @ stands for the time.
std::string passParams(unsigned int step, unsigned int pass) {
  switch (step) {
    case 0:
      return setIndParams(sequenceSteps + 1 + pass, "111d0003000501000c0022", "2", (pass + 1) % 4);
    case 1:
      // Multiples of seven are left out.
      return R"({"event":"111d0001)" + hex(1 + pass % 6, 2) + "@00000007000000010c0022\"}";
    case 2:
      return R"({"alarm":"111d0001@)" + std::string(pass % 2 == 0 ? "00" : "01") +
             "000015000000010c0022000c616c61726d20746578747300\"}";
    default:
      return R"({"recordUpdateEvent":"111d0002@0015000003e7)" + hex(1 + pass % 3, 1) +
             hex(1 + (pass + 1) % 3, 8) + hex(1 + (pass + 2) % 3, 8) + R"(","opType":2})";
  }
}

// Seconds and microseconds, in 8 bytes each.
bool isNow(const std::string& digits) {
  const auto number = [&](std::size_t at) {
    return std::strtoll(digits.substr(at, 16).c_str(), nullptr, 16);
  };
  return digits.size() == 32 && std::llabs(number(0) - std::time(nullptr)) <= 4 &&
         number(16) < 1000000;
}

}  // namespace

void Notifications::received(std::size_t subscriber, std::string_view line) {
  if (subscriber == 0) checkContent(line);
  auto& mine = waiting_[subscriber];
  auto& others = waiting_[1 - subscriber];
  if (others.empty()) {
    mine.emplace_back(line);
    return;
  }
  if (others.front() != line) {
    throwDifference("the subscribers see different notifications", others.front(), line);
  }
  others.pop_front();
}

void Notifications::checkEven() const {
  for (const auto& lines : waiting_) {
    if (!lines.empty()) throw Wrong("only one subscriber has seen " + lines.front());
  }
}

void Notifications::checkContent(std::string_view line) {
  if (!line.starts_with(head)) throwDifference("a notification", head, line);
  const std::string_view rest = line.substr(head.size());
  const std::string method(rest.substr(0, rest.find('"')));
  const auto registered = registration.find(method);
  if (registered == registration.end()) {
    checkSimulated(method, line);
  } else if (const std::string expected =
                 head + method + R"(","params":)" + registered->second + "}";
             line != expected) {
    throwDifference("a notification", expected, line);
  }
  ++seen_[method];
}

void Notifications::checkSimulated(const std::string& method, std::string_view line) {
  const Clock::time_point now = Clock::now();
  const auto passStep = [&] { return (step_ - sequenceSteps) % std::size(passSteps); };
  // A pass without an owed response goes over into the next.
  if (step_ >= sequenceSteps && passStep() == deferredStep && method != "deferredSetRsp") {
    if (owed(due_ - settled) != 0)
      throw Wrong("a deferred set response that is owed does not come");
    ++step_;
  }
  const std::string expectedMethod = step_ < sequenceSteps ? "setInd" : passSteps[passStep()];
  if (method != expectedMethod || now < due_ - early || now > due_ + late) {
    throw Wrong("the simulator's step " + std::to_string(step_) + " is " + expectedMethod +
                " after " + std::to_string(std::chrono::duration<double>(now - due_).count()) +
                " s, counted from when it is due, got " + std::string(line));
  }
  if (expectedMethod == "deferredSetRsp") {
    checkDeferred(line);
    ++step_;
    due_ = now;
    return;
  }
  std::string params;
  auto pause = 30s;
  if (step_ < sequenceSteps) {
    params = setIndParams(step_ + 1, std::string("111f0009000a") + sequence[step_][0],
                          sequence[step_][1], 0);
    pause = 10s;
  } else {
    const auto pass = static_cast<unsigned int>((step_ - sequenceSteps) / std::size(passSteps));
    params = passParams(static_cast<unsigned int>(passStep()), pass);
    if (passStep() + 1 == deferredStep) pause += 10s;
  }
  std::string expected = head + method + R"(","params":)" + params + "}";
  if (const std::size_t at = expected.find('@'); at != std::string::npos) {
    const std::string time(line.substr(std::min(at, line.size()), 32));
    if (!isNow(time)) throw Wrong("a notification is not of now: " + std::string(line));
    expected.replace(at, 1, time);
  }
  if (line != expected) throwDifference("a notification of the simulator", expected, line);
  ++step_;
  due_ = now + pause;
}

// The last set that is sure to have been served by then and is not answered yet; 0 for none.
std::uint16_t Notifications::owed(Clock::time_point before) const {
  std::uint16_t last = 0;
  for (const auto& [id, when] : replied_) {
    if (when < before && id > lastAnswered_) last = id;
  }
  return last;
}

void Notifications::checkDeferred(std::string_view line) {
  const std::string beginning = head + R"(deferredSetRsp","params":{"transactionId":)";
  if (!line.starts_with(beginning)) throwDifference("a deferred response", beginning, line);
  const long id = std::strtol(std::string(line.substr(beginning.size(), 6)).c_str(), nullptr, 10);
  if (id <= lastAnswered_ || id > lastSent_ || id < owed(Clock::now() - settled)) {
    throw Wrong("the deferred response is for one of the sets " +
                std::to_string(std::max<int>(owed(Clock::now() - settled), lastAnswered_ + 1)) +
                " to " + std::to_string(lastSent_) + ", got " + std::string(line));
  }
  const std::string expected =
      beginning + std::to_string(id) +
      R"(,"result":0,"resultText":"Success","errorString":"","applyAction":0}})";
  if (line != expected) throwDifference("a deferred response", expected, line);
  lastAnswered_ = static_cast<std::uint16_t>(id);
  while (!replied_.empty() && replied_.front().first <= id) replied_.pop_front();
}

void Notifications::checkOverdue() const {
  if (Clock::now() > due_ + late + 1s) {
    throw Wrong("the simulator's step " + std::to_string(step_) + " does not come");
  }
}

}  // namespace soak
