// Objects of the catalogue's classes to measure with.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "catalogue/Catalogue.h"

namespace bench {

template <typename Value>
void setSample(Value& value, const Zel::Range& range) {
  const auto number = std::max<std::uint64_t>(range.min, 1);
  if constexpr (std::is_enum_v<Value> || std::is_integral_v<Value>) {
    value = static_cast<Value>(number);
  } else if constexpr (std::is_array_v<Value>) {
    std::memset(value, 'x', sizeof(Value) - 1);
  } else {
    value.value = static_cast<decltype(value.value)>(number);
  }
}

/// Gives every field a value that is in range, and texts their full length.
template <class Owner>
void fillSample(Owner& owner) {
  Zel::fields::visitAll(owner, [](const auto& field, auto& value) {
    setSample(value, field.range);
    return true;
  });
}

}  // namespace bench
