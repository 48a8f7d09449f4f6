// What arrived, and how it was answered.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// What the journal says of one request.
struct JournalEntry {
  timeval time{};                         ///< when its turn came
  std::uint64_t connection = 0;           ///< 0 for what the API does by itself
  std::string id;                         ///< JSON text; empty where there was none
  std::string_view method;                ///< lives as long as the journal
  std::string params = "null";            ///< JSON text
  std::optional<std::uint32_t> recordId;  ///< of the record that it is about
  bool called = false;
  std::uint64_t microseconds = 0;  ///< in the callback
  std::uint64_t faultId = 0;
};

/// The newest entries, within bounds. Whoever has the baton.
class Journal {
 public:
  struct Filter {
    std::optional<std::uint64_t> after;
    std::size_t limit = 100;
    std::string method;  ///< empty for any
    std::optional<std::uint32_t> recordId;
  };

  /// Puts an entry in. `outcome` is "reply" or "error", and lives as long as the journal; `value`
  /// is its JSON text. Without the memory for it, which is thrown, the journal is as before.
  void add(const JournalEntry& entry, std::string_view outcome, std::string_view value);

  /// Appends the entry that was put in last.
  void writeNewest(std::string& out) const;
  /// Appends the entries that fit, oldest first, as a list.
  void write(std::string& out, const Filter& filter) const;
  /// Returns how many went.
  std::size_t clear();

  std::uint64_t last() const { return last_; }
  std::uint64_t dropped() const { return dropped_; }

 private:
  /// An entry in parts: most are never read, and its text would cost more than all else about it.
  struct Kept {
    std::uint64_t number;
    timeval time;
    std::uint64_t connection, microseconds, faultId;
    std::string_view method, outcome;
    std::optional<std::uint32_t> recordId;
    bool called;
    bool cut;
    std::uint32_t idBytes, paramsBytes;  ///< in `values`
    std::uint32_t textBytes;             ///< of the text of the entry
    std::string values;                  ///< id, parameters and outcome, one after the other
  };

  template <typename Out>
  static void put(Out& out, const Kept& entry, std::string_view id, std::string_view params,
                  std::string_view value);
  static void append(std::string& out, const Kept& entry);
  void dropOldest();

  std::deque<Kept> kept_;
  std::size_t bytes_ = 0;
  std::uint64_t last_ = 0, dropped_ = 0;
};

}  // namespace standin
