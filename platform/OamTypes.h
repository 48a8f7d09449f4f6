// Types that cross the OAM client API.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <vector>

#include "platform/SafeString.h"

namespace Zel {

class Record;
class RecordKeys;
class Event;
class Alarm;
class RecordUpdateEvent;

enum MgmtResult : std::int32_t;
enum MgmtOpType : std::uint32_t;
enum ApplyActionType : std::uint32_t;

/// Owned by the caller of a callback; a handler appends at the back and reads front to back.
using RecordList = std::vector<boost::shared_ptr<Record>>;
using RecordKeysList = std::vector<boost::shared_ptr<RecordKeys>>;

/// One key set, or none: the pointer may be null.
struct RecordKeysWrapper {
  boost::shared_ptr<RecordKeys> keys;
};

/// An error text of a reply: at most 255 characters, byte 255 always NUL.
using ErrorString = SafeStringT<256, false>;

namespace OamSvcRegInd {
/// How the values of a service registration indication are meant. The values never change.
enum SvcRegType : std::uint32_t {
  SVC_REG_LIST = 0,   ///< a list of groups
  SVC_REG_RANGE = 1,  ///< a first and a last group
  SVC_REG_ALL = 2,    ///< all groups of one subsystem
};
}  // namespace OamSvcRegInd

}  // namespace Zel
