// Shared pieces of the peer comparison: the inputs every family is measured
// on, registration under <family>/<candidate>/<input>, and the one-time check
// that a peer computes what we compute.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace sbbench {

constexpr size_t k1MiB = size_t(1) << 20;
constexpr size_t k64B = 64;
constexpr size_t kSizes[] = {k64B, k1MiB};

inline const char* sizeName(size_t n) { return n == k1MiB ? "1MiB" : "64B"; }

// Registers fn(state) as family/candidate/size, counting `bytes` per
// iteration (the input size unless a family measures something else).
template <typename Fn>
void add(const std::string& family, const char* candidate, size_t size, Fn fn, size_t bytes = 0) {
  const std::string name = family + "/" + candidate + "/" + sizeName(size);
  const size_t counted = bytes != 0 ? bytes : size;
  benchmark::RegisterBenchmark(name.c_str(), [fn, counted](benchmark::State& state) mutable {
    fn(state);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(counted));
  });
}

// A peer that disagrees with us makes the comparison meaningless: stop.
inline void expectSame(const std::string& what, bool same) {
  if (same) return;
  std::fprintf(stderr, "bench: %s differs from ours\n", what.c_str());
  std::abort();
}

// English-like text of exactly n bytes: every byte value a search meets in
// practice, lots of false starts for a common first byte, few for a rare one.
inline std::string prose(size_t n) {
  static const char kWords[] = "the quick brown fox jumps over the lazy dog; then it rests. ";
  std::string s;
  s.reserve(n);
  while (s.size() < n) s += kWords;
  s.resize(n);
  return s;
}

// n bytes of prose that end with tail.
inline std::string proseEndingWith(size_t n, const std::string& tail) {
  return prose(n - tail.size()) + tail;
}

// A comma-separated record of about n bytes: short fields of mixed widths.
inline std::string csv(size_t n) {
  std::string s;
  s.reserve(n + 16);
  for (unsigned i = 0; s.size() < n; ++i) {
    if (i != 0) s += ',';
    s += (i % 3 == 0) ? "alpha" : (i % 3 == 1) ? "b" : "gamma-delta";
    s += std::to_string(i % 97);
  }
  s.resize(n);
  if (s.back() == ',') s.back() = 'z';
  return s;
}

// n bytes of every byte value, in an order no table lookup can predict.
inline std::string binary(size_t n) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 131u + (i >> 8)) & 0xFF);
  return s;
}

}  // namespace sbbench
