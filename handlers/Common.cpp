#include "handlers/Common.h"

#include <cstdio>
#include <iostream>

#include "app/Quorin.h"
#include "records/BoundedCopy.h"
#include "records/LogLine.h"

namespace handlers {

void writeRecordLine(const char* text, unsigned int recordId) {
  char line[64];
  const int length = std::snprintf(line, sizeof line, "%s%x\n", text, recordId);
  Zel::plainLine({line, static_cast<std::size_t>(length)});
  std::cout.setf(std::ios_base::hex, std::ios_base::basefield);
}

Zel::MgmtResult refuse(Zel::MgmtResult result, const char* reason, unsigned int recordId,
                       Zel::ErrorString& errorString) {
  std::snprintf(errorString.data(), Zel::ErrorString::size(), "%s%x", reason, recordId);
  return result;
}

}  // namespace handlers

bool Quorin::groupRegistered(unsigned int recordId) const {
  return groupIds.count(static_cast<std::uint16_t>(recordId >> 16)) != 0;
}

void Quorin::answerErrorString(Zel::ErrorString& errorString) const {
  Zel::boundedCopy(errorString.data(), errorStringText, Zel::ErrorString::size());
}

void Quorin::sleepBeforeAnswer() const {
  if (sleepTime == 0) return;
  if (!quiet) Zel::consoleLine("Sleeping for ", sleepTime, "seconds...");
  Zel::sleepSeconds(sleepTime);
  if (!quiet) Zel::consoleLine("done");
}
