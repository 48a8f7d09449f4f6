// What the request handlers share beside the daemon's members. Callback thread only.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include "platform/OamTypes.h"
#include "records/MgmtEnums.h"

namespace handlers {

/// Writes `text` and the record id in hexadecimal as a plain line. Standard output's integer base
/// stays hexadecimal.
void writeRecordLine(const char* text, unsigned int recordId);

/// Fills the error string with `reason` and the record id in hexadecimal; returns `result`.
Zel::MgmtResult refuse(Zel::MgmtResult result, const char* reason, unsigned int recordId,
                       Zel::ErrorString& errorString);

/// The answer for a record whose group is not registered.
inline Zel::MgmtResult refuseGroup(unsigned int recordId, Zel::ErrorString& errorString) {
  return refuse(Zel::MGMT_INVALID_RECORD_ID, "Invalid record id 0x", recordId, errorString);
}

/// The answer to a query key that is null, of another class or outside the tables.
inline Zel::MgmtResult refuseQueryKey(unsigned int recordId, Zel::ErrorString& errorString) {
  return refuse(Zel::MGMT_BAD_KEY_VALUE, "Invalid query key for record id 0x", recordId,
                errorString);
}

/// Appends a new record of class `R` and returns it.
template <class R>
R& appendNew(Zel::RecordList& records) {
  auto record = boost::make_shared<R>();
  R& row = *record;
  records.push_back(std::move(record));
  return row;
}

}  // namespace handlers
