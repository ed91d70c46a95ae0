// Finders for the next byte an escaper or decoder must act on. They look at
// sixteen bytes per step where SSE2 is available (every x86-64), and fall
// back to one byte per step elsewhere; both forms give the same answer and
// never read outside [p, end).
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace markup_scan {

// First byte in [p, end) equal to one of Bytes, or end.
template <unsigned char... Bytes>
inline const unsigned char* findAnyOf(const unsigned char* p, const unsigned char* end) {
#if defined(__SSE2__)
  while (end - p >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hit = _mm_setzero_si128();
    ((hit = _mm_or_si128(hit, _mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(Bytes))))), ...);
    const int mask = _mm_movemask_epi8(hit);
    if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  for (; p < end; ++p)
    if (((*p == Bytes) || ...)) return p;
  return end;
}

// The bytes JSON strings may not hold as they are: controls, '"' and '\'.
inline bool isJsonSpecial(unsigned char c) { return c < 0x20 || c == '"' || c == '\\'; }

// First byte in [p, end) for which isJsonSpecial holds, or end.
inline const unsigned char* findJsonSpecial(const unsigned char* p, const unsigned char* end) {
#if defined(__SSE2__)
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  while (end - p >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    // Unsigned x <= 0x1F exactly when min(x, 0x1F) is x itself.
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(x, lastControl), x);
    const __m128i hit =
        _mm_or_si128(control, _mm_or_si128(_mm_cmpeq_epi8(x, quote), _mm_cmpeq_epi8(x, backslash)));
    const int mask = _mm_movemask_epi8(hit);
    if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  for (; p < end; ++p)
    if (isJsonSpecial(*p)) return p;
  return end;
}

}  // namespace markup_scan
