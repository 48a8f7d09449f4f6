// oamctl svc-reg and set-ind-result: outcomes that the framework reports.
#include <boost/json/array.hpp>

#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {

int svcReg(const Invocation& invocation) {
  const Words& words = invocation.words;
  if (words.empty()) {
    return printResult(invocation, "service registration asked for",
                       invocation.connect().call("svcRegInd", {}));
  }
  if (words.front() != "result" || words.size() < 3) {
    throw UsageError{"usage: oamctl svc-reg [result KIND RESULT GROUPS...]"};
  }
  json::array groups;
  for (std::size_t i = 3; i < words.size(); ++i) {
    std::string rest = words[i];
    for (std::size_t colon; (colon = rest.find(':')) != std::string::npos;) {
      groups.emplace_back(rest.substr(0, colon));
      rest.erase(0, colon + 1);
    }
    if (!rest.empty()) groups.emplace_back(rest);
  }
  for (json::value& group : groups) {
    json::string& text = group.get_string();
    if (!text.starts_with("0x") && !text.starts_with("0X")) text.insert(0, "0x");
  }
  return printResult(
      invocation, "service registration outcome reported",
      invocation.connect().call("svcRegResult", {{"kind", number(words[1], "KIND")},
                                                 {"result", managementResultNamed(words[2])},
                                                 {"groups", std::move(groups)}}));
}

int setIndResult(const Invocation& invocation) {
  expectWords(invocation.words, 2, 2, "set-ind-result ID RESULT");
  return printResult(invocation, "outcome of set indication " + invocation.words[0],
                     invocation.connect().call(
                         "setIndResult", {{"setIndId", number(invocation.words[0], "ID")},
                                          {"result", managementResultNamed(invocation.words[1])}}));
}

}  // namespace tools
