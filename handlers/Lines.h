// What the handlers write to standard output: plain lines, and records. Callback thread only.
#pragma once

#include <string>

#include "records/LogLine.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"

namespace handlers {

/// Writes `text` and the record id in hexadecimal as a plain line. Standard output's integer base
/// stays hexadecimal.
void writeRecordLine(const char* text, unsigned int recordId);

/// Writes `line` and a line end as a plain line. Standard output's integer base stays decimal.
void writeChangeLine(std::string line);

/// What the plain lines of set and notify have in common.
std::string changeText(bool regDownloadFlag, Zel::ApplyActionType applyAction);

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

}  // namespace handlers
