// Many small appends into a reused buffer: the path every other operation
// takes, beside std::string and absl::StrAppend.
#include <string>

#include "bench_common.h"
#include "core/StringBuffer.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/str_cat.h>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#endif

namespace {

using namespace sbbench;

// Words of 1 to 8 bytes and single characters, alternating, n bytes in all.
constexpr const char* kWords[] = {"a", "to", "the", "word", "fifth", "sixths", "seventh", "eighthly"};

void addAppends(size_t n) {
  add("append_small", "ours", n, [n](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      for (unsigned i = 0; sb.getSize() < n; ++i) {
        sb.append(kWords[i & 7]);
        sb.appendChar(' ');
      }
      benchmark::DoNotOptimize(sb.getString());
    }
  });
  add("append_small", "std", n, [n](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      for (unsigned i = 0; s.size() < n; ++i) {
        s += kWords[i & 7];
        s += ' ';
      }
      benchmark::DoNotOptimize(s.data());
    }
  });
#ifdef SB_HAVE_ABSL
  add("append_small", "absl", n, [n](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      for (unsigned i = 0; s.size() < n; ++i) absl::StrAppend(&s, kWords[i & 7], " ");
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add("append_small", "qt", n, [n](benchmark::State& st) {
    QByteArray s;
    for (auto _ : st) {
      s.clear();
      for (unsigned i = 0; size_t(s.size()) < n; ++i) {
        s.append(kWords[i & 7]);
        s.append(' ');
      }
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
}

const bool registered = [] {
  for (size_t n : kSizes) addAppends(n);
  return true;
}();

}  // namespace
