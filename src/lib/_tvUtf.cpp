// UTF-8 validation and decoding by one lead-byte table, and the UTF-16 /
// UTF-32 steps that the JSON decoder and the code-page converter build on.
#include "lib/_tvUtf.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#endif

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

// The automaton walk: short inputs, CPUs without AVX2, other compilers.
bool validateScalar(const unsigned char* p, const unsigned char* const end, unsigned int flags) {
  const uint64_t* rows = (flags & _tvUtf::kAcceptSurrogates) != 0 ? kDfaSurrogates.data() : kDfaStrict.data();
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

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TV_UTF_SIMD 1

// The vector validators: three 16-entry lookups (pshufb) per block. The
// high nibble of the previous byte, its low nibble and the high nibble of
// the current byte each give the set of errors the pair could be part of;
// a bit that survives all three is a real error. What a pair cannot see (a
// third or fourth byte where none is due, or one missing) is settled by
// comparing where continuation follows continuation with where a lead two
// or three bytes back asks for one.
constexpr uint8_t kTooShort = 1 << 0;      // lead, then no continuation
constexpr uint8_t kTooLong = 1 << 1;       // ASCII, then a continuation
constexpr uint8_t kOverlong3 = 1 << 2;     // E0 80..9F
constexpr uint8_t kTooLarge = 1 << 3;      // F4 90..BF, F5..FF
constexpr uint8_t kSurrogate = 1 << 4;     // ED A0..BF
constexpr uint8_t kOverlong2 = 1 << 5;     // C0, C1
constexpr uint8_t kTooLarge1000 = 1 << 6;  // F5..FF 80..8F
constexpr uint8_t kOverlong4 = 1 << 6;     // F0 80..8F
constexpr uint8_t kTwoConts = 1 << 7;      // continuation, then continuation
constexpr uint8_t kCarry = kTooShort | kTooLong | kTwoConts;
constexpr uint8_t kLarge = kCarry | kTooLarge | kTooLarge1000;
constexpr uint8_t kCont = kTooLong | kOverlong2 | kTwoConts;

// Indexed by the previous byte's high nibble; the second row lacks the
// surrogate bit, which is all it takes to let ED A0..BF pass.
alignas(16) constexpr uint8_t kByte1High[2][16] = {
    {kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTwoConts, kTwoConts, kTwoConts,
     kTwoConts, kTooShort | kOverlong2, kTooShort, kTooShort | kOverlong3 | kSurrogate,
     kTooShort | kTooLarge | kTooLarge1000 | kOverlong4},
    {kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTwoConts, kTwoConts, kTwoConts,
     kTwoConts, kTooShort | kOverlong2, kTooShort, kTooShort | kOverlong3,
     kTooShort | kTooLarge | kTooLarge1000 | kOverlong4}};
// By the previous byte's low nibble.
alignas(16) constexpr uint8_t kByte1Low[16] = {
    kCarry | kOverlong3 | kOverlong2 | kOverlong4, kCarry | kOverlong2, kCarry, kCarry, kCarry | kTooLarge, kLarge,
    kLarge, kLarge, kLarge, kLarge, kLarge, kLarge, kLarge, kLarge | kSurrogate, kLarge, kLarge};
// By the current byte's high nibble.
alignas(16) constexpr uint8_t kByte2High[16] = {
    kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort,
    kCont | kOverlong3 | kTooLarge1000 | kOverlong4, kCont | kOverlong3 | kTooLarge, kCont | kSurrogate | kTooLarge,
    kCont | kSurrogate | kTooLarge, kTooShort, kTooShort, kTooShort, kTooShort};
// Subtracted with saturation from a block's last bytes: non-zero where a
// character has not ended by the block's end. A 32-byte block uses the
// second half.
alignas(64) constexpr uint8_t kUnfinished[64] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0 - 1, 0xE0 - 1, 0xC0 - 1};

// Both validators take two vectors a step and test for errors once a
// kilobyte (a long invalid text still stops early). The last bytes, fewer
// than a step, go to avx2::tail, which reads nothing outside the text:
// zero-padding them into a local copy would cost a store-forwarding stall
// on every short call.
#define TV_VALIDATE_BODY(V, kStep, zero)                                                                             \
  V before = zero, pending = zero, error = zero;                                                                    \
  while (end - p >= (kStep)) {                                                                                      \
    const std::ptrdiff_t steps = (end - p) / (kStep) < 16 ? (end - p) / (kStep) : 16;                               \
    const unsigned char* const stop = p + steps * (kStep);                                                          \
    do {                                                                                                            \
      const V a = load(p);                                                                                          \
      const V b = load(p + (kStep) / 2);                                                                            \
      if (isAscii(orOf(a, b))) {                                                                                    \
        error = orOf(error, pending);                                                                               \
        pending = zero;                                                                                             \
      } else {                                                                                                      \
        error = orOf(error, orOf(errors(t, a, before), errors(t, b, a)));                                           \
        pending = unfinished(b, most);                                                                              \
      }                                                                                                             \
      before = b;                                                                                                   \
      p += (kStep);                                                                                                 \
    } while (p != stop);                                                                                            \
    if (anySet(error)) return false;                                                                                \
  }                                                                                                                 \
  /* The tail reads the bytes before it again, so a character cut at p is */                                       \
  /* judged there; with no tail, a cut character is an error. */                                                   \
  if (p == end) return !anySet(pending);                                                                            \
  return avx2::tail(start, p, end, flags);

namespace avx2 {
#define TV_AVX2 __attribute__((target("avx2")))

TV_AVX2 inline __m256i table(const uint8_t* t) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(t)));
}
template <int N>
TV_AVX2 inline __m256i shiftIn(__m256i in, __m256i before) {
  return _mm256_alignr_epi8(in, _mm256_permute2x128_si256(before, in, 0x21), 16 - N);
}
TV_AVX2 inline __m256i highNibble(__m256i v) {
  return _mm256_and_si256(_mm256_srli_epi16(v, 4), _mm256_set1_epi8(0x0F));
}

struct Tables {
  __m256i byte1High, byte1Low, byte2High;
};

TV_AVX2 inline __m256i load(const unsigned char* q) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q)); }
TV_AVX2 inline __m256i orOf(__m256i x, __m256i y) { return _mm256_or_si256(x, y); }
TV_AVX2 inline bool isAscii(__m256i v) { return _mm256_movemask_epi8(v) == 0; }
TV_AVX2 inline bool anySet(__m256i v) { return _mm256_testz_si256(v, v) == 0; }
TV_AVX2 inline __m256i unfinished(__m256i v, __m256i most) { return _mm256_subs_epu8(v, most); }

// The error bits of the 32 bytes `in`, given the 32 before them.
TV_AVX2 inline __m256i errors(const Tables& t, __m256i in, __m256i before) {
  const __m256i prev1 = shiftIn<1>(in, before);
  const __m256i pairs = _mm256_and_si256(
      _mm256_and_si256(_mm256_shuffle_epi8(t.byte1High, highNibble(prev1)),
                       _mm256_shuffle_epi8(t.byte1Low, _mm256_and_si256(prev1, _mm256_set1_epi8(0x0F)))),
      _mm256_shuffle_epi8(t.byte2High, highNibble(in)));
  // A lead E0..EF two bytes back or F0..FF three bytes back wants this byte
  // to be a continuation after a continuation (bit 7 of `pairs`).
  const __m256i third = _mm256_subs_epu8(shiftIn<2>(in, before), _mm256_set1_epi8(char(0xE0 - 0x80)));
  const __m256i fourth = _mm256_subs_epu8(shiftIn<3>(in, before), _mm256_set1_epi8(char(0xF0 - 0x80)));
  return _mm256_xor_si256(_mm256_and_si256(_mm256_or_si256(third, fourth), _mm256_set1_epi8(char(0x80))), pairs);
}

// The three bytes before q (zeros before the text's start) as the end of a
// vector: all that errors() reads of the block before.
TV_AVX2 inline __m256i bytesBefore(const unsigned char* start, const unsigned char* q) {
  const std::ptrdiff_t avail = q - start;
  uint32_t w = 0;
  for (std::ptrdiff_t k = 1; k <= 3 && k <= avail; ++k) w |= uint32_t(q[-k]) << (32 - 8 * k);
  return _mm256_insert_epi32(_mm256_setzero_si256(), static_cast<int>(w), 7);
}

// Checks [p, end), fewer than 128 bytes in a text [start, end) of at least
// 32, whose bytes before p are known good: 32-byte blocks, the last one
// ending at end and overlapping the one before (a byte judged twice is
// judged the same).
TV_AVX2 bool tail(const unsigned char* start, const unsigned char* p, const unsigned char* const end,
                  unsigned int flags) {
  const Tables t = {table(kByte1High[(flags & _tvUtf::kAcceptSurrogates) != 0]), table(kByte1Low), table(kByte2High)};
  __m256i error = _mm256_setzero_si256();
  __m256i before = bytesBefore(start, p);
  for (; end - p > 32; p += 32) {
    const __m256i a = load(p);
    error = orOf(error, errors(t, a, before));
    before = a;
  }
  const __m256i last = load(end - 32);
  error = orOf(error, errors(t, last, bytesBefore(start, end - 32)));
  error = orOf(error, unfinished(last, _mm256_load_si256(reinterpret_cast<const __m256i*>(kUnfinished + 32))));
  return !anySet(error);
}

TV_AVX2 bool validate(const unsigned char* p, const unsigned char* const end, unsigned int flags) {
  const unsigned char* const start = p;
  const Tables t = {table(kByte1High[(flags & _tvUtf::kAcceptSurrogates) != 0]), table(kByte1Low), table(kByte2High)};
  const __m256i most = _mm256_load_si256(reinterpret_cast<const __m256i*>(kUnfinished + 32));
  TV_VALIDATE_BODY(__m256i, 64, _mm256_setzero_si256())
}
#undef TV_AVX2
}  // namespace avx2

namespace avx512 {
#define TV_AVX512 __attribute__((target("avx512f,avx512bw")))

TV_AVX512 inline __m512i table(const uint8_t* t) {
  return _mm512_maskz_broadcast_i32x4(0xFFFF, _mm_load_si128(reinterpret_cast<const __m128i*>(t)));
}
template <int N>
TV_AVX512 inline __m512i shiftIn(__m512i in, __m512i before) {
  return _mm512_alignr_epi8(in, _mm512_maskz_alignr_epi64(0xFF, in, before, 6), 16 - N);
}
TV_AVX512 inline __m512i highNibble(__m512i v) {
  return _mm512_and_si512(_mm512_srli_epi16(v, 4), _mm512_set1_epi8(0x0F));
}

struct Tables {
  __m512i byte1High, byte1Low, byte2High;
};

TV_AVX512 inline __m512i load(const unsigned char* q) { return _mm512_loadu_si512(q); }
TV_AVX512 inline __m512i orOf(__m512i x, __m512i y) { return _mm512_or_si512(x, y); }
TV_AVX512 inline bool isAscii(__m512i v) { return _mm512_movepi8_mask(v) == 0; }
TV_AVX512 inline bool anySet(__m512i v) { return _mm512_test_epi64_mask(v, v) != 0; }
TV_AVX512 inline __m512i unfinished(__m512i v, __m512i most) { return _mm512_subs_epu8(v, most); }

// As avx2::errors, 64 bytes at once.
TV_AVX512 inline __m512i errors(const Tables& t, __m512i in, __m512i before) {
  const __m512i prev1 = shiftIn<1>(in, before);
  const __m512i pairs = _mm512_and_si512(
      _mm512_and_si512(_mm512_shuffle_epi8(t.byte1High, highNibble(prev1)),
                       _mm512_shuffle_epi8(t.byte1Low, _mm512_and_si512(prev1, _mm512_set1_epi8(0x0F)))),
      _mm512_shuffle_epi8(t.byte2High, highNibble(in)));
  const __m512i third = _mm512_subs_epu8(shiftIn<2>(in, before), _mm512_set1_epi8(char(0xE0 - 0x80)));
  const __m512i fourth = _mm512_subs_epu8(shiftIn<3>(in, before), _mm512_set1_epi8(char(0xF0 - 0x80)));
  return _mm512_xor_si512(_mm512_and_si512(_mm512_or_si512(third, fourth), _mm512_set1_epi8(char(0x80))), pairs);
}

TV_AVX512 bool validate(const unsigned char* p, const unsigned char* const end, unsigned int flags) {
  const unsigned char* const start = p;
  const Tables t = {table(kByte1High[(flags & _tvUtf::kAcceptSurrogates) != 0]), table(kByte1Low), table(kByte2High)};
  const __m512i most = _mm512_load_si512(kUnfinished);
  TV_VALIDATE_BODY(__m512i, 128, _mm512_setzero_si512())
}
#undef TV_AVX512
}  // namespace avx512
#undef TV_VALIDATE_BODY

// 0: neither, 1: AVX2, 2: AVX-512 (F and BW); found once.
int vectorUnit() {
  static const int unit = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")) return 2;
    return __builtin_cpu_supports("avx2") ? 1 : 0;
  }();
  return unit;
}
#endif

std::atomic<int> gVectorCap{2};

}  // namespace

bool _tvUtf::isValidUtf8(const unsigned char* data, unsigned int n, unsigned int flags) {
  if (n == 0) return true;
  if (data == nullptr) return false;
#ifdef TV_UTF_SIMD
  if (n >= 32) {
    const int unit = std::min(vectorUnit(), gVectorCap.load(std::memory_order_relaxed));
    if (unit == 2 && n >= 128) return avx512::validate(data, data + n, flags);
    if (unit >= 1) return avx2::validate(data, data + n, flags);
  }
#endif
  return validateScalar(data, data + n, flags);
}

int _tvUtf::capVectorUnitForTests(int level) {
  gVectorCap.store(level);
#ifdef TV_UTF_SIMD
  return std::min(level, vectorUnit());
#else
  return 0;
#endif
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
