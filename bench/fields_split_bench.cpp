// Delimited fields, splitting by a character and tokenizing, beside a naive
// find loop and the peers' splitters into vectors of strings.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench_common.h"
#include "core/StringBuffer.h"
#include "lib/ExtPtrArray.h"
#include "lib/StringBufferArray.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/str_split.h>
#endif
#ifdef SB_HAVE_BOOST
#include <boost/algorithm/string.hpp>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#include <QList>
#endif
#ifdef SB_HAVE_POCO
#include <Poco/StringTokenizer.h>
#endif

namespace {

using namespace sbbench;

// What a user writes without a record library: find the index-th comma.
std::string_view naiveField(std::string_view s, unsigned index) {
  size_t start = 0;
  for (unsigned i = 0; i < index; ++i) {
    start = s.find(',', start);
    if (start == std::string_view::npos) return {};
    ++start;
  }
  const size_t end = s.find(',', start);
  return s.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
}

unsigned commas(const std::string& s) {
  unsigned n = 0;
  for (char c : s) n += c == ',';
  return n;
}

// Field 1 of a short record, the last field of a long one.
unsigned fieldFor(size_t n, const std::string& record) { return n == k64B ? 1 : commas(record); }

void addGetField(size_t n) {
  const std::string record = csv(n);
  const unsigned index = fieldFor(n, record);
  auto sb = std::make_shared<StringBuffer>(record.c_str());
  {
    StringBuffer out;
    sb->getNthDelimited(index, ',', false, false, out);
    expectSame("fields_get", naiveField(record, index) == out.getString());
  }
  add("fields_get", "ours", n, [sb, index](benchmark::State& st) {
    StringBuffer out;
    for (auto _ : st) benchmark::DoNotOptimize(sb->getNthDelimited(index, ',', false, false, out));
  });
  add("fields_get", "naive", n, [record, index](benchmark::State& st) {
    std::string out;
    for (auto _ : st) {
      out.assign(naiveField(record, index));
      benchmark::DoNotOptimize(out.data());
    }
  });
}

void addSetField(size_t n) {
  const std::string record = csv(n);
  const unsigned index = fieldFor(n, record);
  const std::string value = "replaced";
  std::string expected = record;
  {
    const std::string_view old = naiveField(record, index);
    expected.replace(size_t(old.data() - record.data()), old.size(), value);
    StringBuffer sb(record.c_str());
    sb.setNthDelimited(index, ',', false, false, StringBuffer(value.c_str()));
    expectSame("fields_set", expected == sb.getString());
  }
  // Setting the same value again does the same work every time.
  add("fields_set", "ours", n, [record, index, value](benchmark::State& st) {
    StringBuffer sb(record.c_str());
    const StringBuffer v(value.c_str());
    for (auto _ : st) benchmark::DoNotOptimize(sb.setNthDelimited(index, ',', false, false, v));
  });
  add("fields_set", "naive", n, [record, index, value](benchmark::State& st) {
    std::string s = record;
    for (auto _ : st) {
      const std::string_view old = naiveField(s, index);
      s.replace(size_t(old.data() - s.data()), old.size(), value);
      benchmark::DoNotOptimize(s.data());
    }
  });
}

void addSplit(size_t n) {
  const std::string record = csv(n);
  auto sb = std::make_shared<StringBuffer>(record.c_str());
  const int pieces = int(commas(record)) + 1;
  add("split_char", "ours", n, [sb, pieces](benchmark::State& st) {
    for (auto _ : st) {
      StringBufferArray list;
      sb->split(list, ',', false, false);
      benchmark::DoNotOptimize(list.getSize());
    }
    StringBufferArray list;
    sb->split(list, ',', false, false);
    expectSame("split_char", list.getSize() == pieces);
  });
#ifdef SB_HAVE_ABSL
  add("split_char", "absl", n, [record, pieces](benchmark::State& st) {
    for (auto _ : st) {
      std::vector<std::string> v = absl::StrSplit(record, ',');
      benchmark::DoNotOptimize(v.data());
    }
    std::vector<std::string> v = absl::StrSplit(record, ',');
    expectSame("split_char absl", int(v.size()) == pieces);
  });
#endif
#ifdef SB_HAVE_BOOST
  add("split_char", "boost", n, [record](benchmark::State& st) {
    for (auto _ : st) {
      std::vector<std::string> v;
      boost::split(v, record, [](char c) { return c == ','; });
      benchmark::DoNotOptimize(v.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add("split_char", "qt", n, [record](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(record);
    for (auto _ : st) benchmark::DoNotOptimize(source.split(','));
  });
#endif
#ifdef SB_HAVE_POCO
  add("split_char", "poco", n, [record](benchmark::State& st) {
    for (auto _ : st) {
      Poco::StringTokenizer t(record, ",");
      benchmark::DoNotOptimize(t.count());
    }
  });
#endif
}

// Words at white space, no separators of their own: a run of white space
// makes no empty token, as with the peers' skip-empty splitting.
void addTokenize(size_t n) {
  const std::string text = prose(n);
  auto sb = std::make_shared<StringBuffer>(text.c_str());
  add("tokenize", "ours", n, [sb](benchmark::State& st) {
    for (auto _ : st) {
      ExtPtrArray list;
      sb->tokenize(list, "");
      benchmark::DoNotOptimize(list.getSize());
    }
  });
#ifdef SB_HAVE_ABSL
  {
    ExtPtrArray list;
    sb->tokenize(list, "");
    std::vector<std::string> v = absl::StrSplit(text, absl::ByAnyChar(" \t\r\n"), absl::SkipEmpty());
    expectSame("tokenize absl", int(v.size()) == list.getSize());
  }
  add("tokenize", "absl", n, [text](benchmark::State& st) {
    for (auto _ : st) {
      std::vector<std::string> v = absl::StrSplit(text, absl::ByAnyChar(" \t\r\n"), absl::SkipEmpty());
      benchmark::DoNotOptimize(v.data());
    }
  });
#endif
#ifdef SB_HAVE_BOOST
  add("tokenize", "boost", n, [text](benchmark::State& st) {
    for (auto _ : st) {
      std::vector<std::string> v;
      boost::split(v, text, boost::is_any_of(" \t\r\n"), boost::token_compress_on);
      benchmark::DoNotOptimize(v.data());
    }
  });
#endif
#ifdef SB_HAVE_POCO
  add("tokenize", "poco", n, [text](benchmark::State& st) {
    for (auto _ : st) {
      Poco::StringTokenizer t(text, " \t\r\n", Poco::StringTokenizer::TOK_IGNORE_EMPTY);
      benchmark::DoNotOptimize(t.count());
    }
  });
#endif
}

const bool registered = [] {
  for (size_t n : kSizes) {
    addGetField(n);
    addSetField(n);
    addSplit(n);
    addTokenize(n);
  }
  return true;
}();

}  // namespace
