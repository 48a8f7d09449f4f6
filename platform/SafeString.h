// The platform's fixed-size string.
#pragma once

#include <cstddef>

namespace Zel {

/// `Size` characters in the object itself, the last of them always NUL. Writers use `data()` and
/// keep that. The second argument belongs to the platform; the system uses
/// `SafeStringT<256, false>` only.
template <std::size_t Size, bool Option>
class SafeStringT {
 public:
  char* data() { return text_; }
  const char* c_str() const { return text_; }
  static constexpr std::size_t size() { return Size; }

 private:
  char text_[Size] = {};
};

}  // namespace Zel
