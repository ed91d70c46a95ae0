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

// Window hashes for the long-needle fallback of findNoCase: folded bytes
// read as digits in base 257, modulo the largest prime below 2^32, so every
// product fits in 64 bits.
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

const char* findNoCaseHashed(const char* hay, uint32_t n, const char* needle, uint32_t m) {
  // Only those windows whose hash matches are compared in full, so a near
  // miss such as "aa...ab" against a run of a's costs one pass.
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

// How common each byte is in the text we search: lower-case letters in
// English order, then digits and punctuation, upper case, and everything
// else (control bytes, bytes above 127) as rare. Only the ranking matters:
// the rarest needle byte is the one whose memchr stops least often.
constexpr std::array<uint8_t, 256> makeByteFrequency() {
  std::array<uint8_t, 256> f{};
  for (unsigned i = 0; i < 256; ++i) f[i] = 1;
  for (const char* p = ".,;:-_/\"'()=<>[]\t\r\n"; *p; ++p) f[static_cast<unsigned char>(*p)] = 35;
  for (unsigned c = '0'; c <= '9'; ++c) f[c] = 40;
  for (unsigned c = 'A'; c <= 'Z'; ++c) f[c] = 30;
  const char* common = " etaoinsrhldcumfpgwybvkxjqz";
  for (unsigned i = 0; common[i] != 0; ++i) f[static_cast<unsigned char>(common[i])] = static_cast<uint8_t>(250 - 7 * i);
  return f;
}
constexpr auto kFrequency = makeByteFrequency();

// Offset of the needle byte to look for with memchr. Only the first bytes
// are weighed: a long needle is rare anyway and its head is what we compare.
uint32_t rarestByte(const unsigned char* w, uint32_t m, bool noCase) {
  const uint32_t span = m < 64 ? m : 64;
  // Score and offset packed in one key, so the earliest of the rarest bytes
  // is a plain minimum and the loop has no branch to mispredict.
  uint32_t best = ~0u;
  for (uint32_t i = 0; i < span; ++i) {
    uint32_t score = kFrequency[w[i]];
    if (noCase) {
      const unsigned char lower = kFold[w[i]];
      score = kFrequency[lower] + (lower >= 'a' && lower <= 'z' ? kFrequency[lower - 32] : 0);
    }
    const uint32_t key = score << 8 | i;
    best = key < best ? key : best;
  }
  return best & 0xFF;
}

uint32_t load32(const char* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
uint64_t load64(const char* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}

constexpr uint32_t kShortText = 256;

// memcmp(a, b, m) == 0 without the call for the short needles most searches
// use: two overlapping loads cover any length from 4 to 16.
bool sameBytes(const char* a, const char* b, uint32_t m) {
  if (m >= 8 && m <= 16) return load64(a) == load64(b) && load64(a + m - 8) == load64(b + m - 8);
  if (m >= 4 && m < 8) return load32(a) == load32(b) && load32(a + m - 4) == load32(b + m - 4);
  if (m < 4) {
    for (uint32_t i = 0; i < m; ++i)
      if (a[i] != b[i]) return false;
    return true;
  }
  return std::memcmp(a, b, m) == 0;
}

// False starts are cheap while they are rare. Once the bytes compared in
// them outweigh the bytes skipped by memchr, the shape of the text is
// against us and the rest goes to a linear search instead.
struct FalseStartBudget {
  const char* origin;
  uint64_t spent = 0;
  bool exhausted(const char* at, uint32_t m) {
    spent += m;
    return spent > 4096 && spent > 4 * uint64_t(at - origin);
  }
};

// The linear case-insensitive search: folds the text block by block into a
// stack area and lets glibc's memmem (two-way, linear) search the folded
// bytes. Needles longer than kFoldedNeedle go to the rolling hash.
constexpr uint32_t kFoldedNeedle = 1024;
constexpr uint32_t kFoldedBlock = 8192;

const char* findNoCaseLinear(const char* hay, uint32_t n, const char* needle, uint32_t m) {
  if (n < m) return nullptr;
  if (m > kFoldedNeedle) return findNoCaseHashed(hay, n, needle, m);
  unsigned char foldedNeedle[kFoldedNeedle];
  unsigned char block[kFoldedBlock + kFoldedNeedle];
  for (uint32_t i = 0; i < m; ++i) foldedNeedle[i] = kFold[bytes(needle)[i]];
  const unsigned char* h = bytes(hay);
  for (uint32_t pos = 0;;) {
    const uint32_t len = n - pos < kFoldedBlock + m - 1 ? n - pos : kFoldedBlock + m - 1;
    for (uint32_t i = 0; i < len; ++i) block[i] = kFold[h[pos + i]];
    const void* hit = ::memmem(block, len, foldedNeedle, m);
    if (hit != nullptr) return hay + pos + (static_cast<const unsigned char*>(hit) - block);
    if (pos + len == n) return nullptr;
    pos += len - (m - 1);  // the last m - 1 bytes may start a match
  }
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
  if (m == 1) return static_cast<const char*>(std::memchr(hay, needle[0], n));
  // memchr for the needle's rarest byte, then one compare per candidate:
  // with a rare byte this runs at memchr's speed. glibc's memmem takes over
  // when the candidates come too thick.
  const uint32_t k = rarestByte(bytes(needle), m, false);
  const char c = needle[k];
  const char* p = hay + k;
  const char* last = hay + (n - m) + k;  // the last place the rare byte can be
  FalseStartBudget budget{hay};
  while (p <= last) {
    p = static_cast<const char*>(std::memchr(p, c, static_cast<size_t>(last - p) + 1));
    if (p == nullptr) return nullptr;
    const char* start = p - k;
    if (sameBytes(start, needle, m)) return start;
    if (budget.exhausted(p, m)) {
      const char* rest = start + 1;
      return static_cast<const char*>(::memmem(rest, static_cast<size_t>(hay + n - rest), needle, m));
    }
    ++p;
  }
  return nullptr;
}

const char* TextSearch::findInText(const char* text, uint32_t n, const char* needle) {
  if (needle == nullptr || *needle == 0) return text;
  if (text == nullptr) return nullptr;
  // The needle's length and its rarest byte come from one walk over its
  // head; only a needle longer than that head needs strlen for the rest.
  // A text of a few cache lines is cheaper to search from the needle's
  // first byte than to rank the needle's bytes first.
  const unsigned char* w = bytes(needle);
  uint32_t best = ~0u, m = 0;
  if (n <= kShortText) {
    best = 0;
    m = static_cast<uint32_t>(std::strlen(needle));
  } else {
    for (; m < 64 && w[m] != 0; ++m) {
      const uint32_t key = uint32_t(kFrequency[w[m]]) << 8 | m;
      best = key < best ? key : best;
    }
    if (m == 64) m += static_cast<uint32_t>(std::strlen(needle + 64));
  }
  if (m > n) return nullptr;
  // strchr stops at the rare byte or at the terminator, whichever comes
  // first: the one pass both finds candidates and proves there is no zero
  // byte before them. It starts at the text itself so that the bytes before
  // the rare byte's first possible place are covered too; a rare byte there
  // costs one skipped candidate.
  const uint32_t k = best & 0xFF;
  const char c = needle[k];
  const char* p = text;
  const char* first = text + k;
  const char* last = text + (n - m) + k;
  FalseStartBudget budget{text};
  for (;;) {
    p = std::strchr(p, c);
    if (p == nullptr || p > last) return nullptr;
    if (p < first) {
      ++p;
      continue;
    }
    const char* start = p - k;
    if (sameBytes(start, needle, m)) return start;
    if (budget.exhausted(p, m)) {
      const char* rest = start + 1;
      const char* hit = static_cast<const char*>(::memmem(rest, static_cast<size_t>(text + n - rest), needle, m));
      if (hit == nullptr || std::memchr(rest, 0, static_cast<size_t>(hit - rest)) != nullptr) return nullptr;
      return hit;
    }
    ++p;
  }
}

const char* TextSearch::findNoCase(const char* hay, uint32_t n, const char* needle, uint32_t m) {
  if (m == 0) return hay;
  if (hay == nullptr || needle == nullptr || m > n) return nullptr;
  // Candidates are the places of one needle byte in either case, found with
  // memchr; the next place of each case is kept, so the text is read by
  // memchr once. Each candidate gets one folded compare; the folded linear
  // search takes over when false starts pile up.
  const uint32_t k = rarestByte(bytes(needle), m, true);
  const unsigned char lower = kFold[bytes(needle)[k]];
  const unsigned char upper = lower >= 'a' && lower <= 'z' ? static_cast<unsigned char>(lower - 32) : lower;
  const char* last = hay + (n - m) + k;
  const char* p = hay + k;
  auto next = [&last](const char* from, unsigned char c) -> const char* {
    if (from > last) return nullptr;
    return static_cast<const char*>(std::memchr(from, c, static_cast<size_t>(last - from) + 1));
  };
  const char* nextLower = next(p, lower);
  const char* nextUpper = lower == upper ? nullptr : next(p, upper);
  FalseStartBudget budget{hay};
  for (;;) {
    if (nextLower == nullptr && nextUpper == nullptr) return nullptr;
    const bool takeLower = nextUpper == nullptr || (nextLower != nullptr && nextLower < nextUpper);
    p = takeLower ? nextLower : nextUpper;
    const char* start = p - k;
    if (equalFolded(bytes(start), bytes(needle), m)) return start;
    if (budget.exhausted(p, m)) {
      const char* rest = start + 1;
      const char* hit = findNoCaseLinear(rest, static_cast<uint32_t>(hay + n - rest), needle, m);
      return hit;
    }
    if (takeLower)
      nextLower = next(p + 1, lower);
    else
      nextUpper = next(p + 1, upper);
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
