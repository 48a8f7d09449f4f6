// oamctl svc-reg and set-ind-result: outcomes that the framework reports.
#include <boost/json/array.hpp>
#include <sstream>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {

namespace {

/// Groups as the daemon's own option takes them: in hexadecimal, with ':' between.
json::array groupsOf(const Words& words, std::size_t first) {
  json::array groups;
  for (std::size_t i = first; i < words.size(); ++i) {
    std::istringstream word(words[i]);
    for (std::string group; std::getline(word, group, ':');) {
      const bool prefixed = group.starts_with("0x") || group.starts_with("0X");
      groups.emplace_back(prefixed ? group : "0x" + group);
    }
  }
  return groups;
}

}  // namespace

int svcReg(const Invocation& invocation) {
  const Words& words = invocation.words;
  if (words.empty()) {
    return printResult(invocation, "service registration asked for",
                       invocation.connect().call("svcRegInd", {}));
  }
  if (words.front() != "result" || words.size() < 3) {
    throw UsageError{"usage: oamctl svc-reg [result KIND RESULT GROUPS...]"};
  }
  const json::object parameters{{"kind", number(words[1], "KIND", 0xFFFFFFFF)},
                                {"result", managementResultNamed(words[2])},
                                {"groups", groupsOf(words, 3)}};
  return printResult(invocation, "service registration outcome reported",
                     invocation.connect().call("svcRegResult", parameters));
}

int setIndResult(const Invocation& invocation) {
  expectWords(invocation.words, 2, 2, "set-ind-result ID RESULT");
  const json::object parameters{{"setIndId", number(invocation.words[0], "ID", 0xFFFFFFFF)},
                                {"result", managementResultNamed(invocation.words[1])}};
  return printResult(invocation, "outcome of set indication " + invocation.words[0],
                     invocation.connect().call("setIndResult", parameters));
}

}  // namespace tools
