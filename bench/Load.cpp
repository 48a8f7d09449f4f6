#include "bench/Load.h"

#include <poll.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <utility>

namespace load {
namespace {

constexpr int patience = 10000;  // milliseconds
constexpr int forLearning = 2000;

const std::string head = R"({"jsonrpc":"2.0","id":)";

/// Ids have one length, and each connection's are its own.
constexpr std::uint64_t firstId = 1'000'000'000'000;
constexpr std::uint64_t idsOfConnection = 1'000'000'000;
constexpr std::size_t idDigits = 13;

std::string awaitLine(LineClient& link, int milliseconds, const char* what) {
  for (;;) {
    if (const auto line = link.nextLine()) return std::string(*line);
    if (!link.wait(milliseconds)) throw std::runtime_error(std::string("nothing comes: ") + what);
    if (!link.transfer()) throw std::runtime_error(std::string("the connection ends: ") + what);
  }
}

[[noreturn]] void wrong(const std::string& expected, std::string_view got) {
  throw std::runtime_error("expected " + expected.substr(0, 300) + "\n     got " +
                           std::string(got.substr(0, 300)));
}

std::string bulk(std::string_view value) {
  return "$" + std::to_string(value.size()) + "\r\n" + std::string(value) + "\r\n";
}

std::string redisCommand(const std::vector<std::string>& words) {
  std::string text = "*" + std::to_string(words.size()) + "\r\n";
  for (const std::string& word : words) text += bulk(word);
  return text;
}

double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

}  // namespace

RequestLoad::RequestLoad(const Options& options, Links links) : options_(options) {
  for (auto& link : links) {
    connections_.push_back({std::move(link), firstId + connections_.size() * idsOfConnection, {}});
  }
}

std::string RequestLoad::request(std::uint64_t id) const {
  if (!redisRequest_.empty()) return redisRequest_;
  return head + std::to_string(id) + R"(,"method":")" + options_.method + R"(","params":)" +
         options_.params + "}\n";
}

// What the server is to reply from then on is known to the byte.
void RequestLoad::storeInRedis() {
  const std::string key = "oam_load", value(options_.redisBytes, '0');
  std::vector<std::string> store = {"SET", key, value};
  redisRequest_ = redisCommand({"GET", key});
  redisReply_ = bulk(value);
  if (options_.redisRows != 0) {
    store = {"RPUSH", key};
    store.resize(store.size() + options_.redisRows, value);
    redisRequest_ = redisCommand({"LRANGE", key, "0", "-1"});
    redisReply_ = "*" + std::to_string(options_.redisRows) + "\r\n";
    for (std::size_t i = 0; i < options_.redisRows; ++i) redisReply_ += bulk(value);
  }
  for (const std::string& command : {redisCommand({"DEL", key}), redisCommand(store)}) {
    connections_.front().link->send(command);
    const std::string line = awaitLine(*connections_.front().link, patience, "what was stored");
    if (line.starts_with('-')) throw std::runtime_error("the server says " + line);
  }
  std::printf("each reply    %10zu bytes\n", redisReply_.size());
}

// The first reply is shown, and all others must be the same but for their id.
void RequestLoad::learnReply() {
  Connection& first = connections_.front();
  first.link->send(request(first.nextId));
  const std::string line = awaitLine(*first.link, patience, "the first reply");
  afterId_ = line.substr(std::min(line.size(), head.size() + idDigits));
  if (!isReply(line, first.nextId) || !afterId_.starts_with(R"(,"result":)")) {
    throw std::runtime_error("the first reply is no result: " + line.substr(0, 300));
  }
  ++first.nextId;
  std::printf("each reply    %10zu bytes, as %s\n", line.size() + 1, line.substr(0, 300).c_str());
}

bool RequestLoad::isReply(std::string_view line, std::uint64_t id) const {
  if (!redisReply_.empty()) return line == redisReply_;
  char digits[20];
  std::to_chars(digits, digits + sizeof digits, id);
  return line.size() == head.size() + idDigits + afterId_.size() && line.starts_with(head) &&
         line.substr(head.size(), idDigits) == std::string_view(digits, idDigits) &&
         line.ends_with(afterId_);
}

std::optional<std::string_view> RequestLoad::nextReply(Connection& connection) const {
  if (redisReply_.empty()) return connection.link->nextLine();
  return connection.link->nextBytes(redisReply_.size());
}

void RequestLoad::send(Connection& connection, std::size_t count) {
  std::string text;
  const Clock::time_point now = Clock::now();
  for (; count != 0; --count) {
    text += request(connection.nextId + connection.sent.size());
    connection.sent.push_back(now);
    ++inFlight_;
  }
  connection.link->send(text);
}

void RequestLoad::receive(Connection& connection) {
  if (!connection.link->transfer()) throw std::runtime_error("a connection ends");
  const Clock::time_point now = Clock::now();
  std::size_t count = 0;
  for (; const auto line = nextReply(connection); ++count) {
    if (connection.sent.empty() || !isReply(*line, connection.nextId)) {
      wrong(redisReply_.empty() ? head + std::to_string(connection.nextId) + afterId_ : redisReply_,
            *line);
    }
    const auto taken =
        std::chrono::duration_cast<std::chrono::nanoseconds>(now - connection.sent.front()).count();
    nanoseconds_.push_back(static_cast<std::uint32_t>(
        std::min<std::int64_t>(taken, std::numeric_limits<std::uint32_t>::max())));
    connection.sent.pop_front();
    ++connection.nextId;
  }
  inFlight_ -= count;
  if (now < end_) send(connection, count);
}

void RequestLoad::run() {
  options_.redisBytes != 0 ? storeInRedis() : learnReply();
  std::vector<pollfd> waiting;
  for (const Connection& connection : connections_) {
    waiting.push_back({connection.link->descriptor(), POLLIN, 0});
  }
  const Clock::time_point start = Clock::now();
  end_ = start + options_.length;
  for (Connection& connection : connections_) send(connection, options_.inFlight);
  while (inFlight_ != 0) {
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      waiting[i].events = connections_[i].link->events();
    }
    if (::poll(waiting.data(), waiting.size(), patience) <= 0) {
      throw std::runtime_error("no reply comes");
    }
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].revents != 0) receive(connections_[i]);
    }
  }
  elapsed_ = Clock::now() - start;
}

void RequestLoad::printFigures() {
  std::sort(nanoseconds_.begin(), nanoseconds_.end());
  const auto microseconds = [&](std::size_t perMille) {
    return nanoseconds_[(nanoseconds_.size() - 1) * perMille / 1000] / 1000.0;
  };
  const auto replies = static_cast<double>(nanoseconds_.size());
  std::printf("connections   %10zu, %zu in flight on each\n", connections_.size(),
              options_.inFlight);
  std::printf("replies       %10zu right in %.2f s\n", nanoseconds_.size(), seconds(elapsed_));
  std::printf("a second      %10.0f\n", replies / seconds(elapsed_));
  std::printf("latency       %10.1f us p50, %.1f p99, %.1f p99.9\n", microseconds(500),
              microseconds(990), microseconds(999));
}

NotificationLoad::NotificationLoad(const Options& options, std::unique_ptr<LineClient> provoker,
                                   std::unique_ptr<LineClient> subscriber)
    : options_(options), provoker_(std::move(provoker)), subscriber_(std::move(subscriber)) {}

void NotificationLoad::provoke(std::size_t requests) {
  std::string text;
  for (; requests != 0; --requests)
    text += R"({"jsonrpc":"2.0","method":"svcRegInd"})"
            "\n";
  provoker_->send(text);
  if (!provoker_->transfer()) throw std::runtime_error("the provoking connection ends");
}

void NotificationLoad::learnNotifications() {
  subscriber_->send(R"({"jsonrpc":"2.0","id":1,"method":"subscribe"})"
                    "\n");
  awaitLine(*subscriber_, patience, "subscribed");
  provoke(1);
  for (std::string& line : expected_) {
    line = awaitLine(*subscriber_, forLearning,
                     "a service registration, for which the daemon needs KOR_OAM_AUTO=1");
    std::printf("notification  %10zu bytes, %s\n", line.size() + 1, line.substr(0, 300).c_str());
  }
}

void NotificationLoad::run() {
  learnNotifications();
  const Clock::time_point start = Clock::now(), end = start + options_.length;
  std::uint64_t provoked = options_.inFlight * perRequest;
  provoke(options_.inFlight);
  while (received_ < provoked) {
    if (!subscriber_->wait(patience)) throw std::runtime_error("no notification comes");
    if (!subscriber_->transfer()) throw std::runtime_error("the subscriber's connection ends");
    for (; const auto line = subscriber_->nextLine(); ++received_) {
      if (const std::string& expected = expected_[received_ % perRequest]; *line != expected) {
        wrong(expected, *line);
      }
    }
    const std::size_t room =
        options_.inFlight - (provoked - received_ + perRequest - 1) / perRequest;
    // Few large writes: the provoking is not what is measured.
    if (Clock::now() >= end || room < (options_.inFlight + 1) / 2) continue;
    provoke(room);
    provoked += room * perRequest;
  }
  elapsed_ = Clock::now() - start;
}

void NotificationLoad::printFigures() const {
  std::printf("notifications %10llu right in %.2f s\n", static_cast<unsigned long long>(received_),
              seconds(elapsed_));
  std::printf("a second      %10.0f\n", static_cast<double>(received_) / seconds(elapsed_));
}

}  // namespace load
