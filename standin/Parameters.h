// Reading the parameters of one request, each by its name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standin/JsonDocument.h"

namespace standin {

using Block = std::vector<std::uint8_t>;

/// Every reader throws an rpc::Error that names the parameter and what is wrong with it. One
/// without a fallback requires the parameter. `finish` is called last: a parameter that nobody
/// asked for is an error, too.
class Parameters {
 public:
  /// `params` may be null, as an empty object; an empty list is one, too, and any other an error.
  explicit Parameters(const JsonValue* params);

  /// Whether a parameter is given.
  bool has(std::string_view name) { return find(name) != nullptr; }
  std::uint32_t recordId(std::string_view name);
  std::vector<std::uint16_t> groups(std::string_view name, std::size_t max);
  std::uint32_t number(std::string_view name, std::uint32_t max = 0xFFFFFFFF);
  std::uint32_t number(std::string_view name, std::uint32_t max, std::uint32_t fallback);
  /// A number from 1 to `max`.
  std::uint32_t positive(std::string_view name, std::uint32_t max);
  /// A number that may have more than 32 bits.
  std::uint64_t longNumber(std::string_view name);
  /// A management result, which may be negative.
  std::int32_t result(std::string_view name);
  /// A number from 0 to `max`, fractions allowed.
  double fraction(std::string_view name, double max);
  bool flag(std::string_view name, bool fallback);
  std::string text(std::string_view name, std::string_view fallback);
  Block block(std::string_view name);
  std::optional<Block> optionalBlock(std::string_view name);
  /// A list of blocks; empty when the parameter is left out.
  std::vector<Block> blocks(std::string_view name, std::size_t max);

  void finish() const;

 private:
  const JsonValue* find(std::string_view name);
  const JsonValue& require(std::string_view name);
  std::int64_t between(std::string_view name, std::int64_t min, std::int64_t max);

  const JsonValue* const params_;
  std::uint64_t asked_ = 0;  ///< the members that somebody asked for, a bit each
};

}  // namespace standin
