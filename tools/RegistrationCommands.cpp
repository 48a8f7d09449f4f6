// oamctl svc-reg and set-ind-result: outcomes that the framework reports.
#include <boost/json/array.hpp>
#include <sstream>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Names.h"
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
      const auto parsed = parsedNumber(prefixed ? group : "0x" + group);
      if (!parsed || *parsed < 0 || *parsed > 0xFFFF) {
        throw UsageError{"a group must be a hexadecimal number from 0 to ffff, not '" + group +
                         "'"};
      }
      groups.emplace_back(*parsed);
    }
  }
  return groups;
}

}  // namespace

int svcReg(const Invocation& invocation, Answer& answer) {
  return answerResult(answer, "service registration asked for",
                      invocation.client().call("svcRegInd", {}));
}

int svcRegResult(const Invocation& invocation, Answer& answer) {
  const Words& words = invocation.words;
  const json::object parameters{{"kind", number(words[0], "KIND", 0xFFFFFFFF)},
                                {"result", managementResultNamed(words[1])},
                                {"groups", groupsOf(words, 2)}};
  return answerResult(answer, "service registration outcome reported",
                      invocation.client().call("svcRegResult", parameters));
}

int setIndResult(const Invocation& invocation, Answer& answer) {
  const json::object parameters{{"setIndId", number(invocation.words[0], "ID", 0xFFFFFFFF)},
                                {"result", managementResultNamed(invocation.words[1])}};
  Client& client = invocation.client();
  try {
    return answerResult(answer, "outcome of set indication " + invocation.words[0],
                        client.call("setIndResult", parameters));
  } catch (Failure& failure) {
    if (failure.code != 0 && boolMember(client.call("status", {}), "auto")) {
      failure.message +=
          "; this daemon's platform answers set indications by itself; "
          "KOR_OAM_AUTO=0 leaves them to you";
    }
    throw;
  }
}

}  // namespace tools
