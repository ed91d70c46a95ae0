// Obfuscation, scrambled literals, the text codec and the digest behind them.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "core/StringBuffer.h"
#include "lib/Digest128.h"
#include "lib/TextCodec.h"

#ifdef SB_HAVE_POCO
#include <Poco/DigestEngine.h>
#include <Poco/MD5Engine.h>
#endif

namespace {

constexpr unsigned kSmall = 64;
constexpr unsigned kLarge = 1u << 20;

std::string sampleText(unsigned n) {
  std::string s(n, ' ');
  for (unsigned i = 0; i < n; ++i) s[i] = "Authorization: Bearer token-0123456789 ~\r\n"[i % 42];
  return s;
}

StringBuffer bufferWith(const std::string& s) {
  StringBuffer sb;
  sb.appendN(s.data(), static_cast<unsigned>(s.size()));
  return sb;
}

// Each pair runs the hiding step and its undoing, so the buffer is the same
// at the start of every iteration.
template <void (StringBuffer::*Hide)(), void (StringBuffer::*Restore)()>
void roundTrip(benchmark::State& state, unsigned n) {
  StringBuffer sb = bufferWith(sampleText(n));
  for (auto _ : state) {
    (sb.*Hide)();
    (sb.*Restore)();
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * n);
}

void saltedRoundTrip(benchmark::State& state, unsigned n) {
  StringBuffer sb = bufferWith(sampleText(n));
  for (auto _ : state) {
    sb.saltedScramble();
    sb.saltedUnscramble();
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * n);
}

void textCodec(benchmark::State& state, unsigned n) {
  StringBuffer sb = bufferWith(sampleText(n));
  for (auto _ : state) {
    TextCodec::encode(sb);
    TextCodec::decode(sb);
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * n);
}

void equalsLsc(benchmark::State& state) {
  const StringBuffer sb("Content-Type");
  std::string literal = "Content-Type";
  StringBuffer::litScram(&literal[0]);
  for (auto _ : state) benchmark::DoNotOptimize(sb.equals_lsc(literal.c_str()));
  state.SetBytesProcessed(int64_t(state.iterations()) * literal.size());
}

void md5Ours(benchmark::State& state, unsigned n) {
  const std::string text = sampleText(n);
  unsigned char out[Digest128::kSize];
  for (auto _ : state) {
    Digest128::compute(reinterpret_cast<const unsigned char*>(text.data()), n, out);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * n);
}

#ifdef SB_HAVE_POCO
void md5Poco(benchmark::State& state, unsigned n) {
  const std::string text = sampleText(n);
  Poco::MD5Engine engine;
  // Same digest as ours, checked once outside the timed loop.
  engine.update(text.data(), n);
  unsigned char ours[Digest128::kSize];
  Digest128::compute(reinterpret_cast<const unsigned char*>(text.data()), n, ours);
  if (std::memcmp(engine.digest().data(), ours, sizeof ours) != 0) state.SkipWithError("digests differ");
  for (auto _ : state) {
    engine.update(text.data(), n);
    benchmark::DoNotOptimize(engine.digest().data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * n);
}
#endif

const bool registered = [] {
  for (unsigned n : {kSmall, kLarge}) {
    const std::string size = n == kSmall ? "64B" : "1MiB";
    benchmark::RegisterBenchmark(("scramble/ours/" + size).c_str(), [n](benchmark::State& s) {
      roundTrip<&StringBuffer::scramble, &StringBuffer::unscramble>(s, n);
    });
    benchmark::RegisterBenchmark(("obfus/ours/" + size).c_str(), [n](benchmark::State& s) {
      roundTrip<&StringBuffer::obfus, &StringBuffer::unobfus>(s, n);
    });
    benchmark::RegisterBenchmark(("reverse_x/ours/" + size).c_str(), [n](benchmark::State& s) {
      roundTrip<&StringBuffer::reverse_x, &StringBuffer::forward_x>(s, n);
    });
    benchmark::RegisterBenchmark(("salted_scramble/ours/" + size).c_str(),
                                 [n](benchmark::State& s) { saltedRoundTrip(s, n); });
    benchmark::RegisterBenchmark(("text_codec/ours/" + size).c_str(), [n](benchmark::State& s) { textCodec(s, n); });
    benchmark::RegisterBenchmark(("md5/ours/" + size).c_str(), [n](benchmark::State& s) { md5Ours(s, n); });
#ifdef SB_HAVE_POCO
    benchmark::RegisterBenchmark(("md5/poco/" + size).c_str(), [n](benchmark::State& s) { md5Poco(s, n); });
#endif
  }
  benchmark::RegisterBenchmark("equals_lsc/ours/64B", equalsLsc);
  return true;
}();

}  // namespace
