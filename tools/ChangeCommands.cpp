// oamctl set, notify, clear and init-prov-complete.
#include "records/MgmtEnums.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"
#include "tools/Names.h"
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
  const Deadline end = std::chrono::steady_clock::now() + durationOf(seconds);
  while (auto message = client.nextNotification(end)) {
    if (textMember(*message, "method") != "deferredSetRsp") continue;
    const json::object& response = objectMember(*message, "params");
    if (integerMember(response, "transactionId") == transactionId) return response;
  }
  throw Failure{exitTimedOut, "no deferred response to transaction " +
                                  std::to_string(transactionId) + " came in time"};
}

}  // namespace

int set(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  json::object parameters = changeParameters(invocation, type);
  std::int64_t transactionId = 0;
  if (invocation.has("transaction")) {
    transactionId = invocation.number("transaction", 0xFFFF);
    parameters["transactionId"] = transactionId;
  }
  const bool waits = invocation.has("wait-deferred");
  const double wait = waits ? invocation.seconds("wait-deferred") : 0;
  Client& client = invocation.client();
  if (waits) client.call("subscribe", {});
  const json::object reply = client.call("set", parameters);
  std::int64_t result = integerMember(reply, "result");
  const std::string summary =
      title(type) + ": " + resultText(reply) + ", apply action " + applyActionOf(reply);
  aboutRecord(answer, type);
  merge(answer, decoded(reply));
  answer.line(summary);
  answer.errorString(reply);
  explainRefusal(invocation, type, reply, answer);
  if (!waits || result != Zel::MGMT_RESPONSE_DEFERRED) return exitStatusOf(result);

  if (!invocation.json) print(std::exchange(answer.text, {}));
  const json::object response = deferredResponse(client, transactionId, wait);
  result = integerMember(response, "result");
  answer.line("deferred response to transaction " + std::to_string(transactionId) + ": " +
              resultText(response) + ", apply action " + applyActionOf(response));
  answer.errorString(response);
  answer.json["deferredSetRsp"] = decoded(response);
  return exitStatusOf(result);
}

int notify(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  const json::object parameters = changeParameters(invocation, type);
  aboutRecord(answer, type);
  return answerResult(answer, title(type), invocation.client().call("notify", parameters));
}

int clear(const Invocation& invocation, Answer& answer) {
  const RecordType type = anyRecordType(invocation.words.front());
  aboutRecord(answer, type);
  const json::object reply = invocation.client().call("clear", {{"recordId", hexId(type.id)}});
  const int status = answerResult(answer, title(type), reply);
  explainRefusal(invocation, type, reply, answer);
  return status;
}

int initProvComplete(const Invocation& invocation, Answer& answer) {
  return answerResult(answer, "initial provisioning complete",
                      invocation.client().call("initProvComplete", {}));
}

}  // namespace tools
