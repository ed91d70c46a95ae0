// Record scanning throughput: field lookup, delimiter change, splitting and
// tokenizing over a CSV-like text of about 64 KiB.
#include <benchmark/benchmark.h>

#include <string>

#include "core/StringBuffer.h"
#include "lib/ExtPtrArray.h"
#include "lib/StringBufferArray.h"

namespace {

// 2000 lines of five fields, one of them quoted and holding a comma.
std::string sampleCsv() {
  std::string text;
  for (int i = 0; i < 2000; ++i)
    text += "alpha,\"beta, gamma\",delta\\,epsilon," + std::to_string(i) + ",zeta\r\n";
  return text;
}

void BM_GetLastField(benchmark::State& state) {
  const StringBuffer record(sampleCsv().c_str());
  // Four separating commas a line: the last of 8001 fields, behind every other.
  const unsigned int last = 8000;
  StringBuffer out;
  for (auto _ : state) benchmark::DoNotOptimize(record.getNthDelimited(last, ',', true, true, out));
  state.SetBytesProcessed(int64_t(state.iterations()) * record.getSize());
}
BENCHMARK(BM_GetLastField);

void BM_ChangeDelimiterInPlace(benchmark::State& state) {
  StringBuffer record(sampleCsv().c_str());
  for (auto _ : state) {
    record.changeDelimiter(',', ';', true, true);
    benchmark::DoNotOptimize(record.changeDelimiter(';', ',', true, true));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * 2 * record.getSize());
}
BENCHMARK(BM_ChangeDelimiterInPlace);

void BM_SplitByLineEndings(benchmark::State& state) {
  const StringBuffer text(sampleCsv().c_str());
  for (auto _ : state) {
    StringBufferArray lines;
    benchmark::DoNotOptimize(text.splitByLineEndings(lines, true, true));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * text.getSize());
}
BENCHMARK(BM_SplitByLineEndings);

void BM_TokenizeCPP(benchmark::State& state) {
  const StringBuffer text(sampleCsv().c_str());
  for (auto _ : state) {
    ExtPtrArray tokens;
    text.tokenizeCPP(tokens);
    benchmark::DoNotOptimize(tokens.getSize());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * text.getSize());
}
BENCHMARK(BM_TokenizeCPP);

}  // namespace
