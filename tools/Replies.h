// Replies of the daemon: their result, for people and as an exit status.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <cstdint>
#include <string>

#include "tools/Commands.h"
#include "tools/RecordTypes.h"

namespace tools {

/// "Test3-Stats5 (0x111f000b)", or the id alone.
std::string title(const RecordType& type);

int exitStatusOf(std::int64_t result);

/// "Success", or "Bad-Value (2)".
std::string resultText(const boost::json::object& reply);
std::string applyActionOf(const boost::json::object& reply);
/// The texts of a list, with blanks between them; "none" for an empty list.
std::string joined(const boost::json::array& values);

/// Names the record in the answer.
void aboutRecord(Answer& answer, const RecordType& type);
/// Adds the members of a reply to the answer.
void merge(Answer& answer, const boost::json::object& members);

/// Fills the answer with a reply that holds a result and perhaps an error string; returns the exit
/// status.
int answerResult(Answer& answer, const std::string& what, const boost::json::object& reply);

/// Says why the daemon does not know the record, if that is the result and the reason can be
/// found out.
void explainRefusal(const Invocation& invocation, const RecordType& type,
                    const boost::json::object& reply, Answer& answer);

}  // namespace tools
