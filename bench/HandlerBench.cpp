// Every handler through the slot that the daemon registered, on the scripted platform, with its
// standard output in a file; and a whole reply of 65,535 rows.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "ScriptedPlatform.h"
#include "app/Quorin.h"
#include "bench/Sample.h"
#include "standin/JsonRpc.h"
#include "standin/Replies.h"

namespace bench {
namespace {

using namespace Zel;

/// A daemon that serves all groups, made on first use; one exists.
scripted::Slots& slots() {
  static const std::unique_ptr<Quorin> daemon = [] {
    static scripted::CommandLine commandLine({"--quiet"});
    scripted::platform().reset();
    auto made = std::make_unique<Quorin>(commandLine.count(), commandLine.values.data());
    scripted::platform().slots.svcRegResult(12, MGMT_SUCCESS, {0x111d, 0x111e, 0x111f, 0x0801});
    return made;
  }();
  return scripted::platform().slots;
}

/// Standard output goes to a file while it exists.
class OutputToFile {
 public:
  OutputToFile() {
    std::fflush(stdout);
    if (saved_ < 0 || file_ == nullptr || ::dup2(::fileno(file_), STDOUT_FILENO) < 0) std::abort();
  }
  ~OutputToFile() {
    std::fflush(stdout);
    ::dup2(saved_, STDOUT_FILENO);
    ::close(saved_);
    std::fclose(file_);
  }
  OutputToFile(const OutputToFile&) = delete;
  OutputToFile& operator=(const OutputToFile&) = delete;

 private:
  std::FILE* const file_ = std::tmpfile();
  const int saved_ = ::dup(STDOUT_FILENO);
};

/// Measures `call()`, which returns whether the handler did what it was asked to.
template <typename Call>
void measure(benchmark::State& state, Call&& call) {
  slots();
  const OutputToFile output;
  bool done = true;
  for (auto _ : state) done = call() && done;
  if (!done) state.SkipWithError("refused");
}

// After a set that is answered later, the other handlers return its result until the next set.
bool accepted(MgmtResult result) {
  return result == MGMT_SUCCESS || result == MGMT_RESPONSE_DEFERRED;
}

template <class R>
RecordKeysList sampleKeys(bool wildcards = false) {
  if constexpr (catalogue::Keyed<R>) {
    auto keys = boost::make_shared<typename R::Keys>(wildcards);
    fillSample(*keys);
    return {std::move(keys)};
  } else {
    return {};
  }
}

template <class R>
void get(benchmark::State& state) {
  const RecordKeysList keys = sampleKeys<R>();
  ErrorString errorString;
  std::size_t rows = 0;
  measure(state, [&] {
    RecordList records;
    const MgmtResult result = slots().get(R::recordId, keys, 1, false, records, errorString);
    rows = records.size();
    return accepted(result);
  });
  state.counters["rows"] = static_cast<double>(rows);
}

template <class R>
boost::shared_ptr<Record> sampleRecord() {
  auto record = boost::make_shared<R>();
  fillSample(*record);
  return record;
}

template <class R>
void set(benchmark::State& state) {
  const boost::shared_ptr<Record> record = sampleRecord<R>();
  ErrorString errorString;
  measure(state, [&] {
    ApplyActionType applyAction = APPLY_NO_ACTION_REQUIRED;
    return accepted(slots().set(record, MGMT_OPTYPE_INSERT, false, applyAction, errorString, 1));
  });
}

template <class R>
void notify(benchmark::State& state) {
  const boost::shared_ptr<Record> record = sampleRecord<R>();
  measure(state, [&] {
    return accepted(slots().notify(record, MGMT_OPTYPE_SET, false, APPLY_NO_ACTION_REQUIRED));
  });
}

void clear(benchmark::State& state) {
  ErrorString errorString;
  measure(state, [&] { return accepted(slots().clear(RECORD_TEST2STATS1_ID, errorString)); });
}
BENCHMARK(clear);

void initProvComplete(benchmark::State& state) {
  measure(state, [] {
    slots().initProvComplete();
    return true;
  });
}
BENCHMARK(initProvComplete);

void setIndResult(benchmark::State& state) {
  const boost::shared_ptr<Record> record = sampleRecord<RecordTest1Prov1>();
  measure(state, [&] { return slots().setIndResult(record, MGMT_SUCCESS) == MGMT_SUCCESS; });
}
BENCHMARK(setIndResult);

// All three steps of a service registration, and what the platform writes down of them.
void svcReg(benchmark::State& state) {
  scripted::platform().takeSent();
  measure(state, [] {
    slots().svcRegInd();
    slots().svcRegResult(12, MGMT_SUCCESS, {0x111d});
    slots().svcRegResult(14, MGMT_SUCCESS, {0x111d});
    return scripted::platform().takeSent().size() == 3;
  });
}
BENCHMARK(svcReg);

// The whole key space of a table, in pages of so many keys.
template <class R>
void walkKeys(benchmark::State& state) {
  const auto batchSize = static_cast<unsigned short>(state.range(0));
  RecordKeysWrapper query{sampleKeys<R>(true).front()};
  auto& keys = static_cast<typename R::Keys&>(*query.keys);
  keys.key1.wildcard = keys.key2.wildcard = 1;
  ErrorString errorString;
  std::size_t walked = 0;
  measure(state, [&] {
    RecordKeysWrapper lastSent;
    bool lastBatch = false;
    for (walked = 0; !lastBatch;) {
      RecordKeysList page;
      const MgmtResult result = slots().getKeys(R::recordId, batchSize, walked == 0, query,
                                                lastSent, page, errorString, lastBatch);
      if (!accepted(result) || page.empty()) return false;
      walked += page.size();
      lastSent.keys = page.back();
    }
    return true;
  });
  state.counters["keys"] = static_cast<double>(walked);
}
BENCHMARK_TEMPLATE(walkKeys, RecordTest3Stats2)->Name("getKeys/Test3-Stats2")->Arg(0)->Arg(10);
BENCHMARK_TEMPLATE(walkKeys, RecordTest3Stats7)->Name("getKeys/Test3-Stats7")->Arg(0)->Arg(10);
BENCHMARK_TEMPLATE(walkKeys, RecordTest3Stats8)->Name("getKeys/Test3-Stats8")->Arg(0)->Arg(10);

// From the call of the slot to the text of the reply's line, which is made as the stand-in makes
// it.
void largeReply(benchmark::State& state) {
  constexpr unsigned short rows = 65535;
  constexpr std::size_t blockBytes = 6 + 16, separators = 3;
  slots();
  const OutputToFile output;
  for (auto _ : state) {
    RecordList records;
    ErrorString errorString;
    const MgmtResult result =
        slots().get(RecordTest3Stats9::recordId, {}, rows, false, records, errorString);
    std::string line;
    standin::rpc::startReply(line, "1", "result");
    standin::ObjectText members(line);
    standin::addResult(members, result).add("errorString", errorString.c_str());
    members.addList("records", records.size(),
                    [&](std::size_t i) { standin::appendQuotedBlock(line, *records[i]); });
    members.end();
    line += "}\n";
    benchmark::DoNotOptimize(line.data());
    state.PauseTiming();
    if (line.size() < rows * (2 * blockBytes + separators)) state.SkipWithError("rows missing");
    records.clear();
    line = std::string();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK(largeReply);

template <class R>
bool registerHandlers() {
  const auto add = [](const char* slot, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark((std::string(slot) + R::nameText).c_str(), function);
  };
  add("get/", get<R>);
  if constexpr (catalogue::Registered<R>) {
    add("set/", set<R>);
    add("notify/", notify<R>);
  }
  return true;
}

const bool registered =
    catalogue::every(catalogue::Records{}, []<class R>() { return registerHandlers<R>(); });

}  // namespace
}  // namespace bench
