// UTF-8 validation and decoding by one lead-byte table, and the UTF-16 /
// UTF-32 steps that the JSON decoder and the code-page converter build on.
#include "lib/_tvUtf.h"

#include <array>
#include <cstring>

#include "lib/DataBuffer.h"

namespace {

// What a lead byte promises: the sequence length (0: cannot lead) and the
// range its second byte must lie in. The narrowed ranges after E0, ED, F0
// and F4 are what rule out overlong forms, surrogates and values above
// U+10FFFF without decoding anything.
struct Lead {
  uint8_t length, low, high;
};

constexpr std::array<Lead, 256> leadTable() {
  std::array<Lead, 256> t{};
  for (int b = 0; b < 0x80; ++b) t[b] = {1, 0, 0};
  for (int b = 0xC2; b <= 0xDF; ++b) t[b] = {2, 0x80, 0xBF};
  for (int b = 0xE0; b <= 0xEF; ++b) t[b] = {3, 0x80, 0xBF};
  t[0xE0].low = 0xA0;
  t[0xED].high = 0x9F;
  for (int b = 0xF0; b <= 0xF4; ++b) t[b] = {4, 0x80, 0xBF};
  t[0xF0].low = 0x90;
  t[0xF4].high = 0x8F;
  return t;
}
constexpr auto kLead = leadTable();

constexpr uint64_t kHighBits = 0x8080808080808080ULL;

// The same rules as a shift automaton for stretches of mixed text: each
// state is a bit offset (a multiple of 6), and the row of a byte holds, at
// each state's offset, the offset of the state that byte leads to. One load
// that does not depend on the state and one shift per byte, no branch.
enum DfaState : uint8_t {
  kAccept = 0,
  kError = 6,
  kTail1 = 12,     // one continuation byte to go
  kTail2 = 18,     // two to go
  kTail3 = 24,     // three to go
  kAfterE0 = 30,   // A0..BF next (no overlong three-byte form)
  kAfterED = 36,   // 80..9F next (no surrogate)
  kAfterF0 = 42,   // 90..BF next (no overlong four-byte form)
  kAfterF4 = 48,   // 80..8F next (nothing above U+10FFFF)
};

constexpr uint8_t dfaNext(uint8_t state, int b, bool surrogatesPass) {
  const bool trail = b >= 0x80 && b <= 0xBF;
  switch (state) {
    case kAccept:
      if (b < 0x80) return kAccept;
      if (b >= 0xC2 && b <= 0xDF) return kTail1;
      if (b == 0xE0) return kAfterE0;
      if (b == 0xED) return surrogatesPass ? kTail2 : kAfterED;
      if (b >= 0xE1 && b <= 0xEF) return kTail2;
      if (b == 0xF0) return kAfterF0;
      if (b >= 0xF1 && b <= 0xF3) return kTail3;
      if (b == 0xF4) return kAfterF4;
      return kError;
    case kTail1: return trail ? kAccept : kError;
    case kTail2: return trail ? kTail1 : kError;
    case kTail3: return trail ? kTail2 : kError;
    case kAfterE0: return b >= 0xA0 && b <= 0xBF ? kTail1 : kError;
    case kAfterED: return b >= 0x80 && b <= 0x9F ? kTail1 : kError;
    case kAfterF0: return b >= 0x90 && b <= 0xBF ? kTail2 : kError;
    case kAfterF4: return b >= 0x80 && b <= 0x8F ? kTail2 : kError;
    default: return kError;
  }
}

constexpr std::array<uint64_t, 256> dfaRows(bool surrogatesPass) {
  std::array<uint64_t, 256> rows{};
  for (int b = 0; b < 256; ++b)
    for (uint8_t s = 0; s <= kAfterF4; s += 6) rows[b] |= uint64_t(dfaNext(s, b, surrogatesPass)) << s;
  return rows;
}
constexpr auto kDfaStrict = dfaRows(false);
constexpr auto kDfaSurrogates = dfaRows(true);

inline uint64_t load64(const unsigned char* p) {
  uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

inline bool isTrail(unsigned char c) { return (c & 0xC0) == 0x80; }

inline void putLe32(unsigned char* out, uint32_t v) {
  out[0] = static_cast<unsigned char>(v);
  out[1] = static_cast<unsigned char>(v >> 8);
  out[2] = static_cast<unsigned char>(v >> 16);
  out[3] = static_cast<unsigned char>(v >> 24);
}

}  // namespace

bool _tvUtf::isValidUtf8(const unsigned char* data, unsigned int n, unsigned int flags) {
  if (n == 0) return true;
  if (data == nullptr) return false;
  const uint64_t* rows = (flags & kAcceptSurrogates) != 0 ? kDfaSurrogates.data() : kDfaStrict.data();
  const unsigned char* p = data;
  const unsigned char* const end = data + n;
  uint64_t state = kAccept;
  while (end - p >= 8) {
    // Between characters, ASCII is skipped a word (or four) at a time.
    if (state == kAccept) {
      while (end - p >= 32 && ((load64(p) | load64(p + 8) | load64(p + 16) | load64(p + 24)) & kHighBits) == 0)
        p += 32;
      if (end - p < 8) break;
      if ((load64(p) & kHighBits) == 0) {
        p += 8;
        continue;
      }
    }
    for (int k = 0; k < 8; ++k) state = rows[p[k]] >> (state & 63);
    state &= 63;
    if (state == kError) return false;
    p += 8;
  }
  for (; p < end; ++p) state = rows[*p] >> (state & 63);
  return (state & 63) == kAccept;
}

unsigned int _tvUtf::decodeUtf8(const unsigned char* p, const unsigned char* end, uint32_t& codePoint) {
  const Lead lead = kLead[*p];
  if (lead.length == 1) {
    codePoint = *p;
    return 1;
  }
  codePoint = kInvalid;
  if (lead.length == 0) return 1;
  if (end - p < 2 || p[1] < lead.low || p[1] > lead.high) return 1;
  if (lead.length == 2) {
    codePoint = uint32_t(p[0] & 0x1F) << 6 | (p[1] & 0x3F);
    return 2;
  }
  if (end - p < 3 || !isTrail(p[2])) return 2;
  if (lead.length == 3) {
    codePoint = uint32_t(p[0] & 0x0F) << 12 | uint32_t(p[1] & 0x3F) << 6 | (p[2] & 0x3F);
    return 3;
  }
  if (end - p < 4 || !isTrail(p[3])) return 3;
  codePoint = uint32_t(p[0] & 0x07) << 18 | uint32_t(p[1] & 0x3F) << 12 | uint32_t(p[2] & 0x3F) << 6 |
              (p[3] & 0x3F);
  return 4;
}

void _tvUtf::codePointToUtf8(unsigned int codePoint, char* out, unsigned int& numBytes) {
  // Note: surrogates are written, not replaced: a JSON text may carry a lone
  // "\ud800" and its decoder keeps it as the three bytes ED A0 80.
  if (codePoint > 0x10FFFF) codePoint = kReplacement;
  numBytes = encodeUtf8(codePoint, reinterpret_cast<unsigned char*>(out));
}

bool _tvUtf::utf16ToCodePoints(const DataBuffer& in, DataBuffer& out, LogBase&) {
  const unsigned int n = in.getSize();
  if (n == 0) return true;
  const unsigned char* p = in.getData2();
  const unsigned int units = (n + 1) / 2;
  unsigned char* w = out.reserveTail(units * 4u);
  if (w == nullptr || units > 0x3FFFFFFF) return false;
  unsigned char* const start = w;
  bool clean = true;
  unsigned int i = 0;
  for (; i + 1 < n; i += 2) {
    uint32_t unit = uint32_t(p[i]) | uint32_t(p[i + 1]) << 8;
    if (unit >= 0xD800 && unit <= 0xDFFF) {
      const bool high = unit < 0xDC00;
      uint32_t next = 0;
      if (high && i + 3 < n) next = uint32_t(p[i + 2]) | uint32_t(p[i + 3]) << 8;
      if (high && next >= 0xDC00 && next <= 0xDFFF) {
        unit = 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
        i += 2;
      } else {
        unit = kReplacement;
        clean = false;
      }
    }
    putLe32(w, unit);
    w += 4;
  }
  if (i < n) {  // an odd last byte
    putLe32(w, kReplacement);
    w += 4;
    clean = false;
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return clean;
}

bool _tvUtf::codePointsToUtf8(const DataBuffer& in, DataBuffer& out, LogBase&) {
  const unsigned int n = in.getSize();
  if (n == 0) return true;
  const unsigned char* p = in.getData2();
  // Four UTF-8 bytes at most per four-byte unit, and three for a broken tail.
  unsigned char* w = out.reserveTail(n + 3);
  if (w == nullptr) return false;
  unsigned char* const start = w;
  bool clean = true;
  unsigned int i = 0;
  for (; i + 3 < n; i += 4) {
    uint32_t cp = uint32_t(p[i]) | uint32_t(p[i + 1]) << 8 | uint32_t(p[i + 2]) << 16 | uint32_t(p[i + 3]) << 24;
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      cp = kReplacement;
      clean = false;
    }
    w += encodeUtf8(cp, w);
  }
  if (i < n) {
    w += encodeUtf8(kReplacement, w);
    clean = false;
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return clean;
}
