// Base64 throughput over a 64 KiB block of every byte value.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/MimeCodec.h"

namespace {

constexpr unsigned kBlock = 64 * 1024;

std::vector<unsigned char> sampleBytes() {
  std::vector<unsigned char> bytes(kBlock);
  for (unsigned i = 0; i < kBlock; ++i) bytes[i] = static_cast<unsigned char>(i * 131u + (i >> 8));
  return bytes;
}

void BM_EncodeBase64(benchmark::State& state) {
  const std::vector<unsigned char> bytes = sampleBytes();
  for (auto _ : state) {
    StringBuffer out;
    benchmark::DoNotOptimize(MimeCodec::encodeBase64(bytes.data(), kBlock, out));
    benchmark::DoNotOptimize(out.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
}
BENCHMARK(BM_EncodeBase64);

void BM_DecodeBase64(benchmark::State& state) {
  const std::vector<unsigned char> bytes = sampleBytes();
  StringBuffer text;
  MimeCodec::encodeBase64(bytes.data(), kBlock, text);
  for (auto _ : state) {
    DataBuffer out;
    benchmark::DoNotOptimize(MimeCodec::decodeBase64(text.getString(), text.getSize(), out));
    benchmark::DoNotOptimize(out.getData2());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kBlock);
}
BENCHMARK(BM_DecodeBase64);

}  // namespace
