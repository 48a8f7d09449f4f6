// Lines of the log, as they leave the process.
#include <gtest/gtest.h>

#include "platform/LogStream.h"

namespace {

// No text forges a second line or reaches a terminal raw; letters stay.
TEST(LogLinesTest, NoControlCharacterSurvives) {
  testing::internal::CaptureStderr();
  Zel::LogStream line(ZEL_LOG_ERROR, "file", 7, "function");
  line << "a\nb\tc\x1b\x1f \x7f\xc2\x80\xc2\x9f\xc2\xa0\xc3\xa9\xc2\x9f\n";
  line.done();
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(
      text.substr(text.find(": ") + 2),
      "file:7 function a\\nb\\tc\\x1b\\x1f \\x7f\\xc2\\x80\\xc2\\x9f\xc2\xa0\xc3\xa9\\xc2\\x9f\n");
}

}  // namespace
