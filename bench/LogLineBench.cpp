// A log line of six appends, as a callback's trace has: below the threshold, at it without the
// sink, and the floor, one snprintf of the same line.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "records/LogLine.h"

namespace bench {
namespace {

using namespace Zel;

/// What a get logs, its level apart. The values are the request's: unknown to the compiler.
struct Trace {
  std::uint16_t recordNumber = 0x0005;
  unsigned short batchSize = 100;
  const char* clearOnRead = " clearOnRead=";
};

LogStream& append(LogStream& line, const Trace& trace) {
  return line << "Quorin::getCallback"
              << " recordId=" << LogStream::Hex16{trace.recordNumber}
              << " batchSize=" << trace.batchSize << trace.clearOnRead;
}

void belowThreshold(benchmark::State& state) {
  Trace trace;
  double built = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(trace);
    logLine(ZEL_LOG_TRACE, [&](LogStream& line) {
      ++built;
      append(line, trace);
    });
  }
  state.counters["built"] = built;
}
BENCHMARK(belowThreshold)->Name("log/below");

// The same without the line: what the loop costs.
void nothing(benchmark::State& state) {
  Trace trace;
  for (auto _ : state) benchmark::DoNotOptimize(trace);
}
BENCHMARK(nothing)->Name("log/nothing");

// The steps of logLine, short of handing the line over.
void atThreshold(benchmark::State& state) {
  Trace trace;
  for (auto _ : state) {
    benchmark::DoNotOptimize(trace);
    LogStream line(ZEL_LOG_ERROR, nullptr, -1, nullptr);
    append(line, trace);
    benchmark::DoNotOptimize(line.text());
  }
}
BENCHMARK(atThreshold)->Name("log/at");

void oneFormat(benchmark::State& state) {
  Trace trace;
  for (auto _ : state) {
    benchmark::DoNotOptimize(trace);
    char text[LogStream::capacity];
    std::snprintf(text, sizeof text, "%s%s0x%x%s%u%s", "Quorin::getCallback",
                  " recordId=", trace.recordNumber, " batchSize=", trace.batchSize,
                  trace.clearOnRead);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(oneFormat)->Name("log/bare");

}  // namespace
}  // namespace bench
