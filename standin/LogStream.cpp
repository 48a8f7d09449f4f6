// The log library: finished lines go to standard error.
#include "platform/LogStream.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

#include "standin/LogCapture.h"
#include "standin/StandardError.h"
#include "standin/UtcTime.h"

int zelLogLevelThreshold = 2;

namespace standin {
namespace {

thread_local std::string* captured = nullptr;

}  // namespace

LogCapture::LogCapture() { captured = &text_; }
LogCapture::~LogCapture() { captured = nullptr; }

}  // namespace standin

namespace Zel {
namespace {

void appendEscape(std::string& out, unsigned char byte) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\x%02x", byte);
  out += escape;
}

// No control character survives, so that no text can forge a second line.
void appendEscaped(std::string& out, std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    if (byte == '\n') {
      out += "\\n";
    } else if (byte == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      appendEscape(out, byte);
    } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {  // U+0080 to U+009F
      appendEscape(out, byte);
      appendEscape(out, next);
      ++i;
    } else {
      out += text[i];
    }
  }
}

void writeWhole(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // there is nowhere to report it
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

LogStream::LogStream(ZelLogLevel level, const char* file, int line, const char* function)
    : level_(level), file_(file), line_(line), function_(function) {}

void LogStream::done() {
  std::string_view body = text_;
  if (body.ends_with('\n')) body.remove_suffix(1);
  constexpr std::string_view prefix = "Messaging: ";
  if (standin::captured != nullptr && standin::captured->empty() && body.starts_with(prefix)) {
    *standin::captured = body.substr(prefix.size());
  }
  std::string line = standin::journalPriority(level_) + standin::utcText(standin::timeNow()) +
                     " quorin[" + std::to_string(::getpid()) + "] L" + std::to_string(level_) +
                     ": ";
  if (file_ != nullptr) line += std::string(file_) + ":" + std::to_string(line_) + " ";
  if (function_ != nullptr) line += std::string(function_) + " ";
  appendEscaped(line, body);
  line += '\n';
  writeWhole(line);
}

}  // namespace Zel
