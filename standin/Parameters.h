// Reading the parameters of one request, each by its name.
#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace standin {

using Block = std::vector<std::uint8_t>;

/// Every reader throws an rpc::Error that names the parameter and what is wrong with it. One
/// without a fallback requires the parameter. `finish` is called last: a parameter that nobody
/// asked for is an error, too.
class Parameters {
 public:
  /// `params` may be null, as an empty object.
  Parameters(const boost::json::object* params, bool positional)
      : params_(params), positional_(positional) {}

  std::uint32_t recordId(std::string_view name);
  std::vector<std::uint16_t> groups(std::string_view name);
  std::uint32_t number(std::string_view name, std::uint32_t max = 0xFFFFFFFF);
  std::uint32_t number(std::string_view name, std::uint32_t max, std::uint32_t fallback);
  /// A management result, which may be negative.
  std::int32_t result(std::string_view name);
  bool flag(std::string_view name, bool fallback);
  std::string text(std::string_view name, std::string_view fallback);
  Block block(std::string_view name);
  std::optional<Block> optionalBlock(std::string_view name);
  /// A list of blocks; empty when the parameter is left out.
  std::vector<Block> blocks(std::string_view name);

  void finish() const;

 private:
  void refusePositional() const;
  const boost::json::value* find(std::string_view name);
  const boost::json::value& require(std::string_view name);

  const boost::json::object* const params_;
  const bool positional_;
  std::vector<std::string_view> asked_;
};

}  // namespace standin
