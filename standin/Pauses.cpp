#include "standin/Pauses.h"

#include <algorithm>
#include <utility>

namespace standin {

Pauses& Pauses::instance() {
  static auto& pauses = *new Pauses;
  return pauses;
}

/// A thread that pauses, from its first pause to its end.
class Pauses::Presence {
 public:
  explicit Presence(Pauses& pauses) : pauses_(pauses) {
    ++pauses_.others_;
    pauses_.hasPaused_ = true;
  }
  ~Presence() {
    const std::lock_guard lock(pauses_.mutex_);
    --pauses_.others_;
    if (pauses_.onRest_) pauses_.onRest_();
  }
  Presence(const Presence&) = delete;
  Presence& operator=(const Presence&) = delete;

 private:
  Pauses& pauses_;
};

Pauses::Duration Pauses::now() const {
  if (manual_) return Duration(0);
  return frozen_.value_or(std::chrono::steady_clock::now().time_since_epoch());
}

void Pauses::pause(std::chrono::seconds length) {
  std::unique_lock lock(mutex_);
  const bool ofCallback = std::this_thread::get_id() == callbackThread_;
  if (!ofCallback) thread_local const Presence presence(*this);
  Entry entry{ofCallback, now() + length, entries_};
  entries_ = &entry;
  if (onRest_) onRest_();
  if (ofCallback && onPause_) {
    lock.unlock();
    onPause_();
    lock.lock();
  }
  while (!stopped_ && !entry.over && entry.end > now()) {
    changed_.wait_for(lock, entry.end - now());
  }
  Entry** at = &entries_;
  while (*at != &entry) at = &(*at)->next;
  *at = entry.next;
}

void Pauses::setManual() {
  const std::lock_guard lock(mutex_);
  manual_ = true;
}

void Pauses::freeze(std::function<void()> onPause) {
  const std::lock_guard lock(mutex_);
  frozen_ = std::chrono::steady_clock::now().time_since_epoch();
  onRest_ = std::move(onPause);
}

void Pauses::thaw() {
  const std::lock_guard lock(mutex_);
  // For pauses the clock goes on from where it was stopped.
  const Duration stood = std::chrono::steady_clock::now().time_since_epoch() - *frozen_;
  for (Entry* entry = entries_; !manual_ && entry != nullptr; entry = entry->next) {
    entry->end += stood;
  }
  frozen_.reset();
  onRest_ = nullptr;
  changed_.notify_all();
}

std::size_t Pauses::pass(Duration time) {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (Entry* entry = entries_; entry != nullptr; entry = entry->next) {
    if (entry->over) continue;
    // The ends come nearer: a clock that goes on would run out of numbers.
    entry->end -= time;
    entry->over = entry->end <= now();
    count += std::size_t{entry->over};
  }
  changed_.notify_all();
  return count;
}

std::optional<Pauses::Duration> Pauses::shortest() const {
  const std::lock_guard lock(mutex_);
  std::optional<Duration> end;
  for (const Entry* entry = entries_; entry != nullptr; entry = entry->next) {
    if (!entry->over) end = std::min(end.value_or(entry->end), entry->end);
  }
  if (!end) return std::nullopt;
  return std::max(Duration(0), *end - now());
}

// With the lock held.
std::size_t Pauses::resting(bool ofCallback) const {
  std::size_t count = 0;
  for (const Entry* entry = entries_; entry != nullptr; entry = entry->next) {
    if (!entry->over && entry->ofCallback == ofCallback) ++count;
  }
  return count;
}

bool Pauses::othersRest() const {
  const std::lock_guard lock(mutex_);
  return hasPaused_ && resting(false) == others_;
}

bool Pauses::callbackRests() const {
  const std::lock_guard lock(mutex_);
  return resting(true) != 0;
}

void Pauses::stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  changed_.notify_all();
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
    if (!entry->over)
      pauses.push_back({entry->ofCallback, std::max(Duration(0), entry->end - now())});
  }
  return pauses;
}

}  // namespace standin
