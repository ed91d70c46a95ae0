// Text forms of numbers and binary data: digits are produced into small stack
// areas, then appended in one piece or, for the hex dumps, chunk by chunk.
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>

#include "core/StringBuffer.h"
#include "core/internal/tail_writer.h"
#include "lib/MimeCodec.h"

namespace {

// Room for the digits of any 64-bit value, its sign and a terminating zero.
constexpr unsigned int kDecimalArea = 24;
constexpr char kUpperHex[] = "0123456789ABCDEF";
constexpr char kLowerHex[] = "0123456789abcdef";
// Dump chunk sizes: the line layout hands on 128 characters at a time, the
// single-line layouts 255.
constexpr unsigned int kDumpChunk = 128;
constexpr unsigned int kLineChunk = 255;

// Taken in unsigned arithmetic, so the most negative value has one too.
uint64_t magnitudeOf(int64_t value) {
  return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

// "00" to "99": the digits are produced two at a time, halving the divisions.
constexpr auto kDigitPairs = [] {
  std::array<char, 200> t{};
  for (int i = 0; i < 100; ++i) {
    t[2 * i] = static_cast<char>('0' + i / 10);
    t[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return t;
}();

// Number of decimal digits of v (1 for zero): the bit length estimates it,
// one comparison corrects it.
unsigned int decimalDigits(uint64_t v) {
  static constexpr uint64_t kPowers[20] = {1ull, 10ull, 100ull, 1000ull, 10000ull, 100000ull, 1000000ull,
                                           10000000ull, 100000000ull, 1000000000ull, 10000000000ull,
                                           100000000000ull, 1000000000000ull, 10000000000000ull,
                                           100000000000000ull, 1000000000000000ull, 10000000000000000ull,
                                           100000000000000000ull, 1000000000000000000ull,
                                           10000000000000000000ull};
  v |= 1;  // the same count for every value but zero, which becomes 1
  const unsigned int bits = 64 - static_cast<unsigned int>(__builtin_clzll(v));
  const unsigned int guess = bits * 1233 >> 12;  // about bits * log10(2)
  return guess + (v >= kPowers[guess] ? 1 : 0);
}

// Writes the decimal digits backwards so that they end just before end;
// returns the first digit. Zero gives the single digit "0".
char* putDigitsBackwards(uint64_t magnitude, char* end) {
  char* p = end;
  while (magnitude >= 100) {
    const unsigned int pair = static_cast<unsigned int>(magnitude % 100) * 2;
    magnitude /= 100;
    p -= 2;
    p[0] = kDigitPairs[pair];
    p[1] = kDigitPairs[pair + 1];
  }
  if (magnitude >= 10) {
    p -= 2;
    p[0] = kDigitPairs[magnitude * 2];
    p[1] = kDigitPairs[magnitude * 2 + 1];
  } else {
    *--p = static_cast<char>('0' + magnitude);
  }
  return p;
}

// The decimal form of a value written straight into sb's storage, after the
// room test appending the same text would make.
bool appendDecimal(StringBuffer& sb, int64_t value) {
  const uint64_t magnitude = magnitudeOf(value);
  const unsigned int size = decimalDigits(magnitude) + (value < 0 ? 1 : 0);
  char* out = StringBufferTail::reserve(sb, size);
  if (out == nullptr) return false;
  char* first = putDigitsBackwards(magnitude, out + size);
  if (value < 0) first[-1] = '-';
  StringBufferTail::commit(sb, size);
  return true;
}

// The zero-terminated decimal form of a value, "-" in front when negative.
// Every 32-bit form is formatted through the 64-bit one.
class DecimalText {
 public:
  explicit DecimalText(int64_t value) {
    char* end = m_area + kDecimalArea - 1;
    *end = 0;
    m_text = putDigitsBackwards(magnitudeOf(value), end);
    if (value < 0) *--m_text = '-';
    m_size = static_cast<unsigned int>(end - m_text);
  }
  DecimalText(const DecimalText&) = delete;
  DecimalText& operator=(const DecimalText&) = delete;

  const char* text() const { return m_text; }
  unsigned int size() const { return m_size; }

 private:
  char m_area[kDecimalArea];
  char* m_text;
  unsigned int m_size;
};

// When a dump or encoding reads the buffer's own bytes, room for the whole
// text (textSize characters) is made first, so that no growth on the way
// frees the bytes still to be read. Returns where the bytes lie after that,
// or null when the room cannot be had; other sources come back unchanged.
const unsigned char* reserveForOwnBytes(StringBuffer& sb, const unsigned char* data, uint64_t textSize) {
  const char* own = sb.getString();
  const auto* p = reinterpret_cast<const char*>(data);
  if (std::less<const char*>()(p, own) || !std::less<const char*>()(p, own + sb.getSize())) return data;
  const auto offset = p - own;
  if (textSize > 0xFFFFFFFFu || !sb.expectNumBytes(static_cast<unsigned int>(textSize))) return nullptr;
  return reinterpret_cast<const unsigned char*>(sb.getString() + offset);
}

// The two uppercase digits of every byte, high nibble first: one two-byte
// copy per byte instead of two lookups and two stores.
constexpr auto kHexPairs = [] {
  std::array<char, 512> t{};
  for (unsigned int b = 0; b < 256; ++b) {
    t[2 * b] = kUpperHex[b >> 4];
    t[2 * b + 1] = kUpperHex[b & 0xF];
  }
  return t;
}();

// Writes the two digits of b at out.
inline char* putHexByte(char* out, unsigned char b) {
  std::memcpy(out, &kHexPairs[2 * b], 2);
  return out + 2;
}

// What follows the digits of the byte at each position of a dump line: a
// space after every second byte, a line feed after the sixteenth.
constexpr char kLineSeparator[16] = {0, ' ', 0, ' ', 0, ' ', 0, ' ', 0, ' ', 0, ' ', 0, ' ', 0, '\n'};

// The one loop behind the three dump layouts: writeByte(out, i, byte) writes
// the text of byte i (at most Wide characters, and it may store all Wide even
// when it counts fewer) at out and returns its end; the dump of total characters
// goes to sb in chunks of Size characters, each written straight into sb's
// storage after the room test appendN would make, so growth and the text
// after a failed chunk are those of chunked appends. A byte whose text
// straddles two chunks is finished in the next one.
// writeRun(out, i, bytes, count) writes the text of count bytes from byte i
// on, with room for Wide characters a byte; Wide is the most any byte of the
// layout stores.
template <unsigned int Size, unsigned int Wide, typename WriteByte, typename WriteRun>
bool dumpHex(StringBuffer& sb, const unsigned char* data, unsigned int n, uint64_t total, WriteByte writeByte,
             WriteRun writeRun) {
  if (data == nullptr || n == 0) return true;
  data = reserveForOwnBytes(sb, data, total);
  if (data == nullptr) return false;
  char pending[3] = {0, 0, 0};
  unsigned int pendingLen = 0, pendingPos = 0, i = 0;
  for (uint64_t left = total; left != 0;) {
    const unsigned int chunk = left < Size ? static_cast<unsigned int>(left) : Size;
    char* out = StringBufferTail::reserve(sb, chunk);
    if (out == nullptr) return false;
    char* const end = out + chunk;
    while (pendingPos < pendingLen && out < end) *out++ = pending[pendingPos++];
    // Bytes that surely fit go without a room test each; the few at the
    // chunk's end are weighed one by one.
    for (;;) {
      unsigned int sure = static_cast<unsigned int>(end - out) / Wide;
      if (sure > n - i) sure = n - i;
      if (sure < 4) break;
      out = writeRun(out, i, data + i, sure);
      i += sure;
    }
    for (; end - out >= static_cast<std::ptrdiff_t>(Wide) && i < n; ++i) out = writeByte(out, i, data[i]);
    while (out < end) {
      pendingLen = static_cast<unsigned int>(writeByte(pending, i, data[i]) - pending);
      ++i;
      for (pendingPos = 0; pendingPos < pendingLen && out < end;) *out++ = pending[pendingPos++];
    }
    StringBufferTail::commit(sb, chunk);
    left -= chunk;
  }
  return true;
}

// The layouts whose runs are written byte by byte.
template <unsigned int Size, unsigned int Wide, typename WriteByte>
bool dumpHex(StringBuffer& sb, const unsigned char* data, unsigned int n, uint64_t total, WriteByte writeByte) {
  return dumpHex<Size, Wide>(sb, data, n, total, writeByte,
                       [writeByte](char* out, unsigned int i, const unsigned char* bytes, unsigned int count) {
                         for (unsigned int k = 0; k < count; ++k) out = writeByte(out, i + k, bytes[k]);
                         return out;
                       });
}

// One byte of the line layout; the separator slot is always stored and only
// counted when it is one.
inline char* putDumpByte(char* out, unsigned int i, unsigned char b) {
  const char separator = kLineSeparator[i % 16];
  out = putHexByte(out, b);
  *out = separator;
  return out + (separator != 0 ? 1 : 0);
}

// Copies pattern, puts text in place of the first slot ("%s" or "%d") and
// appends the result to sb.
bool appendFilledPattern(StringBuffer& sb, const char* pattern, const char* slot, const char* text) {
  StringBuffer filled;
  if (!filled.append(pattern)) return false;
  // Note: a slot that is present but could not be filled (no memory to save
  // the tail) is reported as a failure rather than appended as a bare
  // placeholder; a pattern without the slot is appended as it is.
  if (!filled.replaceFirstOccurance(slot, text, false) && text != nullptr &&
      std::strstr(filled.getString(), slot) != nullptr)
    return false;
  return sb.append(filled);
}

}  // namespace

bool StringBuffer::append(int value) { return appendDecimal(*this, value); }

bool StringBuffer::append(unsigned int value) { return appendDecimal(*this, value); }

bool StringBuffer::appendInt64(int64_t value) { return appendDecimal(*this, value); }

// minDigits is honoured in full, however wide: the padding is written
// straight into the buffer rather than into the digit area.
void StringBuffer::appendInt(int value, int minDigits) {
  char area[kDecimalArea];
  char* end = area + kDecimalArea;
  const char* digits = putDigitsBackwards(magnitudeOf(value), end);
  const unsigned int count = static_cast<unsigned int>(end - digits);
  const unsigned int width = minDigits > 0 ? static_cast<unsigned int>(minDigits) : 0;
  const unsigned int padding = width > count ? width - count : 0;
  const unsigned int sign = value < 0 ? 1 : 0;
  // Room for the whole number first: after a failed growth nothing is
  // appended, never a sign or zeros without their digits.
  if (!ensureRoom(sign + padding + count)) return;
  if (sign != 0) putBytes("-", 1);
  std::memset(m_data + m_length, '0', padding);
  m_length += padding;
  putBytes(digits, count);
}

bool StringBuffer::appendHex(unsigned int value, bool lowercase, unsigned int width) {
  const char* digitSet = lowercase ? kLowerHex : kUpperHex;
  char area[8];
  char* end = area + sizeof area;
  char* p = end;
  do {
    *--p = digitSet[value & 0xF];
    value >>= 4;
  } while (value != 0);
  // Only the widths of a byte, a 16-bit and a 32-bit word pad; any other
  // width gives the bare digits.
  if (width == 2 || width == 4 || width == 8)
    while (static_cast<unsigned int>(end - p) < width) *--p = '0';
  return appendN(p, static_cast<unsigned int>(end - p));
}

bool StringBuffer::appendHexData(const unsigned char* data, unsigned int n) {
  // Lines of 16 bytes in groups of two: a space after every second byte of a
  // line, a line feed after the sixteenth.
  const uint64_t total = uint64_t(n) * 2 + uint64_t(n / 16) * 8 + (n % 16) / 2;
  // A run goes a group of two bytes at a time: four digits and the group's
  // separator, a line feed after the last group of a line.
  return dumpHex<kDumpChunk, 3>(*this, data, n, total, putDumpByte,
                             [](char* out, unsigned int i, const unsigned char* bytes, unsigned int count) {
                               unsigned int k = 0;
                               if (i % 2 != 0) out = putDumpByte(out, i, bytes[k++]);
                               for (; count - k >= 2; k += 2) {
                                 out = putHexByte(putHexByte(out, bytes[k]), bytes[k + 1]);
                                 *out++ = (i + k) % 16 == 14 ? '\n' : ' ';
                               }
                               if (k != count) out = putDumpByte(out, i + k, bytes[k]);
                               return out;
                             });
}

bool StringBuffer::appendHexDataNoWS(const unsigned char* data, unsigned int n, bool spaceBefore) {
  const uint64_t total = uint64_t(n) * (spaceBefore ? 3 : 2);
  if (spaceBefore) {
    return dumpHex<kLineChunk, 3>(*this, data, n, total, [](char* out, unsigned int, unsigned char b) {
      *out = ' ';
      return putHexByte(out + 1, b);
    });
  }
  return dumpHex<kLineChunk, 2>(*this, data, n, total,
                                [](char* out, unsigned int, unsigned char b) { return putHexByte(out, b); });
}

void StringBuffer::appendSmallDataAsSpacedHexString(const unsigned char* data, unsigned int n) {
  dumpHex<kLineChunk, 3>(*this, data, n, uint64_t(n) * 3, [](char* out, unsigned int, unsigned char b) {
    out = putHexByte(out, b);
    *out = ' ';
    return out + 1;
  });
}

bool StringBuffer::appendBase64(const unsigned char* data, unsigned int n) {
  return MimeCodec::encodeBase64(data, n, *this);
}

bool StringBuffer::append_s(const char* pattern, const char* s) {
  return appendFilledPattern(*this, pattern, "%s", s);
}

bool StringBuffer::append_d(const char* pattern, int value) {
  const DecimalText decimal(value);
  return appendFilledPattern(*this, pattern, "%d", decimal.text());
}

bool StringBuffer::appendNameIntValue(const char* name, int value) {
  return append(name) && append("=") && append(value);
}
