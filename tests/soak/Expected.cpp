#include "tests/soak/Expected.h"

#include <algorithm>

namespace soak {
namespace {

constexpr std::string_view success = R"("result":0,"resultText":"Success")";
constexpr std::string_view deferred = R"("result":30,"resultText":"Response deferred")";

std::string excerpt(std::string_view text, std::size_t from) {
  constexpr std::size_t most = 240;
  const std::size_t begin = from < most / 2 ? 0 : from - most / 2;
  const std::string cut(text.substr(std::min(begin, text.size()), most));
  return (begin == 0 ? "" : "...") + cut + (begin + most < text.size() ? "..." : "");
}

// The other reply that a lagging request may get.
std::string whileDeferred(std::string reply) {
  return reply.replace(reply.find(success), success.size(), deferred);
}

// Takes the reply to `request` from the front of `rest`.
void take(const Request& request, const Possible& possible, std::string_view& rest) {
  if ((!request.lagging || possible.success) && rest.starts_with(request.reply)) {
    rest.remove_prefix(request.onlyBeginning ? rest.size() : request.reply.size());
    return;
  }
  std::string expected = request.reply;
  if (request.lagging && possible.deferred) {
    expected = whileDeferred(expected);
    if (rest.starts_with(expected)) return rest.remove_prefix(expected.size());
    if (possible.success) expected = request.reply;
  }
  throwDifference(request.text, expected, rest);
}

}  // namespace

void throwDifference(const std::string& where, std::string_view expected, std::string_view got) {
  const auto parting = std::mismatch(expected.begin(), expected.end(), got.begin(), got.end());
  const auto at = static_cast<std::size_t>(parting.first - expected.begin());
  throw Wrong(excerpt(where, 0) + "\n  at byte " + std::to_string(at) + "\n  expected " +
              excerpt(expected, at) + "\n  got      " + excerpt(got, at));
}

std::string Line::text() const {
  std::string text;
  for (const Request& request : requests) text += (text.empty() ? "" : ",") + request.text;
  return (batch ? "[" + text + "]" : text) + "\n";
}

bool Line::hasReply() const {
  return std::any_of(requests.begin(), requests.end(),
                     [](const Request& request) { return !request.reply.empty(); });
}

std::string errorReply(const std::string& id, int code, const std::string& message) {
  return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":)" + std::to_string(code) +
         R"(,"message":")" + message + R"("}})";
}

void checkReply(const Line& line, const std::vector<Possible>& possible, std::string_view reply) {
  std::string_view rest = reply;
  const auto takeText = [&](std::string_view text) {
    if (!rest.starts_with(text)) throwDifference("in a batch: " + line.text(), text, rest);
    rest.remove_prefix(text.size());
  };
  bool first = true;
  for (std::size_t i = 0; i < line.requests.size(); ++i) {
    if (line.requests[i].reply.empty()) continue;
    if (line.batch) takeText(first ? "[" : ",");
    first = false;
    take(line.requests[i], possible[i], rest);
  }
  if (line.batch) takeText("]");
  if (!rest.empty()) throwDifference("behind the reply to " + line.text(), "", rest);
}

}  // namespace soak
