// Code-page conversion and UTF-8 validation against the converters and
// validators users would otherwise reach for, on 1 MiB of text.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/_tvEncodingConvert.h"
#include "lib/_tvUtf.h"

#ifdef SB_HAVE_ICU
#include <unicode/ucnv.h>
#endif
#ifdef SB_HAVE_UTFCPP
#include <utf8cpp/utf8.h>
#endif
#ifdef SB_HAVE_SIMDJSON
#include <simdjson.h>
#endif

namespace {

constexpr size_t kMiB = 1 << 20;

// Western European prose in Windows-1252: mostly ASCII, an accented letter
// or typographic sign every few words.
const std::string& latinText() {
  static const std::string text = [] {
    const char* words[] = {"caf\xE9", "na\xEFve", "r\xE9sum\xE9", "the", "and", "\x93quoted\x94",
                           "price", "10\x80", "stra\xDF\x65", "ni\xF1o", "data", "\x85"};
    std::string t;
    unsigned seed = 1;
    while (t.size() < kMiB) {
      seed = seed * 1103515245u + 12345u;
      t += words[(seed >> 16) % 12];
      t += ' ';
    }
    t.resize(kMiB);
    return t;
  }();
  return text;
}

std::string toUtf8(const std::string& latin) {
  _tvEncodingConvert conv;
  LogNull log;
  DataBuffer out;
  conv.EncConvert(1252, 65001, reinterpret_cast<const unsigned char*>(latin.data()),
                  static_cast<unsigned>(latin.size()), out, log);
  return std::string(reinterpret_cast<const char*>(out.getData2()), out.getSize());
}

const std::string& utf8Text() {
  static const std::string text = toUtf8(latinText());
  return text;
}

// Mixed UTF-8: accented Latin, Greek, CJK and emoji words between ASCII
// ones, 1 MiB.
const std::string& mixedUtf8() {
  static const std::string text = [] {
    const char* words[] = {"caf\xC3\xA9", "the", "\xCE\xB1\xCE\xB2\xCE\xB3", "\xE4\xB8\xAD\xE6\x96\x87",
                           "and", "\xF0\x9F\x98\x80", "stra\xC3\x9F\x65", "data", "\xE2\x80\x9Cq\xE2\x80\x9D"};
    std::string t;
    unsigned seed = 7;
    for (;;) {
      seed = seed * 1103515245u + 12345u;
      const std::string word = std::string(words[(seed >> 16) % 9]) + ' ';
      if (t.size() + word.size() > kMiB) break;
      t += word;
    }
    return t;
  }();
  return text;
}

const std::string& asciiText() {
  static const std::string text = [] {
    std::string t;
    while (t.size() < kMiB) t += "The quick brown fox jumps over the lazy dog. ";
    t.resize(kMiB);
    return t;
  }();
  return text;
}

void check(bool same, const char* what) {
  if (!same) {
    std::fprintf(stderr, "encoding_bench: %s differs from the peer\n", what);
    std::abort();
  }
}

void ours(benchmark::State& state, int from, int to, const std::string& in) {
  _tvEncodingConvert conv;
  LogNull log;
  DataBuffer out;
  for (auto _ : state) {
    out.clear();
    conv.EncConvert(from, to, reinterpret_cast<const unsigned char*>(in.data()), static_cast<unsigned>(in.size()),
                    out, log);
    benchmark::DoNotOptimize(out.getData2());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

std::string rawIconv(iconv_t cd, const std::string& in, std::string& out) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  char* src = const_cast<char*>(in.data());
  size_t srcLeft = in.size();
  char* dst = out.data();
  size_t dstLeft = out.size();
  iconv(cd, &src, &srcLeft, &dst, &dstLeft);
  return std::string(out.data(), out.size() - dstLeft);
}

void peerIconv(benchmark::State& state, const char* to, const char* from, const std::string& in,
               const std::string& expected) {
  iconv_t cd = iconv_open(to, from);
  std::string out(in.size() * 3 + 16, '\0');
  check(rawIconv(cd, in, out) == expected, "iconv");
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* src = const_cast<char*>(in.data());
    size_t srcLeft = in.size();
    char* dst = out.data();
    size_t dstLeft = out.size();
    benchmark::DoNotOptimize(iconv(cd, &src, &srcLeft, &dst, &dstLeft));
  }
  iconv_close(cd);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

#ifdef SB_HAVE_ICU
void peerIcu(benchmark::State& state, const char* to, const char* from, const std::string& in,
             const std::string& expected) {
  std::string out(in.size() * 3 + 16, '\0');
  UErrorCode err = U_ZERO_ERROR;
  int32_t n = ucnv_convert(to, from, out.data(), static_cast<int32_t>(out.size()), in.data(),
                           static_cast<int32_t>(in.size()), &err);
  check(U_SUCCESS(err) && std::string(out.data(), static_cast<size_t>(n)) == expected, "icu");
  for (auto _ : state) {
    err = U_ZERO_ERROR;
    benchmark::DoNotOptimize(ucnv_convert(to, from, out.data(), static_cast<int32_t>(out.size()), in.data(),
                                          static_cast<int32_t>(in.size()), &err));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
#endif

void validateOurs(benchmark::State& state, const std::string& in) {
  for (auto _ : state)
    benchmark::DoNotOptimize(
        _tvUtf::isValidUtf8(reinterpret_cast<const unsigned char*>(in.data()), static_cast<unsigned>(in.size()), 0));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

#ifdef SB_HAVE_UTFCPP
void validateUtfcpp(benchmark::State& state, const std::string& in) {
  check(utf8::is_valid(in.begin(), in.end()), "utfcpp");
  for (auto _ : state) benchmark::DoNotOptimize(utf8::is_valid(in.begin(), in.end()));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
#endif

#ifdef SB_HAVE_SIMDJSON
void validateSimdjson(benchmark::State& state, const std::string& in) {
  check(simdjson::validate_utf8(in.data(), in.size()), "simdjson");
  for (auto _ : state) benchmark::DoNotOptimize(simdjson::validate_utf8(in.data(), in.size()));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
#endif

const bool kRegistered = [] {
  benchmark::RegisterBenchmark("cp1252_to_utf8/ours/1MiB", [](benchmark::State& s) { ours(s, 1252, 65001, latinText()); });
  benchmark::RegisterBenchmark("cp1252_to_utf8/iconv/1MiB", [](benchmark::State& s) {
    peerIconv(s, "UTF-8", "WINDOWS-1252", latinText(), utf8Text());
  });
  benchmark::RegisterBenchmark("utf8_to_cp1252/ours/1MiB", [](benchmark::State& s) { ours(s, 65001, 1252, utf8Text()); });
  benchmark::RegisterBenchmark("utf8_to_cp1252/iconv/1MiB", [](benchmark::State& s) {
    peerIconv(s, "WINDOWS-1252", "UTF-8", utf8Text(), latinText());
  });
#ifdef SB_HAVE_ICU
  benchmark::RegisterBenchmark("cp1252_to_utf8/icu/1MiB", [](benchmark::State& s) {
    peerIcu(s, "UTF-8", "windows-1252", latinText(), utf8Text());
  });
  benchmark::RegisterBenchmark("utf8_to_cp1252/icu/1MiB", [](benchmark::State& s) {
    peerIcu(s, "windows-1252", "UTF-8", utf8Text(), latinText());
  });
#endif
  benchmark::RegisterBenchmark("utf8_validate_ascii/ours/1MiB", [](benchmark::State& s) { validateOurs(s, asciiText()); });
  benchmark::RegisterBenchmark("utf8_validate_mixed/ours/1MiB", [](benchmark::State& s) { validateOurs(s, mixedUtf8()); });
#ifdef SB_HAVE_UTFCPP
  benchmark::RegisterBenchmark("utf8_validate_ascii/utfcpp/1MiB", [](benchmark::State& s) { validateUtfcpp(s, asciiText()); });
  benchmark::RegisterBenchmark("utf8_validate_mixed/utfcpp/1MiB", [](benchmark::State& s) { validateUtfcpp(s, mixedUtf8()); });
#endif
#ifdef SB_HAVE_SIMDJSON
  benchmark::RegisterBenchmark("utf8_validate_ascii/simdjson/1MiB",
                               [](benchmark::State& s) { validateSimdjson(s, asciiText()); });
  benchmark::RegisterBenchmark("utf8_validate_mixed/simdjson/1MiB",
                               [](benchmark::State& s) { validateSimdjson(s, mixedUtf8()); });
#endif
  return true;
}();

}  // namespace
