#include "tools/Members.h"

#include "tools/ExitStatus.h"

namespace json = boost::json;

namespace tools {
namespace {

const json::value& member(const json::object& object, std::string_view name) {
  const json::value* value = object.if_contains(name);
  if (value == nullptr) nonsense("it does not have the member " + std::string(name));
  return *value;
}

}  // namespace

std::int64_t integerMember(const json::object& object, std::string_view name) {
  const json::value& value = member(object, name);
  if (!value.is_int64()) nonsense(std::string(name) + " is not an integer");
  return value.get_int64();
}

std::string textMember(const json::object& object, std::string_view name) {
  const json::value& value = member(object, name);
  if (!value.is_string()) nonsense(std::string(name) + " is not a string");
  return std::string(value.get_string());
}

bool boolMember(const json::object& object, std::string_view name) {
  const json::value& value = member(object, name);
  if (!value.is_bool()) nonsense(std::string(name) + " is neither true nor false");
  return value.get_bool();
}

const json::array& arrayMember(const json::object& object, std::string_view name) {
  const json::value& value = member(object, name);
  if (!value.is_array()) nonsense(std::string(name) + " is not a list");
  return value.get_array();
}

const json::object& objectMember(const json::object& object, std::string_view name) {
  const json::value& value = member(object, name);
  if (!value.is_object()) nonsense(std::string(name) + " is not an object");
  return value.get_object();
}

}  // namespace tools
