// Entries of the journal, for people.
#pragma once

#include <boost/json/object.hpp>
#include <string>

namespace tools {

/// Lines: when and who, and what was asked; then what was replied. Escaped. A Failure when the
/// entry makes no sense.
std::string entryText(const boost::json::object& entry);

}  // namespace tools
