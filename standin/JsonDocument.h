// A JSON text as a flat list of its values. Nothing is looked up in a table, so that no choice of
// names makes a text expensive, and a list that is used again allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace standin {

/// One value. The values in a list or object come right after it, a member's name as a text ahead
/// of its value.
struct JsonValue {
  enum class Kind : std::uint8_t { null, boolean, integer, number, text, list, object };

  Kind kind = Kind::null;
  bool truth = false;        ///< of a boolean
  std::uint32_t count = 0;   ///< elements, or members
  std::uint32_t inside = 0;  ///< values after this one that belong to it
  std::string_view text;     ///< of a text: its characters; of a number: as it was written

  bool is(Kind other) const { return kind == other; }
  /// The value after this one and all that belongs to it.
  const JsonValue* next() const { return this + 1 + inside; }
  /// Calls `see(name, value)` for each member of this object.
  template <typename See>
  void eachMember(See&& see) const {
    const JsonValue* at = this + 1;
    for (std::uint32_t i = 0; i < count; ++i) {
      see(at->text, *(at + 1));
      at = (at + 1)->next();
    }
  }
  /// An integer of 64 bits, or nothing.
  std::optional<std::int64_t> integer() const;
};

/// Parses one text after another, within bounds. One thread at a time.
class JsonDocument {
 public:
  enum class Outcome { good, notJson, tooDeep, tooManyMembers };

  /// Refers to `text` until the next call. What is kept is the outermost value; with `keep` false
  /// the text is only checked.
  Outcome parse(std::string_view text, unsigned int maxDepth, bool keep);

  const JsonValue& value() const { return values_.front(); }
  /// Why the last text was not JSON.
  const std::string& reason() const { return reason_; }

 private:
  class Handler;

  std::vector<JsonValue> values_;  ///< the first `used_` of them
  std::size_t used_ = 0;
  std::string unescaped_;  ///< texts that were written with escapes
  std::string reason_;
};

/// Where the value that begins at or after `from` ends, in a text that is known to be JSON.
std::size_t endOfJsonValue(std::string_view text, std::size_t from);

/// Appends the value as a JSON text without blanks.
void appendJson(std::string& out, const JsonValue& value);

}  // namespace standin
