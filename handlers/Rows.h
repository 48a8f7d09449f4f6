// Making the rows of an answer.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <initializer_list>

#include "platform/OamTypes.h"
#include "records/ValuesOf.h"

namespace handlers {

/// Appends `count` new records of class `R`, which share one piece of memory, and returns the
/// first.
template <class R>
R* appendNew(Zel::RecordList& records, std::size_t count) {
  const auto rows = boost::make_shared<R[]>(count);
  if (records.empty()) records.reserve(count);
  R* const first = rows.get();
  for (std::size_t i = 0; i < count; ++i) records.emplace_back(rows, first + i);
  return first;
}

/// Appends a new record of class `R` for each row of values.
template <class R>
void appendRows(Zel::RecordList& records, std::initializer_list<Zel::ValuesOf<R>> rows) {
  R* row = appendNew<R>(records, rows.size());
  for (const Zel::ValuesOf<R>& values : rows) values.storeIn(*row++);
}

}  // namespace handlers
