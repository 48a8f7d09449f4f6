#include "tools/Output.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>
#include <cstdio>
#include <iostream>

#include "records/Utf8.h"

namespace json = boost::json;

namespace tools {
namespace {

bool isNumber(const std::string& cell) {
  return !cell.empty() &&
         (cell == "*" || cell.find_first_not_of("-0123456789") == std::string::npos);
}

std::string padded(const std::string& cell, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, cell.size()), ' ');
  return right ? blanks + cell : cell + blanks;
}

}  // namespace

void Table::print() const {
  const std::size_t columns = header_.size();
  std::vector<std::size_t> widths(columns);
  std::vector<bool> right(columns, !rows_.empty());
  for (std::size_t i = 0; i < columns; ++i) {
    widths[i] = header_[i].size();
    for (const auto& row : rows_) {
      widths[i] = std::max(widths[i], row[i].size());
      if (!isNumber(row[i])) right[i] = false;
    }
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < columns; ++i) {
      line += (i == 0 ? "  " : "   ") + padded(row[i], widths[i], right[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
  };
  printRow(header_);
  for (const auto& row : rows_) printRow(row);
}

void printJson(const json::value& value) { std::cout << json::serialize(value) << '\n'; }

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

Table fieldTable(const std::vector<Decoded>& blocks) {
  std::vector<std::string> header;
  if (!blocks.empty()) {
    for (const NamedValue& field : blocks.front().fields) header.push_back(field.name);
  }
  Table table(header);
  for (const Decoded& block : blocks) {
    std::vector<std::string> row;
    for (const NamedValue& field : block.fields) row.push_back(textOf(field.value));
    table.add(std::move(row));
  }
  return table;
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace tools
