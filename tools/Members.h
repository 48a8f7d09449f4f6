// Members of what the daemon sends; one that is missing or of another type is a Failure.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <cstdint>
#include <string>
#include <string_view>

namespace tools {

std::int64_t integerMember(const boost::json::object& object, std::string_view name);
std::string textMember(const boost::json::object& object, std::string_view name);
bool boolMember(const boost::json::object& object, std::string_view name);
const boost::json::array& arrayMember(const boost::json::object& object, std::string_view name);
const boost::json::object& objectMember(const boost::json::object& object, std::string_view name);

}  // namespace tools
