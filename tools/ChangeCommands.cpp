// oamctl set, notify, clear and init-prov-complete.
#include <iostream>

#include "records/MgmtEnums.h"
#include "tools/Arguments.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"
#include "tools/Replies.h"

namespace json = boost::json;

namespace tools {
namespace {

json::object changeParameters(const Invocation& invocation, const RecordType& type) {
  const std::int64_t opType = invocation.has("op") ? opTypeNamed(invocation.text("op"))
                                                   : std::int64_t{Zel::MGMT_OPTYPE_SET};
  json::object parameters{{"record", type.encode(assignments(invocation.words, 1))},
                          {"opType", opType}};
  if (invocation.has("reg-download")) parameters["regDownloadFlag"] = true;
  if (invocation.has("apply-action")) {
    parameters["applyAction"] = applyActionNamed(invocation.text("apply-action"));
  }
  return parameters;
}

/// Waits for the deferred response to a transaction; a Failure when none comes.
json::object deferredResponse(Client& client, std::int64_t transactionId, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration_cast<Client::Duration>(
                                                          std::chrono::duration<double>(seconds));
  while (auto message = client.nextNotification(end - std::chrono::steady_clock::now())) {
    if (textMember(*message, "method") != "deferredSetRsp") continue;
    const json::object& response = objectMember(*message, "params");
    if (integerMember(response, "transactionId") == transactionId) return response;
  }
  throw Failure{exitTimedOut, "no deferred response to transaction " +
                                  std::to_string(transactionId) + " came in time"};
}

}  // namespace

int set(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX, "set RECORD FIELDS... [options]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  json::object parameters = changeParameters(invocation, type);
  std::int64_t transactionId = 0;
  if (invocation.has("transaction")) {
    transactionId = invocation.number("transaction", 0xFFFF);
    parameters["transactionId"] = transactionId;
  }
  Client client = invocation.connect();
  const bool waits = invocation.has("wait-deferred");
  const double wait = waits ? invocation.seconds("wait-deferred") : 0;
  if (waits) client.call("subscribe", {});
  json::object reply = client.call("set", parameters);
  std::int64_t result = integerMember(reply, "result");
  const std::string summary =
      title(type) + ": " + resultText(reply) + ", apply action " + applyActionOf(reply);
  if (!invocation.json) {
    std::cout << summary << std::endl;
    printErrorString(reply);
  }
  if (waits && result == Zel::MGMT_RESPONSE_DEFERRED) {
    const json::object response = deferredResponse(client, transactionId, wait);
    result = integerMember(response, "result");
    reply["deferredSetRsp"] = response;
    if (!invocation.json) {
      std::cout << "deferred response to transaction " << transactionId << ": "
                << resultText(response) << ", apply action " << applyActionOf(response) << '\n';
      printErrorString(response);
    }
  }
  if (invocation.json) printJson(reply);
  return exitStatusOf(result);
}

int notify(const Invocation& invocation) {
  expectWords(invocation.words, 1, SIZE_MAX, "notify RECORD FIELDS... [options]");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  const json::object parameters = changeParameters(invocation, type);
  return printResult(invocation, title(type), invocation.connect().call("notify", parameters));
}

int clear(const Invocation& invocation) {
  expectWords(invocation.words, 1, 1, "clear RECORD");
  const RecordType& type = recordTypeNamed(invocation.words.front());
  return printResult(invocation, title(type),
                     invocation.connect().call("clear", {{"recordId", hexId(type.id)}}));
}

int initProvComplete(const Invocation& invocation) {
  expectWords(invocation.words, 0, 0, "init-prov-complete");
  return printResult(invocation, "initial provisioning complete",
                     invocation.connect().call("initProvComplete", {}));
}

}  // namespace tools
