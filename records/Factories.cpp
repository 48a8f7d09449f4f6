#include "records/Factories.h"

namespace Zel {
namespace {

template <typename Signature>
int insertNew(FunctionMap<Signature>& map, unsigned int id,
              const boost::function<Signature>& create) {
  return map.emplace(id, create).second ? 0 : -1;
}

}  // namespace

FunctionMap<RecordFactory::Create>& RecordFactory::funcMap() {
  static FunctionMap<Create> map;
  return map;
}

FunctionMap<RecordFactory::CreateKeys>& RecordFactory::keysFuncMap() {
  static FunctionMap<CreateKeys> map;
  return map;
}

int RecordFactory::registerFunc(unsigned int recordId, const boost::function<Create>& create) {
  return insertNew(funcMap(), recordId, create);
}

int RecordFactory::registerKeysFunc(unsigned int recordId,
                                    const boost::function<CreateKeys>& create) {
  return insertNew(keysFuncMap(), recordId, create);
}

FunctionMap<EventFactory::Create>& EventFactory::funcMap() {
  static FunctionMap<Create> map;
  return map;
}

int EventFactory::registerFunc(unsigned int eventId, const boost::function<Create>& create) {
  return insertNew(funcMap(), eventId, create);
}

FunctionMap<RecordUpdateEventFactory::Create>& RecordUpdateEventFactory::funcMap() {
  static FunctionMap<Create> map;
  return map;
}

int RecordUpdateEventFactory::registerFunc(unsigned int id, const boost::function<Create>& create) {
  return insertNew(funcMap(), id, create);
}

}  // namespace Zel
