// The process-wide maps from an id to the creator of its class.
//
// Filled on the main thread before the callbacks are registered, then only read, by the OAM
// client API among others. The maps are made on first use and destroyed at process exit.
#pragma once

#include <boost/function.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <map>

#include "platform/OamTypes.h"

namespace Zel {

template <typename Signature>
using FunctionMap = std::map<unsigned int, boost::function<Signature>>;

/// Creators of records, and of key sets by the id of their record. Registering returns 0, or -1
/// when the id has a creator already, which then stays.
class RecordFactory {
 public:
  using Create = boost::shared_ptr<Record>();
  using CreateKeys = boost::shared_ptr<RecordKeys>(bool wildcardAllowed);

  static FunctionMap<Create>& funcMap();
  static FunctionMap<CreateKeys>& keysFuncMap();
  static int registerFunc(unsigned int recordId, const boost::function<Create>& create);
  static int registerKeysFunc(unsigned int recordId, const boost::function<CreateKeys>& create);
};

/// Creators of events.
class EventFactory {
 public:
  using Create = boost::shared_ptr<Event>();

  static FunctionMap<Create>& funcMap();
  static int registerFunc(unsigned int eventId, const boost::function<Create>& create);
};

/// Creators of record-update events.
class RecordUpdateEventFactory {
 public:
  using Create = boost::shared_ptr<RecordUpdateEvent>();

  static FunctionMap<Create>& funcMap();
  static int registerFunc(unsigned int id, const boost::function<Create>& create);
};

}  // namespace Zel
