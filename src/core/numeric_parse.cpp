// Reading values out of the content: decimal and floating-point conversions
// that ignore the process locale, hex decoding, byte-class tests of the whole
// content, and single bytes by position.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/StringBuffer.h"
#include "core/internal/chunk_stager.h"
#include "lib/DataBuffer.h"

namespace {

constexpr std::array<bool, 256> byteSet(const char* members) {
  std::array<bool, 256> t{};
  for (; *members; ++members) t[static_cast<unsigned char>(*members)] = true;
  return t;
}

constexpr auto kDecimalDigits = byteSet("0123456789");
constexpr auto kHexDigits = byteSet("0123456789abcdefABCDEF");
// Skipped in front of a number.
constexpr auto kLeadingSpace = byteSet("\t\n\r ");
// Base64 text before any padding: the alphabet and ignorable white space.
constexpr auto kBase64Text =
    byteSet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/\t\n\r ");
// Once the padding has begun, only more padding and white space may follow.
constexpr auto kBase64Padding = byteSet("=\t\n\r ");
constexpr auto kIpAddrBytes = byteSet("0123456789. \t");
// isIpAddr looks no further than this.
constexpr unsigned int kIpAddrWindow = 120;
// hexStringToBinary2 hands its bytes on in chunks of this size.
constexpr unsigned int kDecodeChunk = 500;

// Digit values of the hex digits. Other bytes count as 0, so that text that
// is not hex decodes to zero nibbles rather than to something arbitrary.
constexpr std::array<unsigned char, 256> hexValueTable() {
  std::array<unsigned char, 256> t{};
  for (int i = 0; i < 10; ++i) t['0' + i] = static_cast<unsigned char>(i);
  for (int i = 0; i < 6; ++i) {
    t['a' + i] = static_cast<unsigned char>(10 + i);
    t['A' + i] = static_cast<unsigned char>(10 + i);
  }
  return t;
}
constexpr auto kHexValue = hexValueTable();

unsigned char byteAt(const char* p) { return static_cast<unsigned char>(*p); }

bool allBytesIn(const std::array<bool, 256>& set, const char* begin, const char* end) {
  return std::all_of(begin, end, [&set](char c) { return set[static_cast<unsigned char>(c)]; });
}

const char* skipLeadingSpace(const char* p, const char* end) {
  while (p != end && kLeadingSpace[byteAt(p)]) ++p;
  return p;
}

// A decimal number as read by the integer conversions: the magnitude sticks
// at the 64-bit maximum once the digits run beyond it.
struct Decimal {
  bool negative = false;
  uint64_t magnitude = 0;
};

Decimal scanDecimal(const char* p, const char* end) {
  Decimal d;
  p = skipLeadingSpace(p, end);
  if (p != end && (*p == '+' || *p == '-')) d.negative = *p++ == '-';
  // Nineteen digits cannot overflow 64 bits, so they go without the
  // overflow test; only longer numbers pay for it.
  const char* unchecked = end - p > 19 ? p + 19 : end;
  uint64_t m = 0;
  for (unsigned int digit; p != unchecked && (digit = static_cast<unsigned int>(byteAt(p) - '0')) < 10; ++p)
    m = m * 10 + digit;
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  for (unsigned int digit; p != end && (digit = static_cast<unsigned int>(byteAt(p) - '0')) < 10; ++p)
    m = m > (kMax - digit) / 10 ? kMax : m * 10 + digit;
  d.magnitude = m;
  return d;
}

// The scanned number clamped into T's range; negative text gives 0 for an
// unsigned T.
template <typename T>
T clampTo(const Decimal& d) {
  using Limits = std::numeric_limits<T>;
  if (d.negative) {
    if constexpr (std::is_unsigned_v<T>) {
      return 0;
    } else {
      const uint64_t limit = 0 - static_cast<uint64_t>(static_cast<int64_t>(Limits::min()));
      if (d.magnitude >= limit) return Limits::min();
      return static_cast<T>(-static_cast<int64_t>(d.magnitude));
    }
  }
  const uint64_t limit = static_cast<uint64_t>(Limits::max());
  return d.magnitude >= limit ? Limits::max() : static_cast<T>(d.magnitude);
}

template <typename T>
T decimalValue(const char* p, unsigned int n) {
  return n == 0 ? T(0) : clampTo<T>(scanDecimal(p, p + n));
}

// The 32-bit conversions read up to the terminating zero, which the content
// always has, and never look at the length: in an array of buffers that is
// one cache line fewer per value. Ten significant digits cannot overflow 64
// bits, and an eleventh puts the value beyond both types' range, where it clamps, so the
// scan stops there.
template <typename T>
T smallDecimalValue(const char* p) {
  if (p == nullptr) return T(0);
  while (kLeadingSpace[byteAt(p)]) ++p;
  Decimal d;
  if (*p == '+' || *p == '-') d.negative = *p++ == '-';
  while (*p == '0') ++p;  // leading zeros count for nothing, not towards the ten
  uint64_t m = 0;
  int k = 0;
  for (unsigned int digit; k < 10 && (digit = static_cast<unsigned int>(byteAt(p + k) - '0')) < 10; ++k)
    m = m * 10 + digit;
  d.magnitude = k == 10 && static_cast<unsigned int>(byteAt(p + k) - '0') < 10 ? ~uint64_t(0) : m;
  return clampTo<T>(d);
}

// The exponent after "e" or "E" in [p, end), held within a range that keeps
// the arithmetic below safe; only its sign and rough size matter there.
int64_t explicitExponent(const char* p, const char* end) {
  if (p == end) return 0;
  ++p;
  const bool negative = p != end && *p == '-';
  if (p != end && (*p == '+' || *p == '-')) ++p;
  int64_t e = 0;
  for (; p != end; ++p) e = std::min<int64_t>(e * 10 + (*p - '0'), 1000000);
  return negative ? -e : e;
}

// from_chars leaves the value alone when the text lies beyond double's range.
// [p, end) is the number it matched; the decimal exponent of its leading
// non-zero digit tells overflow (to infinity) from underflow (to zero).
double outOfRangeValue(const char* p, const char* end) {
  const bool negative = *p == '-';
  if (negative) ++p;
  const char* mantissaEnd = std::find_if(p, end, [](char c) { return c == 'e' || c == 'E'; });
  const char* point = std::find(p, mantissaEnd, '.');
  int64_t leadingZeros = 0;
  for (const char* q = p; q != mantissaEnd && (*q == '0' || *q == '.'); ++q)
    if (*q == '0') ++leadingZeros;
  const int64_t exponent = (point - p) - 1 - leadingZeros + explicitExponent(mantissaEnd, end);
  const double magnitude = exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  return negative ? -magnitude : magnitude;
}

double parseDouble(const char* p, const char* end) {
  p = skipLeadingSpace(p, end);
  if (p != end && *p == '+') {
    ++p;
    // from_chars would take the "-" of "+-1" as the sign.
    if (p != end && *p == '-') return 0.0;
  }
  double value = 0.0;
  const std::from_chars_result r = std::from_chars(p, end, value, std::chars_format::general);
  if (r.ec == std::errc::result_out_of_range) return outOfRangeValue(p, r.ptr);
  return r.ec == std::errc() ? value : 0.0;
}

// Compares ten digits with a ten-digit limit the way strcmp would.
bool atMost(const char* digits, const char* limit) { return std::memcmp(digits, limit, 10) <= 0; }

}  // namespace

int StringBuffer::intValue() const { return smallDecimalValue<int>(m_data); }

unsigned int StringBuffer::uintValue() const { return smallDecimalValue<unsigned int>(m_data); }

int64_t StringBuffer::int64Value() const { return decimalValue<int64_t>(m_data, m_length); }

int64_t StringBuffer::toInt64() { return int64Value(); }

double StringBuffer::doubleValue() const {
  return m_length == 0 ? 0.0 : parseDouble(m_data, m_data + m_length);
}

int StringBuffer::determineIntType() const {
  const bool negative = m_length != 0 && m_data[0] == '-';
  const char* digits = negative ? m_data + 1 : m_data;
  // Note: the digits are counted up to the first zero byte and not checked
  // for being digits; callers pass text they have already found decimal.
  const size_t count = std::strlen(digits);
  if (count < 10) return 0;
  if (count > 10) return 2;
  if (negative) return atMost(digits, "2147483648") ? 0 : 2;
  if (atMost(digits, "2147483647")) return 0;
  return atMost(digits, "4294967295") ? 1 : 2;
}

unsigned int StringBuffer::hexValueUint32(const char* s) {
  if (s == nullptr) return 0;
  uint32_t value = 0;
  // Higher digits fall off the top in 32-bit arithmetic.
  for (; kHexDigits[byteAt(s)]; ++s) value = value * 16 + kHexValue[byteAt(s)];
  return value;
}

bool StringBuffer::hexStringToBinary(DataBuffer& out) const {
  return m_length == 0 || hexStringToBinary2(m_data, m_length, out);
}

bool StringBuffer::hexStringToBinary2(const char* s, unsigned int n, DataBuffer& out) {
  if (s == nullptr || n == 0) return true;
  // The text ends at n characters or at a zero byte, whichever comes first,
  // so a count beyond the end of the string never reads past its terminator.
  if (const void* zero = std::memchr(s, 0, n)) n = static_cast<unsigned int>(static_cast<const char*>(zero) - s);
  const auto* p = reinterpret_cast<const unsigned char*>(s);
  // Only a lower-case "x" marks the prefix.
  if (n >= 2 && p[0] == '0' && p[1] == 'x') {
    p += 2;
    n -= 2;
  }
  auto sink = [&out](const unsigned char* bytes, unsigned int count) { return out.append(bytes, count); };
  ChunkStager<kDecodeChunk, decltype(sink)> stager(sink);
  // An odd count means a leading nibble of its own: "abc" is 0x0A 0xBC.
  if (n % 2 == 1) {
    stager.put(kHexValue[*p++]);
    --n;
  }
  for (; n != 0 && stager.ok(); p += 2, n -= 2)
    stager.put(static_cast<unsigned char>(kHexValue[p[0]] << 4 | kHexValue[p[1]]));
  return stager.finish();
}

void StringBuffer::canonicalizeHexString() {
  if (m_length % 2 == 1) prepend("0");
}

bool StringBuffer::isDecimalNumber(bool allowPoint) {
  const char* end = m_data + m_length;
  const void* point = allowPoint ? std::memchr(m_data, '.', m_length) : nullptr;
  if (point == nullptr) return allBytesIn(kDecimalDigits, m_data, end);
  // The one point may stand anywhere, even alone; digits only around it.
  const char* p = static_cast<const char*>(point);
  return allBytesIn(kDecimalDigits, m_data, p) && allBytesIn(kDecimalDigits, p + 1, end);
}

bool StringBuffer::isHexidecimal() const { return allBytesIn(kHexDigits, m_data, m_data + m_length); }

bool StringBuffer::isBase64() const {
  const char* end = m_data + m_length;
  const void* pad = std::memchr(m_data, '=', m_length);
  const char* padding = pad != nullptr ? static_cast<const char*>(pad) : end;
  return allBytesIn(kBase64Text, m_data, padding) && allBytesIn(kBase64Padding, padding, end);
}

bool StringBuffer::isIpAddr() const {
  return allBytesIn(kIpAddrBytes, m_data, m_data + std::min(m_length, kIpAddrWindow));
}

char StringBuffer::charAt(unsigned int i) const { return i < m_length ? m_data[i] : 0; }

const char* StringBuffer::pCharAt(unsigned int i) const { return i <= m_length ? m_data + i : nullptr; }

char StringBuffer::lastChar() const { return m_length != 0 ? m_data[m_length - 1] : 0; }
