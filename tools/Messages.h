// What messages of the daemon say: their blocks taken apart and their numbers named.
//
// Messages come from a peer, and the journal shows what other clients sent: what is not as expected
// is left as it came.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/RecordTypes.h"

namespace tools {

/// A block with its fields: `block`, and `fields`, `bytesAfter` where there are any, and
/// `problem` where it does not read.
boost::json::object decodedRecord(const RecordType& type, const boost::json::value& block);
boost::json::object decodedKeys(const RecordType& type, const boost::json::value& block,
                                bool wildcardAllowed);

/// The members of a request, a reply or a notification, with the fields of every block,
/// the name of every record, and a text for every number that has a name.
boost::json::object decoded(const boost::json::object& message);
/// The same of a reply to `request`, which says what record it is about.
boost::json::object decodedReply(const boost::json::object& request,
                                 const boost::json::object& reply);

/// An entry of the journal, with its request and its reply decoded.
boost::json::object decodedEntry(const boost::json::object& entry);

/// For people, in one line; members are decoded. No more than a hint of what is very long.
std::string membersText(const boost::json::object& members);
std::string notificationText(const std::string& method, const boost::json::object& params);
std::string valueText(const boost::json::value& value);

}  // namespace tools
