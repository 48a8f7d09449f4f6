// The enumerations in which the OAM client API speaks, and their texts.
//
// The values cross the API, the wire and the command line: they never change.
#pragma once

#include <cstdint>

#include "platform/OamTypes.h"

namespace Zel {

/// Result of a management operation. Values outside the list occur: a result is passed through
/// unchecked.
enum MgmtResult : std::int32_t {
  MGMT_SUCCESS = 0,
  MGMT_BAD_VALUE = 2,
  MGMT_INTERNAL_ERROR = 6,
  MGMT_BAD_KEY_VALUE = 11,
  MGMT_INVALID_RECORD_ID = 14,
  MGMT_MISSING_CALLBACK = 22,
  MGMT_RESPONSE_DEFERRED = 30,
};

/// Kind of a management operation.
enum MgmtOpType : std::uint32_t {
  MGMT_OPTYPE_INSERT = 1,
  MGMT_OPTYPE_UPDATE = 2,
  MGMT_OPTYPE_DELETE = 3,
  MGMT_OPTYPE_SET = 4,
  MGMT_OPTYPE_ACTION = 5,
};

/// What applying a change needs.
enum ApplyActionType : std::uint32_t {
  APPLY_NO_ACTION_REQUIRED = 0,
  APPLY_DISABLE_REQUIRED = 1,
  APPLY_REBOOT_POSSIBLE = 2,
  APPLY_REBOOT_REQUIRED = 3,
};

/// Severity of an event.
enum Severity : std::uint32_t {
  SEVERITY_CRITICAL = 1,
  SEVERITY_MAJOR = 2,
  SEVERITY_MINOR = 3,
  SEVERITY_WARNING = 4,
  SEVERITY_INDETERMINATE = 5,
  SEVERITY_CLEARED = 6,
};

/// Constant texts; "???" for a value outside the table.
const char* mgmtResultText(MgmtResult result);
const char* mgmtOpTypeText(MgmtOpType opType);
const char* applyActionText(ApplyActionType applyAction);
const char* severityText(std::uint32_t severity);

}  // namespace Zel
