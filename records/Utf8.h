// Texts of records in messages that must be UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace Zel {

/// `text` with U+FFFD in place of each run of bytes that are not UTF-8. Own code, since
/// Boost.Nowide also drops the good character after a truncated one.
std::string validUtf8(std::string_view text);

}  // namespace Zel
