#include "tools/Commands.h"

#include <cstdlib>

#include "tools/Arguments.h"
#include "tools/ExitStatus.h"

namespace tools {

std::int64_t Invocation::number(const char* option, std::int64_t max) const {
  return tools::number(text(option), (std::string("--") + option).c_str(), max);
}

double Invocation::seconds(const char* option) const {
  return tools::seconds(text(option), (std::string("--") + option).c_str());
}

Client Invocation::connect() const {
  std::string path = "/run/quorin/oam.sock";
  if (const char* fromEnvironment = std::getenv("KOR_OAM_SOCKET")) path = fromEnvironment;
  if (has("socket")) path = text("socket");
  if (path.empty()) throw UsageError{"the path of the socket is empty"};
  const std::chrono::duration<double> timeout(seconds("timeout"));
  return Client(path, std::chrono::duration_cast<Client::Duration>(timeout));
}

const std::vector<Command>& commands() {
  static const std::vector<Command> all = {
      {"status", "status", "how the daemon is doing", {}, status},
      {"records",
       "records [RECORD] [--markdown]",
       "the catalogue, or the fields of one record",
       {"markdown"},
       records},
      {"get",
       "get RECORD [KEYS...] [--batch-size N] [--clear-on-read] [--wildcard]",
       "read a record; a key name that comes again begins the next key set",
       {"batch-size", "clear-on-read", "wildcard"},
       get},
      {"get-keys",
       "get-keys RECORD [KEYS...] [--batch-size N] [--all] [--wildcard]",
       "list key sets; --all walks through every page",
       {"batch-size", "all", "wildcard"},
       getKeys},
      {"set",
       "set RECORD FIELDS... [--op OP] [--transaction N] [--apply-action A] [--reg-download]\n"
       "      [--wait-deferred S]",
       "change a record, or run an action; fields that are left out are zero",
       {"op", "transaction", "apply-action", "reg-download", "wait-deferred"},
       set},
      {"notify",
       "notify RECORD FIELDS... [--op OP] [--apply-action A] [--reg-download]",
       "tell the daemon that a record has changed",
       {"op", "apply-action", "reg-download"},
       notify},
      {"clear", "clear RECORD", "reset what a record counts", {}, clear},
      {"init-prov-complete",
       "init-prov-complete",
       "tell the daemon that the initial provisioning is through",
       {},
       initProvComplete},
      {"svc-reg",
       "svc-reg [result KIND RESULT GROUPS...]",
       "ask for the service registration, or report an outcome of it",
       {},
       svcReg},
      {"set-ind-result",
       "set-ind-result ID RESULT",
       "report the outcome of a set indication",
       {},
       setIndResult},
      {"monitor",
       "monitor [--count N] [--for S]",
       "print events, alarms, set indications and the rest as they come",
       {"count", "for"},
       monitor},
      {"decode",
       "decode BLOCK [RECORD] [--wildcard]",
       "what a block says, or a key block of RECORD; needs no daemon",
       {"wildcard"},
       decode},
  };
  return all;
}

}  // namespace tools
