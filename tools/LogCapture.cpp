#include "tools/LogCapture.h"

#include <string_view>

#include "platform/LogStream.h"

int zelLogLevelThreshold = ZEL_LOG_ERROR;

namespace {

std::string& captured() {
  static std::string text;
  return text;
}

}  // namespace

namespace Zel {

LogStream::LogStream(ZelLogLevel level, const char* file, int line, const char* function)
    : level_(level), file_(file), line_(line), function_(function) {}

void LogStream::done() {
  std::string_view body = text_;
  constexpr std::string_view prefix = "Messaging: ";
  if (body.starts_with(prefix)) body.remove_prefix(prefix.size());
  if (!captured().empty()) captured() += "; ";
  captured() += body;
}

}  // namespace Zel

namespace tools {

std::string loggedText() { return captured(); }
void clearLoggedText() { captured().clear(); }

}  // namespace tools
