#include "standin/OamService.h"

#include <malloc.h>
#include <poll.h>

#include <new>
#include <system_error>
#include <utility>

#include "standin/Environment.h"
#include "standin/Limits.h"
#include "standin/Pauses.h"
#include "standin/Replies.h"
#include "standin/ServiceManager.h"
#include "standin/StandardError.h"

namespace standin {
namespace {

/// Larger blocks of memory are given back at once, whatever has been freed before.
constexpr int mmapThreshold = 256 * 1024;
/// A callback that is stopped may take this long before the clients get their answers without it.
constexpr auto callbackPatience = std::chrono::seconds(1);

}  // namespace

OamService::OamService()
    : server_(*this),
      methods_{
          {"get", {&OamService::get, {}}},
          {"getKeys", {&OamService::getKeys, {}}},
          {"set", {&OamService::set, {}}},
          {"notify", {&OamService::notify, {}}},
          {"clear", {&OamService::clear, {}}},
          {"initProvComplete", {&OamService::initProvComplete, {}}},
          {"svcRegInd", {&OamService::svcRegInd, {}}},
          {"svcRegResult", {&OamService::svcRegResult, {}}},
          {"setIndResult", {&OamService::setIndResult, {}}},
          {"subscribe", {&OamService::subscribe, {}}},
          {"unsubscribe", {&OamService::unsubscribe, {}}},
          {"status", {&OamService::status, {}}},
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
  ::mallopt(M_MMAP_THRESHOLD, mmapThreshold);
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
    if (!stopping()) server_.collect(more ? 0 : server_.patience());
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
      switch (next.what) {
        case Automatic::What::registration:
          call([&] { slots_.svcRegInd(); });
          break;
        case Automatic::What::outcome:
          reportOutcome(next.kind, Zel::MGMT_SUCCESS, next.groups);
          break;
        case Automatic::What::setInd:
          const boost::shared_ptr<Zel::Record> record = takeSetInd(next.setIndId);
          if (record && slots_.setIndResult) {
            call([&] { slots_.setIndResult(record, Zel::MGMT_SUCCESS); });
          }
          break;
      }
    } catch (const std::bad_alloc&) {
      complain("out of memory on the callback thread");
    }
  }
}

void OamService::reportOutcome(unsigned int kind, Zel::MgmtResult result,
                               const std::vector<std::uint16_t>& groups) {
  if (kind == svcRegIndOutcome && result == Zel::MGMT_SUCCESS) {
    confirmedGroups_.insert(groups.begin(), groups.end());
  }
  call([&] { slots_.svcRegResult(kind, result, groups); });
}

// --- the main thread ----------------------------------------------------------------------------

void OamService::attend() {
  if (!baton_.takeOver()) return;
  bool woken = false;
  while (baton_.isAway() && !woken && !stopping()) {
    try {
      const bool more = server_.work(false);
      pollfd events[] = {{wakeDescriptor(), POLLIN, 0}, {server_.descriptor(), POLLIN, 0}};
      if (baton_.isAway()) ::poll(events, 2, more ? 0 : server_.patience());
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
  server_.shutDown();
  baton_.unlock();
  thread_.join();
}

// --- notifications ------------------------------------------------------------------------------

void OamService::post(Posted notification, const Automatic* automatic) {
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
}

void OamService::deliver() {
  if (!hasPosted_) return;
  {
    const std::lock_guard lock(postedMutex_);
    delivered_.swap(posted_);
    hasPosted_ = false;
  }
  for (const Posted& posted : delivered_) {
    ++notificationCounts_[posted.which];
    if (posted.which <= svcRegEndInd) lastIndication_ = notificationNames[posted.which];
    if (posted.params.empty()) continue;
    line_.clear();
    rpc::appendNotification(line_, notificationNames[posted.which], posted.params);
    server_.distribute(line_);
  }
  delivered_.clear();
}

bool OamService::sendGroups(Notification which, Zel::OamSvcRegInd::SvcRegType type,
                            const std::vector<std::uint16_t>& groups, unsigned int outcome) {
  if (stopping()) return false;
  std::string params;
  if (server_.hasSubscribers()) {
    ObjectText(params)
        .add("type", std::int64_t{type})
        .addList("groups", groups.size(), [&](std::size_t i) { appendGroup(params, groups[i]); })
        .end();
  }
  const Automatic automatic{.what = Automatic::What::outcome, .kind = outcome, .groups = groups};
  const bool reports = environment().automatic && slots_.svcRegResult;
  post({which, std::move(params)}, reports ? &automatic : nullptr);
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
  // With the lock, so that the numbers go out in their order.
  const std::lock_guard lock(setIndMutex_);
  const std::uint32_t setIndId = lastSetIndId_ + 1;
  std::string params;
  if (server_.hasSubscribers()) {
    ObjectText(params)
        .add("setIndId", setIndId)
        .addFrom("record", [&] { appendQuotedBlock(params, *record); })
        .add("opType", std::int64_t{opType})
        .add("applyAction", std::int64_t{applyAction})
        .end();
  }
  outstandingSetInds_[setIndId] = record;
  const Automatic automatic{.what = Automatic::What::setInd, .groups = {}, .setIndId = setIndId};
  try {
    post({setInd, std::move(params)}, environment().automatic ? &automatic : nullptr);
  } catch (...) {
    outstandingSetInds_.erase(setIndId);
    throw;
  }
  lastSetIndId_ = setIndId;
  if (outstandingSetInds_.size() > maxOutstandingSetInds) {
    outstandingSetInds_.erase(outstandingSetInds_.begin());
  }
  return true;
}

// --- requests -----------------------------------------------------------------------------------

bool OamService::serve(Turn& turn, const rpc::Request& request) {
  try {
    if (request.error.code != 0) {
      turn.error(request.error);
      return true;
    }
    const auto method = methods_.find(request.method);
    if (method == methods_.end()) {
      turn.error({rpc::unknownMethod, "there is no method " + rpc::shown(request.method)});
      return true;
    }
    Parameters parameters(request.params);
    const Method& found = method->second;
    const bool served = (this->*found.serve)(turn, parameters, found.count);
    if (served) ++found.count.answered;
    return served;
  } catch (const rpc::Error& error) {
    turn.error(error);
  } catch (const std::bad_alloc&) {
    // Without memory for one reply there may well be enough for the next.
    turn.error({rpc::internalError, "out of memory"});
  }
  return true;
}

}  // namespace standin
