#include "standin/Parameters.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "records/Hex.h"
#include "standin/JsonRpc.h"
#include "standin/Limits.h"

namespace standin {

using Kind = JsonValue::Kind;

namespace {

[[noreturn]] void refuse(std::string_view name, const std::string& what) {
  throw rpc::Error{rpc::badParameters, std::string(name) + " " + what};
}

std::optional<std::int64_t> hexInteger(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  text.remove_prefix(2);
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number, 16);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

// An integer, or a string in hexadecimal with 0x.
std::uint32_t identifier(std::string_view name, const JsonValue& value, std::int64_t max) {
  const std::optional<std::int64_t> number =
      value.is(Kind::text) ? hexInteger(value.text) : value.integer();
  if (!number || *number < 0 || *number > max) {
    refuse(name, "must be an integer from 0 to " + std::to_string(max) +
                     " or a string in hexadecimal with 0x");
  }
  return static_cast<std::uint32_t>(*number);
}

Block blockOf(std::string_view name, const JsonValue& value) {
  if (!value.is(Kind::text)) refuse(name, "must be a string of hexadecimal digits");
  std::optional<Block> block = Zel::fromHex(value.text);
  if (!block) refuse(name, "must be an even number of hexadecimal digits");
  return std::move(*block);
}

/// Reads a list of at most `max` values with `read(name, value)`.
template <typename Value, typename Read>
std::vector<Value> listOf(std::string_view name, const JsonValue& list, std::size_t max,
                          Read&& read) {
  if (!list.is(Kind::list)) refuse(name, "must be a list");
  if (list.count > max) refuse(name, "must hold at most " + std::to_string(max) + " values");
  std::vector<Value> values;
  values.reserve(list.count);
  const JsonValue* at = &list + 1;
  for (std::uint32_t i = 0; i < list.count; ++i, at = at->next()) {
    try {
      values.push_back(read(name, *at));
    } catch (rpc::Error& error) {
      error.message.insert(name.size(), "[" + std::to_string(i) + "]");
      throw;
    }
  }
  return values;
}

}  // namespace

Parameters::Parameters(const JsonValue* params) : params_(params) {
  if (params_ != nullptr && params_->is(Kind::list) && params_->count != 0) {
    throw rpc::Error{rpc::badParameters, "parameters are given by name, in an object"};
  }
}

const JsonValue* Parameters::find(std::string_view name) {
  static_assert(maxMembers <= 64, "a bit for each");
  if (params_ == nullptr) return nullptr;
  const JsonValue* found = nullptr;
  const JsonValue* at = params_ + 1;
  for (std::uint32_t i = 0; i < params_->count; ++i, at = (at + 1)->next()) {
    if (at->text != name) continue;
    asked_ |= std::uint64_t{1} << i;
    found = at + 1;
  }
  return found;
}

const JsonValue& Parameters::require(std::string_view name) {
  const JsonValue* value = find(name);
  if (value == nullptr) refuse(name, "is missing");
  return *value;
}

std::uint32_t Parameters::recordId(std::string_view name) {
  return identifier(name, require(name), 0xFFFFFFFF);
}

std::vector<std::uint16_t> Parameters::groups(std::string_view name, std::size_t max) {
  return listOf<std::uint16_t>(name, require(name), max, [](auto given, const JsonValue& value) {
    return static_cast<std::uint16_t>(identifier(given, value, 0xFFFF));
  });
}

std::int64_t Parameters::between(std::string_view name, std::int64_t min, std::int64_t max) {
  const std::optional<std::int64_t> number = require(name).integer();
  if (!number || *number < min || *number > max) {
    refuse(name, "must be an integer from " + std::to_string(min) + " to " + std::to_string(max));
  }
  return *number;
}

std::uint32_t Parameters::number(std::string_view name, std::uint32_t max) {
  return static_cast<std::uint32_t>(between(name, 0, max));
}

std::uint32_t Parameters::positive(std::string_view name, std::uint32_t max) {
  return static_cast<std::uint32_t>(between(name, 1, max));
}

std::uint32_t Parameters::number(std::string_view name, std::uint32_t max, std::uint32_t fallback) {
  return find(name) == nullptr ? fallback : number(name, max);
}

std::int32_t Parameters::result(std::string_view name) {
  constexpr std::int64_t min = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t max = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::int32_t>(between(name, min, max));
}

std::uint64_t Parameters::longNumber(std::string_view name) {
  return static_cast<std::uint64_t>(between(name, 0, std::numeric_limits<std::int64_t>::max()));
}

double Parameters::fraction(std::string_view name, double max) {
  const JsonValue& value = require(name);
  double number = -1;
  if (value.is(Kind::integer) || value.is(Kind::number)) {
    std::from_chars(value.text.data(), value.text.data() + value.text.size(), number);
  }
  if (!(number >= 0 && number <= max)) {
    refuse(name, "must be a number from 0 to " + std::to_string(static_cast<std::int64_t>(max)));
  }
  return number;
}

bool Parameters::flag(std::string_view name, bool fallback) {
  const JsonValue* value = find(name);
  if (value == nullptr) return fallback;
  if (!value->is(Kind::boolean)) refuse(name, "must be true or false");
  return value->truth;
}

std::string Parameters::text(std::string_view name, std::string_view fallback) {
  const JsonValue* value = find(name);
  if (value == nullptr) return std::string(fallback);
  if (!value->is(Kind::text)) refuse(name, "must be a string");
  return std::string(value->text);
}

Block Parameters::block(std::string_view name) { return blockOf(name, require(name)); }

std::optional<Block> Parameters::optionalBlock(std::string_view name) {
  const JsonValue* value = find(name);
  return value == nullptr ? std::nullopt : std::optional(blockOf(name, *value));
}

std::vector<Block> Parameters::blocks(std::string_view name, std::size_t max) {
  const JsonValue* value = find(name);
  return value == nullptr ? std::vector<Block>() : listOf<Block>(name, *value, max, blockOf);
}

void Parameters::finish() const {
  if (params_ == nullptr) return;
  const JsonValue* name = params_ + 1;
  for (std::uint32_t i = 0; i < params_->count; ++i, name = (name + 1)->next()) {
    if ((asked_ >> i & 1) == 0) {
      refuse(rpc::shown(name->text), "is not a parameter of this method");
    }
  }
}

}  // namespace standin
