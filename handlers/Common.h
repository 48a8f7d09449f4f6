// What the request handlers share beside the daemon's members. Callback thread only.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <string>
#include <utility>

#include "platform/OamTypes.h"
#include "records/LogLine.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"

namespace handlers {

/// The keys of Test3-Stats7 and -8 run from 1 to this: so does a wildcard key of Test3-Stats8.
constexpr std::uint32_t lastSmallTableKey = 40;

/// Writes `text` and the record id in hexadecimal as a plain line. Standard output's integer base
/// stays hexadecimal.
void writeRecordLine(const char* text, unsigned int recordId);

/// Writes `line` and a line end as a plain line. Standard output's integer base stays decimal.
void writeChangeLine(std::string line);

/// What the plain lines of set and notify have in common.
std::string changeText(bool regDownloadFlag, Zel::ApplyActionType applyAction);

/// The answer for a record whose group is not registered.
Zel::MgmtResult refuseGroup(unsigned int recordId, Zel::ErrorString& errorString);

/// The answer to a query key that is null, of another class or outside the tables.
Zel::MgmtResult refuseQueryKey(unsigned int recordId, Zel::ErrorString& errorString);

/// The record as one of class `R`, which is printed on the console unless `quiet`; null, with
/// nothing printed, when it is of another class.
template <class R>
const R* printRecordOf(const Zel::Record& record, bool quiet) {
  const R* concrete = dynamic_cast<const R*>(&record);
  if (concrete != nullptr && !quiet) {
    Zel::consoleLine([&](Zel::LogStream& line) {
      line << "\n";
      concrete->print(line, 4);
    });
  }
  return concrete;
}

/// Prints a record that is one of these classes, by its id.
template <class... R>
void printOneOf(const Zel::Record& record, bool quiet) {
  ((record.id == R::recordId ? static_cast<void>(printRecordOf<R>(record, quiet)) : void()), ...);
}

/// Appends a new record of class `R` and returns it.
template <class R>
R& appendNew(Zel::RecordList& records) {
  auto record = boost::make_shared<R>();
  R& row = *record;
  records.push_back(std::move(record));
  return row;
}

/// Appends `count` new records of class `R`, which share one piece of memory, and returns the
/// first.
template <class R>
R* appendNew(Zel::RecordList& records, std::size_t count) {
  const auto rows = boost::make_shared<R[]>(count);
  records.reserve(records.size() + count);
  R* const first = rows.get();
  for (std::size_t i = 0; i < count; ++i) records.emplace_back(rows, first + i);
  return first;
}

}  // namespace handlers
