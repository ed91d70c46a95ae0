#include <benchmark/benchmark.h>

#include <string>

#include "core/StringBuffer.h"
#include "lib/LogBase.h"
#include "lib/TextSearch.h"

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

// Worst cases for the case-insensitive search and the wildcard matcher: a
// near-miss needle over a run of one letter, and many stars that all fail.
static void BM_FindNoCaseNearMiss(benchmark::State& state) {
  const std::string run(static_cast<size_t>(state.range(0)), 'a');
  const std::string nearMiss = std::string(2000, 'A') + "b";
  for (auto _ : state) benchmark::DoNotOptimize(TextSearch::findNoCase(run.c_str(), nearMiss.c_str()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FindNoCaseNearMiss)->Range(1 << 12, 1 << 18);

static void BM_WildcardManyStars(benchmark::State& state) {
  const std::string text(static_cast<size_t>(state.range(0)), 'a');
  for (auto _ : state) benchmark::DoNotOptimize(TextSearch::wildcardMatch(text.c_str(), "*a*a*a*a*a*a*a*a*b", true));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WildcardManyStars)->Range(1 << 8, 1 << 12);
