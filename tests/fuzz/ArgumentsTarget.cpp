// The words in which oamctl takes fields and keys, and the blocks that it makes of them.
//
// Input, in lines: a character that chooses (0 fields, 1 keys, 2 keys with --wildcard) and the
// record; then a word each.
#include <sstream>

#include "records/Hex.h"
#include "tests/fuzz/Input.h"
#include "tools/Arguments.h"
#include "tools/ExitStatus.h"

namespace fuzz {
namespace {

/// A block that was made of words, whatever their values, has the fields of its class.
void checkBlock(const tools::Decoded& decoded, std::size_t fields, std::size_t bytes) {
  expect(decoded.valid || !decoded.problem.empty(), "a block that does not read says why");
  if (!decoded.valid) return;
  expect(decoded.fields.size() == fields, "a block has the fields of its class");
  expect(decoded.bytesRead == bytes, "a block reads to its end");
}

void check(char kind, const std::vector<std::string>& words) {
  const tools::RecordType& type = tools::recordTypeNamed(words.front());
  if (kind == '0') {
    const auto given = tools::assignments(words, 1);
    const Bytes block = Zel::fromHex(type.encode(given)).value();
    return checkBlock(type.decode(block), type.fields.size(), block.size());
  }
  const auto sets = tools::keySets(words, 1);
  const bool wildcardAllowed = kind == '2' || tools::hasWildcard(sets);
  for (const auto& given : sets) {
    if (!type.encodeKeys) return;
    const Bytes block = Zel::fromHex(type.encodeKeys(given, wildcardAllowed)).value();
    checkBlock(type.decodeKeys(block, wildcardAllowed), type.keys.size(), block.size());
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  fuzz::Input input(bytes, count);
  const char kind = static_cast<char>(input.byte());
  std::istringstream lines(input.text());
  std::vector<std::string> words;
  for (std::string line; std::getline(lines, line) || words.empty();) {
    words.push_back(line.substr(0, line.find('\0')));  // as the arguments of a program
  }
  try {
    fuzz::check(kind, words);
  } catch (const tools::UsageError& error) {
    fuzz::expect(!error.message.empty(), "a refusal says what was expected");
  }
  return 0;
}
