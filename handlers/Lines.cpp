#include "handlers/Lines.h"

#include <iostream>

#include "records/Hex.h"

namespace handlers {

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

}  // namespace handlers
