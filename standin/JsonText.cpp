#include "standin/JsonText.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <charconv>

#include "records/Utf8.h"

namespace standin {

void appendQuoted(std::string& out, std::string_view text) {
  const bool plain = std::all_of(text.begin(), text.end(), [](unsigned char character) {
    return character >= 0x20 && character < 0x7F && character != '"' && character != '\\';
  });
  if (!plain) {
    out += boost::json::serialize(Zel::validUtf8(text));
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

void appendNumber(std::string& out, std::int64_t number) {
  char digits[20];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace standin
