// Percent-encoding canonicalization of request paths and queries for signed
// web-service requests: one two-pass encoder, told by a small description
// per operation which bytes stay, what happens to "%" and to a space.
#include <algorithm>
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "core/internal/utf8_tables.h"
#include "lib/ByteAllocator.h"
#include "lib/LogBase.h"

namespace {

// What a byte asks of the encoder. Copy and Encode are 0 and 1 so that the
// counting pass can add the class itself to the escape count.
enum ByteClass : uint8_t { kCopy = 0, kEncode = 1, kPercentSign = 2, kSpace = 3, kLead = 4 };

enum class PercentRule : uint8_t {
  kCopy,     // every "%" stays
  kEncode,   // every "%" becomes %25
  kHexPair,  // "%" stays only in front of two hex digits
};

using ClassTable = std::array<uint8_t, 256>;

constexpr ClassTable classTable(const char* plainPunctuation, PercentRule percent, bool spaceAsPlus) {
  ClassTable t{};
  for (int b = 0; b < 256; ++b) {
    const bool alnum = (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9');
    t[b] = b >= 0xC0 ? kLead : alnum || b == '~' ? kCopy : kEncode;
  }
  for (; *plainPunctuation; ++plainPunctuation) t[static_cast<unsigned char>(*plainPunctuation)] = kCopy;
  t['%'] = percent == PercentRule::kCopy ? kCopy : percent == PercentRule::kEncode ? kEncode : kPercentSign;
  if (spaceAsPlus) t[' '] = kSpace;
  return t;
}

constexpr std::array<bool, 256> kHexDigit = [] {
  std::array<bool, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = (b >= '0' && b <= '9') || (b >= 'A' && b <= 'F') || (b >= 'a' && b <= 'f');
  return t;
}();

constexpr char kUpperHex[] = "0123456789ABCDEF";

const auto& kTrailing = sb_internal::kTrailingBytesForUtf8;

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
inline size_t leadUnit(const unsigned char* p, const unsigned char* end) {
  return 1 + std::min<size_t>(kTrailing[*p], static_cast<size_t>(end - p - 1));
}

struct EscapeCount {
  uint64_t escapes = 0;  // bytes that become %XX
  uint64_t spaces = 0;   // spaces that become "+" (only under the "+" rule)
};

// The counting pass; it matches the encoding pass byte for byte.
EscapeCount countEscapes(const ClassTable& cls, PercentRule percent, const unsigned char* p,
                         const unsigned char* end) {
  EscapeCount count;
  while (p < end) {
    uint8_t k;
    // The common bytes cost one table load and an add, no branch on their value.
    while (p < end && (k = cls[*p]) <= kEncode) {
      count.escapes += k;
      ++p;
    }
    if (p == end) break;
    if (k == kPercentSign) {
      count.escapes += percentStays(percent, p, end) ? 0 : 1;
      ++p;
    } else if (k == kSpace) {
      ++count.spaces;
      ++p;
    } else {
      const size_t unit = leadUnit(p, end);
      count.escapes += unit;
      p += unit;
    }
  }
  return count;
}

inline char* putEscape(char* w, unsigned char b) {
  w[0] = '%';
  w[1] = kUpperHex[b >> 4];
  w[2] = kUpperHex[b & 15];
  return w + 3;
}

// The encoding pass; w has room for what countEscapes promised. Returns the
// end of what was written.
char* encodeInto(const ClassTable& cls, PercentRule percent, const unsigned char* p, const unsigned char* end,
                 char* w) {
  while (p < end) {
    const unsigned char b = *p;
    switch (cls[b]) {
      case kCopy:
        *w++ = static_cast<char>(b);
        ++p;
        break;
      case kEncode:
        w = putEscape(w, b);
        ++p;
        break;
      case kPercentSign:
        if (percentStays(percent, p, end))
          *w++ = '%';
        else
          w = putEscape(w, b);
        ++p;
        break;
      case kSpace:
        *w++ = '+';
        ++p;
        break;
      default:
        // A lead byte and its trailing bytes are encoded whatever the
        // trailing bytes are, so a broken sequence cannot slip a plain
        // byte into the canonical form.
        for (const unsigned char* unitEnd = p + leadUnit(p, end); p < unitEnd; ++p) w = putEscape(w, *p);
        break;
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

}  // namespace

struct sb_internal::PercentEncoding {
  ClassTable classes;
  PercentRule percent;
  // The logger's option keywords may override the "%" rule.
  bool honoursPercentKeywords;
};

namespace {

using Encoding = sb_internal::PercentEncoding;

constexpr Encoding describe(const char* plainPunctuation, PercentRule percent, bool spaceAsPlus,
                            bool honoursPercentKeywords = false) {
  return Encoding{classTable(plainPunctuation, percent, spaceAsPlus), percent, honoursPercentKeywords};
}

// A-Z, a-z, 0-9 and "~" are plain everywhere; the strings hold the rest.
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
  const EscapeCount count = countEscapes(encoding.classes, percent, begin, end);

  if (count.escapes == 0) {
    // Only spaces to turn into "+": same length, so no new block.
    if (count.spaces != 0)
      for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, ' ', m_data + m_length - p))) != nullptr;)
        *p++ = '+';
    return true;
  }

  // The result, its terminating zero and three spare bytes.
  const uint64_t newLength = m_length + 2 * count.escapes;
  const uint64_t blockSize = newLength + 4;
  if (blockSize > 0xFFFFFFFFu) return false;
  unsigned char* block = ByteAllocator::allocate(static_cast<uint32_t>(blockSize));
  if (block == nullptr) return false;
  char* w = encodeInto(encoding.classes, percent, begin, end, reinterpret_cast<char*>(block));
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
