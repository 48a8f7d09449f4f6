#include "tools/Messages.h"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <sstream>

#include "records/Hex.h"
#include "tools/Arguments.h"
#include "tools/Names.h"
#include "tools/Output.h"

namespace json = boost::json;

namespace tools {
namespace {

const json::object noMembers;

/// The block, and what `decode` makes of its bytes.
template <typename Decode>
json::object beside(const json::value& block, Decode&& decode) {
  json::object shown{{"block", block}};
  const auto bytes = block.is_string() ? Zel::fromHex(block.get_string()) : std::nullopt;
  if (!bytes) {
    shown["problem"] = "it is not an even number of hexadecimal digits";
    return shown;
  }
  const std::optional<Decoded> decoded = decode(*bytes);
  if (!decoded) return shown;
  if (decoded->valid) {
    shown["fields"] = jsonOf(decoded->fields);
    if (const std::size_t after = bytes->size() - decoded->bytesRead; after != 0) {
      shown["bytesAfter"] = after;
    }
  } else {
    shown["problem"] = decoded->problem;
  }
  return shown;
}

/// The record that a message names; no type without an id, or with an unknown one.
struct Subject {
  const RecordType* type = nullptr;
  bool wildcardAllowed = false;

  explicit Subject(const json::object& message) {
    if (const json::value* id = message.if_contains("recordId")) {
      std::optional<std::int64_t> number;
      if (id->is_string()) number = parsedNumber(std::string(id->get_string()));
      if (id->is_int64()) number = id->get_int64();
      if (number && *number >= 0 && *number <= 0xFFFFFFFF) {
        type = findRecordType(static_cast<std::uint32_t>(*number));
      }
    }
    const json::value* wildcard = message.if_contains("wildcardAllowed");
    wildcardAllowed = wildcard != nullptr && wildcard->is_bool() && wildcard->get_bool();
  }

  json::value record(const json::value& block) const {
    if (type == nullptr) return json::object{{"block", block}};
    return decodedRecord(*type, block);
  }
  json::value keys(const json::value& block, bool markers) const {
    if (type == nullptr || !type->decodeKeys) return json::object{{"block", block}};
    return decodedKeys(*type, block, markers);
  }
};

/// A list of blocks, or one.
template <typename Decode>
json::value eachDecoded(const json::value& blocks, Decode&& decode) {
  if (blocks.is_string()) return decode(blocks);
  if (!blocks.is_array()) return blocks;
  json::array decoded;
  for (const json::value& block : blocks.get_array()) {
    decoded.push_back(block.is_string() ? decode(block) : block);
  }
  return decoded;
}

/// A block that begins with an id of its own: what it is under the name of its kind, then the
/// block.
void addNamedBlock(json::object& shown, const std::string& kind, const json::value& block) {
  const auto bytes = Zel::fromHex(block.get_string());
  const auto id = bytes ? idOf(*bytes) : std::nullopt;
  const RecordType* record = id && kind == "record" ? findRecordType(*id) : nullptr;
  const NotificationType* notification =
      id && kind != "record" ? findNotificationType(kind, *id) : nullptr;
  if (record != nullptr) shown[kind] = record->name;
  if (notification != nullptr) shown[kind] = notification->name;
  if (id) shown[kind + "Id"] = hexId(*id);
  const json::object parts = beside(block, [&](const Bytes& whole) -> std::optional<Decoded> {
    if (record != nullptr) return record->decode(whole);
    if (notification != nullptr) return notification->decode(whole);
    return std::nullopt;
  });
  for (const auto& [name, value] : parts) shown[name] = value;
}

bool isNamedBlock(std::string_view name) {
  return name == "record" || name == "event" || name == "alarm" || name == "recordUpdateEvent";
}

json::object decodedAbout(const Subject& subject, const json::object& message) {
  json::object shown;
  for (const auto& [key, value] : message) {
    const std::string name(key);
    if (isNamedBlock(name) && value.is_string()) {
      addNamedBlock(shown, name, value);
    } else if (name == "queryKeys") {
      shown[name] = eachDecoded(
          value, [&](const json::value& b) { return subject.keys(b, subject.wildcardAllowed); });
    } else if (name == "lastSentKeys" || name == "keys") {
      shown[name] =
          eachDecoded(value, [&](const json::value& b) { return subject.keys(b, false); });
    } else if (name == "records") {
      shown[name] = eachDecoded(value, [&](const json::value& b) { return subject.record(b); });
    } else {
      shown[name] = value;
    }
    if (name == "recordId") {
      if (subject.type != nullptr) shown["record"] = subject.type->name;
    } else if (value.is_int64() && !message.contains(name + "Text")) {
      const std::string text = nameOf(name, value.get_int64());
      if (!text.empty()) shown[name + "Text"] = text;
    }
  }
  return shown;
}

const json::object& objectIn(const json::object& object, const char* name) {
  const json::value* member = object.if_contains(name);
  return member != nullptr && member->is_object() ? member->get_object() : noMembers;
}

/// `name=value`, with a blank in front; empty for what other members say better.
std::string memberText(const json::object& members, const std::string& name,
                       const json::value& value) {
  if (name == "fields" && value.is_object()) {
    const std::string fields = membersText(value.get_object());
    return fields.empty() ? "" : " " + fields;
  }
  const bool isSaid = (name == "block" && members.contains("fields")) ||
                      (name.ends_with("Id") && members.contains(name.substr(0, name.size() - 2))) ||
                      (name.ends_with("Text") && members.contains(name.substr(0, name.size() - 4)));
  if (isSaid || (value.is_string() && value.get_string().empty())) return "";
  if (isNamedBlock(name) && value.is_string()) return " " + valueText(value);
  if (value.is_int64()) {
    const json::value* text = members.if_contains(name + "Text");
    if (text != nullptr || name == "applyAction" || name == "opType") {
      return " " + name + "=" + namedText(name, value.get_int64());
    }
  }
  return " " + name + "=" + valueText(value);
}

}  // namespace

json::object decodedRecord(const RecordType& type, const json::value& block) {
  return beside(block, [&](const Bytes& bytes) -> std::optional<Decoded> {
    if (!type.decode) return std::nullopt;
    return type.decode(bytes);
  });
}

json::object decodedKeys(const RecordType& type, const json::value& block, bool wildcardAllowed) {
  return beside(block, [&](const Bytes& bytes) -> std::optional<Decoded> {
    if (!type.decodeKeys) return std::nullopt;
    return type.decodeKeys(bytes, wildcardAllowed);
  });
}

json::object decoded(const json::object& message) {
  return decodedAbout(Subject(message), message);
}

json::object decodedReply(const json::object& request, const json::object& reply) {
  return decodedAbout(Subject(request), reply);
}

json::object decodedEntry(const json::object& entry) {
  json::object shown = entry;
  const json::object& params = objectIn(entry, "params");
  const json::object& reply = objectIn(entry, "reply");
  if (!params.empty()) shown["params"] = decoded(params);
  if (!reply.empty()) shown["reply"] = decodedReply(params, reply);
  return shown;
}

std::string valueText(const json::value& value) {
  if (value.is_string()) return std::string(value.get_string());
  if (value.is_object()) return "{" + membersText(value.get_object()) + "}";
  if (value.is_double()) {
    std::ostringstream number;
    number << value.get_double();
    return number.str();
  }
  if (!value.is_array()) return json::serialize(value);
  constexpr std::size_t shown = 20;
  const json::array& list = value.get_array();
  std::string text;
  bool ofObjects = false;
  for (std::size_t i = 0; i < list.size() && i < shown; ++i) {
    if (i != 0) text += ofObjects ? ", " : " ";
    ofObjects = list[i].is_object();
    text += valueText(list[i]);
  }
  if (list.size() > shown) text += " ... " + std::to_string(list.size()) + " in all";
  if (list.empty()) return "none";
  return ofObjects ? "[" + text + "]" : text;
}

std::string membersText(const json::object& members) {
  std::string text;
  for (const auto& [name, value] : members) {
    text += memberText(members, std::string(name), value);
  }
  return text.empty() ? text : text.substr(1);
}

std::string notificationText(const std::string& method, const json::object& params) {
  const std::string members = membersText(decoded(params));
  return members.empty() ? method : method + " " + members;
}

}  // namespace tools
