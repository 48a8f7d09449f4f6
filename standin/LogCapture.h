// The last line of the log that this thread has written.
#pragma once

#include <string>

namespace standin {

/// While it lives, it keeps the first line that its thread hands to the log, which is written all
/// the same. Reading a bad block says there which field it was; below log level 2 nothing is said.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Without its prefix; empty where there was none.
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace standin
