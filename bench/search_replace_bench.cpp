#include <benchmark/benchmark.h>

#include <string>

#include "core/StringBuffer.h"
#include "lib/LogBase.h"

namespace {

std::string sampleText(size_t n) {
  std::string s;
  while (s.size() < n) s += "The quick brown fox jumps over the lazy dog; ";
  return s;
}

void BM_ReplaceAllOccurances(benchmark::State& state) {
  const std::string text = sampleText(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    StringBuffer sb(text.c_str());
    benchmark::DoNotOptimize(sb.replaceAllOccurances("fox", "wolverine"));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ReplaceAllOccurances)->Range(1 << 10, 1 << 20);

void BM_IndexOfNoCase(benchmark::State& state) {
  const std::string text = sampleText(static_cast<size_t>(state.range(0))) + "NEEDLE";
  const StringBuffer sb(text.c_str());
  for (auto _ : state) benchmark::DoNotOptimize(sb.indexOfNoCase("needle"));
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_IndexOfNoCase)->Range(1 << 10, 1 << 20);

void BM_FindWordOnlyUtf8(benchmark::State& state) {
  const std::string text = sampleText(static_cast<size_t>(state.range(0))) + "dogma dog";
  LogNull log;
  for (auto _ : state) benchmark::DoNotOptimize(StringBuffer::findWordOnlyUtf8(text.c_str(), "dogma", log));
}
BENCHMARK(BM_FindWordOnlyUtf8)->Range(1 << 10, 1 << 16);

}  // namespace
