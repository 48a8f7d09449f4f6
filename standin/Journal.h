// What arrived, and how it was answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// What the journal says of one request.
struct JournalEntry {
  std::string time;                       ///< when its turn came, UTC
  std::uint64_t connection = 0;           ///< 0 for what the API does by itself
  std::string id;                         ///< JSON text; empty where there was none
  std::string_view method;                ///< lives as long as the journal
  std::string params = "null";            ///< JSON text
  std::optional<std::uint32_t> recordId;  ///< of the record that it is about
  bool called = false;
  std::uint64_t microseconds = 0;  ///< in the callback
  std::uint64_t faultId = 0;
};

/// The newest entries, as JSON texts, within bounds. Whoever has the baton.
class Journal {
 public:
  struct Filter {
    std::optional<std::uint64_t> after;
    std::size_t limit = 100;
    std::string method;  ///< empty for any
    std::optional<std::uint32_t> recordId;
  };

  /// Puts an entry in and returns its text, which lives until the next call. `outcome` is "reply"
  /// or "error", `value` its JSON text. Without the memory for it, which is thrown, the journal is
  /// as before.
  std::string_view add(const JournalEntry& entry, std::string_view outcome, std::string_view value);

  /// Appends the entries that fit, oldest first, as a list.
  void write(std::string& out, const Filter& filter) const;
  /// Returns how many went.
  std::size_t clear();

  std::uint64_t last() const { return last_; }
  std::uint64_t dropped() const { return dropped_; }

 private:
  struct Kept {
    std::uint64_t number;
    std::string_view method;
    std::optional<std::uint32_t> recordId;
    std::string text;
  };

  void dropOldest();

  std::deque<Kept> kept_;
  std::size_t bytes_ = 0;
  std::uint64_t last_ = 0, dropped_ = 0;
};

/// The time now, UTC with microseconds.
void appendTime(std::string& out);

}  // namespace standin
