#include "standin/Journal.h"

#include <sys/time.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include "standin/JsonText.h"
#include "standin/Limits.h"

namespace standin {
namespace {

/// Appends the entry; the text of its outcome and its parameters are given.
void append(std::string& out, std::uint64_t number, const JournalEntry& entry,
            std::string_view params, std::string_view outcome, std::string_view value, bool cut) {
  const auto put = [&](std::string_view text) { return [&out, text] { out += text; }; };
  ObjectText members(out);
  members.add("seq", number)
      .addFrom("time", [&] { (out += '"').append(entry.time) += '"'; })
      .add("connection", entry.connection);
  if (!entry.id.empty()) members.addFrom("id", put(entry.id));
  members.add("method", entry.method)
      .addFrom("params", put(params))
      .add("called", entry.called)
      .add("microseconds", entry.microseconds)
      .addFrom(outcome, put(value));
  if (entry.faultId != 0) members.add("faultId", entry.faultId);
  if (cut) members.add("cut", true);
  members.end();
}

/// Leaves out the lists of a reply, whose names nothing else in it can have in quotes.
std::string withoutLists(std::string_view reply) {
  for (const std::string_view name : {",\"records\":[", ",\"keys\":["}) {
    const std::size_t at = reply.find(name);
    // There is one, and no list after it.
    if (at != std::string_view::npos) {
      return std::string(reply.substr(0, at)).append(reply.substr(reply.rfind(']') + 1));
    }
  }
  return std::string(reply);
}

}  // namespace

void appendTime(std::string& out) {
  // The part that changes once a second.
  thread_local time_t second = -1;
  thread_local std::array<char, 32> date{};
  timeval now{};
  ::gettimeofday(&now, nullptr);
  if (now.tv_sec != second) {
    tm parts{};
    ::gmtime_r(&now.tv_sec, &parts);
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
    second = now.tv_sec;
  }
  out += date.data();
  std::array<char, 7> fraction{'0', '0', '0', '0', '0', '0', 'Z'};
  for (std::size_t i = 6; i-- != 0; now.tv_usec /= 10) {
    fraction[i] = static_cast<char>('0' + now.tv_usec % 10);
  }
  out.append(fraction.data(), fraction.size());
}

std::string_view Journal::add(const JournalEntry& entry, std::string_view outcome,
                              std::string_view value) {
  const std::uint64_t number = last_ + 1;
  std::string text;
  const std::size_t size = entry.params.size() + value.size();
  if (size < maxJournalEntryBytes) {
    text.reserve(size + 200);
    append(text, number, entry, entry.params, outcome, value, false);
  }
  if (text.empty() || text.size() > maxJournalEntryBytes) {
    const std::string rest = withoutLists(value);
    text.clear();
    append(text, number, entry, entry.params, outcome, rest, true);
    if (text.size() > maxJournalEntryBytes) {
      text.clear();
      append(text, number, entry, "null", outcome, rest, true);
    }
  }
  bytes_ += text.size();
  kept_.push_back({number, entry.method, entry.recordId, std::move(text)});
  last_ = number;
  while (kept_.size() > maxJournalEntries || bytes_ > maxJournalBytes) dropOldest();
  return kept_.back().text;
}

void Journal::dropOldest() {
  bytes_ -= kept_.front().text.size();
  kept_.pop_front();
  ++dropped_;
}

void Journal::write(std::string& out, const Filter& filter) const {
  const auto fits = [&](const Kept& entry) {
    return (!filter.after || entry.number > *filter.after) &&
           (filter.method.empty() || entry.method == filter.method) &&
           (!filter.recordId || entry.recordId == filter.recordId);
  };
  std::size_t skipped = 0;
  if (!filter.after) {  // the newest
    std::size_t count = 0;
    for (const Kept& entry : kept_) count += std::size_t{fits(entry)};
    skipped = count > filter.limit ? count - filter.limit : 0;
  }
  out += '[';
  std::size_t written = 0;
  for (const Kept& entry : kept_) {
    if (written == filter.limit) break;
    if (!fits(entry)) continue;
    if (skipped != 0) {
      --skipped;
      continue;
    }
    if (written++ != 0) out += ',';
    out += entry.text;
  }
  out += ']';
}

std::size_t Journal::clear() {
  const std::size_t count = kept_.size();
  std::deque<Kept>().swap(kept_);
  bytes_ = 0;
  return count;
}

}  // namespace standin
