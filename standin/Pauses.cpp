#include "standin/Pauses.h"

#include <algorithm>
#include <utility>

namespace standin {

Pauses& Pauses::instance() {
  static auto& pauses = *new Pauses;
  return pauses;
}

Pauses::Duration Pauses::now() const { return std::chrono::steady_clock::now().time_since_epoch(); }

void Pauses::pause(std::chrono::seconds length) {
  std::unique_lock lock(mutex_);
  const bool ofCallback = std::this_thread::get_id() == callbackThread_;
  Entry entry{ofCallback, now() + length, entries_};
  entries_ = &entry;
  if (ofCallback && onPause_) {
    lock.unlock();
    onPause_();
    lock.lock();
  }
  while (!stopped_ && now() < entry.end) changed_.wait_for(lock, entry.end - now());
  Entry** at = &entries_;
  while (*at != &entry) at = &(*at)->next;
  *at = entry.next;
}

void Pauses::stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  changed_.notify_all();
}

void Pauses::restart() {
  const std::lock_guard lock(mutex_);
  stopped_ = false;
}

void Pauses::callbackThread(std::function<void()> onPause) {
  const std::lock_guard lock(mutex_);
  callbackThread_ = std::this_thread::get_id();
  onPause_ = std::move(onPause);
}

std::vector<Pauses::Pause> Pauses::all() const {
  const std::lock_guard lock(mutex_);
  std::vector<Pause> pauses;
  for (const Entry* entry = entries_; entry != nullptr; entry = entry->next) {
    pauses.push_back({entry->ofCallback, std::max(Duration(0), entry->end - now())});
  }
  return pauses;
}

}  // namespace standin
