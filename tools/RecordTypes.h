// The catalogue by name and by value, for a client that learns at run time what it deals with.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tools {

using Bytes = std::vector<std::uint8_t>;

/// The value of a field; a wildcard key has none.
struct Wildcard {};
using Value = std::variant<bool, std::int64_t, std::uint64_t, std::string, Wildcard>;

std::string textOf(const Value& value);

/// One `name=value` of the command line, or one decoded field.
struct Assignment {
  std::string name;
  std::string value;
};
struct NamedValue {
  std::string name;
  Value value;
};

struct FieldType {
  std::string name;
  std::string type;   ///< such as "unsigned 16-bit"
  std::string range;  ///< such as "1 to 32"; empty without limits

  std::string code;         ///< such as "u16", or "bool" or "text"
  std::uint32_t width = 0;  ///< bytes on the wire; 0 for a text
  std::int64_t min = 0;     ///< the least number that reads as valid
  std::uint64_t max = 0;    ///< the greatest; of a text the greatest length
};

/// A block taken apart. Not valid: `problem` says why, and the fields are those read before.
struct Decoded {
  bool valid = false;
  std::string problem;
  std::vector<NamedValue> fields;
  std::size_t bytesRead = 0;
};

struct RecordType {
  std::uint32_t id = 0;
  std::string name;
  bool registered = false;
  std::vector<FieldType> fields;
  std::vector<FieldType> keys;  ///< empty without a key class

  std::function<Decoded(Bytes block)> decode;
  /// A record block with the fields assigned and the others zero. Throws UsageError.
  std::function<std::string(const std::vector<Assignment>&)> encode;
  std::function<Decoded(Bytes block, bool wildcardAllowed)> decodeKeys;
  /// A key block; every key must be assigned, with '*' for a wildcard. Throws UsageError.
  std::function<std::string(const std::vector<Assignment>&, bool wildcardAllowed)> encodeKeys;
};

/// All records, by id.
const std::vector<RecordType>& recordTypes();

const RecordType* findRecordType(std::uint32_t id);
/// By name, whatever the case, or by id, decimal or in hexadecimal with 0x. Throws UsageError.
const RecordType& recordTypeNamed(const std::string& nameOrId);
/// The same; an id that the catalogue does not have gives a type without a name, fields and keys,
/// which makes an empty record block: whether the record exists is the daemon's to say.
RecordType anyRecordType(const std::string& nameOrId);

/// A notification class. Events, alarms and record-update events have number spaces of their own.
struct NotificationType {
  std::string kind;  ///< "event", "alarm" or "recordUpdateEvent"
  std::uint32_t id = 0;
  std::string name;
  std::vector<FieldType> fields;  ///< of the payload
  /// The fields of the header come first: time, and severity or alarmSet.
  std::function<Decoded(Bytes block)> decode;
};

const std::vector<NotificationType>& notificationTypes();
const NotificationType* findNotificationType(std::string_view kind, std::uint32_t id);

/// The id with which a block begins; nothing when it is too short.
std::optional<std::uint32_t> idOf(const Bytes& block);

std::string hexId(std::uint32_t id);

}  // namespace tools
