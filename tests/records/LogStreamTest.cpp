// Lines: how values become text, where a line ends, and which lines are built.
#include "platform/LogStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "ScriptedPlatform.h"
#include "records/LogLine.h"
#include "records/Utf8.h"

/// Makes the C library's number formatting fail in this program.
static bool formatterFails = false;

// The linker lets every call of snprintf in this program end here; with fortification the compiler
// calls it by its other name.
extern "C" {
[[gnu::format(printf, 3, 4)]] int __wrap_snprintf(char* to, std::size_t room, const char* format,
                                                  ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = formatterFails ? -1 : std::vsnprintf(to, room, format, arguments);
  va_end(arguments);
  return length;
}

[[gnu::format(printf, 5, 6)]] int __wrap___snprintf_chk(char* to, std::size_t room, int,
                                                        std::size_t, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = formatterFails ? -1 : std::vsnprintf(to, room, format, arguments);
  va_end(arguments);
  return length;
}
}

namespace Zel {
namespace {

constexpr std::uint32_t fullLine = 2047;

struct Line : LogStream {
  explicit Line(std::uint32_t filled = 0) : LogStream(ZEL_LOG_CONSOLE, nullptr, -1, nullptr) {
    *this << std::string(filled, 'x').c_str();
  }
};

/// In short lines, where it just fits, where all but one character or none of it fits.
template <typename Append>
void expectText(const std::string& text, bool failing, Append&& append) {
  const auto size = static_cast<std::uint32_t>(text.size());
  for (const std::uint32_t filled : {0u, 3u, fullLine - size, fullLine - size + 1, fullLine}) {
    if (filled > fullLine) continue;
    Line line(filled);
    formatterFails = failing;
    append(line);
    // Off before anything is compared: messages of failures have numbers in them.
    formatterFails = false;
    EXPECT_EQ(line.text(), (std::string(filled, 'x') + text).substr(0, fullLine));
    EXPECT_EQ(line.position(), std::min(filled + size, fullLine));
    EXPECT_EQ(line.overflow(), filled + size > fullLine);
  }
}

template <typename Value>
void expectShifted(const std::string& text, const Value& value, const std::string& fallback = "") {
  const auto append = [&](LogStream& line) { line << value << ""; };
  expectText(text, false, append);
  if (!fallback.empty()) expectText(fallback, true, append);
}

TEST(LogStreamTest, WritesEachTypeAsItsTextAndCutsWhatDoesNotFit) {
  expectShifted<const char*>("a %u string\n", "a %u string\n");
  expectShifted<const char*>("", "");
  expectShifted<unsigned short>("65535", 65535, "<%u>");
  expectShifted<unsigned int>("4294967295", 4294967295u, "<%u>");
  expectShifted<int>("-2147483648", -2147483647 - 1, "<%d>");
  expectShifted("18446744073709551615", 18446744073709551615ull, "<%llu>");
  expectShifted("0x111d0002", LogStream::Hex32{0x111D0002}, "<%x>");
  expectShifted("0x0", LogStream::Hex32{0});
  expectShifted("0x0", LogStream::Hex16{0});
  expectShifted("0xa", LogStream::Hex16{0x0A}, "<%x>");
  expectShifted("0xffff", LogStream::Hex16{0xFFFF});
  expectShifted("true", true);
  expectShifted("false", false);
  expectShifted("c", 'c');
  expectText("    ", false, [](LogStream& line) { line.indent(4) << ""; });
}

TEST(LogStreamTest, CutsTextsFarLongerThanALineAndStaysOverflown) {
  Line text(5000);
  text << "";
  Line blanks(5);
  blanks.indent(0xFFFFFFFF);
  EXPECT_EQ(text.text(), std::string(fullLine, 'x'));
  EXPECT_EQ(blanks.text(), "xxxxx" + std::string(fullLine - 5, ' '));
  EXPECT_TRUE(text.overflow() && blanks.overflow());
}

TEST(LogLineTest, BuildsOnlyLinesThatTheThresholdAdmits) {
  for (const ZelLogLevel level : {ZEL_LOG_FATAL, ZEL_LOG_ERROR, ZEL_LOG_TRACE, ZEL_LOG_DETAIL}) {
    for (const int verbosity : {-1, 0}) {
      SCOPED_TRACE(std::to_string(level) + " " + std::to_string(verbosity));
      scripted::platform().reset();
      zelLogLevelThreshold = level + verbosity;
      int built = 0;
      logLine(level, [&](LogStream& line) { line << "a " << ++built; });
      logLine(level, "b ", 2u, " ", LogStream::Hex16{3});
      EXPECT_EQ(built, verbosity + 1);
      std::vector<std::string> expected{"a 1", "b 2 0x3"};
      if (verbosity < 0) expected.clear();
      EXPECT_EQ(scripted::platform().takeLog(level), expected);
    }
  }
}

TEST(LogLineTest, PutsConsoleLinesOnStandardOutputWhateverTheThreshold) {
  scripted::platform().reset();
  zelLogLevelThreshold = 0;
  testing::internal::CaptureStdout();
  consoleLine("Get for ", LogStream::Hex32{0x111F0005});
  consoleLine([](LogStream& line) { line.indent(2) << "built" << '!'; });
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Get for 0x111f0005\n  built!\n");
  EXPECT_TRUE(scripted::platform().log().empty());
}

}  // namespace
TEST(Utf8Test, KeepsWhatIsWellFormedAndReplacesEachRunOfOtherBytes) {
  for (const std::string good : {"a\x7f", "\xc2\x80\xdf\xbf", "\xe0\xa0\x80\xef\xbf\xbf",
                                 "\xed\x9f\xbf\xee\x80\x80", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(validUtf8(good), good);
  }
  for (const std::string bad :
       {"\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80",
        "\xf5\x80\x80\x80", "\xc2", "\xe0\xa0", "\xe1\x80\xc0", "\xff\xfe"}) {
    EXPECT_EQ(validUtf8("a" + bad + "b" + bad), "a\ufffdb\ufffd");
  }
}

}  // namespace Zel
