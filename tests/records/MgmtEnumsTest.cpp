// Values and texts of the enumerations.
#include "records/MgmtEnums.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace Zel {
namespace {

TEST(MgmtEnumsTest, NamesEveryResult) {
  const std::vector<const char*> texts{"Success",           "Fail",
                                       "Bad-Value",         "Key-Not-Found",
                                       "Not-Registered",    "Duplicate",
                                       "Internal-Error",    "Another-Registered",
                                       "No-Match",          "Invalid-Request",
                                       "Timeout",           "Bad-Key-Value",
                                       "Not-Permitted",     "Invalid-Mgmt-OpType",
                                       "Invalid-Record-Id", "Invalid-SessionId",
                                       "Invalid-Group",     "Xml-Error",
                                       "Xml-No-Data",       "No-Change",
                                       "L2-Not-Up",         "Not-Supported",
                                       "Missing-Callback",  "Not-Connected",
                                       "Invalid-ClientId",  "VMB-Error",
                                       "record deprecated", "stats not init'ed",
                                       "invalid event id",  "System not ready",
                                       "Response deferred", "Sub-System Not-Up",
                                       "Dependency Not-Up", "Set value failed during bootup"};
  ASSERT_EQ(texts.size(), 34u);
  for (int value = 0; value < 34; ++value) {
    EXPECT_STREQ(mgmtResultText(static_cast<MgmtResult>(value)),
                 texts[static_cast<std::size_t>(value)]);
  }
  for (const int value : {-1, 34, 255, INT32_MIN, INT32_MAX}) {
    EXPECT_STREQ(mgmtResultText(static_cast<MgmtResult>(value)), "???") << value;
  }
}

TEST(MgmtEnumsTest, NamesOperationsApplyActionsAndSeverities) {
  struct Case {
    std::uint32_t value;
    const char *opType, *applyAction, *severity;
  };
  for (const auto& [value, opType, applyAction, severity] :
       {Case{0, "???", "no-action-required", "???"},
        Case{1, "Insert", "disable-required", "Critical"},
        Case{2, "Update", "reboot-possible", "Major"},
        Case{3, "Delete", "reboot-required", "Minor"}, Case{4, "Set", "???", "Warning"},
        Case{5, "Action", "???", "Indeterminate"}, Case{6, "???", "???", "Cleared"},
        Case{7, "???", "???", "???"}, Case{0x80000000, "???", "???", "???"},
        Case{0xFFFFFFFF, "???", "???", "???"}}) {
    SCOPED_TRACE(value);
    EXPECT_STREQ(mgmtOpTypeText(static_cast<MgmtOpType>(value)), opType);
    EXPECT_STREQ(applyActionText(static_cast<ApplyActionType>(value)), applyAction);
    EXPECT_STREQ(severityText(value), severity);
  }
}

}  // namespace
}  // namespace Zel
