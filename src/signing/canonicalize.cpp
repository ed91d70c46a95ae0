// Percent-encoding canonicalization of request paths and queries for signed
// web-service requests: one two-pass encoder, told by a small description
// per operation which bytes stay, what happens to "%" and to a space.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "core/StringBuffer.h"
#include "core/internal/utf8_tables.h"
#include "lib/ByteAllocator.h"
#include "lib/LogBase.h"

namespace {

enum class PercentRule : uint8_t {
  kCopy,     // every "%" stays
  kEncode,   // every "%" becomes %25
  kHexPair,  // "%" stays only in front of two hex digits
};

constexpr std::array<bool, 256> kHexDigit = [] {
  std::array<bool, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = (b >= '0' && b <= '9') || (b >= 'A' && b <= 'F') || (b >= 'a' && b <= 'f');
  return t;
}();

constexpr char kUpperHex[] = "0123456789ABCDEF";

const auto& kTrailing = sb_internal::kTrailingBytesForUtf8;

// Counts kept by the counting pass in one 64-bit sum, so each byte costs a
// single table add: escapes in the low half, spaces that become "+" in the
// high half. Neither can reach 2^32, as both are bounded by the length.
constexpr uint64_t kOneEscape = 1;
constexpr uint64_t kOneSpace = uint64_t(1) << 32;

}  // namespace

// Everything one canonicalizer does to a byte, expanded into tables once at
// compile time, so both passes are a table load per byte and branch only at
// a "%" under the hex-pair rule and at a lead byte.
struct sb_internal::PercentEncoding {
  // What the counting pass adds for a byte on its own: kOneEscape for each
  // byte that is not plain, lead bytes and a "%" looked at alone included.
  std::array<uint64_t, 256> cost;
  // Output of a lone byte, padded to 4 so it is stored in one move, and its
  // real width (1 or 3); width 0 for a "%" looked at alone.
  std::array<std::array<char, 4>, 256> cell;
  std::array<uint8_t, 256> width;
  PercentRule percent;
  // Whether a "%" is judged by the bytes behind it (or by the keywords).
  bool percentLooksAhead;
  // The logger's option keywords may override the "%" rule.
  bool honoursPercentKeywords;
};

namespace {

using Encoding = sb_internal::PercentEncoding;

// plainPunctuation: the plain bytes besides A-Z, a-z, 0-9 and "~".
constexpr Encoding describe(const char* plainPunctuation, PercentRule percent, bool spaceAsPlus,
                            bool honoursPercentKeywords = false) {
  Encoding e{};
  std::array<bool, 256> plain{};
  for (int b = 0; b < 256; ++b) plain[b] = (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9');
  plain['~'] = true;
  for (; *plainPunctuation; ++plainPunctuation) plain[static_cast<unsigned char>(*plainPunctuation)] = true;
  if (percent == PercentRule::kCopy) plain['%'] = true;
  for (int b = 0; b < 256; ++b) {
    e.cost[b] = plain[b] ? 0 : kOneEscape;
    e.width[b] = plain[b] ? 1 : 3;
    if (plain[b])
      e.cell[b] = {static_cast<char>(b), 0, 0, 0};
    else
      e.cell[b] = {'%', kUpperHex[b >> 4], kUpperHex[b & 15], 0};
  }
  if (spaceAsPlus) {
    e.cost[' '] = kOneSpace;
    e.cell[' '] = {'+', 0, 0, 0};
    e.width[' '] = 1;
  }
  e.percentLooksAhead = percent == PercentRule::kHexPair || honoursPercentKeywords;
  if (e.percentLooksAhead) e.width['%'] = 0;
  e.percent = percent;
  e.honoursPercentKeywords = honoursPercentKeywords;
  return e;
}

// Whether the "%" at p stays: it needs two bytes behind it inside the content,
// both hex digits. Their case is kept; they are copied later as plain bytes.
inline bool percentStays(PercentRule rule, const unsigned char* p, const unsigned char* end) {
  if (rule != PercentRule::kHexPair) return rule == PercentRule::kCopy;
  return end - p >= 3 && kHexDigit[p[1]] && kHexDigit[p[2]];
}

// Bytes taken as one unit from a lead byte: the lead and its trailing bytes,
// cut short at the end of the content. Our choice: a sequence that would
// run past the end encodes only the bytes that are there, so the encoder
// never reads the terminating zero or beyond, and the output still says
// byte for byte what the content held.
inline std::ptrdiff_t leadUnit(const unsigned char* p, const unsigned char* end) {
  return std::min<std::ptrdiff_t>(1 + kTrailing[*p], end - p);
}

// The counting pass, walking unit by unit exactly as the encoding pass
// does. Returns escapes and spaces packed as kOneEscape and kOneSpace units.
uint64_t countUnitByUnit(const Encoding& e, PercentRule percent, const unsigned char* p, const unsigned char* end) {
  uint64_t sum = 0;
  while (p < end) {
    if (*p >= 0xC0) {
      const std::ptrdiff_t unit = leadUnit(p, end);
      sum += static_cast<uint64_t>(unit) * kOneEscape;
      p += unit;
    } else {
      sum += *p == '%' && e.percentLooksAhead && percentStays(percent, p, end) ? 0 : e.cost[*p];
      ++p;
    }
  }
  return sum;
}

// For each byte, bit 0: it is not a continuation byte (0x80..0xBF); bit k
// (k >= 1): a lead byte announcing that the byte k places ahead must be one.
constexpr std::array<uint8_t, 256> kSequenceBits = [] {
  std::array<uint8_t, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = b >= 0x80 && b < 0xC0 ? 0 : 1;
  for (int b = 0xC0; b < 256; ++b)
    t[b] = static_cast<uint8_t>(1 | ((1u << sb_internal::kTrailingBytesForUtf8[b]) - 1) << 1);
  return t;
}();

// The same count without walking unit by unit (where each step waits for
// the table load of the byte before): when every lead byte is followed by
// the continuation bytes it announces, the units are exactly those
// sequences, and every byte of them costs one escape on its own too. So the
// bytes are summed one by one while a rolling mask of the continuation
// bytes still owed checks the sequences; only content where that fails is
// counted again unit by unit.
uint64_t countEscapes(const Encoding& e, PercentRule percent, const unsigned char* begin, const unsigned char* end,
                      bool& sequencesWhole) {
  uint64_t sum = 0;
  unsigned owed = 0;  // bit k: the byte k places ahead must be a continuation byte
  unsigned broken = 0;
  for (const unsigned char* p = begin; p < end; ++p) {
    const unsigned bits = kSequenceBits[*p];
    sum += e.cost[*p];
    // Bit 0: an owed byte that is no continuation byte. A higher bit: a
    // byte owed twice, which only a lead inside a sequence causes, and that
    // lead has already set bit 0.
    broken |= owed & bits;
    owed = (owed | bits) >> 1;
  }
  // A sequence cut short by the end owes bytes that do not exist: that is
  // fine, as only the bytes that are there are encoded.
  sequencesWhole = broken == 0;
  if (broken) return countUnitByUnit(e, percent, begin, end);
  // A "%" that stays was summed as an escape; none of them can sit inside a
  // sequence here, as it is no continuation byte.
  if (e.percentLooksAhead && percent != PercentRule::kEncode)
    for (const unsigned char* q = begin; (q = static_cast<const unsigned char*>(std::memchr(q, '%', end - q))) != nullptr; ++q)
      if (percentStays(percent, q, end)) sum -= kOneEscape;
  return sum;
}

inline char* putEscape(char* w, unsigned char b) {
  w[0] = '%';
  w[1] = kUpperHex[b >> 4];
  w[2] = kUpperHex[b & 15];
  return w + 3;
}

// The encoding pass; w has room for what countEscapes promised plus three
// spare bytes, which the 4-byte cell stores may scribble on. Returns the end
// of what was written. When every sequence is whole, its bytes are %XX
// cells like any other byte that is not plain, so units need walking only
// in broken content.
template <bool kWalkUnits>
char* encodeInto(const Encoding& e, PercentRule percent, const unsigned char* p, const unsigned char* end, char* w) {
  while (p < end) {
    const unsigned char b = *p;
    const uint8_t width = e.width[b];
    if (kWalkUnits && b >= 0xC0) {
      // A lead byte and its trailing bytes are encoded whatever the
      // trailing bytes are, so a broken sequence cannot slip a plain byte
      // into the canonical form.
      for (const unsigned char* unitEnd = p + leadUnit(p, end); p < unitEnd; ++p) w = putEscape(w, *p);
    } else if (width != 0) {
      std::memcpy(w, e.cell[b].data(), 4);
      w += width;
      ++p;
    } else {
      if (percentStays(percent, p, end))
        *w++ = '%';
      else
        w = putEscape(w, b);
      ++p;
    }
  }
  return w;
}

PercentRule ruleFromKeywords(const LogBase* log, PercentRule fallback) {
  if (log == nullptr) return fallback;
  // Note: when both keywords are given, "NoUrlEncodePercent" wins; callers
  // that add it to a shared option text rely on it overriding the other.
  if (log->optionKeywords.containsSubstring("NoUrlEncodePercent")) return PercentRule::kCopy;
  if (log->optionKeywords.containsSubstring("AlwaysUrlEncodePercent")) return PercentRule::kEncode;
  return fallback;
}

constexpr Encoding kAwsUri = describe("-._/", PercentRule::kHexPair, false, true);
constexpr Encoding kAwsQueryPart = describe("-._", PercentRule::kHexPair, false);
constexpr Encoding kAwsQueryPartKeepSlash = describe("-._/", PercentRule::kHexPair, false);
constexpr Encoding kAwsQuery = describe("-._%&/=?", PercentRule::kCopy, false);
constexpr Encoding kOtherPath = describe("!$%'()*+,-./:<=>@_", PercentRule::kCopy, false);
constexpr Encoding kMws = describe("-._", PercentRule::kEncode, false);
constexpr Encoding kOtherValue = describe("!$'()-./:<>?@_", PercentRule::kHexPair, true);
constexpr Encoding kOtherQuery = describe("!$%&'()-./:<=>?@_", PercentRule::kCopy, true);

}  // namespace

bool StringBuffer::percentEncodeInPlace(const sb_internal::PercentEncoding& encoding, const LogBase* log) {
  if (m_length == 0) return true;
  const PercentRule percent =
      encoding.honoursPercentKeywords ? ruleFromKeywords(log, encoding.percent) : encoding.percent;
  const auto* begin = reinterpret_cast<const unsigned char*>(m_data);
  const unsigned char* end = begin + m_length;
  bool sequencesWhole = true;
  const uint64_t counts = countEscapes(encoding, percent, begin, end, sequencesWhole);
  const uint64_t escapes = counts & 0xFFFFFFFFu;

  if (escapes == 0) {
    // Only spaces to turn into "+": same length, so no new block.
    if (counts != 0)
      for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, ' ', m_data + m_length - p))) != nullptr;)
        *p++ = '+';
    return true;
  }

  // The result, its terminating zero and three spare bytes.
  const uint64_t newLength = m_length + 2 * escapes;
  const uint64_t blockSize = newLength + 4;
  if (blockSize > 0xFFFFFFFFu) return false;
  unsigned char* block = ByteAllocator::allocate(static_cast<uint32_t>(blockSize));
  if (block == nullptr) return false;
  char* const out = reinterpret_cast<char*>(block);
  char* w = sequencesWhole ? encodeInto<false>(encoding, percent, begin, end, out)
                           : encodeInto<true>(encoding, percent, begin, end, out);
  std::memset(w, 0, 4);

  // The old storage goes the way every growth move sends it: wiped first
  // when the buffer is secure, then released.
  releaseBuffer();
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_capacity = static_cast<unsigned int>(blockSize);
  m_length = static_cast<unsigned int>(newLength);
  return true;
}

bool StringBuffer::awsNormalizeUriUtf8(LogBase& log) { return percentEncodeInPlace(kAwsUri, &log); }

bool StringBuffer::awsNormalizeQueryStringPart(bool keepSlash, LogBase&) {
  return percentEncodeInPlace(keepSlash ? kAwsQueryPartKeepSlash : kAwsQueryPart, nullptr);
}

bool StringBuffer::awsNormalizeQueryParams() { return percentEncodeInPlace(kAwsQuery, nullptr); }

bool StringBuffer::nonAwsNormalizePath() { return percentEncodeInPlace(kOtherPath, nullptr); }

bool StringBuffer::mwsNormalizeQueryParams() { return percentEncodeInPlace(kMws, nullptr); }

bool StringBuffer::nonAwsNormalizeQueryParamValue(LogBase&) { return percentEncodeInPlace(kOtherValue, nullptr); }

bool StringBuffer::nonAwsNormalizeAllQueryParams() { return percentEncodeInPlace(kOtherQuery, nullptr); }
