// oamctl advance: time passes for the pauses of the daemon.
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {

int advance(const Invocation& invocation, Answer& answer) {
  constexpr double mostSeconds = 4294967295.0;
  constexpr std::int64_t mostPauses = 10'000;
  const double asked = seconds(invocation.words[0], "SECONDS", mostSeconds);
  const json::object reply = invocation.client().call("advanceTime", {{"seconds", asked}});
  const std::int64_t ended = integerMember(reply, "ended");
  const bool settled = boolMember(reply, "settled");
  answer.line(counted(static_cast<std::size_t>(ended), "pause") + " ended");
  merge(answer, reply);
  if (!settled) {
    throw Failure{exitTimedOut,
                  "a thread of the daemon was still at work after a second; what it "
                  "does is not all done"};
  }
  if (ended >= mostPauses) {
    throw Failure{exitTimedOut, "the rest of the time is left out: a call ends at most " +
                                    std::to_string(mostPauses) + " pauses"};
  }
  return exitSuccess;
}

}  // namespace tools
