#include "standin/Journal.h"

#include <cassert>
#include <utility>

#include "standin/JsonText.h"
#include "standin/Limits.h"
#include "standin/UtcTime.h"

namespace standin {
namespace {

/// Writes the parts of an entry.
struct Text {
  std::string& out;

  void add(std::string_view text) { out += text; }
  void add(std::uint64_t number) { out += std::to_string(number); }
  void add(const timeval& time) { out += utcText(time); }
};

/// Counts what `Text` would write.
struct Size {
  std::size_t bytes = 0;

  void add(std::string_view text) { bytes += text.size(); }
  void add(std::uint64_t number) {
    for (++bytes; number >= 10; number /= 10) ++bytes;
  }
  void add(const timeval&) { bytes += utcTextBytes; }
};

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

template <typename Out>
void Journal::put(Out& out, const Kept& entry, std::string_view id, std::string_view params,
                  std::string_view value) {
  out.add(R"({"seq":)");
  out.add(entry.number);
  out.add(R"(,"time":")");
  out.add(entry.time);
  out.add(R"(","connection":)");
  out.add(entry.connection);
  if (!id.empty()) {
    out.add(R"(,"id":)");
    out.add(id);
  }
  out.add(R"(,"method":")");
  out.add(entry.method);
  out.add(R"(","params":)");
  out.add(params);
  out.add(entry.called ? std::string_view(R"(,"called":true,"microseconds":)")
                       : std::string_view(R"(,"called":false,"microseconds":)"));
  out.add(entry.microseconds);
  out.add(",\"");
  out.add(entry.outcome);
  out.add("\":");
  out.add(value);
  if (entry.faultId != 0) {
    out.add(R"(,"faultId":)");
    out.add(entry.faultId);
  }
  if (entry.cut) out.add(R"(,"cut":true)");
  out.add("}");
}

void Journal::add(const JournalEntry& entry, std::string_view outcome, std::string_view value) {
  Kept kept{.number = last_ + 1,
            .time = entry.time,
            .connection = entry.connection,
            .microseconds = entry.microseconds,
            .faultId = entry.faultId,
            .method = entry.method,
            .outcome = outcome,
            .recordId = entry.recordId,
            .called = entry.called,
            .cut = false,
            .idBytes = 0,
            .paramsBytes = 0,
            .textBytes = 0,
            .values = {}};
  std::string_view id = entry.id, params = entry.params;
  const auto isTooLarge = [&] {
    Size size;
    put(size, kept, id, params, value);
    kept.textBytes = static_cast<std::uint32_t>(size.bytes);
    return size.bytes > maxJournalEntryBytes;
  };
  std::string rest;
  // What is left then is always small.
  for (int step = 0; isTooLarge() && step < 3; ++step) {
    kept.cut = true;
    if (step == 0) value = rest = withoutLists(value);
    if (step == 1) params = "null";
    if (step == 2) id = {};
  }
  kept.idBytes = static_cast<std::uint32_t>(id.size());
  kept.paramsBytes = static_cast<std::uint32_t>(params.size());
  kept.values.reserve(id.size() + params.size() + value.size());
  kept.values.append(id).append(params).append(value);
  kept_.push_back(std::move(kept));
  bytes_ += kept_.back().textBytes;
  ++last_;
  while (kept_.size() > maxJournalEntries || bytes_ > maxJournalBytes) dropOldest();
}

void Journal::dropOldest() {
  bytes_ -= kept_.front().textBytes;
  kept_.pop_front();
  ++dropped_;
}

void Journal::append(std::string& out, const Kept& entry) {
  [[maybe_unused]] const std::size_t before = out.size();
  const std::string_view values = entry.values;
  const std::string_view outcome = values.substr(entry.idBytes + entry.paramsBytes);
  Text text{out};
  put(text, entry, values.substr(0, entry.idBytes), values.substr(entry.idBytes, entry.paramsBytes),
      outcome);
  assert(out.size() - before == entry.textBytes);
}

void Journal::writeNewest(std::string& out) const { append(out, kept_.back()); }

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
    append(out, entry);
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
