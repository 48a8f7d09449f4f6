// What successive simulated notifications differ in. Simulator thread only.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "records/MgmtEnums.h"

namespace handlers {

class SimulatorCounters {
 public:
  /// 1, 2, 3, 0 and so on.
  Zel::ApplyActionType nextApplyAction() {
    return static_cast<Zel::ApplyActionType>(++setIndCounter_ % 4);
  }

  /// 1 to 6 and so on: never 0, which is none.
  std::uint32_t nextSeverity() {
    if (++eventCounter_ % 7 == 0) ++eventCounter_;
    return static_cast<std::uint32_t>(eventCounter_ % 7);
  }

  /// Cleared first, then raised, by turns.
  bool nextAlarmSet() { return alarmSetState_ = !alarmSetState_; }

  /// 1, 2, 3, then 2, 3, 1 and so on.
  std::array<std::uint32_t, 3> nextRecordUpdateValues() {
    const auto values = recordUpdateValues_;
    std::rotate(recordUpdateValues_.begin(), recordUpdateValues_.begin() + 1,
                recordUpdateValues_.end());
    return values;
  }

 private:
  std::int32_t setIndCounter_ = 0;
  std::int32_t eventCounter_ = 0;
  bool alarmSetState_ = true;
  std::array<std::uint32_t, 3> recordUpdateValues_ = {1, 2, 3};
};

}  // namespace handlers
