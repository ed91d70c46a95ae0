// Case folding, substring search and wildcard matching over byte strings.
#include "lib/TextSearch.h"

#include <array>
#include <cstring>

namespace {

constexpr std::array<unsigned char, 256> makeAsciiFold() {
  std::array<unsigned char, 256> t{};
  for (unsigned i = 0; i < 256; ++i) t[i] = static_cast<unsigned char>(i);
  for (unsigned i = 'A'; i <= 'Z'; ++i) t[i] = static_cast<unsigned char>(i + 32);
  return t;
}
constexpr auto kFold = makeAsciiFold();

const unsigned char* bytes(const char* p) { return reinterpret_cast<const unsigned char*>(p); }

bool equalFolded(const unsigned char* a, const unsigned char* b, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    if (kFold[a[i]] != kFold[b[i]]) return false;
  }
  return true;
}

// Next byte in [p, p + n) whose fold is `folded`. Bytes without a case
// partner go through memchr; letters need a look at both cases, which a
// table test does in one linear pass (two memchr calls could rescan).
const unsigned char* nextFolded(const unsigned char* p, uint32_t n, unsigned char folded) {
  if (folded < 'a' || folded > 'z') return static_cast<const unsigned char*>(std::memchr(p, folded, n));
  for (uint32_t i = 0; i < n; ++i) {
    if (kFold[p[i]] == folded) return p + i;
  }
  return nullptr;
}

bool sameByte(unsigned char a, unsigned char b, bool caseSensitive) {
  return a == b || (!caseSensitive && kFold[a] == kFold[b]);
}

}  // namespace

unsigned char TextSearch::foldAscii(unsigned char c) { return kFold[c]; }

int TextSearch::compareNoCase(const char* a, const char* b) {
  const unsigned char* x = bytes(a != nullptr ? a : "");
  const unsigned char* y = bytes(b != nullptr ? b : "");
  for (;; ++x, ++y) {
    const int d = kFold[*x] - kFold[*y];
    if (d != 0 || *x == 0) return d;
  }
}

int TextSearch::compareNoCaseN(const char* a, const char* b, uint32_t n) {
  const unsigned char* x = bytes(a != nullptr ? a : "");
  const unsigned char* y = bytes(b != nullptr ? b : "");
  for (; n != 0; --n, ++x, ++y) {
    const int d = kFold[*x] - kFold[*y];
    if (d != 0 || *x == 0) return d;
  }
  return 0;
}

const char* TextSearch::find(const char* hay, uint32_t n, const char* needle, uint32_t m) {
  if (m == 0) return hay;
  if (hay == nullptr || needle == nullptr || m > n) return nullptr;
  return static_cast<const char*>(::memmem(hay, n, needle, m));
}

const char* TextSearch::findNoCase(const char* hay, uint32_t n, const char* needle, uint32_t m) {
  if (m == 0) return hay;
  if (hay == nullptr || needle == nullptr || m > n) return nullptr;
  const unsigned char* h = bytes(hay);
  const unsigned char* w = bytes(needle);
  const unsigned char first = kFold[w[0]];
  const uint32_t lastStart = n - m;
  for (uint32_t i = 0; i <= lastStart;) {
    const unsigned char* c = nextFolded(h + i, lastStart - i + 1, first);
    if (c == nullptr) return nullptr;
    if (equalFolded(c + 1, w + 1, m - 1)) return hay + (c - h);
    i = static_cast<uint32_t>(c - h) + 1;
  }
  return nullptr;
}

const char* TextSearch::findNoCase(const char* hay, const char* needle) {
  if (hay == nullptr || needle == nullptr) return nullptr;
  return findNoCase(hay, static_cast<uint32_t>(std::strlen(hay)), needle,
                    static_cast<uint32_t>(std::strlen(needle)));
}

const char* TextSearch::findBounded(const char* text, const char* needle, uint32_t n) {
  if (text == nullptr || needle == nullptr) return nullptr;
  const void* zero = std::memchr(text, 0, n);
  const uint32_t span = zero != nullptr ? static_cast<uint32_t>(static_cast<const char*>(zero) - text) : n;
  return find(text, span, needle, static_cast<uint32_t>(std::strlen(needle)));
}

bool TextSearch::wildcardMatch(const char* text, const char* pattern, bool caseSensitive) {
  if (pattern == nullptr) return false;
  const unsigned char* t = bytes(text != nullptr ? text : "");
  const unsigned char* p = bytes(pattern);
  // Greedy walk that remembers the last '*': on a mismatch the star takes
  // one more text byte and the rest of the pattern is tried again from
  // there. Earlier stars never need revisiting, which keeps this polynomial.
  const unsigned char* starPattern = nullptr;
  const unsigned char* starText = nullptr;
  while (*t != 0) {
    if (*p == '*') {
      starPattern = ++p;
      starText = t;
    } else if (*p != 0 && (*p == '?' || sameByte(*p, *t, caseSensitive))) {
      ++p;
      ++t;
    } else if (starPattern != nullptr) {
      p = starPattern;
      t = ++starText;
    } else {
      return false;
    }
  }
  while (*p == '*') ++p;
  return *p == 0;
}
