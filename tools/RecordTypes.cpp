#include "tools/RecordTypes.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <charconv>
#include <limits>
#include <type_traits>

#include "catalogue/Catalogue.h"
#include "records/Block.h"
#include "tools/Arguments.h"
#include "tools/ExitStatus.h"
#include "tools/LogCapture.h"
#include "tools/Names.h"

namespace tools {
namespace {

template <typename F>
std::string typeText() {
  using Value = typename F::Value;
  if constexpr (F::isText) {
    return "text, at most " + std::to_string(sizeof(Value) - 1) + " characters";
  } else if constexpr (std::is_same_v<Value, bool>) {
    return "true or false";
  } else {
    const bool isSigned = std::is_integral_v<Value> && std::is_signed_v<Value>;
    return (isSigned ? "signed " : "unsigned ") + std::to_string(8 * F::wireSize()) + "-bit";
  }
}

template <typename F>
std::string rangeText(const F& field) {
  if (!field.hasMax()) return "";
  return std::to_string(field.range.min) + " to " + std::to_string(field.range.max);
}

template <typename F>
FieldType fieldType(const F& field) {
  using Value = typename F::Value;
  FieldType type{field.name, typeText<F>(), rangeText(field), "text", F::wireSize(), 0, 0};
  if constexpr (F::isText) {
    type.max = sizeof(Value) - 1;
  } else if constexpr (std::is_same_v<Value, bool>) {
    type.code = "bool";
    type.max = 1;
  } else if constexpr (std::is_integral_v<Value> && std::is_signed_v<Value>) {
    type.code = "i" + std::to_string(8 * F::wireSize());
    type.min = std::numeric_limits<Value>::min();
    type.max = std::numeric_limits<Value>::max();
  } else {
    type.code = "u" + std::to_string(8 * F::wireSize());
    type.max = std::numeric_limits<typename F::WireType>::max();
  }
  if (field.hasMin()) type.min = static_cast<std::int64_t>(field.range.min);
  if (field.hasMax()) type.max = field.range.max;
  return type;
}

template <class Owner>
std::vector<FieldType> fieldTypes() {
  std::vector<FieldType> types;
  Zel::fields::every<Owner>([&]<std::size_t I>() {
    types.push_back(fieldType(Zel::fields::at<Owner, I>));
    return true;
  });
  return types;
}

template <typename T>
Value valueOf(const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value;
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    return std::int64_t{value};
  } else {
    return static_cast<std::uint64_t>(value);
  }
}

template <std::size_t Capacity>
Value valueOf(const char (&text)[Capacity]) {
  return std::string(text, ::strnlen(text, Capacity));
}

template <typename T>
Value valueOf(const Zel::Key<T>& key) {
  if (key.wildcard != 0) return Wildcard{};
  return valueOf(key.value);
}

[[noreturn]] void refuse(const Assignment& assignment, const std::string& expected) {
  throw UsageError{assignment.name + "=" + assignment.value + ": " + assignment.name + " must be " +
                   expected};
}

template <typename Number>
Number parseNumber(const Assignment& assignment, Number min, Number max) {
  std::string_view text = assignment.value;
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  if (hex) text.remove_prefix(2);
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number, hex ? 16 : 10);
  const bool signedHex = hex && text.starts_with('-');
  if (signedHex || error != std::errc() || stopped != end || number < min || number > max) {
    refuse(assignment, "a number from " + std::to_string(min) + " to " + std::to_string(max));
  }
  return number;
}

// A field takes what its wire width can carry: values out of range are there to be sent.
template <typename Wire, typename T>
void assign(const Assignment& assignment, T& target) {
  if constexpr (std::is_same_v<T, bool>) {
    const std::string& text = assignment.value;
    if (text != "true" && text != "false" && text != "1" && text != "0") {
      refuse(assignment, "true or false");
    }
    target = text == "true" || text == "1";
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    target =
        parseNumber<T>(assignment, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
  } else {
    target = static_cast<T>(parseNumber<Wire>(assignment, 0, std::numeric_limits<Wire>::max()));
  }
}

template <typename Wire, std::size_t Capacity>
void assign(const Assignment& assignment, char (&target)[Capacity]) {
  if (assignment.value.size() >= Capacity) {
    refuse(assignment, "a text of at most " + std::to_string(Capacity - 1) + " characters");
  }
  std::copy(assignment.value.begin(), assignment.value.end(), target);
  target[assignment.value.size()] = '\0';
}

template <typename Wire, typename T>
void assign(const Assignment& assignment, Zel::Key<T>& key) {
  if (assignment.value == "*") {
    key.wildcard = 1;
  } else {
    assign<Wire>(assignment, key.value);
  }
}

template <class Owner>
[[noreturn]] void refuseName(const std::string& name, const std::string& what) {
  std::vector<std::string> names;
  for (const FieldType& field : fieldTypes<Owner>()) names.push_back(field.name);
  throw UsageError{name + " is not a " + what + ", which has " + listed(names) +
                   suggestion(name, names)};
}

template <class Owner>
void assignAll(Owner& owner, const char* what, const std::vector<Assignment>& assignments,
               std::vector<std::string>* missing) {
  for (auto given = assignments.begin(); given != assignments.end(); ++given) {
    const Assignment& assignment = *given;
    const auto isSame = [&](const Assignment& other) { return other.name == assignment.name; };
    if (std::any_of(assignments.begin(), given, isSame)) {
      throw UsageError{assignment.name + " is given twice"};
    }
    const bool unknown = Zel::fields::every<Owner>([&]<std::size_t I>() {
      using F = Zel::fields::FieldAt<Owner, I>;
      if (assignment.name != Zel::fields::at<Owner, I>.name) return true;
      assign<typename F::WireType>(assignment, F::of(owner));
      return false;
    });
    if (unknown) refuseName<Owner>(assignment.name, what);
  }
  if (missing == nullptr) return;
  Zel::fields::every<Owner>([&]<std::size_t I>() {
    const char* name = Zel::fields::at<Owner, I>.name;
    const auto named = [&](const Assignment& assignment) { return assignment.name == name; };
    if (std::none_of(assignments.begin(), assignments.end(), named)) missing->push_back(name);
    return true;
  });
}

// `read(stream)` reads `owner` and returns whether it is valid.
template <class Owner, typename Read>
Decoded decodeInto(const Owner& owner, Bytes& block, Read&& read) {
  Zel::SerialStream stream = Zel::blockReader(block);
  Decoded decoded;
  clearLoggedText();
  decoded.valid = read(stream);
  decoded.problem = loggedText();
  decoded.bytesRead = stream.readPos;
  Zel::fields::visitAll(owner, [&](const auto& field, const auto& value) {
    decoded.fields.push_back({field.name, valueOf(value)});
    return true;
  });
  return decoded;
}

template <class R>
void describeKeys(RecordType& type) {
  using Keys = typename R::Keys;
  type.keys = fieldTypes<Keys>();
  type.decodeKeys = [](Bytes block, bool wildcardAllowed) {
    Keys keys(wildcardAllowed);
    return decodeInto(keys, block, [&](Zel::SerialStream& stream) {
      keys.deserialize(stream);
      return keys.valid;
    });
  };
  type.encodeKeys = [](const std::vector<Assignment>& assignments, bool wildcardAllowed) {
    Keys keys(wildcardAllowed);
    std::vector<std::string> missing;
    assignAll(keys, (std::string("key of ") + R::name()).c_str(), assignments, &missing);
    if (!missing.empty()) {
      throw UsageError{"a key set of " + std::string(R::name()) + " needs " + listed(missing)};
    }
    return Zel::blockText([&](Zel::SerialStream& stream) { keys.serialize(stream); }).value();
  };
}

template <class R>
RecordType describe() {
  RecordType type;
  type.id = R::recordId;
  type.name = R::name();
  type.registered = Zel::catalogue::Registered<R>;
  type.fields = fieldTypes<R>();
  type.decode = [](Bytes block) {
    R record;
    return decodeInto(record, block, [&](Zel::SerialStream& stream) {
      record.deserialize(stream);
      return record.valid;
    });
  };
  type.encode = [](const std::vector<Assignment>& assignments) {
    R record;
    assignAll(record, (std::string("field of ") + R::name()).c_str(), assignments, nullptr);
    return Zel::blockText([&](Zel::SerialStream& stream) { record.serialize(stream, false); })
        .value();
  };
  if constexpr (Zel::catalogue::Keyed<R>) describeKeys<R>(type);
  return type;
}

void appendHeader(const Zel::Event& event, std::vector<NamedValue>& fields) {
  fields.push_back({"severity", std::string(Zel::severityText(event.severity))});
}
void appendHeader(const Zel::Alarm& alarm, std::vector<NamedValue>& fields) {
  fields.push_back({"alarmSet", alarm.alarmSet});
}
void appendHeader(const Zel::RecordUpdateEvent&, std::vector<NamedValue>&) {}

template <class N>
NotificationType describeNotification(const char* kind) {
  NotificationType type;
  type.kind = kind;
  type.id = N::recordId;
  type.name = N::name();
  type.fields = fieldTypes<N>();
  type.decode = [](Bytes block) {
    N notification;
    Decoded decoded = decodeInto(notification, block, [&](Zel::SerialStream& stream) {
      notification.deserialize(stream);
      return notification.valid;
    });
    std::vector<NamedValue> fields{{"time", notification.time.toIsoStr()}};
    appendHeader(notification, fields);
    fields.insert(fields.end(), decoded.fields.begin(), decoded.fields.end());
    decoded.fields = std::move(fields);
    return decoded;
  };
  return type;
}

template <class List>
void describeNotifications(List list, const char* kind, std::vector<NotificationType>& all) {
  Zel::catalogue::every(list, [&]<class N>() {
    all.push_back(describeNotification<N>(kind));
    return true;
  });
}

}  // namespace

const std::vector<NotificationType>& notificationTypes() {
  static const std::vector<NotificationType> types = [] {
    std::vector<NotificationType> all;
    describeNotifications(Zel::catalogue::Events{}, "event", all);
    describeNotifications(Zel::catalogue::Alarms{}, "alarm", all);
    describeNotifications(Zel::catalogue::RecordUpdateEvents{}, "recordUpdateEvent", all);
    return all;
  }();
  return types;
}

const NotificationType* findNotificationType(std::string_view kind, std::uint32_t id) {
  for (const NotificationType& type : notificationTypes()) {
    if (type.kind == kind && type.id == id) return &type;
  }
  return nullptr;
}

std::optional<std::uint32_t> idOf(const Bytes& block) {
  if (block.size() < sizeof(std::uint32_t)) return std::nullopt;
  return Zel::loadInteger<std::uint32_t>(block.data(), Zel::swapsInNetworkOrder);
}

std::string textOf(const Value& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using T = std::remove_cvref_t<decltype(held)>;
        if constexpr (std::is_same_v<T, bool>) {
          return held ? "true" : "false";
        } else if constexpr (std::is_same_v<T, std::string>) {
          return held;
        } else if constexpr (std::is_same_v<T, Wildcard>) {
          return "*";
        } else {
          return std::to_string(held);
        }
      },
      value);
}

const std::vector<RecordType>& recordTypes() {
  static const std::vector<RecordType> types = [] {
    std::vector<RecordType> all;
    Zel::catalogue::every(Zel::catalogue::Records{}, [&]<class R>() {
      all.push_back(describe<R>());
      return true;
    });
    std::sort(all.begin(), all.end(),
              [](const RecordType& left, const RecordType& right) { return left.id < right.id; });
    return all;
  }();
  return types;
}

const RecordType* findRecordType(std::uint32_t id) {
  const auto& types = recordTypes();
  const auto found =
      std::find_if(types.begin(), types.end(), [&](const RecordType& t) { return t.id == id; });
  return found == types.end() ? nullptr : &*found;
}

namespace {

std::optional<std::uint32_t> recordIdIn(const std::string& word) {
  const auto number = parsedNumber(word);
  if (!number || *number < 0 || *number > 0xFFFFFFFF) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

[[noreturn]] void refuseRecord(const std::string& word) {
  std::vector<std::string> names;
  for (const RecordType& type : recordTypes()) names.push_back(type.name);
  throw UsageError{"there is no record " + word + "; 'oamctl records' lists them" +
                   suggestion(word, names)};
}

}  // namespace

const RecordType& recordTypeNamed(const std::string& nameOrId) {
  for (const RecordType& type : recordTypes()) {
    if (boost::algorithm::iequals(type.name, nameOrId)) return type;
  }
  if (const auto id = recordIdIn(nameOrId)) {
    if (const RecordType* type = findRecordType(*id)) return *type;
  }
  refuseRecord(nameOrId);
}

RecordType anyRecordType(const std::string& nameOrId) {
  const auto id = recordIdIn(nameOrId);
  if (!id || findRecordType(*id) != nullptr) return recordTypeNamed(nameOrId);
  RecordType type;
  type.id = *id;
  type.encode = [id](const std::vector<Assignment>& assignments) {
    if (!assignments.empty()) {
      throw UsageError{"the catalogue does not have " + hexId(*id) +
                       ", so its fields are unknown; 'oamctl call' sends any block"};
    }
    return Zel::blockText([&](Zel::SerialStream& stream) { stream << *id << std::uint16_t{0}; })
        .value();
  };
  return type;
}

std::string hexId(std::uint32_t id) { return "0x" + Zel::hexText(id); }

}  // namespace tools
