#include "tools/Output.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "records/Utf8.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Messages.h"

namespace json = boost::json;

namespace tools {
namespace {

bool isNumber(const std::string& cell) {
  return !cell.empty() &&
         (cell == "*" || cell.find_first_not_of("-0123456789") == std::string::npos);
}

std::size_t characters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

std::string padded(const std::string& cell, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, characters(cell)), ' ');
  return right ? blanks + cell : cell + blanks;
}

std::vector<std::string> escapedAll(std::vector<std::string> cells) {
  for (std::string& cell : cells) cell = escaped(cell);
  return cells;
}

/// Of valid UTF-8.
char32_t codePoint(std::string_view character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  switch (character.size()) {
    case 1:
      return byte(0);
    case 2:
      return (byte(0) & 0x1Fu) << 6 | (byte(1) & 0x3Fu);
    case 3:
      return (byte(0) & 0xFu) << 12 | (byte(1) & 0x3Fu) << 6 | (byte(2) & 0x3Fu);
    default:
      return 0x10000;  // None of these is escaped.
  }
}

bool isUnsafe(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

std::string escaped(std::string_view text) {
  const std::string valid = Zel::validUtf8(text);
  std::string result;
  for (std::size_t at = 0, next = 0; at < valid.size(); at = next) {
    for (next = at + 1; next < valid.size() && (valid[next] & 0xC0) == 0x80;) ++next;
    const std::string_view character = std::string_view(valid).substr(at, next - at);
    const char32_t code = codePoint(character);
    char escape[16] = "";
    if (!isUnsafe(code)) {
      result += character;
    } else if (code == '\n' || code == '\t') {
      result += code == '\n' ? "\\n" : "\\t";
    } else {
      std::snprintf(escape, sizeof escape, code < 0x80 ? "\\x%02x" : "\\u%04x",
                    static_cast<unsigned int>(code));
      result += escape;
    }
  }
  return result;
}

Table::Table(std::vector<std::string> header) : header_(escapedAll(std::move(header))) {}

void Table::add(const std::vector<std::string>& row) { rows_.push_back(escapedAll(row)); }

std::string Table::text() const {
  const std::size_t columns = header_.size();
  std::vector<std::size_t> widths(columns);
  std::vector<bool> right(columns, !rows_.empty());
  for (std::size_t i = 0; i < columns; ++i) {
    widths[i] = characters(header_[i]);
    for (const auto& row : rows_) {
      widths[i] = std::max(widths[i], characters(row[i]));
      if (!isNumber(row[i])) right[i] = false;
    }
  }
  std::string text;
  const auto addRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < columns; ++i) {
      line += (i == 0 ? "  " : "   ") + padded(row[i], widths[i], right[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  };
  addRow(header_);
  for (const auto& row : rows_) addRow(row);
  return text;
}

void Answer::errorString(const json::object& reply) {
  const std::string said = textMember(reply, "errorString");
  if (!said.empty()) line("  error string: " + said);
}

void Answer::rows(const json::array& blocks) {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> cells;
  std::string unread;
  for (const json::value& block : blocks) {
    const json::object& object = block.as_object();
    const json::value* fields = object.if_contains("fields");
    if (fields == nullptr || object.contains("problem")) {
      unread += "  " + escaped(membersText(object)) + '\n';
      continue;
    }
    header.clear();
    std::vector<std::string>& row = cells.emplace_back();
    for (const auto& [name, value] : fields->as_object()) {
      header.push_back(name);
      row.push_back(valueText(value));
    }
  }
  if (!cells.empty()) {
    Table table(header);
    for (const auto& row : cells) table.add(row);
    text += table.text();
  }
  text += unread;
}

void print(std::string_view text) {
  errno = 0;
  std::cout << text << std::flush;
  if (!std::cout) {
    const int reason = errno;
    throw Failure{exitNoOutput,
                  std::string("standard output cannot be written: ") + std::strerror(reason)};
  }
}

void printJson(const json::value& value) { print(json::serialize(value) + '\n'); }

void say(std::string_view message) {
  std::cerr << "oamctl: " + escaped(message) + '\n' << std::flush;
}

json::value jsonOf(const Value& value) {
  return std::visit(
      [](const auto& held) -> json::value {
        using T = std::remove_cvref_t<decltype(held)>;
        if constexpr (std::is_same_v<T, Wildcard>) {
          return "*";
        } else if constexpr (std::is_same_v<T, std::string>) {
          // A text of a record holds any bytes.
          return json::value(Zel::validUtf8(held));
        } else {
          return json::value_from(held);
        }
      },
      value);
}

json::object jsonOf(const std::vector<NamedValue>& fields) {
  json::object object;
  for (const NamedValue& field : fields) object[field.name] = jsonOf(field.value);
  return object;
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace tools
