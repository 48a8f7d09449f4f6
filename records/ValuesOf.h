// The values of a record, all at once.
#pragma once

#include <tuple>
#include <utility>

#include "records/Fields.h"

namespace Zel {

/// One value for each field of `Owner`, which has no text, in wire order: `{0, 1, 3}`. Their
/// number, and constants that do not fit their field, are errors of the compiler.
template <class Owner, class = std::make_index_sequence<fields::count<Owner>>>
class ValuesOf;

template <class Owner, std::size_t... I>
class ValuesOf<Owner, std::index_sequence<I...>> {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): a row of a table is written as its values.
  constexpr ValuesOf(typename fields::FieldAt<Owner, I>::Value... values) : values_(values...) {}

  void storeIn(Owner& owner) const {
    ((fields::FieldAt<Owner, I>::of(owner) = std::get<I>(values_)), ...);
  }

 private:
  std::tuple<typename fields::FieldAt<Owner, I>::Value...> values_;
};

}  // namespace Zel
