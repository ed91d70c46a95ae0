// The extensions against the libraries users know them from: decoders,
// join and printf-style appends.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/StringBufferArray.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/escaping.h>
#include <absl/strings/str_format.h>
#include <absl/strings/str_join.h>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#endif
#ifdef SB_HAVE_CURL
#include <curl/curl.h>
#endif

namespace {

using namespace std::string_literals;

constexpr size_t kLarge = 1 << 20;
constexpr size_t kSmall = 64;

std::string sampleBytes(size_t n) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 131 + (i >> 8)) & 0xFF);
  return s;
}

std::string base64Of(size_t n) {
  const std::string bytes = sampleBytes(n);
  StringBuffer text;
  text.appendBase64(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(n));
  return std::string(text.view());
}

std::string hexOf(size_t n) {
  const std::string bytes = sampleBytes(n);
  StringBuffer text;
  text.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(n), false);
  return std::string(text.view());
}

// Query-string-like text: words, with about one byte in six escaped.
std::string percentOf(size_t n) {
  std::string s;
  for (size_t i = 0; s.size() < n; ++i) {
    s += "name";
    s += static_cast<char>('a' + i % 26);
    s += i % 3 == 0 ? "%20" : i % 3 == 1 ? "%C3%A9" : "-x";
  }
  s.resize(n);
  while (s.size() >= 2 && s.find('%', s.size() - 2) != std::string::npos) s.pop_back();
  return s;
}

void expectSame(const std::string& ours, const std::string& peer, const char* family) {
  if (ours != peer) {
    std::fprintf(stderr, "%s: our output differs from the peer's\n", family);
    std::abort();
  }
}

std::string dataString(const DataBuffer& d) {
  return std::string(reinterpret_cast<const char*>(d.getData2()), d.getSize());
}

// ---- Decoders: ours into a reused DataBuffer ----

template <typename Decode>
void oursDecode(benchmark::State& state, const std::string& text, size_t bytes, Decode decode) {
  const StringBuffer sb(text);
  DataBuffer out;
  for (auto _ : state) {
    out.clear();
    benchmark::DoNotOptimize(decode(sb, out));
    benchmark::DoNotOptimize(out.getData2());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void registerDecoders() {
  for (const size_t n : {kLarge, kSmall}) {
    const std::string input = n == kLarge ? "1MiB" : "64B";
    const std::string b64 = base64Of(n), hex = hexOf(n), pct = percentOf(n);
    const auto base64 = [](const StringBuffer& sb, DataBuffer& out) { return sb.decodeBase64(out); };
    const auto hexDecode = [](const StringBuffer& sb, DataBuffer& out) { return sb.decodeHex(out); };
    const auto percent = [](const StringBuffer& sb, DataBuffer& out) { return sb.decodePercent(out); };
    benchmark::RegisterBenchmark(("base64_decode/ours/" + input).c_str(),
                                 [=](benchmark::State& s) { oursDecode(s, b64, n, base64); });
    benchmark::RegisterBenchmark(("hex_decode/ours/" + input).c_str(),
                                 [=](benchmark::State& s) { oursDecode(s, hex, n, hexDecode); });
    benchmark::RegisterBenchmark(("percent_decode/ours/" + input).c_str(),
                                 [=](benchmark::State& s) { oursDecode(s, pct, pct.size(), percent); });
    DataBuffer check;
    StringBuffer(b64).decodeBase64(check);
    const std::string bytes = dataString(check);
    check.clear();
    StringBuffer(pct).decodePercent(check);
    const std::string pctBytes = dataString(check);
#ifdef SB_HAVE_ABSL
    {
      std::string peer;
      absl::Base64Unescape(b64, &peer);
      expectSame(bytes, peer, "base64_decode/absl");
      expectSame(bytes, absl::HexStringToBytes(hex), "hex_decode/absl");
    }
    benchmark::RegisterBenchmark(("base64_decode/absl/" + input).c_str(), [=](benchmark::State& s) {
      std::string out;
      for (auto _ : s) {
        benchmark::DoNotOptimize(absl::Base64Unescape(b64, &out));
        benchmark::DoNotOptimize(out.data());
      }
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(n));
    });
    benchmark::RegisterBenchmark(("hex_decode/absl/" + input).c_str(), [=](benchmark::State& s) {
      for (auto _ : s) benchmark::DoNotOptimize(absl::HexStringToBytes(hex));
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(n));
    });
#endif
#ifdef SB_HAVE_QT
    {
      const QByteArray peer = QByteArray::fromBase64(QByteArray::fromRawData(b64.data(), int(b64.size())));
      expectSame(bytes, std::string(peer.constData(), size_t(peer.size())), "base64_decode/qt");
      const QByteArray pctPeer = QByteArray::fromPercentEncoding(QByteArray(pct.data(), int(pct.size())));
      expectSame(pctBytes, std::string(pctPeer.constData(), size_t(pctPeer.size())), "percent_decode/qt");
    }
    benchmark::RegisterBenchmark(("base64_decode/qt/" + input).c_str(), [=](benchmark::State& s) {
      const QByteArray text(b64.data(), int(b64.size()));
      for (auto _ : s) benchmark::DoNotOptimize(QByteArray::fromBase64(text));
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(n));
    });
    benchmark::RegisterBenchmark(("percent_decode/qt/" + input).c_str(), [=](benchmark::State& s) {
      const QByteArray text(pct.data(), int(pct.size()));
      for (auto _ : s) benchmark::DoNotOptimize(QByteArray::fromPercentEncoding(text));
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(pct.size()));
    });
#endif
#ifdef SB_HAVE_CURL
    {
      CURL* curl = curl_easy_init();
      int length = 0;
      char* peer = curl_easy_unescape(curl, pct.data(), int(pct.size()), &length);
      expectSame(pctBytes, std::string(peer, size_t(length)), "percent_decode/curl");
      curl_free(peer);
      curl_easy_cleanup(curl);
    }
    benchmark::RegisterBenchmark(("percent_decode/curl/" + input).c_str(), [=](benchmark::State& s) {
      CURL* curl = curl_easy_init();
      for (auto _ : s) {
        int length = 0;
        char* out = curl_easy_unescape(curl, pct.data(), int(pct.size()), &length);
        benchmark::DoNotOptimize(out);
        curl_free(out);
      }
      curl_easy_cleanup(curl);
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(pct.size()));
    });
#endif
    (void)pctBytes;
  }
}

// ---- join: each candidate builds a fresh result, as StrJoin must ----

void registerJoins() {
  struct Shape { const char* input; size_t count, size; };
  for (const Shape shape : {Shape{"1000x1KiB", 1000, 1024}, Shape{"1000x64B", 1000, 64}, Shape{"100x16B", 100, 16}}) {
    std::vector<std::string> pieces;
    for (size_t i = 0; i < shape.count; ++i) pieces.push_back(sampleBytes(shape.size + i % 7).substr(i % 7));
    size_t total = 0;
    for (const std::string& p : pieces) total += p.size();
    auto list = std::make_shared<StringBufferArray>();
    for (const std::string& p : pieces) list->appendPtr(new StringBuffer(std::string_view(p)));
    const std::string family = "join/";
    benchmark::RegisterBenchmark((family + "ours/" + shape.input).c_str(), [=](benchmark::State& s) {
      for (auto _ : s) {
        StringBuffer out;
        benchmark::DoNotOptimize(out.join(*list, ", "));
        benchmark::DoNotOptimize(out.getString());
      }
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(total));
    });
    // The views are made inside each benchmark, over its own copy of the
    // pieces, so that they outlive this function.
    benchmark::RegisterBenchmark(("join_views/ours/"s + shape.input).c_str(), [=](benchmark::State& s) {
      const std::vector<std::string_view> views(pieces.begin(), pieces.end());
      for (auto _ : s) {
        StringBuffer out;
        benchmark::DoNotOptimize(out.join(views, ", "));
        benchmark::DoNotOptimize(out.getString());
      }
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(total));
    });
#ifdef SB_HAVE_ABSL
    {
      StringBuffer ours;
      ours.join(*list, ", ");
      expectSame(std::string(ours.view()), absl::StrJoin(pieces, ", "), "join/absl");
    }
    benchmark::RegisterBenchmark((family + "absl/" + shape.input).c_str(), [=](benchmark::State& s) {
      for (auto _ : s) benchmark::DoNotOptimize(absl::StrJoin(pieces, ", "));
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(total));
    });
    benchmark::RegisterBenchmark(("join_views/absl/"s + shape.input).c_str(), [=](benchmark::State& s) {
      std::vector<absl::string_view> peerViews;
      for (const std::string& p : pieces) peerViews.emplace_back(p.data(), p.size());
      for (auto _ : s) benchmark::DoNotOptimize(absl::StrJoin(peerViews, ", "));
      s.SetBytesProcessed(int64_t(s.iterations()) * int64_t(total));
    });
#endif
  }
}

// ---- appendFormat: 1000 short records appended to one reused buffer ----

constexpr int kRecords = 1000;

void BM_FormatOurs(benchmark::State& state) {
  StringBuffer sb;
  for (auto _ : state) {
    sb.weakClear();
    for (int i = 0; i < kRecords; ++i) sb.appendFormat("%d: %s=%08x;\n", i, "name", unsigned(i) * 2654435761u);
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * sb.getSize());
}
BENCHMARK(BM_FormatOurs)->Name("append_format/ours/64B");

void BM_FormatSnprintf(benchmark::State& state) {
  std::string out;
  for (auto _ : state) {
    out.clear();
    for (int i = 0; i < kRecords; ++i) {
      char line[64];
      const int n = std::snprintf(line, sizeof line, "%d: %s=%08x;\n", i, "name", unsigned(i) * 2654435761u);
      out.append(line, size_t(n));
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}
BENCHMARK(BM_FormatSnprintf)->Name("append_format/snprintf/64B");

#ifdef SB_HAVE_ABSL
void BM_FormatAbsl(benchmark::State& state) {
  std::string out;
  for (auto _ : state) {
    out.clear();
    for (int i = 0; i < kRecords; ++i) absl::StrAppendFormat(&out, "%d: %s=%08x;\n", i, "name", unsigned(i) * 2654435761u);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}
BENCHMARK(BM_FormatAbsl)->Name("append_format/absl/64B");
#endif

const bool kRegistered = (registerDecoders(), registerJoins(), true);

}  // namespace
