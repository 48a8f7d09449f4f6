// How oamctl prints what it learns: aligned for people, or one JSON text.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <string>
#include <vector>

#include "tools/RecordTypes.h"

namespace tools {

/// Rows of text in aligned columns; a column of numbers is aligned to the right.
class Table {
 public:
  explicit Table(std::vector<std::string> header) : header_(std::move(header)) {}
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  /// To standard output.
  void print() const;

 private:
  std::vector<std::string> header_;
  std::vector<std::vector<std::string>> rows_;
};

/// The one JSON text of --json.
void printJson(const boost::json::value& value);

boost::json::value jsonOf(const Value& value);
boost::json::object jsonOf(const std::vector<NamedValue>& fields);

/// A table with the fields of several blocks of one class, one row each.
Table fieldTable(const std::vector<Decoded>& blocks);

/// "1 record", "2 records".
std::string counted(std::size_t count, const std::string& what);

}  // namespace tools
