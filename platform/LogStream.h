// One line for the platform's log, or for the console, built up by appends.
//
// The constructor, `done` and the threshold belong to the platform's log library; the append
// operators are this system's own (records/LogStream.cpp).
#pragma once

#include <cstddef>
#include <cstdint>

/// Verbosity of the log: a line of level L is built only when `zelLogLevelThreshold >= L`. The
/// values never change.
enum ZelLogLevel : int {
  ZEL_LOG_FATAL = 1,
  ZEL_LOG_ERROR = 2,
  ZEL_LOG_TRACE = 5,
  ZEL_LOG_DETAIL = 6,
  /// For standard output; such a line never reaches the log.
  ZEL_LOG_CONSOLE = 8,
};

/// Owned by the platform, which sets it before `main` goes on from `zelClientBinLogInit`.
extern int zelLogLevelThreshold;

namespace Zel {

/// A local object of the function that writes the line, used by one thread. Appends never fail,
/// throw or allocate: text that does not fit is cut and `overflow()` says so.
class LogStream {
 public:
  static constexpr unsigned int capacity = 2048;

  struct Hex32 {
    std::uint32_t value;
  };
  struct Hex16 {
    std::uint16_t value;
  };

  /// Starts an empty line; the whole text is zero. The system passes no file, line -1 and no
  /// function.
  LogStream(ZelLogLevel level, const char* file, int line, const char* function);
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  /// Hands the finished line to the log. Called once, after the last append, never for a console
  /// line. Several threads do so at the same time, each with a stream of its own, also while `exit`
  /// runs.
  void done();

  LogStream& operator<<(const char* string);
  LogStream& operator<<(unsigned short number);
  LogStream& operator<<(unsigned int number);
  LogStream& operator<<(int number);
  LogStream& operator<<(unsigned long long number);
  LogStream& operator<<(const Hex32& number);
  LogStream& operator<<(const Hex16& number);
  LogStream& operator<<(bool truth);
  /// Writes no terminator: the next string or number does, and the rest of the text is zero.
  LogStream& operator<<(char character);

  /// Appends `count` blanks; no terminator either.
  LogStream& indent(unsigned int count);

  /// NUL-terminated; lives as long as the stream.
  const char* text() const { return text_; }
  /// Characters in the line, at most `capacity - 1`.
  std::uint32_t position() const { return position_; }
  /// True once an append did not fit whole.
  bool overflow() const { return overflow_; }

 private:
  LogStream& append(const char* string);
  LogStream& appended(int length, const char* fallback);
  void advance(std::size_t length);
  char* end() { return text_ + position_; }
  /// With the terminator.
  std::size_t room() const { return capacity - position_; }

  const ZelLogLevel level_;
  const char* const file_;
  const int line_;
  const char* const function_;
  std::uint32_t position_ = 0;
  bool overflow_ = false;
  char text_[capacity] = {};
};

}  // namespace Zel
