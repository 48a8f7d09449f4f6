#include "standin/OamService.h"

#include <malloc.h>
#include <poll.h>

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "standin/Environment.h"
#include "standin/Limits.h"
#include "standin/Pauses.h"
#include "standin/Replies.h"
#include "standin/ServiceManager.h"
#include "standin/StandardError.h"
#include "standin/UtcTime.h"

namespace standin {
namespace {

/// A callback that is stopped may take this long before the clients get their answers without it.
constexpr auto callbackPatience = std::chrono::seconds(1);
/// While time passes, threads may take so long to come to rest.
constexpr auto settleTime = std::chrono::seconds(1);

}  // namespace

OamService::OamService()
    : server_(*this),
      // In the order in which `status` lists them.
      methods_{
          {"advanceTime", &OamService::advanceTime, false, {}},
          {"clear", &OamService::clear, true, {}},
          {"faultAdd", &OamService::faultAdd, false, {}},
          {"faultList", &OamService::faultList, false, {}},
          {"faultRemove", &OamService::faultRemove, false, {}},
          {"get", &OamService::get, true, {}},
          {"getKeys", &OamService::getKeys, true, {}},
          {"initProvComplete", &OamService::initProvComplete, true, {}},
          {"journal", &OamService::journal, false, {}},
          {"journalClear", &OamService::journalClear, false, {}},
          {"notify", &OamService::notify, true, {}},
          {"set", &OamService::set, true, {}},
          {"setIndResult", &OamService::setIndResult, true, {}},
          {"status", &OamService::status, false, {}},
          {"subscribe", &OamService::subscribe, false, {}},
          {"svcRegInd", &OamService::svcRegInd, true, {}},
          {"svcRegResult", &OamService::svcRegResult, true, {}},
          {"unsubscribe", &OamService::unsubscribe, false, {}},
      } {}

OamService::~OamService() {
  if (thread_.joinable()) thread_.join();
}

bool OamService::claim() {
  const std::string reason = server_.claim(environment().socketPath);
  if (!reason.empty()) complain(reason);
  return reason.empty();
}

bool OamService::start(const Slots& slots) {
  if (thread_.joinable()) return false;
  if (const std::string reason = server_.listen(); !reason.empty()) {
    complain(reason);
    return false;
  }
  // What is free at the end of another arena would never go back to the system.
  ::mallopt(M_ARENA_MAX, 1);
  slots_ = slots;
  if (environment().automatic && slots_.svcRegInd) {
    automatic_.push_back({.what = Automatic::What::registration, .groups = {}});
    hasAutomatic_ = true;
  }
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error& error) {
    complain(std::string("cannot start the callback thread: ") + error.what());
    return false;
  }
  setMainDuty(this);
  return true;
}

// --- the callback thread ------------------------------------------------------------------------

void OamService::run() {
  callbackThreadId_ = std::this_thread::get_id();
  Pauses::instance().callbackThread([this] { baton_.announcePause(); });
  baton_.lock();
  // Clients are served when the registration is through, so that none meets it half-finished.
  runAutomatic();
  if (!stopping()) {
    server_.startAccepting();
    tellReady(environment().socketPath.c_str());
  }
  while (!stopping()) {
    const bool more = server_.work(true);
    if (!stopping()) server_.collect(more ? 0 : wait());
  }
  baton_.unlock();
  const std::lock_guard lock(endMutex_);
  ended_ = true;
  hasEnded_.notify_all();
}

void OamService::runAutomatic() {
  while (hasAutomatic_ && !stopping()) {
    Automatic next;
    {
      const std::lock_guard lock(postedMutex_);
      hasAutomatic_ = automatic_.size() > 1;
      next = std::move(automatic_.front());
      automatic_.pop_front();
    }
    try {
      runAutomatic(next);
    } catch (const std::bad_alloc&) {
      complain("out of memory on the callback thread");
    }
  }
}

void OamService::runAutomatic(const Automatic& next) {
  std::string params;
  switch (next.what) {
    case Automatic::What::registration:
      return callAutomatically("svcRegInd", "null", std::nullopt, [&] {
        slots_.svcRegInd();
        return Zel::MGMT_SUCCESS;
      });
    case Automatic::What::outcome:
      ObjectText(params)
          .add("kind", next.kind)
          .add("result", 0)
          .addList("groups", next.groups.size(),
                   [&](std::size_t i) { appendGroup(params, next.groups[i]); })
          .end();
      noteOutcome(next.kind, Zel::MGMT_SUCCESS, next.groups);
      return callAutomatically("svcRegResult", std::move(params), std::nullopt, [&] {
        slots_.svcRegResult(next.kind, Zel::MGMT_SUCCESS, next.groups);
        return Zel::MGMT_SUCCESS;
      });
    case Automatic::What::setInd:
      const boost::shared_ptr<Zel::Record> record = takeSetInd(next.setIndId);
      if (!record || !slots_.setIndResult) return;
      ObjectText(params).add("setIndId", next.setIndId).add("result", 0).end();
      callAutomatically("setIndResult", std::move(params), record->id,
                        [&] { return slots_.setIndResult(record, Zel::MGMT_SUCCESS); });
  }
}

/// Calls the daemon as a client's request would, and puts that into the journal.
template <typename Callback>
void OamService::callAutomatically(std::string_view method, std::string params,
                                   std::optional<std::uint32_t> recordId, Callback&& callback) {
  JournalEntry entry;
  entry.time = timeNow();
  entry.method = method;
  entry.params = std::move(params);
  entry.recordId = recordId;
  Zel::MgmtResult result = Zel::MGMT_SUCCESS;
  call(entry, [&] { result = callback(); });
  reply_.clear();
  ObjectText members(reply_);
  addResult(members, result).end();
  put(entry, "reply", reply_);
}

void OamService::noteOutcome(unsigned int kind, Zel::MgmtResult result,
                             const std::vector<std::uint16_t>& groups) {
  if (kind != svcRegIndOutcome || result != Zel::MGMT_SUCCESS) return;
  confirmedGroups_.insert(groups.begin(), groups.end());
}

void OamService::put(const JournalEntry& entry, std::string_view outcome, std::string_view value) {
  journal_.add(entry, outcome, value);
  if (!server_.someoneSeesRequests()) return;
  std::string text;
  journal_.writeNewest(text);
  line_.clear();
  rpc::appendNotification(line_, "request", text);
  server_.distribute(true, [&](Connection& connection) { connection.notify(line_); });
}

// --- the main thread ----------------------------------------------------------------------------

void OamService::attend() {
  if (!baton_.takeOver()) return;
  bool woken = false;
  while (baton_.isAway() && !woken && !stopping()) {
    try {
      const bool more = server_.work(false);
      pollfd events[] = {{wakeDescriptor(), POLLIN, 0}, {server_.descriptor(), POLLIN, 0}};
      if (baton_.isAway()) ::poll(events, std::size(events), more ? 0 : wait());
      woken = (events[0].revents & POLLIN) != 0;
      server_.collect(0);
    } catch (const std::bad_alloc&) {
      complain("out of memory in the main loop");
    }
  }
  baton_.giveBack();
}

void OamService::end() {
  server_.wake();
  baton_.lock();
  server_.takeNoMore();
  server_.work(false);
  baton_.unlock();
  {
    // Clients get what there is, also where a callback hangs.
    std::unique_lock lock(endMutex_);
    hasEnded_.wait_for(lock, callbackPatience, [&] { return ended_; });
  }
  baton_.lock();
  deliver();
  advance_.reset();
  server_.shutDown();
  baton_.unlock();
  thread_.join();
}

// --- notifications ------------------------------------------------------------------------------

bool OamService::post(Posted notification, const Automatic* automatic) {
  if (stopping()) return false;
  const std::lock_guard lock(postedMutex_);
  posted_.push_back(std::move(notification));
  try {
    if (automatic != nullptr) automatic_.push_back(*automatic);
  } catch (...) {
    posted_.pop_back();
    throw;
  }
  hasPosted_ = true;
  if (automatic != nullptr) hasAutomatic_ = true;
  // A callback that returns hands over itself what it has sent.
  if (std::this_thread::get_id() != callbackThreadId_ || baton_.mainStandsIn()) server_.wake();
  return true;
}

void OamService::deliver() {
  if (!hasPosted_) return;
  {
    const std::lock_guard lock(postedMutex_);
    delivered_.swap(posted_);
    hasPosted_ = false;
  }
  for (Posted& posted : delivered_) {
    try {
      deliver(posted);
    } catch (const std::bad_alloc&) {
      complain("out of memory for a notification");
    }
  }
  delivered_.clear();
}

void OamService::deliver(Posted& posted) {
  const std::string_view name = notificationNames[posted.which];
  ++notificationCounts_[posted.which];
  if (posted.which <= svcRegEndInd) lastIndication_ = name;
  if (!server_.hasSubscribers()) return;
  Fault* const found = faults_.choose(true, name, posted.recordId);
  const Fault fault = found == nullptr ? Fault() : *found;
  if (found != nullptr) ++found->hits;
  if (posted.blockEnd != 0) spoilBlock(posted.params, posted.blockEnd, fault.blocks);
  line_.clear();
  rpc::appendNotification(line_, name, posted.params);
  if (fault.action == Fault::Action::duplicate) line_ += std::string(line_);
  server_.distribute(false, [&](Connection& connection) {
    sendFaultily(connection, fault, [&] { connection.notify(line_); });
  });
}

bool OamService::sendGroups(Notification which, Zel::OamSvcRegInd::SvcRegType type,
                            const std::vector<std::uint16_t>& groups, unsigned int outcome) {
  std::string params;
  ObjectText(params)
      .add("type", std::int64_t{type})
      .addList("groups", groups.size(), [&](std::size_t i) { appendGroup(params, groups[i]); })
      .end();
  const Automatic automatic{.what = Automatic::What::outcome, .kind = outcome, .groups = groups};
  const bool reports = environment().automatic && slots_.svcRegResult;
  return post({which, std::move(params), std::nullopt}, reports ? &automatic : nullptr);
}

boost::shared_ptr<Zel::Record> OamService::outstanding(std::uint32_t setIndId) {
  const std::lock_guard lock(setIndMutex_);
  const auto found = outstandingSetInds_.find(setIndId);
  return found == outstandingSetInds_.end() ? nullptr : found->second;
}

boost::shared_ptr<Zel::Record> OamService::takeSetInd(std::uint32_t setIndId) {
  const std::lock_guard lock(setIndMutex_);
  const auto found = outstandingSetInds_.extract(setIndId);
  return found ? found.mapped() : nullptr;
}

bool OamService::sendSetInd(const boost::shared_ptr<Zel::Record>& record,
                            Zel::ApplyActionType applyAction, Zel::MgmtOpType opType) {
  // With the lock, so that the numbers go out in their order.
  const std::lock_guard lock(setIndMutex_);
  const std::uint32_t setIndId = lastSetIndId_ + 1;
  Posted posted{setInd, {}, record->id};
  std::string& params = posted.params;
  ObjectText members(params);
  members.add("setIndId", setIndId).addFrom("record", [&] { appendQuotedBlock(params, *record); });
  posted.blockEnd = params.size() - 1;
  members.add("opType", std::int64_t{opType}).add("applyAction", std::int64_t{applyAction}).end();
  outstandingSetInds_[setIndId] = record;
  const Automatic automatic{.what = Automatic::What::setInd, .groups = {}, .setIndId = setIndId};
  if (!post(std::move(posted), environment().automatic ? &automatic : nullptr)) return false;
  lastSetIndId_ = setIndId;
  if (outstandingSetInds_.size() > maxOutstandingSetInds) {
    outstandingSetInds_.erase(outstandingSetInds_.begin());
  }
  return true;
}

// --- requests -----------------------------------------------------------------------------------

const OamService::Method* OamService::methodOf(std::string_view name) const {
  const auto found = std::find_if(methods_.begin(), methods_.end(),
                                  [&](const Method& method) { return method.name == name; });
  return found == methods_.end() ? nullptr : &*found;
}

bool OamService::isDaemonMethod(std::string_view name) const {
  const Method* const method = methodOf(name);
  return method != nullptr && method->ofDaemon;
}

Served OamService::serve(Turn& turn, const rpc::Request& request) {
  if (request.error.code != 0) {
    turn.error(request.error);
    return Served::done;
  }
  const Method* const method = methodOf(request.method);
  if (method == nullptr) {
    turn.error({rpc::unknownMethod, "there is no method " + rpc::shown(request.method)});
    return Served::done;
  }
  if (method->ofDaemon) begin(entryOf(turn), turn, method->name, request);
  const auto refuse = [&](const rpc::Error& error) {
    method->ofDaemon ? fail(turn, error) : turn.error(error);
  };
  Served served = Served::done;
  ++method->count.requests;
  try {
    Parameters parameters(request.params);
    served = (this->*method->serve)(turn, parameters);
  } catch (const rpc::Error& error) {
    refuse(error);
  } catch (const std::bad_alloc&) {
    // Without memory for one reply there may well be enough for the next.
    refuse({rpc::internalError, "out of memory"});
  }
  if (served == Served::done) ++method->count.answered;
  // It comes again.
  if (served == Served::needsCallback || served == Served::later) --method->count.requests;
  return served;
}

void OamService::begin(JournalEntry& entry, const Turn& turn, std::string_view method,
                       const rpc::Request& request) {
  entry.time = timeNow();
  entry.connection = turn.number;
  entry.id = turn.id;
  entry.method = method;
  entry.params.clear();
  const JsonValue none;
  appendJson(entry.params, request.params != nullptr ? *request.params : none);
  entry.recordId.reset();
  entry.called = false;
  entry.microseconds = entry.faultId = 0;
}

// --- time ---------------------------------------------------------------------------------------

int OamService::wait() const {
  const int patience = server_.patience();
  if (!advance_) return patience;
  if (server_.sawEvents()) return 0;
  const auto left = advance_->deadline - std::chrono::steady_clock::now();
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  const int own = static_cast<int>(std::max<std::int64_t>(milliseconds, 0));
  return patience < 0 ? own : std::min(own, patience);
}

// A step, once every thread is in a pause, has ended, or has nothing to do.
bool OamService::idle(bool mayCall, bool quiet) {
  if (!advance_) return false;
  Pauses& pauses = Pauses::instance();
  const bool callbackThreadRests = mayCall ? !hasAutomatic_ : pauses.callbackRests();
  const bool rest = quiet && callbackThreadRests && pauses.othersRest() && !hasPosted_;
  const auto now = std::chrono::steady_clock::now();
  if (!rest && now < advance_->deadline) return false;
  if (!rest) advance_->settled = false;
  advance_->deadline = now + settleTime;
  const std::optional<Pauses::Duration> next = pauses.shortest();
  if (advance_->ended < maxEndedPauses) {
    const Pauses::Duration step = std::min(next.value_or(advance_->left), advance_->left);
    const std::size_t ended = pauses.pass(step);
    advance_->ended += ended;
    advance_->left -= step;
    // What was ended goes on; without that, nothing more comes.
    if (ended != 0) return true;
  }
  endAdvance();
  return true;
}

void OamService::endAdvance() {
  Advance advance = std::move(*advance_);
  advance_.reset();
  Pauses::instance().thaw();
  advance.turn.result([&](std::string& out) {
    ObjectText(out).add("ended", advance.ended).add("settled", advance.settled).end();
  });
  ++methodOf("advanceTime")->count.answered;
  server_.finish(advance.turn);
  server_.goOn();
}

Served OamService::advanceTime(Turn& turn, Parameters& parameters) {
  constexpr double mostSeconds = std::numeric_limits<std::uint32_t>::max();
  const double seconds = parameters.fraction("seconds", mostSeconds);
  parameters.finish();
  if (advance_) return Served::later;
  turn.take();
  Pauses::instance().freeze([this] { server_.wake(); });
  advance_.emplace(
      Advance{turn, std::chrono::round<Pauses::Duration>(std::chrono::duration<double>(seconds)),
              std::chrono::steady_clock::now() + settleTime});
  return Served::pending;
}

}  // namespace standin
