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

// Window hashes for findNoCase: folded bytes read as digits in base 257,
// modulo the largest prime below 2^32, so every product fits in 64 bits.
constexpr uint64_t kHashPrime = 4294967291u;
constexpr uint64_t kHashBase = 257;

uint64_t foldedHash(const unsigned char* p, uint32_t m) {
  uint64_t h = 0;
  for (uint32_t i = 0; i < m; ++i) h = (h * kHashBase + kFold[p[i]]) % kHashPrime;
  return h;
}

// Weight of the oldest byte of an m-byte window: kHashBase^(m-1).
uint64_t leadWeight(uint32_t m) {
  uint64_t w = 1;
  for (uint32_t i = 1; i < m; ++i) w = w * kHashBase % kHashPrime;
  return w;
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
  // A rolling hash of each m-byte window picks the candidates and only
  // those are compared in full, so a near miss such as "aa...ab" against a
  // run of a's costs one pass rather than m comparisons per byte.
  const unsigned char* h = bytes(hay);
  const unsigned char* w = bytes(needle);
  const uint64_t want = foldedHash(w, m), lead = leadWeight(m);
  uint64_t window = foldedHash(h, m);
  for (uint32_t i = 0;; ++i) {
    if (window == want && equalFolded(h + i, w, m)) return hay + i;
    if (i == n - m) return nullptr;
    window = (window + kHashPrime - kFold[h[i]] * lead % kHashPrime) % kHashPrime;
    window = (window * kHashBase + kFold[h[i + m]]) % kHashPrime;
  }
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
