// Growth and the primitive appends: the paths every other operation uses.
#include <benchmark/benchmark.h>

#include <string>

#include "core/StringBuffer.h"

static void BM_AppendCharGrowth(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    StringBuffer sb;
    for (int i = 0; i < n; ++i) sb.appendChar('x');
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_AppendCharGrowth)->Arg(64)->Arg(4096)->Arg(1 << 20);

static void BM_AppendWords(benchmark::State& state) {
  for (auto _ : state) {
    StringBuffer sb;
    for (int i = 0; i < 10000; ++i) sb.append("word ");
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(state.iterations() * 50000);
}
BENCHMARK(BM_AppendWords);

static void BM_ReusedBufferSetString(benchmark::State& state) {
  StringBuffer sb;
  const std::string line(200, 'l');
  for (auto _ : state) {
    sb.setString(line.c_str());
    benchmark::DoNotOptimize(sb.getString());
  }
}
BENCHMARK(BM_ReusedBufferSetString);

static void BM_PrependN(benchmark::State& state) {
  for (auto _ : state) {
    StringBuffer sb("tail");
    for (int i = 0; i < 1000; ++i) sb.prependN("ab", 2);
    benchmark::DoNotOptimize(sb.getString());
  }
}
BENCHMARK(BM_PrependN);
