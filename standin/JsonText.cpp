#include "standin/JsonText.h"

#include <algorithm>
#include <array>
#include <boost/json/serialize.hpp>

#include "records/Utf8.h"

namespace standin {

namespace {

/// Whether a character stands for itself in quotes.
constexpr auto isPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t i = 0x20; i < 0x7F; ++i) plain[i] = i != '"' && i != '\\';
  return plain;
}();

}  // namespace

void appendQuoted(std::string& out, std::string_view text) {
  if (!std::all_of(text.begin(), text.end(), [](unsigned char c) { return isPlain[c]; })) {
    out += boost::json::serialize(Zel::validUtf8(text));
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

}  // namespace standin
