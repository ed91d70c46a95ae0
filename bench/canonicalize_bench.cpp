// Percent-encoding of a 1 MiB query-like text: our canonicalizer against the
// encoders users reach for. awsNormalizeQueryStringPart(false) keeps exactly
// the RFC 3986 unreserved set, as Qt's and curl's default escapes do; the
// text holds no "%", where the three would differ.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"
#include "lib/LogBase.h"

#ifdef SB_HAVE_QT
#include <QByteArray>
#endif
#ifdef SB_HAVE_CURL
#include <curl/curl.h>
#endif

namespace {

constexpr size_t kInputSize = 1 << 20;

// Words, paths, spaces, "=" and "&", and a share of two- and three-byte
// UTF-8 text, roughly what signed request paths and values carry.
const std::string& sampleText() {
  static const std::string text = [] {
    const char* pieces[] = {"photos/2024/", "holiday pictures", "Key=Value&", "size-large_v2.jpg",
                            "caf\xC3\xA9", "\xE1\x88\xB4\xE1\x88\xB5", "(copy) #3", "~user", "a+b"};
    std::string s;
    for (unsigned i = 0; s.size() < kInputSize; i = i * 7 + 3) s += pieces[i % 9];
    s.resize(kInputSize);
    while (static_cast<unsigned char>(s.back()) >= 0x80) s.pop_back();  // no cut sequence at the end
    return s;
  }();
  return text;
}

std::string ours(const std::string& in) {
  StringBuffer sb;
  sb.appendN(in.data(), static_cast<unsigned>(in.size()));
  LogNull log;
  sb.awsNormalizeQueryStringPart(false, log);
  return std::string(sb.getString(), sb.getSize());
}

[[maybe_unused]] void checkAgainst(const char* peer, const std::string& theirs) {
  if (theirs != ours(sampleText())) {
    std::fprintf(stderr, "percent_encode: %s output differs from ours\n", peer);
    std::abort();
  }
}

void BM_Ours(benchmark::State& state) {
  const std::string& in = sampleText();
  StringBuffer sb;
  LogNull log;
  for (auto _ : state) {
    sb.weakClear();
    sb.appendN(in.data(), static_cast<unsigned>(in.size()));
    benchmark::DoNotOptimize(sb.awsNormalizeQueryStringPart(false, log));
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
BENCHMARK(BM_Ours)->Name("percent_encode/ours/1MiB");

#ifdef SB_HAVE_QT
void BM_Qt(benchmark::State& state) {
  const std::string& in = sampleText();
  const QByteArray source(in.data(), static_cast<int>(in.size()));
  const QByteArray once = source.toPercentEncoding();
  checkAgainst("qt", std::string(once.constData(), static_cast<size_t>(once.size())));
  for (auto _ : state) {
    QByteArray out = source.toPercentEncoding();
    benchmark::DoNotOptimize(out.constData());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
BENCHMARK(BM_Qt)->Name("percent_encode/qt/1MiB");
#endif

#ifdef SB_HAVE_CURL
void BM_Curl(benchmark::State& state) {
  const std::string& in = sampleText();
  CURL* handle = curl_easy_init();
  char* once = curl_easy_escape(handle, in.data(), static_cast<int>(in.size()));
  checkAgainst("curl", once);
  curl_free(once);
  for (auto _ : state) {
    char* out = curl_easy_escape(handle, in.data(), static_cast<int>(in.size()));
    benchmark::DoNotOptimize(out);
    curl_free(out);
  }
  curl_easy_cleanup(handle);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
BENCHMARK(BM_Curl)->Name("percent_encode/curl/1MiB");
#endif

}  // namespace
