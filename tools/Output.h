// What oamctl prints: lines for people, or one JSON text.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/RecordTypes.h"

namespace tools {

/// `text` as it may go to a terminal: control characters, and those that turn the direction of
/// writing, are escaped, and what is not UTF-8 is replaced.
std::string escaped(std::string_view text);

/// Rows of text in aligned columns; a column of numbers is aligned to the right.
class Table {
 public:
  explicit Table(std::vector<std::string> header);
  void add(const std::vector<std::string>& row);
  std::string text() const;

 private:
  std::vector<std::string> header_;
  std::vector<std::vector<std::string>> rows_;
};

/// What a command has learned so far. It is printed when the command ends, also where it fails.
struct Answer {
  boost::json::object json;  ///< for --json
  std::string text;          ///< for people
  std::string hint;          ///< for people, on standard error

  /// Adds a line.
  void line(std::string_view words) { text += escaped(words) + '\n'; }
  /// Adds the error string of a reply where there is one.
  void errorString(const boost::json::object& reply);
  /// Adds rows of decoded blocks: a table, and a line for each block that does not read.
  void rows(const boost::json::array& blocks);
};

/// Writes to standard output. A Failure where that is not possible.
void print(std::string_view text);
void printJson(const boost::json::value& value);

/// A message for people, on standard error.
void say(std::string_view message);

boost::json::value jsonOf(const Value& value);
boost::json::object jsonOf(const std::vector<NamedValue>& fields);

/// "1 record", "2 records".
std::string counted(std::size_t count, const std::string& what);

}  // namespace tools
