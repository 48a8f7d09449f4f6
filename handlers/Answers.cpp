#include "handlers/Answers.h"

#include <string>

#include "app/Quorin.h"
#include "records/BoundedCopy.h"
#include "records/Hex.h"
#include "records/LogLine.h"

namespace handlers {
namespace {

void fill(Zel::ErrorString& errorString, const std::string& text) {
  Zel::fillText(errorString.data(), text.c_str(), Zel::ErrorString::size());
}

}  // namespace

Zel::MgmtResult refuseGroup(unsigned int recordId, Zel::ErrorString& errorString) {
  fill(errorString, "Invalid record id 0x" + Zel::hexText(recordId));
  return Zel::MGMT_INVALID_RECORD_ID;
}

Zel::MgmtResult refuseQueryKey(unsigned int recordId, Zel::ErrorString& errorString) {
  fill(errorString, "Invalid query key for record id 0x" + Zel::hexText(recordId));
  return Zel::MGMT_BAD_KEY_VALUE;
}

}  // namespace handlers

bool Quorin::groupRegistered(unsigned int recordId) const {
  return groupIds.count(static_cast<std::uint16_t>(recordId >> 16)) != 0;
}

Zel::MgmtResult Quorin::answer(Zel::ErrorString& errorString) const {
  Zel::fillText(errorString.data(), errorStringText, Zel::ErrorString::size());
  if (sleepTime != 0) {
    if (!quiet) Zel::consoleLine("Sleeping for ", sleepTime, "seconds...");
    Zel::sleepSeconds(sleepTime);
    if (!quiet) Zel::consoleLine("done");
  }
  return mgmtResult;
}
