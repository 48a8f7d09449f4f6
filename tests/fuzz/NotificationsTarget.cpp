// Blocks of events, alarms and record-update events, and their printing.
//
// Input: class, two bytes of setting, block.
#include "tests/fuzz/PlainBlocks.h"

namespace fuzz {
namespace {

using Zel::Alarm;
using Zel::DateTime;
using Zel::Event;
using Zel::RecordUpdateEvent;

/// Where bytes were missing before, there are too few for either half.
void readTime(DateTime& time, PlainReader& reader) {
  time.isSet = reader.good && reader.number(8, time.seconds) && reader.number(8, time.microseconds);
}

void writeTime(const DateTime& time, PlainWriter& writer) {
  writer.number(8, std::int64_t{time.seconds});
  writer.number(8, std::int64_t{time.microseconds});
}

void readHeader(Event& event, PlainReader& reader) {
  reader.number(2, event.severity);
  readTime(event.time, reader);
  reader.number(2);
}
void writeHeader(const Event& event, PlainWriter& writer) {
  writer.number(2, event.severity);
  writeTime(event.time, writer);
  writer.number(2, 0);
}

void readHeader(Alarm& alarm, PlainReader& reader) {
  readTime(alarm.time, reader);
  reader.number(1, alarm.alarmSet);
  reader.number(1);
}
void writeHeader(const Alarm& alarm, PlainWriter& writer) {
  writeTime(alarm.time, writer);
  writer.number(1, alarm.alarmSet);
  writer.number(1, 0);
}

void readHeader(RecordUpdateEvent& event, PlainReader& reader) { readTime(event.time, reader); }
void writeHeader(const RecordUpdateEvent& event, PlainWriter& writer) {
  writeTime(event.time, writer);
}

bool sameHeader(const DateTime& left, const DateTime& right) {
  return left.seconds == right.seconds && left.microseconds == right.microseconds &&
         left.isSet == right.isSet;
}

template <class N>
void check(Input& input) {
  const Setting setting(input);
  N object;
  fillFields(object, setting);
  object.time = {setting.filled<std::int32_t>(), setting.filled<std::int32_t>(), false};
  N expected = object;
  Bytes block = input.rest();

  PlainReader reader(block, setting);
  readId(expected, reader, setting);
  readHeader(expected, reader);
  reader.number(2);
  // No field is read once bytes are missing.
  expected.valid = reader.good && Zel::fields::every<N>([&]<std::size_t I>() {
                     using F = Zel::fields::FieldAt<N, I>;
                     reader.field<F>(F::of(expected));
                     return reader.good;
                   });
  checkReading(object, block, setting, expected, reader);
  expect(sameHeader(object.time, expected.time), "the time is the block's, or as it was");

  // From here on `expected` has served: what its header holds shows in what is written.
  PlainWriter writer(setting);
  writer.number(4, expected.id);
  writeHeader(expected, writer);
  writer.payload(expected);
  checkWriting([&](auto& stream) { object.serialize(stream, false); }, writer.bytes, setting);

  Zel::LogStream out(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
  object.print(out, setting.fill);
  expect(!out.overflow() && std::strlen(out.text()) == out.position(), "it prints into one line");
}

constexpr Check checks[] = {&check<Zel::EventTest1Evt1>, &check<Zel::AlarmTest1Alarm1>,
                            &check<Zel::RecordUpdateEventTest1RecUpdt1>};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  fuzz::Input input(bytes, count);
  fuzz::checks[input.byte() % std::size(fuzz::checks)](input);
  return 0;
}
