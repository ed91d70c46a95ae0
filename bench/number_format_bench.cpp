#include <benchmark/benchmark.h>

#include <vector>

#include "core/StringBuffer.h"

namespace {

void BM_AppendIntDecimal(benchmark::State& state) {
  for (auto _ : state) {
    StringBuffer sb;
    for (int i = -500; i < 500; ++i) sb.append(i * 2147483);
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_AppendIntDecimal);

void BM_AppendInt64Decimal(benchmark::State& state) {
  for (auto _ : state) {
    StringBuffer sb;
    for (int64_t i = 0; i < 1000; ++i) sb.appendInt64(i * 9223372036854775LL);
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_AppendInt64Decimal);

void BM_AppendHexData(benchmark::State& state) {
  std::vector<unsigned char> data(static_cast<size_t>(state.range(0)));
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i * 31);
  for (auto _ : state) {
    StringBuffer sb;
    sb.appendHexData(data.data(), static_cast<unsigned int>(data.size()));
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AppendHexData)->Arg(48)->Arg(4096)->Arg(1 << 20);

void BM_HexValueUint32(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(StringBuffer::hexValueUint32("DeadBeef"));
}
BENCHMARK(BM_HexValueUint32);

}  // namespace
