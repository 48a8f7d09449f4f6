#include "standin/Parameters.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/value.hpp>
#include <charconv>
#include <limits>

#include "records/Hex.h"
#include "standin/JsonRpc.h"

namespace json = boost::json;

namespace standin {
namespace {

[[noreturn]] void refuse(std::string_view name, const std::string& what) {
  throw rpc::Error{rpc::badParameters, std::string(name) + " " + what};
}

std::optional<std::int64_t> integer(const json::value& value) {
  if (const auto* number = value.if_int64()) return *number;
  if (const auto* number = value.if_uint64()) {
    return *number <= std::numeric_limits<std::int64_t>::max()
               ? std::optional(static_cast<std::int64_t>(*number))
               : std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::int64_t> hexInteger(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  text.remove_prefix(2);
  std::int64_t number = 0;
  const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (text.empty() || text.front() == '-' || error != std::errc() ||
      stopped != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

// An integer, or a string in hexadecimal with 0x.
std::uint32_t identifier(std::string_view name, const json::value& value, std::int64_t max) {
  const std::optional<std::int64_t> number =
      value.is_string() ? hexInteger(value.get_string()) : integer(value);
  if (!number || *number < 0 || *number > max) {
    refuse(name, "must be an integer from 0 to " + std::to_string(max) +
                     " or a string in hexadecimal with 0x");
  }
  return static_cast<std::uint32_t>(*number);
}

Block blockOf(std::string_view name, const json::value& value) {
  if (!value.is_string()) refuse(name, "must be a string of hexadecimal digits");
  std::optional<Block> block = Zel::fromHex(value.get_string());
  if (!block) refuse(name, "must be an even number of hexadecimal digits");
  return std::move(*block);
}

const json::array& arrayOf(std::string_view name, const json::value& value) {
  if (!value.is_array()) refuse(name, "must be a list");
  return value.get_array();
}

std::string element(std::string_view name, std::size_t index) {
  return std::string(name) + "[" + std::to_string(index) + "]";
}

}  // namespace

void Parameters::refusePositional() const {
  if (positional_) {
    throw rpc::Error{rpc::badParameters, "parameters are given by name, in an object"};
  }
}

const json::value* Parameters::find(std::string_view name) {
  refusePositional();
  asked_.push_back(name);
  return params_ == nullptr ? nullptr : params_->if_contains(name);
}

const json::value& Parameters::require(std::string_view name) {
  const json::value* value = find(name);
  if (value == nullptr) refuse(name, "is missing");
  return *value;
}

std::uint32_t Parameters::recordId(std::string_view name) {
  return identifier(name, require(name), 0xFFFFFFFF);
}

std::vector<std::uint16_t> Parameters::groups(std::string_view name) {
  std::vector<std::uint16_t> groups;
  for (const json::value& value : arrayOf(name, require(name))) {
    groups.push_back(
        static_cast<std::uint16_t>(identifier(element(name, groups.size()), value, 0xFFFF)));
  }
  return groups;
}

std::uint32_t Parameters::number(std::string_view name, std::uint32_t max) {
  const std::optional<std::int64_t> number = integer(require(name));
  if (!number || *number < 0 || *number > max) {
    refuse(name, "must be an integer from 0 to " + std::to_string(max));
  }
  return static_cast<std::uint32_t>(*number);
}

std::uint32_t Parameters::number(std::string_view name, std::uint32_t max, std::uint32_t fallback) {
  if (params_ != nullptr && params_->contains(name)) return number(name, max);
  asked_.push_back(name);
  return fallback;
}

std::int32_t Parameters::result(std::string_view name) {
  constexpr std::int64_t min = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t max = std::numeric_limits<std::uint32_t>::max();
  const std::optional<std::int64_t> number = integer(require(name));
  if (!number || *number < min || *number > max) {
    refuse(name, "must be an integer from " + std::to_string(min) + " to " + std::to_string(max));
  }
  return static_cast<std::int32_t>(*number);
}

bool Parameters::flag(std::string_view name, bool fallback) {
  const json::value* value = find(name);
  if (value == nullptr) return fallback;
  if (!value->is_bool()) refuse(name, "must be true or false");
  return value->get_bool();
}

std::string Parameters::text(std::string_view name, std::string_view fallback) {
  const json::value* value = find(name);
  if (value == nullptr) return std::string(fallback);
  if (!value->is_string()) refuse(name, "must be a string");
  return std::string(value->get_string());
}

Block Parameters::block(std::string_view name) { return blockOf(name, require(name)); }

std::optional<Block> Parameters::optionalBlock(std::string_view name) {
  const json::value* value = find(name);
  return value == nullptr ? std::nullopt : std::optional(blockOf(name, *value));
}

std::vector<Block> Parameters::blocks(std::string_view name) {
  std::vector<Block> blocks;
  if (const json::value* value = find(name)) {
    for (const json::value& entry : arrayOf(name, *value)) {
      blocks.push_back(blockOf(element(name, blocks.size()), entry));
    }
  }
  return blocks;
}

void Parameters::finish() const {
  refusePositional();
  if (params_ == nullptr) return;
  for (const auto& member : *params_) {
    if (std::find(asked_.begin(), asked_.end(), member.key()) == asked_.end()) {
      refuse(member.key(), "is no parameter of this method");
    }
  }
}

}  // namespace standin
