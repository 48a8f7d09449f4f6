#include "records/MgmtEnums.h"

#include <cstddef>

namespace Zel {
namespace {

constexpr const char* resultTexts[] = {
    "Success",           "Fail",
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
    "Dependency Not-Up", "Set value failed during bootup",
};

constexpr const char* opTypeTexts[] = {"Insert", "Update", "Delete", "Set", "Action"};

constexpr const char* applyActionTexts[] = {"no-action-required", "disable-required",
                                            "reboot-possible", "reboot-required"};

constexpr const char* severityTexts[] = {"Critical", "Major",         "Minor",
                                         "Warning",  "Indeterminate", "Cleared"};

// `value` and `first` are unsigned: a value below the table wraps, and so is outside it, too.
template <std::size_t Count>
const char* textOf(const char* const (&texts)[Count], std::uint32_t value, std::uint32_t first) {
  const std::uint32_t index = value - first;
  return index < Count ? texts[index] : "???";
}

}  // namespace

const char* mgmtResultText(MgmtResult result) {
  return textOf(resultTexts, static_cast<std::uint32_t>(result), 0);
}

const char* mgmtOpTypeText(MgmtOpType opType) {
  return textOf(opTypeTexts, opType, MGMT_OPTYPE_INSERT);
}

const char* applyActionText(ApplyActionType applyAction) {
  return textOf(applyActionTexts, applyAction, APPLY_NO_ACTION_REQUIRED);
}

const char* severityText(std::uint32_t severity) {
  return textOf(severityTexts, severity, SEVERITY_CRITICAL);
}

}  // namespace Zel
