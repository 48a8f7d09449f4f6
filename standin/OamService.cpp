#include "standin/OamService.h"

#include <malloc.h>
#include <unistd.h>

#include <array>
#include <boost/asio/post.hpp>
#include <new>
#include <system_error>
#include <utility>

#include "platform/Process.h"
#include "records/Notifications.h"
#include "standin/Environment.h"
#include "standin/Limits.h"
#include "standin/MainLoop.h"
#include "standin/Replies.h"
#include "standin/ServiceManager.h"
#include "standin/StandardError.h"

namespace standin {
namespace {

// Outcomes of the service registration that this API reports by itself.
constexpr unsigned int svcRegIndOutcome = 12;
constexpr unsigned int svcRegSetUpdateOutcome = 14;

/// A reply that leaves so much free memory behind that it is given back to the system.
constexpr std::size_t largeReplyBytes = std::size_t{1024} * 1024;
/// Larger blocks of memory are given back at once, whatever has been freed before.
constexpr int mmapThreshold = 256 * 1024;

/// A callback that is stopped may take this long before the clients get their answers without it.
constexpr auto callbackPatience = std::chrono::seconds(1);

/// Has `work(text)` make the members of the result, and replies.
template <typename Work>
void perform(Work&& work, const Reply& reply) {
  std::size_t bytes = 0;
  try {
    rpc::ObjectText text = reply.startResult();
    work(text);
    std::string whole = text.take();
    bytes = whole.size();
    reply.result(std::move(whole));
  } catch (const rpc::Error& error) {
    reply.error(error);
  } catch (const std::bad_alloc&) {
    // Without memory for one reply there may well be enough for the next.
    reply.error({rpc::internalError, "out of memory"});
  }
  if (bytes >= largeReplyBytes) ::malloc_trim(0);
}

bool stopping() {
  const Zel::Process* process = Zel::Process::instance();
  return process == nullptr || process->exiting();
}

}  // namespace

OamService::OamService()
    : callbacks_(maxUnsentReplyBytes),
      server_(callbacks_,
              [this](const rpc::Request& request, const Reply& reply) { serve(request, reply); }) {}

OamService::~OamService() = default;

bool OamService::claim() {
  const std::string reason = server_.claim(environment().socketPath);
  if (!reason.empty()) complain(reason);
  return reason.empty();
}

bool OamService::start(const Slots& slots) {
  if (started_) return false;
  if (const std::string reason = server_.listen(); !reason.empty()) {
    complain(reason);
    return false;
  }
  started_ = true;
  ::mallopt(M_MMAP_THRESHOLD, mmapThreshold);
  slots_ = slots;
  if (environment().automatic && slots_.svcRegInd) callbacks_.postAutomatic(slots_.svcRegInd);
  try {
    // Clients are served when the registration is through, so that none meets it half-finished.
    callbacks_.start([this] {
      boost::asio::post(mainLoop(), [this] {
        if (stopping()) return;
        server_.startAccepting();
        tellReady(environment().socketPath.c_str());
      });
    });
  } catch (const std::system_error& error) {
    complain(std::string("cannot start the callback thread: ") + error.what());
    return false;
  }
  atEndOfMainLoop([this] { shutDown(); });
  return true;
}

void OamService::shutDown() {
  server_.takeNoMore();
  // Clients get what there is, also where a callback hangs.
  callbacks_.stop(callbackPatience);
  server_.shutDown();
  callbacks_.join();
}

void OamService::noteIndication(std::string_view method) {
  const std::lock_guard lock(registrationMutex_);
  lastIndication_ = method;
}

void OamService::reportOutcome(unsigned int kind, Zel::MgmtResult result,
                               const std::vector<std::uint16_t>& groups) {
  if (kind == svcRegIndOutcome && result == Zel::MGMT_SUCCESS) {
    const std::lock_guard lock(registrationMutex_);
    confirmedGroups_.insert(groups.begin(), groups.end());
  }
  slots_.svcRegResult(kind, result, groups);
}

// False when nothing is sent any more.
bool OamService::publish(std::string_view method, std::string_view params) {
  if (stopping()) return false;
  server_.publish(method, params);
  return true;
}

bool OamService::sendGroups(std::string_view method, Zel::OamSvcRegInd::SvcRegType type,
                            const std::vector<std::uint16_t>& groups, unsigned int outcome) {
  if (!publish(method, groupsText(type, groups))) return false;
  noteIndication(method);
  if (environment().automatic && slots_.svcRegResult) {
    callbacks_.postAutomatic(
        [this, groups, outcome] { reportOutcome(outcome, Zel::MGMT_SUCCESS, groups); });
  }
  return true;
}

bool OamService::sendSvcRegInd(Zel::OamSvcRegInd::SvcRegType type,
                               const std::vector<std::uint16_t>& groups) {
  return sendGroups("svcRegInd", type, groups, svcRegIndOutcome);
}

bool OamService::sendSvcRegSetUpdateInd(Zel::OamSvcRegInd::SvcRegType type,
                                        const std::vector<std::uint16_t>& values) {
  return sendGroups("svcRegSetUpdateInd", type, values, svcRegSetUpdateOutcome);
}

bool OamService::sendSvcRegEndInd() {
  if (!publish("svcRegEndInd", "{}")) return false;
  noteIndication("svcRegEndInd");
  return true;
}

boost::shared_ptr<Zel::Record> OamService::takeSetInd(std::uint32_t setIndId) {
  const std::lock_guard lock(setIndMutex_);
  const auto found = outstandingSetInds_.find(setIndId);
  if (found == outstandingSetInds_.end()) return nullptr;
  boost::shared_ptr<Zel::Record> record = std::move(found->second);
  outstandingSetInds_.erase(found);
  return record;
}

bool OamService::sendSetInd(const boost::shared_ptr<Zel::Record>& record,
                            Zel::ApplyActionType applyAction, Zel::MgmtOpType opType) {
  if (stopping()) return false;
  std::uint32_t setIndId = 0;
  {
    const std::lock_guard lock(setIndMutex_);
    setIndId = ++lastSetIndId_;
    outstandingSetInds_[setIndId] = record;
    if (outstandingSetInds_.size() > maxOutstandingSetInds) {
      outstandingSetInds_.erase(outstandingSetInds_.begin());
    }
    // With the lock, so that the numbers go out in their order.
    publish("setInd", rpc::ObjectText()
                          .add("setIndId", std::int64_t{setIndId})
                          .addJson("record", quotedBlock(*record))
                          .add("opType", std::int64_t{opType})
                          .add("applyAction", std::int64_t{applyAction})
                          .take());
  }
  if (environment().automatic) {
    callbacks_.postAutomatic([this, setIndId] {
      const boost::shared_ptr<Zel::Record> outstanding = takeSetInd(setIndId);
      if (outstanding && slots_.setIndResult) slots_.setIndResult(outstanding, Zel::MGMT_SUCCESS);
    });
  }
  return true;
}

bool OamService::sendEvent(const Zel::Event& event) {
  return publish("event", rpc::ObjectText().addJson("event", quotedBlock(event)).take());
}

bool OamService::sendAlarm(const Zel::Alarm& alarm) {
  return publish("alarm", rpc::ObjectText().addJson("alarm", quotedBlock(alarm)).take());
}

bool OamService::sendRecordUpdateEvent(const Zel::RecordUpdateEvent& event,
                                       Zel::MgmtOpType opType) {
  return publish("recordUpdateEvent", rpc::ObjectText()
                                          .addJson("recordUpdateEvent", quotedBlock(event))
                                          .add("opType", std::int64_t{opType})
                                          .take());
}

bool OamService::sendDeferredSetRspInd(std::uint16_t transactionId, Zel::MgmtResult result,
                                       const Zel::ErrorString& errorString,
                                       Zel::ApplyActionType applyAction) {
  return publish(
      "deferredSetRsp",
      addResult(rpc::ObjectText().add("transactionId", std::int64_t{transactionId}), result)
          .add("errorString", errorString.c_str())
          .add("applyAction", std::int64_t{applyAction})
          .take());
}

void OamService::serve(const rpc::Request& request, const Reply& reply) {
  Parameters parameters(request.params, request.positionalParams);
  const auto method = methods().find(request.method);
  const auto accept = [&] {
    parameters.finish();
    ++requests_[std::string(request.method)];
  };
  try {
    if (request.method == "status") {
      accept();
      perform([this](rpc::ObjectText& text) { addStatus(text); }, reply);
    } else if (request.method == "subscribe" || request.method == "unsubscribe") {
      accept();
      const bool wanted = request.method == "subscribe";
      reply.connection()->subscribed = wanted;
      perform([&](rpc::ObjectText& text) { text.add("subscribed", wanted); }, reply);
    } else if (method != methods().end()) {
      Work work = (this->*method->second)(parameters);
      accept();
      // Nobody waits for the answer once the client is gone; a notification expects none.
      callbacks_.post(
          reply.connection()->lane(), [work = std::move(work), reply] { perform(work, reply); },
          reply.wanted());
    } else {
      reply.error({rpc::unknownMethod, "there is no method " + std::string(request.method)});
    }
  } catch (const rpc::Error& error) {
    reply.error(error);
  }
}

void OamService::addStatus(rpc::ObjectText& text) const {
  const std::array<std::pair<const char*, bool>, 9> filled = {{
      {"get", bool(slots_.get)},
      {"getKeys", bool(slots_.getKeys)},
      {"set", bool(slots_.set)},
      {"notify", bool(slots_.notify)},
      {"clear", bool(slots_.clear)},
      {"initProvComplete", bool(slots_.initProvComplete)},
      {"svcRegInd", bool(slots_.svcRegInd)},
      {"svcRegResult", bool(slots_.svcRegResult)},
      {"setIndResult", bool(slots_.setIndResult)},
  }};
  rpc::ObjectText slots;
  for (const auto& [name, isFilled] : filled) slots.add(name, isFilled);

  rpc::ObjectText registration;
  {
    const std::lock_guard lock(registrationMutex_);
    const std::vector<std::uint16_t> groups(confirmedGroups_.begin(), confirmedGroups_.end());
    registration.addArray("groups", groups.size(),
                          [&](std::string& out, std::size_t i) { appendGroup(out, groups[i]); });
    registration.add("lastIndication", lastIndication_);
  }

  const auto countersText = [](const auto& counters) {
    rpc::ObjectText members;
    for (const auto& [name, count] : counters) members.add(name, static_cast<std::int64_t>(count));
    return members.take();
  };
  const SocketServer::Counters& counters = server_.counters();
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  text.add("pid", number(::getpid()))
      .add("uptimeSeconds", number(std::chrono::duration_cast<std::chrono::seconds>(
                                       std::chrono::steady_clock::now() - startTime_)
                                       .count()))
      .add("auto", environment().automatic)
      .addJson("slots", slots.take())
      .addJson("serviceRegistration", registration.take())
      .addJson("counters", rpc::ObjectText()
                               .addJson("requests", countersText(requests_))
                               .addJson("notifications", countersText(counters.notifications))
                               .addJson("connections", rpc::ObjectText()
                                                           .add("made", number(counters.made))
                                                           .add("refused", number(counters.refused))
                                                           .add("cutOff", number(counters.cutOff))
                                                           .take())
                               .take())
      .addJson("limits", rpc::ObjectText()
                             .add("lineBytes", number(maxLineBytes))
                             .add("nesting", number(rpc::maxNesting))
                             .add("connections", number(maxConnections))
                             .add("unsentReplyBytes", number(maxUnsentReplyBytes))
                             .add("unsentBytes", number(maxUnsentBytes))
                             .take());
}

}  // namespace standin
