// What the replies of the daemon say, for people.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "tools/RecordTypes.h"

namespace tools {

std::string title(const RecordType& type);

int exitStatusOf(std::int64_t result);

/// "Success", or "Bad-Value (2)".
std::string resultText(const boost::json::object& reply);
std::string applyActionOf(const boost::json::object& reply);
/// The texts of a list, with blanks between them; "none" for an empty list.
std::string joined(const boost::json::array& values);

void printErrorString(const boost::json::object& reply);

/// Prints a reply that holds a result and perhaps an error string; returns the exit status.
int printResult(const Invocation& invocation, const std::string& what,
                const boost::json::object& reply);

/// The bytes of a block; a block that is none, or does not read, is a Failure.
Bytes bytesOf(const boost::json::value& block);
std::vector<Decoded> decodeAll(const boost::json::array& blocks,
                               const std::function<Decoded(Bytes)>& decode);

}  // namespace tools
