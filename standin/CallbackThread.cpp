#include "standin/CallbackThread.h"

#include <algorithm>
#include <new>
#include <utility>

#include "standin/StandardError.h"

namespace standin {

void CallbackThread::start(Job afterAutomatic) {
  afterAutomatic_ = std::move(afterAutomatic);
  thread_ = std::thread([this] { run(); });
}

void CallbackThread::postAutomatic(Job job) {
  const std::lock_guard lock(mutex_);
  automatic_.push_back(std::move(job));
  changed_.notify_one();
}

void CallbackThread::post(const std::shared_ptr<Lane>& lane, Job job, bool withdrawable) {
  const std::lock_guard lock(mutex_);
  if (lane->jobs_.empty()) {
    waiting_.push_back(lane);
    changed_.notify_one();
  }
  lane->jobs_.push_back({std::move(job), withdrawable});
}

void CallbackThread::withdraw(Lane& lane) {
  const std::lock_guard lock(mutex_);
  std::erase_if(lane.jobs_, [](const Lane::Waiting& waiting) { return waiting.withdrawable; });
  if (!lane.jobs_.empty()) return;
  std::erase_if(waiting_, [&](const auto& other) { return other.get() == &lane; });
}

void CallbackThread::wake() {
  const std::lock_guard lock(mutex_);
  changed_.notify_one();
}

bool CallbackThread::stop(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  changed_.notify_one();
  // The jobs hold what holds their lanes.
  for (const auto& lane : waiting_) lane->jobs_.clear();
  waiting_.clear();
  return !thread_.joinable() || hasEnded_.wait_for(lock, patience, [&] { return ended_; });
}

void CallbackThread::join() {
  if (thread_.joinable()) thread_.join();
}

// The next job in turn; false when all rest. Called with the lock held.
bool CallbackThread::takeNext(Job& job) {
  if (!automatic_.empty()) {
    job = std::move(automatic_.front());
    automatic_.pop_front();
    return true;
  }
  if (afterAutomatic_) {
    job = std::exchange(afterAutomatic_, nullptr);
    return true;
  }
  const auto ready = std::find_if(waiting_.begin(), waiting_.end(), [&](const auto& lane) {
    return lane->unsentBytes.load(std::memory_order_relaxed) < laneLimit_;
  });
  if (ready == waiting_.end()) return false;
  Lane& lane = **ready;
  job = std::move(lane.jobs_.front().job);
  lane.jobs_.pop_front();
  // Without allocating: a job that has been taken must not get lost.
  if (lane.jobs_.empty()) {
    waiting_.erase(ready);
  } else {
    waiting_.splice(waiting_.end(), waiting_, ready);
  }
  return true;
}

void CallbackThread::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    Job job;
    changed_.wait(lock, [&] { return stopping_ || takeNext(job); });
    if (stopping_) break;
    lock.unlock();
    try {
      job();
    } catch (const std::bad_alloc&) {
      complain("out of memory on the callback thread");
    }
    job = nullptr;
    lock.lock();
  }
  ended_ = true;
  hasEnded_.notify_all();
}

}  // namespace standin
