// Values and texts of the enumerations.
#include "records/MgmtEnums.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

namespace Zel {
namespace {

/// The texts of the values from 0 on; the values after them have none.
template <typename Enumeration>
void expectTexts(const std::string& texts, const char* (*textOf)(Enumeration)) {
  std::istringstream in(texts);
  std::uint32_t value = 0;
  for (std::string text; std::getline(in, text, '|'); ++value) {
    EXPECT_EQ(textOf(static_cast<Enumeration>(value)), text) << value;
  }
  for (const std::uint32_t unknown : {value, 255u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(textOf(static_cast<Enumeration>(unknown)), "???") << unknown;
  }
}

TEST(MgmtEnumsTest, NameTheirValues) {
  expectTexts(
      "Success|Fail|Bad-Value|Key-Not-Found|Not-Registered|Duplicate|Internal-Error|"
      "Another-Registered|No-Match|Invalid-Request|Timeout|Bad-Key-Value|Not-Permitted|"
      "Invalid-Mgmt-OpType|Invalid-Record-Id|Invalid-SessionId|Invalid-Group|Xml-Error|"
      "Xml-No-Data|No-Change|L2-Not-Up|Not-Supported|Missing-Callback|Not-Connected|"
      "Invalid-ClientId|VMB-Error|record deprecated|stats not init'ed|invalid event id|"
      "System not ready|Response deferred|Sub-System Not-Up|Dependency Not-Up|"
      "Set value failed during bootup",
      mgmtResultText);
  expectTexts("???|Insert|Update|Delete|Set|Action", mgmtOpTypeText);
  expectTexts("no-action-required|disable-required|reboot-possible|reboot-required",
              applyActionText);
  expectTexts("???|Critical|Major|Minor|Warning|Indeterminate|Cleared", severityText);
}

}  // namespace
}  // namespace Zel
