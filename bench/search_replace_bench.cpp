// Substring search (rare and common first byte, case-insensitive, worst
// shapes), replace-all with many matches, and trimming, beside the peers.
#include <strings.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "bench_common.h"
#include "core/StringBuffer.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/match.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/ascii.h>
#endif
#ifdef SB_HAVE_BOOST
#include <boost/algorithm/string.hpp>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#include <QString>
#endif
#ifdef SB_HAVE_POCO
#include <Poco/String.h>
#endif

namespace {

using namespace sbbench;

// Search families: the needle sits at the very end, so every candidate scans
// the whole input.
void addFind(const std::string& family, size_t n, const std::string& hay, const std::string& needle,
             bool allPeers = true) {
  auto sb = std::make_shared<StringBuffer>(hay.c_str());
  const int want = int(hay.size() - needle.size());
  expectSame(family + " ours", sb->indexOf(needle.c_str()) == want);
  add(family, "ours", n, [sb, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(sb->indexOf(needle.c_str()));
  });
  add(family, "glibc", n, [hay, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(memmem(hay.data(), hay.size(), needle.data(), needle.size()));
  });
  if (!allPeers) return;
  add(family, "std", n, [hay, needle](benchmark::State& st) {
    const std::string_view h(hay);
    for (auto _ : st) benchmark::DoNotOptimize(h.find(needle));
  });
#ifdef SB_HAVE_ABSL
  add(family, "absl", n, [hay, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(absl::StrContains(hay, needle));
  });
#endif
#ifdef SB_HAVE_QT
  add(family, "qt", n, [hay, needle](benchmark::State& st) {
    const QByteArray h = QByteArray::fromStdString(hay), w = QByteArray::fromStdString(needle);
    expectSame("qt find", h.indexOf(w) == qsizetype(hay.size() - needle.size()));
    for (auto _ : st) benchmark::DoNotOptimize(h.indexOf(w));
  });
#endif
}

void addFindNoCase(const std::string& family, size_t n, const std::string& hay, const std::string& needle,
                   bool allPeers) {
  auto sb = std::make_shared<StringBuffer>(hay.c_str());
  const int want = int(hay.size() - needle.size());
  expectSame(family + " ours", sb->indexOfNoCase(needle.c_str()) == want);
  expectSame(family + " strcasestr", strcasestr(hay.c_str(), needle.c_str()) == hay.c_str() + want);
  add(family, "ours", n, [sb, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(sb->indexOfNoCase(needle.c_str()));
  });
  add(family, "glibc", n, [hay, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(strcasestr(hay.c_str(), needle.c_str()));
  });
  if (!allPeers) return;
#ifdef SB_HAVE_BOOST
  add(family, "boost", n, [hay, needle](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(boost::algorithm::ifind_first(hay, needle).begin());
  });
#endif
#ifdef SB_HAVE_QT
  add(family, "qt", n, [hay, needle](benchmark::State& st) {
    const QString h = QString::fromStdString(hay), w = QString::fromStdString(needle);
    for (auto _ : st) benchmark::DoNotOptimize(h.indexOf(w, 0, Qt::CaseInsensitive));
  });
#endif
}

// Replace every "the" (two in each 60 bytes) by a longer text.
void addReplaceAll(size_t n) {
  const std::string text = prose(n);
  const char* find = "the";
  const char* with = "THE!";
  std::string expected;
  {
    StringBuffer sb(text.c_str());
    sb.replaceAllOccurances(find, with);
    expected = sb.getString();
  }
  add("replace_all", "ours", n, [text, find, with](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      sb.appendN(text.data(), unsigned(text.size()));
      benchmark::DoNotOptimize(sb.replaceAllOccurances(find, with));
    }
  });
#ifdef SB_HAVE_ABSL
  expectSame("replace_all absl", absl::StrReplaceAll(text, {{find, with}}) == expected);
  add("replace_all", "absl", n, [text, find, with](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(absl::StrReplaceAll(text, {{find, with}}));
  });
#endif
#ifdef SB_HAVE_BOOST
  add("replace_all", "boost", n, [text, find, with, expected](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s = text;
      boost::replace_all(s, find, with);
      benchmark::DoNotOptimize(s.data());
    }
    expectSame("replace_all boost", s == expected);
  });
#endif
#ifdef SB_HAVE_QT
  add("replace_all", "qt", n, [text, find, with, expected](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(text);
    QByteArray s;
    for (auto _ : st) {
      s = source;
      s.replace(find, with);
      benchmark::DoNotOptimize(s.data());
    }
    expectSame("replace_all qt", s.toStdString() == expected);
  });
#endif
#ifdef SB_HAVE_POCO
  expectSame("replace_all poco", Poco::replace(text, std::string(find), std::string(with)) == expected);
  add("replace_all", "poco", n, [text, find, with](benchmark::State& st) {
    const std::string f(find), w(with);
    for (auto _ : st) benchmark::DoNotOptimize(Poco::replace(text, f, w));
  });
#endif
}

// White space at both ends; every candidate trims a fresh copy in place.
void addTrim(size_t n) {
  const std::string core = prose(n - 8);
  const std::string text = " \t  " + core + " \r\n ";
  add("trim", "ours", n, [text, core](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      sb.appendN(text.data(), unsigned(text.size()));
      benchmark::DoNotOptimize(sb.trim2());
    }
    expectSame("trim ours", sb.getString() == core);
  });
#ifdef SB_HAVE_ABSL
  add("trim", "absl", n, [text, core](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.assign(text);
      absl::StripAsciiWhitespace(&s);
      benchmark::DoNotOptimize(s.data());
    }
    expectSame("trim absl", s == core);
  });
#endif
#ifdef SB_HAVE_BOOST
  add("trim", "boost", n, [text](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.assign(text);
      boost::trim(s);
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add("trim", "qt", n, [text](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(text);
    for (auto _ : st) benchmark::DoNotOptimize(source.trimmed());
  });
#endif
#ifdef SB_HAVE_POCO
  add("trim", "poco", n, [text](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.assign(text);
      Poco::trimInPlace(s);
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
}

const bool registered = [] {
  for (size_t n : kSizes) {
    addFind("find_rare_first", n, proseEndingWith(n, "Zebra!"), "Zebra!");
    addFind("find_common_first", n, proseEndingWith(n, "the lazy cat"), "the lazy cat");
    addFindNoCase("find_nocase", n, proseEndingWith(n, "THE LAZY CAT"), "The Lazy Cat", true);
    addReplaceAll(n);
    addTrim(n);
  }
  // The shapes that make a naive search quadratic: a near-miss needle over a
  // run of its own first byte. Only linear peers are worth measuring here.
  const std::string needle = std::string(1000, 'a') + "b";
  addFind("find_worst", k1MiB, std::string(k1MiB - needle.size(), 'a') + needle, needle, false);
  addFindNoCase("find_nocase_worst", k1MiB, std::string(k1MiB - needle.size(), 'a') + needle,
                std::string(1000, 'A') + "B", false);
  return true;
}();

}  // namespace
