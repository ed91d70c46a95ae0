// Line layout over 1 MiB of short lines, the shape that would expose any
// per-line quadratic cost, against the peers doing the same job.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"

#ifdef SB_HAVE_ABSL
#include "absl/strings/ascii.h"
#include "absl/strings/str_replace.h"
#endif
#ifdef SB_HAVE_BOOST
#include <boost/algorithm/string/replace.hpp>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#endif

namespace {

constexpr size_t kInput = 1 << 20;

// Lines of 8 to 40 bytes with words separated by single spaces.
std::string shortLines() {
  std::string s;
  unsigned seed = 7;
  while (s.size() < kInput) {
    seed = seed * 1103515245u + 12345u;
    const unsigned words = 1 + (seed >> 16) % 5;
    for (unsigned w = 0; w < words; ++w) s += w == 0 ? "word" : " text";
    s += '\n';
  }
  return s;
}

// Runs of spaces, tabs and line ends between words, none at the ends.
std::string spacedWords() {
  std::string s;
  while (s.size() < kInput) s += "alpha  \t beta\r\n gamma   delta";
  return s;
}

void check(bool same, const char* what) {
  if (!same) {
    std::fprintf(stderr, "line_layout bench: %s differs from ours\n", what);
    std::abort();
  }
}

std::string ours(const std::string& in, void (*op)(StringBuffer&)) {
  StringBuffer sb(in.c_str());
  op(sb);
  return std::string(sb.getString(), sb.getSize());
}

void opToCRLF(StringBuffer& sb) { sb.toCRLF(); }
void opToLF(StringBuffer& sb) { sb.toLF(); }
void opTrimInside(StringBuffer& sb) { sb.trimInsideSpaces(); }
void opIndent(StringBuffer& sb) { sb.indent(' ', 2); }

// Ours: the text is loaded into the buffer (its storage reused) and
// rewritten, every iteration; the peers copy and rewrite a std::string or
// QByteArray the same way.
template <void (*Op)(StringBuffer&)>
void runOurs(benchmark::State& state, const std::string& in) {
  StringBuffer sb;
  for (auto _ : state) {
    sb.weakClear();
    sb.appendN(in.data(), static_cast<unsigned int>(in.size()));
    Op(sb);
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

template <typename Fn>
void runPeer(benchmark::State& state, const std::string& in, Fn fn) {
  for (auto _ : state) {
    auto out = fn(in);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

const std::string& lfText() {
  static const std::string s = shortLines();
  return s;
}
// The same lines as lfText, ended by CR LF.
const std::string& crlfText() {
  static const std::string s = [] {
    std::string out;
    for (char c : lfText()) {
      if (c == '\n') out += '\r';
      out += c;
    }
    return out;
  }();
  return s;
}
const std::string& spacedText() {
  static const std::string s = spacedWords();
  return s;
}

[[maybe_unused]] std::string expectedIndent(const std::string& in) {
  std::string out = "  ";
  for (char c : in) {
    out += c;
    if (c == '\n') out += "  ";
  }
  return out;
}

int registerAll() {
  benchmark::RegisterBenchmark("to_crlf/ours/1MiB", [](benchmark::State& s) { runOurs<opToCRLF>(s, lfText()); });
  benchmark::RegisterBenchmark("to_lf/ours/1MiB", [](benchmark::State& s) { runOurs<opToLF>(s, crlfText()); });
  benchmark::RegisterBenchmark("trim_inside_spaces/ours/1MiB",
                               [](benchmark::State& s) { runOurs<opTrimInside>(s, spacedText()); });
  benchmark::RegisterBenchmark("indent/ours/1MiB", [](benchmark::State& s) { runOurs<opIndent>(s, lfText()); });
  check(ours(lfText(), opToCRLF) == crlfText(), "our toCRLF");
  check(ours(crlfText(), opToLF) == lfText(), "our toLF");
  check(ours(lfText(), opIndent) == expectedIndent(lfText()), "our indent");

#ifdef SB_HAVE_ABSL
  {
    const auto crlf = [](const std::string& in) { return absl::StrReplaceAll(in, {{"\n", "\r\n"}}); };
    const auto lf = [](const std::string& in) { return absl::StrReplaceAll(in, {{"\r\n", "\n"}}); };
    const auto inside = [](const std::string& in) {
      std::string s = in;
      absl::RemoveExtraAsciiWhitespace(&s);
      return s;
    };
    const auto indent = [](const std::string& in) { return "  " + absl::StrReplaceAll(in, {{"\n", "\n  "}}); };
    check(crlf(lfText()) == crlfText() && lf(crlfText()) == lfText(), "absl line endings");
    check(inside(spacedText()) == ours(spacedText(), opTrimInside), "absl whitespace");
    check(indent(lfText()) == expectedIndent(lfText()), "absl indent");
    benchmark::RegisterBenchmark("to_crlf/absl/1MiB", [crlf](benchmark::State& s) { runPeer(s, lfText(), crlf); });
    benchmark::RegisterBenchmark("to_lf/absl/1MiB", [lf](benchmark::State& s) { runPeer(s, crlfText(), lf); });
    benchmark::RegisterBenchmark("trim_inside_spaces/absl/1MiB",
                                 [inside](benchmark::State& s) { runPeer(s, spacedText(), inside); });
    benchmark::RegisterBenchmark("indent/absl/1MiB", [indent](benchmark::State& s) { runPeer(s, lfText(), indent); });
  }
#endif
#ifdef SB_HAVE_BOOST
  {
    const auto crlf = [](const std::string& in) {
      std::string s = in;
      boost::replace_all(s, "\n", "\r\n");
      return s;
    };
    const auto lf = [](const std::string& in) {
      std::string s = in;
      boost::replace_all(s, "\r\n", "\n");
      return s;
    };
    const auto indent = [](const std::string& in) {
      std::string s = "  " + in;
      boost::replace_all(s, "\n", "\n  ");
      return s;
    };
    check(crlf(lfText()) == crlfText() && lf(crlfText()) == lfText(), "boost line endings");
    benchmark::RegisterBenchmark("to_crlf/boost/1MiB", [crlf](benchmark::State& s) { runPeer(s, lfText(), crlf); });
    benchmark::RegisterBenchmark("to_lf/boost/1MiB", [lf](benchmark::State& s) { runPeer(s, crlfText(), lf); });
    benchmark::RegisterBenchmark("indent/boost/1MiB", [indent](benchmark::State& s) { runPeer(s, lfText(), indent); });
  }
#endif
#ifdef SB_HAVE_QT
  {
    const auto toQt = [](const std::string& in) { return QByteArray(in.data(), static_cast<qsizetype>(in.size())); };
    const auto crlf = [toQt](const std::string& in) { return toQt(in).replace("\n", "\r\n"); };
    const auto lf = [toQt](const std::string& in) { return toQt(in).replace("\r\n", "\n"); };
    const auto inside = [toQt](const std::string& in) { return toQt(in).simplified(); };
    const auto indent = [toQt](const std::string& in) { return toQt(in).replace("\n", "\n  ").prepend("  "); };
    check(crlf(lfText()).toStdString() == crlfText(), "qt line endings");
    check(inside(spacedText()).toStdString() == ours(spacedText(), opTrimInside), "qt whitespace");
    benchmark::RegisterBenchmark("to_crlf/qt/1MiB", [crlf](benchmark::State& s) { runPeer(s, lfText(), crlf); });
    benchmark::RegisterBenchmark("to_lf/qt/1MiB", [lf](benchmark::State& s) { runPeer(s, crlfText(), lf); });
    benchmark::RegisterBenchmark("trim_inside_spaces/qt/1MiB",
                                 [inside](benchmark::State& s) { runPeer(s, spacedText(), inside); });
    benchmark::RegisterBenchmark("indent/qt/1MiB", [indent](benchmark::State& s) { runPeer(s, lfText(), indent); });
  }
#endif
  return 0;
}

const int kRegistered = registerAll();

}  // namespace
