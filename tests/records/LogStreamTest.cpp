// Lines: how values become text, where a line ends, and which lines are built.
#include "platform/LogStream.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "ScriptedPlatform.h"
#include "records/LogLine.h"

namespace {

/// Makes the C library's number formatting fail in this program.
bool formatterFails = false;

}  // namespace

// The linker lets every call of snprintf in this program end here; with fortification the compiler
// calls it by its other name.
extern "C" {
int __wrap_snprintf(char*, std::size_t, const char*, ...) __attribute__((format(printf, 3, 4)));
int __wrap___snprintf_chk(char*, std::size_t, int, std::size_t, const char*, ...)
    __attribute__((format(printf, 5, 6)));

int __wrap_snprintf(char* to, std::size_t room, const char* format, ...) {
  if (formatterFails) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(to, room, format, arguments);
  va_end(arguments);
  return length;
}

int __wrap___snprintf_chk(char* to, std::size_t room, int, std::size_t, const char* format, ...) {
  if (formatterFails) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(to, room, format, arguments);
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

struct Append {
  std::string text;
  std::function<LogStream&(LogStream&)> append;
};

template <typename Value>
Append shift(const std::string& text, const Value& value) {
  return {text, [value](LogStream& line) -> LogStream& { return line << value; }};
}

const std::vector<Append>& appends() {
  static const std::vector<Append> all{
      shift<const char*>("a %u string\n", "a %u string\n"),
      shift<unsigned short>("65535", 65535),
      shift<unsigned int>("4294967295", 4294967295u),
      shift<unsigned int>("0", 0u),
      shift<int>("-2147483648", -2147483647 - 1),
      shift<unsigned long long>("18446744073709551615", 18446744073709551615ull),
      shift("0x111d0002", LogStream::Hex32{0x111D0002}),
      shift("0xffffffff", LogStream::Hex32{0xFFFFFFFF}),
      shift("0xa", LogStream::Hex16{0x0A}),
      shift("0xffff", LogStream::Hex16{0xFFFF}),
      shift("true", true),
      shift("false", false),
      shift("c", 'c'),
      {"    ", [](LogStream& line) -> LogStream& { return line.indent(4); }}};
  return all;
}

TEST(LogStreamTest, WritesEachTypeAsItsText) {
  for (const Append& value : appends()) {
    Line line(3);
    EXPECT_EQ(&value.append(line), &line);
    EXPECT_EQ(line.text(), "xxx" + value.text);
    EXPECT_EQ(line.position(), 3 + value.text.size());
    EXPECT_FALSE(line.overflow());
  }
}

TEST(LogStreamTest, CutsWhatDoesNotFitAndSaysSo) {
  for (const Append& value : appends()) {
    SCOPED_TRACE(value.text);
    const auto length = static_cast<std::uint32_t>(value.text.size());
    // By how many characters the text does not fit.
    for (const std::uint32_t excess : {0u, 1u, length}) {
      const std::uint32_t filled = fullLine - length + excess;
      Line line(filled);
      value.append(line);
      EXPECT_EQ(line.text(), std::string(filled, 'x') + value.text.substr(0, length - excess));
      EXPECT_EQ(line.position(), fullLine);
      EXPECT_EQ(line.overflow(), excess != 0);
    }
  }
}

TEST(LogStreamTest, KeepsAFullLineUntilAnAppendDoesNotFit) {
  Line line(fullLine);
  (line << "").indent(0);
  EXPECT_FALSE(line.overflow());
  line << "y"
       << "";
  EXPECT_TRUE(line.overflow());
  EXPECT_EQ(line.position(), fullLine);
  EXPECT_EQ(line.text(), std::string(fullLine, 'x'));
}

TEST(LogStreamTest, CutsTextsFarLongerThanALine) {
  Line text(5000);
  Line blanks(5);
  blanks.indent(0xFFFFFFFF);
  EXPECT_EQ(text.text(), std::string(fullLine, 'x'));
  EXPECT_EQ(blanks.text(), "xxxxx" + std::string(fullLine - 5, ' '));
  EXPECT_TRUE(text.overflow() && blanks.overflow());
}

TEST(LogStreamTest, WritesTheFormatWhenANumberCannotBeFormatted) {
  const std::vector<Append> values{shift<unsigned short>("<%u>", 7),
                                   shift<unsigned int>("<%u>", 7u),
                                   shift<int>("<%d>", -7),
                                   shift<unsigned long long>("<%llu>", 7ull),
                                   shift("<%x>", LogStream::Hex32{7}),
                                   shift("<%x>", LogStream::Hex16{7})};
  for (const Append& value : values) {
    formatterFails = true;
    Line line;
    value.append(line);
    Line fits(fullLine - static_cast<std::uint32_t>(value.text.size()));
    value.append(fits);
    Line cut(fullLine - 2);
    value.append(cut);
    // Off before anything is compared: messages of failures have numbers in them.
    formatterFails = false;
    EXPECT_EQ(line.text(), value.text);
    EXPECT_EQ(line.position(), value.text.size());
    EXPECT_EQ(fits.position(), fullLine);
    EXPECT_FALSE(fits.overflow());
    EXPECT_EQ(cut.text(), std::string(fullLine - 2, 'x') + value.text.substr(0, 2));
    EXPECT_TRUE(cut.overflow());
  }
}

TEST(LogLineTest, BuildsOnlyLinesThatTheThresholdAdmits) {
  struct Case {
    int threshold;
    ZelLogLevel level;
    bool admitted;
  };
  for (const auto& [threshold, level, admitted] :
       {Case{-1, ZEL_LOG_FATAL, false}, Case{0, ZEL_LOG_FATAL, false}, Case{1, ZEL_LOG_FATAL, true},
        Case{1, ZEL_LOG_ERROR, false}, Case{2, ZEL_LOG_ERROR, true}, Case{4, ZEL_LOG_TRACE, false},
        Case{5, ZEL_LOG_TRACE, true}, Case{5, ZEL_LOG_DETAIL, false},
        Case{6, ZEL_LOG_DETAIL, true}}) {
    SCOPED_TRACE(std::to_string(threshold) + " " + std::to_string(level));
    scripted::platform().reset();
    zelLogLevelThreshold = threshold;
    bool built = false;
    logLine(level, [&](LogStream& line) {
      built = true;
      line << "a " << 1;
    });
    logLine(level, "b ", 2u, " ", LogStream::Hex16{3});
    EXPECT_EQ(built, admitted);
    const std::vector<std::string> logged{"a 1", "b 2 0x3"};
    EXPECT_EQ(scripted::platform().takeLog(level), admitted ? logged : std::vector<std::string>());
  }
  scripted::platform().reset();
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
  scripted::platform().reset();
}

}  // namespace
}  // namespace Zel
