// How requests are refused; how all others are answered is `Quorin::answer`. Callback thread only.
#pragma once

#include "platform/OamTypes.h"
#include "records/MgmtEnums.h"

namespace handlers {

/// The answer for a record whose group is not registered.
Zel::MgmtResult refuseGroup(unsigned int recordId, Zel::ErrorString& errorString);

/// The answer to a query key that is null, of another class or outside the tables.
Zel::MgmtResult refuseQueryKey(unsigned int recordId, Zel::ErrorString& errorString);

}  // namespace handlers
