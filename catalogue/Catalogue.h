// The table of all records and notifications. A class that is not in it does not exist for the
// factories, oamctl and the documentation.
#pragma once

#include <utility>

#include "catalogue/Notifications.h"
#include "catalogue/ProvisioningRecords.h"
#include "catalogue/StatisticsRecords.h"

namespace Zel::catalogue {

template <class... Records>
struct TypeList {};

/// Has a key class, `R::Keys`.
template <class R>
concept Keyed = requires {
  typename R::Keys;
};

/// Is made by the framework from its id.
template <class R>
concept Registered = requires {
  R::create();
};

/// In the order in which the registered ones join the factories.
using Records = TypeList<RecordTest1Prov1, RecordTest1Prov3, RecordTest2Stats1, RecordTest2Prov1,
                         RecordTest3Stats1, RecordTest3Action1, RecordTest3Action2,
                         RecordTest3Prov1, RecordTest3Prov2, RecordTest3Prov3, RecordTest3Prov4,
                         RecordTest3Stats2, RecordTest3Stats3, RecordTest3Stats7, RecordTest3Stats8,
                         RecordTest3Stats9, RecordProvLabelsConfig,
                         // Made only by the daemon itself.
                         RecordTest1Prov2, RecordTest3Stats4, RecordTest3Stats5, RecordTest3Stats6>;

using Events = TypeList<EventTest1Evt1>;
using Alarms = TypeList<AlarmTest1Alarm1>;
using RecordUpdateEvents = TypeList<RecordUpdateEventTest1RecUpdt1>;

/// Calls `visit.operator()<R>()` for each class of a list, in order, until one returns false.
/// Returns whether all returned true.
template <class... R, typename Visit>
bool every(TypeList<R...>, Visit&& visit) {
  return (visit.template operator()<R>() && ...);
}

}  // namespace Zel::catalogue
