// Blocks of every class of the catalogue, written, read and printed through the base classes as the
// API does it, and the floor: the same 34 bytes of Test3-Stats2 with nothing but loads and stores.
#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "bench/Sample.h"
#include "catalogue/Catalogue.h"
#include "records/Block.h"
#include "records/ByteOrder.h"

namespace bench {
namespace {

using namespace Zel;

/// The largest is an alarm, of about 300 bytes.
using Buffer = std::array<std::uint8_t, 512>;

SerialStream& write(const Record& record, SerialStream& stream) {
  return record.serialize(stream, false);
}
SerialStream& write(const RecordKeys& keys, SerialStream& stream) { return keys.serialize(stream); }

/// `Base` is what the API knows of the object; where the object comes from, the compiler does not
/// see, so that the calls stay virtual.
template <class Base>
void writeBlock(benchmark::State& state, const Base* object) {
  Buffer buffer;
  SerialStream stream(buffer.data(), buffer.size(), 0, swapsInNetworkOrder);
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    stream.writePos = 0;
    write(*object, stream);
    benchmark::ClobberMemory();
  }
  if (!stream.good) state.SkipWithError("the block does not fit");
}

template <class Base>
void readBlock(benchmark::State& state, const Base* source, Base* object) {
  Buffer buffer;
  SerialStream stream(buffer.data(), buffer.size(), 0, swapsInNetworkOrder);
  write(*source, stream);
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    stream.readPos = 0;
    object->deserialize(stream);
    benchmark::ClobberMemory();
  }
  if (!object->valid || stream.readPos != stream.validSize) state.SkipWithError("does not read");
}

void printText(benchmark::State& state, const Record* object) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    LogStream line(ZEL_LOG_CONSOLE, nullptr, -1, nullptr);
    object->print(line, 4);
    benchmark::DoNotOptimize(line.text());
  }
}

/// The fields of Test3-Stats2 after their header.
struct BareBlock {
  std::uint32_t id = RECORD_TEST3STATS2_ID;
  std::uint16_t length = 28;
  std::uint32_t key1 = 1, key2 = 1, testField1 = 1;
  std::uint64_t testField2 = 1, testField3 = 1;
};

void writeBare(benchmark::State& state) {
  std::array<std::uint8_t, 34> buffer;
  std::uint8_t* to = buffer.data();
  BareBlock block;
  const BareBlock* from = &block;
  for (auto _ : state) {
    benchmark::DoNotOptimize(from);
    benchmark::DoNotOptimize(to);
    storeInteger(to, from->id, swapsInNetworkOrder);
    storeInteger(to + 4, from->length, swapsInNetworkOrder);
    storeInteger(to + 6, from->key1, swapsInNetworkOrder);
    storeInteger(to + 10, from->key2, swapsInNetworkOrder);
    storeInteger(to + 14, from->testField1, swapsInNetworkOrder);
    storeInteger(to + 18, from->testField2, swapsInNetworkOrder);
    storeInteger(to + 26, from->testField3, swapsInNetworkOrder);
    benchmark::ClobberMemory();
  }
}

void readBare(benchmark::State& state) {
  std::array<std::uint8_t, 34> buffer{};
  const std::uint8_t* from = buffer.data();
  BareBlock block;
  BareBlock* to = &block;
  for (auto _ : state) {
    benchmark::DoNotOptimize(from);
    benchmark::DoNotOptimize(to);
    to->id = loadInteger<std::uint32_t>(from, swapsInNetworkOrder);
    to->length = loadInteger<std::uint16_t>(from + 4, swapsInNetworkOrder);
    to->key1 = loadInteger<std::uint32_t>(from + 6, swapsInNetworkOrder);
    to->key2 = loadInteger<std::uint32_t>(from + 10, swapsInNetworkOrder);
    to->testField1 = loadInteger<std::uint32_t>(from + 14, swapsInNetworkOrder);
    to->testField2 = loadInteger<std::uint64_t>(from + 18, swapsInNetworkOrder);
    to->testField3 = loadInteger<std::uint64_t>(from + 26, swapsInNetworkOrder);
    benchmark::ClobberMemory();
  }
}

template <class Base, class Concrete>
void registerBoth(const std::string& what, const Concrete& sample) {
  benchmark::RegisterBenchmark(("write/" + what).c_str(), [sample](benchmark::State& state) {
    writeBlock<Base>(state, &sample);
  });
  benchmark::RegisterBenchmark(("read/" + what).c_str(), [sample](benchmark::State& state) {
    Concrete target = sample;
    readBlock<Base>(state, &sample, &target);
  });
}

template <class R>
bool registerRecord() {
  R record;
  fillSample(record);
  registerBoth<Record>(R::nameText, record);
  if constexpr (catalogue::Keyed<R>) {
    for (const bool wildcardAllowed : {false, true}) {
      typename R::Keys keys(wildcardAllowed);
      fillSample(keys);
      const char* const kind = wildcardAllowed ? "/keys/wildcards" : "/keys";
      registerBoth<RecordKeys>(std::string(R::nameText) + kind, keys);
    }
  }
  return true;
}

template <class R>
bool registerPrint() {
  benchmark::RegisterBenchmark((std::string("print/") + R::nameText).c_str(),
                               [](benchmark::State& state) {
                                 R object;
                                 fillSample(object);
                                 printText(state, &object);
                               });
  return true;
}

template <class R>
bool registerNotification() {
  R notification;
  fillSample(notification);
  registerBoth<Record>(R::nameText, notification);
  return registerPrint<R>();
}

const bool registered = [] {
  using namespace catalogue;
  benchmark::RegisterBenchmark("write/bare", writeBare);
  benchmark::RegisterBenchmark("read/bare", readBare);
  registerPrint<RecordTest3Stats2>();
  const auto notification = []<class R>() { return registerNotification<R>(); };
  return every(Records{}, []<class R>() { return registerRecord<R>(); }) &&
         every(Events{}, notification) && every(Alarms{}, notification) &&
         every(RecordUpdateEvents{}, notification);
}();

}  // namespace
}  // namespace bench
