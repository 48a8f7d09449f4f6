// What is checked every few seconds, while no client waits for anything.
#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstdio>
#include <thread>

#include "tests/soak/LineWaits.h"
#include "tests/soak/Soak.h"

namespace json = boost::json;
using namespace std::chrono_literals;

namespace soak {
namespace {

constexpr long memoryGrowth = 1024;  // KiB
constexpr auto warmUp = 60s;

}  // namespace

void Soak::checkPoint() {
  daemon_.checkRuns();
  awaitNotifications();
  checkStatus();
  checkDescriptors(subscribers_.size() + clients_.size());
  checkMemory();
}

// All that the requests have provoked, at both subscribers.
void Soak::awaitNotifications() {
  const auto missing = [&] {
    for (const auto& [method, count] : asked_.notifications) {
      const auto seen = notifications_.seen().find(method);
      const std::uint64_t got = seen == notifications_.seen().end() ? 0 : seen->second;
      if (got > count)
        throw Wrong("more than the " + std::to_string(count) + " " + method +
                    " that were provoked");
      if (got < count) return method + ", " + std::to_string(got) + " of " + std::to_string(count);
    }
    return std::string();
  };
  for (const auto deadline = Clock::now() + 5s; !missing().empty();) {
    if (Clock::now() > deadline) throw Wrong("notifications are missing: " + missing());
    poll();
  }
}

void Soak::checkStatus() {
  const auto before = notifications_.seen();
  ++asked_.requests["status"];
  sendLine(*control_, R"({"jsonrpc":"2.0","id":0,"method":"status"})");
  const std::string line = awaitLine(*control_, "status");
  ++replies_["status"];
  for (std::size_t i = 0; i < subscribers_.size(); ++i) readSubscriber(i);
  notifications_.checkEven();
  const json::value reply = json::parse(line);
  const json::object& status = reply.at("result").as_object();
  const auto expect = [&](const char* what, const json::value& got, const json::value& expected) {
    if (got != expected) {
      throwDifference(std::string(what) + " of the status", json::serialize(expected),
                      json::serialize(got));
    }
  };
  expect("pid", status.at("pid"), daemon_.pid());
  expect("auto", status.at("auto"), true);
  for (const auto& [slot, filled] : status.at("slots").as_object()) expect("a slot", filled, true);
  expect("service registration", status.at("serviceRegistration"),
         json::parse(
             R"({"groups":["0x801","0x111d","0x111e","0x111f"],"lastIndication":"svcRegEndInd"})"));
  const auto up = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count();
  const auto between = [&](const std::string& what, const json::value& got, std::uint64_t least,
                           std::uint64_t most) {
    const auto number = got.to_number<std::uint64_t>();
    if (number >= least && number <= most) return;
    throw Wrong("the status says " + what + " " + std::to_string(number) + ", expected " +
                std::to_string(least) + " to " + std::to_string(most));
  };
  between("uptimeSeconds", status.at("uptimeSeconds"),
          up < 2 ? 0 : static_cast<std::uint64_t>(up) - 2, static_cast<std::uint64_t>(up));
  const json::object& counters = status.at("counters").as_object();
  const json::object& requests = counters.at("requests").as_object();
  if (requests.size() != asked_.requests.size()) throw Wrong("other methods are counted: " + line);
  for (const auto& [method, count] : asked_.requests) {
    between(method, requests.at(method), count, method == "get" ? count + perhapsServed_ : count);
  }
  // The registration at the start came before the subscribers did.
  for (const auto& [method, count] : counters.at("notifications").as_object()) {
    const std::uint64_t unseen = method.starts_with("svcReg") ? 1 : 0;
    const auto seen = notifications_.seen().find(method);
    const auto earlier = before.find(method);
    between(method, count, (earlier == before.end() ? 0 : earlier->second) + unseen,
            (seen == notifications_.seen().end() ? 0 : seen->second) + unseen);
  }
  expect("connections", counters.at("connections"),
         {{"made", connectionsMade_}, {"refused", refused_}, {"cutOff", cutOff_}});
}

// The control connection is not among `connections`.
void Soak::checkDescriptors(std::size_t connections) {
  const long expected = firstDescriptors_ + static_cast<long>(connections);
  long got = 0;
  for (const auto deadline = Clock::now() + 5s; Clock::now() < deadline;) {
    got = daemon_.descriptors();
    if (got == expected) {
      lastDescriptors_ = got - static_cast<long>(connections);
      return;
    }
    std::this_thread::sleep_for(20ms);
  }
  throw Wrong("the daemon has " + std::to_string(got) + " descriptors, expected " +
              std::to_string(expected));
}

void Soak::checkMemory() {
  lastMemory_ = daemon_.residentMemory();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_);
  std::fprintf(stderr, "%6llds %8ld KiB\n", static_cast<long long>(seconds.count()), lastMemory_);
  if (seconds < warmUp || options_.length < shortestForMemory) return;
  if (memoryAfterMinute_ == 0) memoryAfterMinute_ = leastMemory_ = lastMemory_;
  leastMemory_ = std::min(leastMemory_, lastMemory_);
  mostMemory_ = std::max(mostMemory_, lastMemory_);
  if (lastMemory_ > leastMemory_ + memoryGrowth) {
    throw Wrong("the daemon's memory has grown from " + std::to_string(leastMemory_) + " to " +
                std::to_string(lastMemory_) + " KiB");
  }
}

}  // namespace soak
