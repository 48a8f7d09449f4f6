// Blocks of every record, key set and notification of the catalogue.
//
// Input: class, a byte of which the lowest bit reverses the integers and the next one allows
// wildcards, the value of all bytes of the fields before, block.
//
// What is written need not be what was read: a bool is 0 or 1, a text ends at its first NUL, and
// lengths and reserved bytes that are not looked at are written right. What was written reads back.
#include <algorithm>
#include <cstring>

#include "catalogue/Catalogue.h"
#include "records/Block.h"
#include "records/Fields.h"
#include "tests/fuzz/Input.h"
#include "tools/LogCapture.h"

namespace fuzz {
namespace {

struct Setting {
  explicit Setting(Input& input) : choice(input.byte()), fill(input.byte()) {}

  bool swapBytes() const { return ((choice & 1) == 0) == Zel::swapsInNetworkOrder; }
  bool wildcardAllowed() const { return (choice & 2) != 0; }

  std::uint8_t choice, fill;
};

template <class Object>
Object make(const Setting& setting) {
  if constexpr (requires { Object(true); }) {
    return Object(setting.wildcardAllowed());
  } else {
    return Object();
  }
}

template <class Object>
bool writeInto(Bytes& buffer, std::size_t room, const Object& object, const Setting& setting) {
  buffer.assign(room, 0);
  Zel::SerialStream stream(buffer.data(), static_cast<std::uint32_t>(room), 0, setting.swapBytes());
  if constexpr (requires { object.wildcardAllowed; }) {
    object.serialize(stream);
  } else {
    object.serialize(stream, false);
  }
  if (stream.good) buffer.resize(stream.writePos);
  return stream.good;
}

/// How many bytes were taken.
template <class Object>
std::uint32_t read(Object& object, Bytes& block, const Setting& setting) {
  const auto size = static_cast<std::uint32_t>(block.size());
  Zel::SerialStream stream(block.data(), size, size, setting.swapBytes());
  tools::clearLoggedText();
  object.deserialize(stream);
  expect(stream.readPos <= size, "reading stays in the block");
  expect(stream.good || !object.valid, "a block without all its bytes is not valid");
  expect(tools::loggedText().empty() == object.valid, "a block that does not read is logged");
  return stream.readPos;
}

template <class Object>
void check(Input& input) {
  const Setting setting(input);
  Object object = make<Object>(setting), again = make<Object>(setting);
  Zel::fields::every<Object>([&]<std::size_t I>() {
    auto& field = Zel::fields::FieldAt<Object, I>::of(object);
    std::memset(static_cast<void*>(&field),
                std::is_same_v<bool&, decltype(field)> ? 1 : setting.fill, sizeof field);
    return true;
  });
  Bytes block = input.rest(), written, writtenAgain, small;
  read(object, block, setting);
  expect(writeInto(written, 1024, object, setting), "a block has a longest size");
  expect(writeInto(small, written.size(), object, setting), "a block fits into its size");
  expect(!writeInto(small, setting.fill % written.size(), object, setting),
         "a block fits into no less");
  if (!object.valid) return;
  expect(read(again, written, setting) == written.size() && again.valid,
         "what was written reads back");
  writeInto(writtenAgain, 1024, again, setting);
  expect(written == writtenAgain, "what was read back is the same");
  Zel::LogStream out(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
  object.print(out, setting.fill);
  expect(std::strlen(out.text()) == out.position(), "it prints as one text");
}

using Check = void (*)(Input&);

std::vector<Check> allChecks() {
  std::vector<Check> checks;
  Zel::catalogue::every(Zel::catalogue::Records{}, [&]<class R>() {
    checks.push_back(&check<R>);
    if constexpr (Zel::catalogue::Keyed<R>) checks.push_back(&check<typename R::Keys>);
    return true;
  });
  checks.insert(checks.end(), {&check<Zel::EventTest1Evt1>, &check<Zel::AlarmTest1Alarm1>,
                               &check<Zel::RecordUpdateEventTest1RecUpdt1>});
  return checks;
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const auto checks = fuzz::allChecks();
  fuzz::Input input(bytes, count);
  checks[input.byte() % checks.size()](input);
  return 0;
}
