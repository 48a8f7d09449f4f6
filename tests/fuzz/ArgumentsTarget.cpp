// The words in which oamctl takes fields and keys, and the blocks that it makes of them.
//
// Input, in lines: a character that chooses (0 fields, 1 keys, 2 keys with --wildcard) and the
// record; then a word each.
#include <algorithm>
#include <cctype>

#include "records/Hex.h"
#include "tests/fuzz/Input.h"
#include "tools/Arguments.h"
#include "tools/ExitStatus.h"

namespace fuzz {
namespace {

using tools::Assignment;
using tools::FieldType;

/// A number as people read it: decimal, or hexadecimal digits behind 0x. Ends the process for any
/// other text.
std::string asDecimal(std::string text) {
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  const bool negative = text.starts_with('-');
  text.erase(0, hex ? 2 : negative ? 1 : 0);
  const auto isDigit = [&](unsigned char c) { return hex ? std::isxdigit(c) : std::isdigit(c); };
  expect(!text.empty() && std::all_of(text.begin(), text.end(), isDigit), "a number has digits");
  const std::string digits = std::to_string(std::stoull(text, nullptr, hex ? 16 : 10));
  return negative && digits != "0" ? "-" + digits : digits;
}

bool means(const std::string& given, const tools::Value& value) {
  if (std::holds_alternative<std::string>(value)) return given == std::get<std::string>(value);
  if (std::holds_alternative<tools::Wildcard>(value)) return given == "*";
  if (const bool* truth = std::get_if<bool>(&value)) {
    return *truth ? given == "true" || given == "1" : given == "false" || given == "0";
  }
  return asDecimal(given) == tools::textOf(value);
}

/// Whether the value is within limits such as "1 to 32".
bool inRange(const tools::Value& value, const std::string& range) {
  const auto* number = std::get_if<std::uint64_t>(&value);
  unsigned long long min = 0, max = 0;
  if (number == nullptr || std::sscanf(range.c_str(), "%llu to %llu", &min, &max) != 2) return true;
  return *number >= min && *number <= max;
}

/// A value that is out of range is made, there to be sent, but does not read.
void checkBlock(const tools::Decoded& decoded, std::size_t blockSize,
                const std::vector<FieldType>& types, const std::vector<Assignment>& given) {
  expect(decoded.fields.size() == types.size(), "a block has the fields of its class");
  for (std::size_t i = 0; i < types.size(); ++i) {
    const FieldType& type = types[i];
    const auto& [name, value] = decoded.fields[i];
    const auto found = std::find_if(given.begin(), given.end(),
                                    [&](const Assignment& one) { return one.name == type.name; });
    const std::string expected = found != given.end()            ? found->value
                                 : type.type.starts_with("text") ? ""
                                                                 : "0";
    expect(name == type.name && means(expected, value), "a field prints as it was given, or as 0");
    if (inRange(value, type.range)) continue;
    expect(!decoded.valid && !decoded.problem.empty(), "a block that does not read says why");
    return;
  }
  expect(decoded.valid && decoded.bytesRead == blockSize, "a block in range reads, to its end");
}

void check(char kind, const std::vector<std::string>& words) {
  const tools::RecordType& type = tools::recordTypeNamed(words.front());
  if (kind == '0') {
    const auto given = tools::assignments(words, 1);
    const Bytes block = Zel::fromHex(type.encode(given)).value();
    return checkBlock(type.decode(block), block.size(), type.fields, given);
  }
  const auto sets = tools::keySets(words, 1);
  const bool wildcardAllowed = kind == '2' || tools::hasWildcard(sets);
  for (const auto& given : sets) {
    if (!type.encodeKeys) return;
    const Bytes block = Zel::fromHex(type.encodeKeys(given, wildcardAllowed)).value();
    checkBlock(type.decodeKeys(block, wildcardAllowed), block.size(), type.keys, given);
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  fuzz::Input input(bytes, count);
  const char kind = static_cast<char>(input.byte());
  try {
    fuzz::check(kind, input.arguments());
  } catch (const tools::UsageError& error) {
    fuzz::expect(!error.message.empty(), "a refusal says what was expected");
  }
  return 0;
}
