#include "records/Utf8.h"

namespace Zel {
namespace {

// 0 for bytes that are not UTF-8.
std::size_t utf8SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates and what lies past U+10FFFF.
  if (lead == 0xE0 && byte(1) < 0xA0) return 0;
  if (lead == 0xED && byte(1) > 0x9F) return 0;
  if (lead == 0xF0 && byte(1) < 0x90) return 0;
  if (lead == 0xF4 && byte(1) > 0x8F) return 0;
  return length;
}

}  // namespace

std::string validUtf8(std::string_view text) {
  std::string result;
  bool inBadRun = false;
  while (!text.empty()) {
    const std::size_t length = utf8SequenceLength(text);
    if (length != 0) {
      result += text.substr(0, length);
    } else if (!inBadRun) {
      result += "\xEF\xBF\xBD";
    }
    inBadRun = length == 0;
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace Zel
