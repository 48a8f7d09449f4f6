#include "handlers/Common.h"

#include <iostream>

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

void writeRecordLine(const char* text, unsigned int recordId) {
  Zel::plainLine(text + Zel::hexText(recordId) + "\n");
  std::cout.setf(std::ios_base::hex, std::ios_base::basefield);
}

void writeChangeLine(std::string line) {
  Zel::plainLine(line += '\n');
  std::cout.setf(std::ios_base::dec, std::ios_base::basefield);
}

std::string changeText(bool regDownloadFlag, Zel::ApplyActionType applyAction) {
  return std::string(" regDownloadFlag=") + (regDownloadFlag ? "1" : "0") +
         " applyAction=" + Zel::applyActionText(applyAction);
}

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

void Quorin::answerErrorString(Zel::ErrorString& errorString) const {
  Zel::fillText(errorString.data(), errorStringText, Zel::ErrorString::size());
}

void Quorin::sleepBeforeAnswer() const {
  if (sleepTime == 0) return;
  if (!quiet) Zel::consoleLine("Sleeping for ", sleepTime, "seconds...");
  Zel::sleepSeconds(sleepTime);
  if (!quiet) Zel::consoleLine("done");
}
