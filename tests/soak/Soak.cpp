#include "tests/soak/Soak.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <thread>
#include <utility>

#include "tests/soak/LineWaits.h"

using namespace std::chrono_literals;

namespace soak {
namespace {

constexpr unsigned int clientCount = 8;
constexpr std::size_t connectionLimit = 64;
constexpr std::size_t lineLimit = std::size_t{1024} * 1024;
constexpr std::size_t largeReplies = 8;

const std::vector<std::string> daemonOptions = {
    "--group",   "0x111d:0x111e:0x111f:0x0801", "--set-update", "L:1234:abcd", "--event-sim", "15",
    "--set-ind", "--send-deferred-set-rsp"};

void printCounts(const char* title, const std::map<std::string, std::uint64_t>& counts) {
  std::uint64_t sum = 0;
  for (const auto& [name, count] : counts) sum += count;
  std::printf("%-13s %10llu ", title, static_cast<unsigned long long>(sum));
  for (const auto& [name, count] : counts) {
    std::printf(" %s %llu", name.c_str(), static_cast<unsigned long long>(count));
  }
  std::printf("\n");
}

}  // namespace

Soak::Soak(const SoakOptions& options, const std::string& socketPath)
    : options_(options),
      socketPath_(socketPath),
      daemon_(options.program, daemonOptions, socketPath, options.output),
      engine_(options.seed) {}

void Soak::run() {
  open();
  const auto end = start_ + options_.length;
  while (Clock::now() < end) {
    drive(std::min(end, Clock::now() + 5s));
    checkPoint();
  }
  stop();
}

std::unique_ptr<LineClient> Soak::connect() {
  auto link = std::make_unique<LineClient>(socketPath_);
  ++connectionsMade_;
  return link;
}

void Soak::connectFirst() {
  for (const auto deadline = start_ + patience; !control_;) {
    daemon_.checkRuns();
    try {
      control_ = connect();
    } catch (const std::system_error&) {
      if (Clock::now() > deadline) throw Wrong("the daemon does not listen");
      std::this_thread::sleep_for(10ms);
    }
  }
}

// What can only be told exactly while one client is alone.
void Soak::open() {
  connectFirst();
  ++asked_.requests["status"];
  sendLine(*control_, R"({"jsonrpc":"2.0","id":0,"method":"status"})");
  awaitLine(*control_, "the first status");
  firstDescriptors_ = daemon_.descriptors();
  for (std::size_t i = 0; i < Notifications::subscribers; ++i) {
    subscribers_.push_back(connect());
    sendLine(*subscribers_.back(), R"({"jsonrpc":"2.0","id":1,"method":"subscribe"})");
    expectLine(*subscribers_.back(), "subscribe",
               R"({"jsonrpc":"2.0","id":1,"result":{"subscribed":true}})");
    ++asked_.requests["subscribe"];
  }
  for (unsigned int i = 0; i < clientCount; ++i) {
    clients_.push_back(std::make_unique<Client>(socketPath_, i, options_.seed + i, asked_));
    ++connectionsMade_;
  }
  Client& actor = *clients_[ofAction1];
  Client& deferring = *clients_[ofAction2];
  exchange(actor, actor.requests.constantGet());
  exchange(actor, actor.requests.setAction1(false));
  exchange(deferring, deferring.requests.setAction2());
  exchange(actor, actor.requests.constantGet());
  exchange(actor, actor.requests.plainSet());
  exchange(actor, actor.requests.constantGet());
  exchange(actor, actor.requests.initProvComplete());
  exchange(actor, actor.requests.setAction1(true));
  crowd();
  checkPoint();
}

// As many connections as there may be, and one more.
void Soak::crowd() {
  std::vector<std::unique_ptr<LineClient>> others;
  while (connectionsMade_ < connectionLimit) others.push_back(connect());
  LineClient refused(socketPath_);
  ++refused_;
  expectLine(refused, "the connection past the limit",
             errorReply("null", -32000, "at most 64 connections"));
  expectEnd(refused, "the connection past the limit");
}

void Soak::drive(Clock::time_point until) {
  auto nextStray = Clock::now(), nextLarge = nextStray + 1s, nextDeferring = nextStray + 2s;
  const auto busy = [&] {
    return std::any_of(clients_.begin(), clients_.end(),
                       [](const auto& client) { return !client->unanswered.empty(); });
  };
  const auto isTime = [](Clock::time_point& next, Clock::duration period) {
    if (Clock::now() < next) return false;
    next += period;
    return true;
  };
  lastReply_ = Clock::now();
  while (Clock::now() < until) {
    for (const auto& client : clients_) {
      if (client->unanswered.empty()) takeTurn(*client);
    }
    if (isTime(nextStray, 250ms)) doStray();
    Client& client = *clients_[engine_() % clientCount];
    if (isTime(nextLarge, 2500ms)) send(client, client.requests.largeGet());
    Client& deferring = *clients_[ofAction2];
    if (isTime(nextDeferring, 2s)) send(deferring, deferring.requests.setAction2());
    poll();
  }
  // Behind it nothing of a client still waits, requests without id included.
  for (const auto& client : clients_) send(*client, client->requests.initProvComplete());
  while (busy()) poll();
}

void Soak::takeTurn(Client& client) {
  std::vector<Line> lines;
  const auto kind = engine_() % 8;
  if (kind == 0) {
    lines.push_back(client.requests.next(16));
  } else {
    for (std::size_t i = kind == 1 ? 32 : 1; i != 0; --i) lines.push_back(client.requests.next(1));
  }
  send(client, std::move(lines));
}

void Soak::send(Client& client, std::vector<Line> lines) {
  std::string text;
  for (Line& line : lines) {
    text += line.text();
    Unanswered unanswered{std::move(line), {}};
    for (const Request& request : unanswered.line.requests) {
      unanswered.sent.push_back(++time_);
      if (request.counted) ++asked_.requests[request.method];
      if (request.set != SetKind::none) lastSet_.sent(request.set, time_);
      if (request.set == SetKind::deferring) notifications_.deferringSetSent(request.transactionId);
    }
    if (unanswered.line.hasReply()) client.unanswered.push_back(std::move(unanswered));
  }
  client.link.send(text);
}

void Soak::send(Client& client, Request request) {
  Line line;
  line.requests.push_back(std::move(request));
  send(client, std::vector{std::move(line)});
}

void Soak::exchange(Client& client, Request request) {
  lastReply_ = Clock::now();
  send(client, std::move(request));
  while (!client.unanswered.empty()) poll();
}

void Soak::poll(int milliseconds) {
  std::vector<pollfd> waiting;
  for (const auto& link : subscribers_) waiting.push_back({link->descriptor(), link->events(), 0});
  for (const auto& client : clients_) {
    waiting.push_back({client->link.descriptor(), client->link.events(), 0});
  }
  ::poll(waiting.data(), waiting.size(), milliseconds);
  for (std::size_t i = 0; i < waiting.size(); ++i) {
    if (waiting[i].revents == 0) continue;
    if (i < subscribers_.size()) {
      readSubscriber(i);
    } else {
      receive(*clients_[i - subscribers_.size()]);
    }
  }
  notifications_.checkOverdue();
  if (Clock::now() > lastReply_ + patience) {
    for (const auto& client : clients_) {
      if (client->unanswered.empty()) continue;
      throw Wrong("no reply comes to " + client->unanswered.front().line.text());
    }
  }
}

void Soak::readSubscriber(std::size_t number) {
  LineClient& link = *subscribers_[number];
  if (!link.transfer()) lost("a subscriber's connection ends");
  while (const auto line = link.nextLine()) notifications_.received(number, *line);
}

void Soak::receive(Client& client) {
  const bool open = client.link.transfer();
  while (const auto reply = client.link.nextLine()) answered(client, *reply);
  if (!open) lost("a client's connection ends");
}

// A daemon that ends closes its connections first.
void Soak::lost(const char* what) {
  for (const auto deadline = Clock::now() + 1s; Clock::now() < deadline;) {
    daemon_.checkRuns();
    std::this_thread::sleep_for(10ms);
  }
  throw Wrong(what);
}

void Soak::answered(Client& client, std::string_view reply) {
  lastReply_ = Clock::now();
  if (client.unanswered.empty()) throwDifference("a reply to nothing", "", reply);
  const Unanswered& front = client.unanswered.front();
  std::vector<Possible> possible;
  for (const LastSet::Time sent : front.sent) possible.push_back(lastSet_.possible(sent));
  checkReply(front.line, possible, reply);
  for (std::size_t i = 0; i < front.sent.size(); ++i) {
    const Request& request = front.line.requests[i];
    if (!request.reply.empty()) ++replies_[request.method];
    if (request.set != SetKind::none) lastSet_.replied(front.sent[i], ++time_);
    if (request.set == SetKind::deferring) {
      notifications_.deferringSetReplied(request.transactionId);
    }
  }
  client.unanswered.pop_front();
}

// A client that does not behave.
void Soak::doStray() {
  const std::string get = R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"recordId":)";
  const std::string fewRows = get + R"("0x111f000b"}})",
                    manyRows = get + R"("0x111f0007","batchSize":65535}})";
  const auto link = connect();
  switch (engine_() % 6) {
    case 0:
      break;
    case 1:
      link->send(get);
      break;
    case 2:
      sendLine(*link, manyRows);
      ++perhapsServed_;
      // Notifications are timed: they are read meanwhile.
      for (const auto deadline = Clock::now() + patience; !link->wait(0); poll(5)) {
        if (Clock::now() > deadline) throw Wrong("no reply comes to " + manyRows);
      }
      link->transfer();
      break;
    case 3:
      for (int i = 0; i < 32; ++i) sendLine(*link, fewRows);
      perhapsServed_ += 32;
      break;
    case 4:
      sendLine(*link, std::string(lineLimit + 1, ' '));
      expectLine(*link, "a line that is too long",
                 errorReply("null", -32600, "a request line holds at most 1048576 bytes"));
      expectEnd(*link, "a line that is too long");
      ++cutOff_;
      ++replies_["(error)"];
      break;
    default:
      for (int i = 0; i < 4; ++i) {
        sendLine(*link, R"({"jsonrpc":"2.0","id":1,"method":"unsubscribe"})");
      }
      link->endOutput();
      for (int i = 0; i < 4; ++i) {
        expectLine(*link, "unsubscribe",
                   R"({"jsonrpc":"2.0","id":1,"result":{"subscribed":false}})");
        ++asked_.requests["unsubscribe"];
        ++replies_["unsubscribe"];
      }
      expectEnd(*link, "a client that has nothing more to say");
  }
}

// Replies that wait when the daemon stops are errors, and those that were made still come.
void Soak::stop() {
  subscribers_.clear();
  while (clients_.size() > 1) clients_.pop_back();
  checkDescriptors(1);
  Client& client = *clients_.front();
  std::vector<Line> lines;
  for (std::size_t i = 0; i < largeReplies; ++i) lines.push_back({{client.requests.largeGet()}});
  send(client, std::move(lines));
  client.link.wait(static_cast<int>(std::chrono::milliseconds(patience).count()));
  daemon_.terminate();
  std::size_t served = 0;
  for (; !client.unanswered.empty(); client.unanswered.pop_front()) {
    const Request& request = client.unanswered.front().line.requests.front();
    const std::string reply = awaitLine(client.link, request.text);
    const std::size_t idEnd = request.reply.find(R"(,"result")"),
                      idBegin = request.reply.find(R"("id":)") + 5;
    const std::string refusal = errorReply(request.reply.substr(idBegin, idEnd - idBegin), -32001,
                                           "the process is stopping");
    if (reply == request.reply && served + client.unanswered.size() == largeReplies) {
      ++served;
    } else if (reply != refusal) {
      throwDifference("after the stop: " + request.text, refusal, reply);
    }
  }
  if (served == 0 || served == largeReplies) throw Wrong("the stop came too late or too early");
  replies_["get"] += served;
  replies_["(error)"] += largeReplies - served;
  expectEnd(client.link, "the stop");
  daemon_.checkExit();
}

void Soak::printFigures() const {
  std::printf("seconds       %10lld  seed %u\n", static_cast<long long>(options_.length.count()),
              options_.seed);
  printCounts("replies", replies_);
  printCounts("notifications", notifications_.seen());
  if (options_.length < shortestForMemory) {
    std::printf("memory        not checked: shorter than 90 s; at the end %ld KiB\n", lastMemory_);
  } else {
    std::printf("memory        %10ld KiB after 60 s, %ld at the end, from then on %ld to %ld\n",
                memoryAfterMinute_, lastMemory_, leastMemory_, mostMemory_);
  }
  std::printf("descriptors   %10ld at the start, %ld without clients at the end\n",
              firstDescriptors_, lastDescriptors_);
  std::printf("connections   %10llu made, %llu refused\n",
              static_cast<unsigned long long>(connectionsMade_),
              static_cast<unsigned long long>(refused_));
  std::printf("wrong                  0\n");
}

}  // namespace soak
