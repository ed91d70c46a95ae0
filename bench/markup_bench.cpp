// JSON and XML escaping against RapidJSON's Writer::String and pugixml's
// text output, on the same text: prose with quotes, markup characters, a
// backslash, a TAB-free line break every sentence and some UTF-8.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"

#ifdef SB_HAVE_RAPIDJSON
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef SB_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

namespace {

std::string sampleText(size_t n) {
  static const char kSentence[] =
      "He said \"fetch a < b & c > d\" from C:\\temp, caf\xC3\xA9 na\xC3\xAFve \xE2\x82\xAC" "5; the quick brown fox "
      "jumps over the lazy dog and keeps on running far away.\n";
  std::string s;
  while (s.size() < n) s += kSentence;
  s.resize(n);
  // Never end inside a UTF-8 sequence: the peers would then differ from us
  // for reasons that have nothing to do with speed.
  while (!s.empty() && (static_cast<unsigned char>(s.back()) & 0x80) != 0) s.back() = 'x';
  return s;
}

void check(bool same, const char* what) {
  if (!same) {
    std::fprintf(stderr, "markup_bench: %s output differs from ours\n", what);
    std::abort();
  }
}

void jsonEscapeOurs(benchmark::State& state, size_t n) {
  const std::string text = sampleText(n);
  StringBuffer sb;
  for (auto _ : state) {
    sb.setString(text.c_str());
    benchmark::DoNotOptimize(sb.jsonEscape());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n));
}

void xmlEscapeOurs(benchmark::State& state, size_t n) {
  const std::string text = sampleText(n);
  StringBuffer sb;
  for (auto _ : state) {
    sb.weakClear();
    benchmark::DoNotOptimize(sb.appendAndXmlEntityEncode(text.c_str(), static_cast<unsigned int>(n)));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n));
}

#ifdef SB_HAVE_RAPIDJSON
std::string rapidJsonEscape(const std::string& text, rapidjson::StringBuffer& out) {
  out.Clear();
  rapidjson::Writer<rapidjson::StringBuffer> writer(out);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  return std::string(out.GetString() + 1, out.GetSize() - 2);  // without the quotes
}

void jsonEscapeRapidJson(benchmark::State& state, size_t n) {
  const std::string text = sampleText(n);
  rapidjson::StringBuffer out;
  StringBuffer ours(text.c_str());
  ours.jsonEscape();
  check(rapidJsonEscape(text, out) == ours.getString(), "RapidJSON");
  rapidjson::Writer<rapidjson::StringBuffer> writer(out);
  for (auto _ : state) {
    out.Clear();
    writer.Reset(out);
    benchmark::DoNotOptimize(writer.String(text.data(), static_cast<rapidjson::SizeType>(n)));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n));
}
#endif

#ifdef SB_HAVE_PUGIXML
struct StringWriter : pugi::xml_writer {
  std::string out;
  void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

void xmlEscapePugixml(benchmark::State& state, size_t n) {
  const std::string text = sampleText(n);
  pugi::xml_document doc;
  doc.append_child("r").append_child(pugi::node_pcdata).set_value(text.c_str());
  StringWriter writer;
  doc.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
  StringBuffer ours;
  ours.appendAndXmlEntityEncode(text.c_str(), 0);
  check(writer.out == "<r>" + std::string(ours.getString()) + "</r>", "pugixml");
  for (auto _ : state) {
    writer.out.clear();
    doc.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    benchmark::DoNotOptimize(writer.out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n));
}
#endif

const int kRegistered = [] {
  for (const auto& [label, n] : {std::pair<const char*, size_t>{"1MiB", 1u << 20}, {"64B", 64}}) {
    const std::string input = label;
    benchmark::RegisterBenchmark(("json_escape/ours/" + input).c_str(), jsonEscapeOurs, n);
    benchmark::RegisterBenchmark(("xml_escape/ours/" + input).c_str(), xmlEscapeOurs, n);
#ifdef SB_HAVE_RAPIDJSON
    benchmark::RegisterBenchmark(("json_escape/rapidjson/" + input).c_str(), jsonEscapeRapidJson, n);
#endif
#ifdef SB_HAVE_PUGIXML
    benchmark::RegisterBenchmark(("xml_escape/pugixml/" + input).c_str(), xmlEscapePugixml, n);
#endif
  }
  return 0;
}();

}  // namespace
