// The decoders that undo the library's byte encodings (Base64, hex, percent
// escapes). Each is one table-driven walk that either writes into storage
// reserved once, or, for the in-place forms, first runs dry to prove the text
// well formed, since a decode over its own input cannot be undone.
#include <array>
#include <cstddef>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"

namespace {

// ---- Hex digits, shared by the hex and percent decoders ----

// A digit's value in the high or low half of a byte; kNotDigit for every
// other byte. It survives the OR of a pair, so one test covers both digits,
// and a whole run can be checked once at its end.
constexpr uint16_t kNotDigit = 0x100;

constexpr std::array<uint16_t, 256> hexDigits(unsigned shift) {
  std::array<uint16_t, 256> t{};
  for (auto& v : t) v = kNotDigit;
  for (unsigned i = 0; i < 10; ++i) t['0' + i] = static_cast<uint16_t>(i << shift);
  for (unsigned i = 0; i < 6; ++i) {
    t['a' + i] = static_cast<uint16_t>((10 + i) << shift);
    t['A' + i] = static_cast<uint16_t>((10 + i) << shift);
  }
  return t;
}
constexpr auto kHighDigit = hexDigits(4);
constexpr auto kLowDigit = hexDigits(0);

// ---- Base64 ----

// Byte classes beside the six-bit values 0..63.
constexpr uint8_t kSpace = 64;
constexpr uint8_t kPad = 65;
constexpr uint8_t kBad = 66;
// Set in the group tables for every byte that is not a symbol.
constexpr uint32_t kNotSymbol = 1u << 24;

struct Base64Tables {
  std::array<uint8_t, 256> kind;
  // A symbol's six bits already shifted to their place in a 24-bit group,
  // one table per position, so that a group of four costs four loads and
  // three ORs, and one test of kNotSymbol.
  std::array<uint32_t, 256> at[4];
};

constexpr Base64Tables base64Tables(const char* alphabet) {
  Base64Tables t{};
  for (auto& k : t.kind) k = kBad;
  for (uint8_t i = 0; i < 64; ++i) t.kind[static_cast<unsigned char>(alphabet[i])] = i;
  t.kind['\t'] = t.kind['\n'] = t.kind['\r'] = t.kind[' '] = kSpace;
  t.kind['='] = kPad;
  for (unsigned c = 0; c < 256; ++c) {
    const uint8_t k = t.kind[c];
    for (unsigned pos = 0; pos < 4; ++pos)
      t.at[pos][c] = k < 64 ? uint32_t(k) << (18 - 6 * pos) : kNotSymbol;
  }
  return t;
}
constexpr Base64Tables kStandard =
    base64Tables("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
constexpr Base64Tables kUrlSafe =
    base64Tables("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");

// Walks Base64 text; with Write, stores the bytes at out (which may be the
// text itself: a group is read whole before its bytes are stored, and the
// bytes never outrun the text). Sets written and returns true when the text
// is well formed.
template <bool Write>
bool walkBase64(const unsigned char* p, size_t n, const Base64Tables& t, bool skipSpace, unsigned char* out,
                size_t& written) {
  const unsigned char* const end = p + n;
  size_t w = 0;
  uint32_t acc = 0;
  int count = 0;
  while (p != end) {
    if (count == 0) {
      for (; end - p >= 4; p += 4, w += 3) {
        const uint32_t v = t.at[0][p[0]] | t.at[1][p[1]] | t.at[2][p[2]] | t.at[3][p[3]];
        if (v & kNotSymbol) break;
        if (Write) {
          out[w] = static_cast<unsigned char>(v >> 16);
          out[w + 1] = static_cast<unsigned char>(v >> 8);
          out[w + 2] = static_cast<unsigned char>(v);
        }
      }
      if (p == end) break;
    }
    // One byte at a time around white space, padding and the last group.
    const uint8_t k = t.kind[*p++];
    if (k < 64) {
      acc = acc << 6 | k;
      if (++count == 4) {
        if (Write) {
          out[w] = static_cast<unsigned char>(acc >> 16);
          out[w + 1] = static_cast<unsigned char>(acc >> 8);
          out[w + 2] = static_cast<unsigned char>(acc);
        }
        w += 3;
        acc = 0;
        count = 0;
      }
      continue;
    }
    if (k == kSpace && skipSpace) continue;
    if (k != kPad) return false;
    int pads = 1;
    for (; p != end; ++p) {
      const uint8_t after = t.kind[*p];
      if (after == kPad)
        ++pads;
      else if (after != kSpace || !skipSpace)
        return false;
    }
    if (count < 2 || pads != 4 - count) return false;
  }
  // The last group: one symbol cannot make a byte, and the bits left over
  // below the last byte must be zero, so each byte string has one encoding.
  if (count == 1) return false;
  if (count == 2) {
    if (acc & 0xF) return false;
    if (Write) out[w] = static_cast<unsigned char>(acc >> 4);
    w += 1;
  } else if (count == 3) {
    if (acc & 0x3) return false;
    if (Write) {
      out[w] = static_cast<unsigned char>(acc >> 10);
      out[w + 1] = static_cast<unsigned char>(acc >> 2);
    }
    w += 2;
  }
  written = w;
  return true;
}

// ---- Hex ----

// Pairs of digits; the OR of every pair is kept and tested once at the end,
// so the loop has no branch. Four bytes are put together and stored at once;
// byte i is written only after digits 2i and 2i + 1 were read, which keeps
// an in-place decode safe.
template <bool Write>
bool walkHex(const unsigned char* p, size_t n, unsigned char* out, size_t& written) {
  if (n % 2 != 0) return false;
  const size_t pairs = n / 2;
  uint32_t seen = 0;
  size_t i = 0;
  for (; i + 4 <= pairs; i += 4, p += 8) {
    const uint32_t a = kHighDigit[p[0]] | kLowDigit[p[1]];
    const uint32_t b = kHighDigit[p[2]] | kLowDigit[p[3]];
    const uint32_t c = kHighDigit[p[4]] | kLowDigit[p[5]];
    const uint32_t d = kHighDigit[p[6]] | kLowDigit[p[7]];
    seen |= a | b | c | d;
    if (Write) {
      const unsigned char four[4] = {static_cast<unsigned char>(a), static_cast<unsigned char>(b),
                                     static_cast<unsigned char>(c), static_cast<unsigned char>(d)};
      std::memcpy(out + i, four, 4);
    }
  }
  for (; i < pairs; ++i, p += 2) {
    const uint32_t v = kHighDigit[p[0]] | kLowDigit[p[1]];
    seen |= v;
    if (Write) out[i] = static_cast<unsigned char>(v);
  }
  written = pairs;
  return (seen & kNotDigit) == 0;
}

// ---- Percent escapes ----

const unsigned char* findByte(const unsigned char* p, const unsigned char* end, unsigned char c) {
  const void* hit = std::memchr(p, c, static_cast<size_t>(end - p));
  return hit != nullptr ? static_cast<const unsigned char*>(hit) : end;
}

// The bytes a percent decoder must stop at, without and with "+" as space.
constexpr std::array<bool, 256> stopBytes(bool plus) {
  std::array<bool, 256> t{};
  t['%'] = true;
  t['+'] = plus;
  return t;
}
constexpr auto kStopPercent = stopBytes(false);
constexpr auto kStopPercentPlus = stopBytes(true);
// Bytes tried one by one before a library search takes over.
constexpr ptrdiff_t kHandScan = 16;

// Escapes in query text come every few bytes, where a memchr call costs more
// than the run it finds; so the next bytes are first tried by hand (copied as
// they go), and only a longer run is left to memchr. The next "%" and the
// next "+" memchr found are kept until the walk passes them, so no byte is
// searched twice.
template <bool Write>
bool walkPercent(const unsigned char* p, size_t n, bool plusIsSpace, unsigned char* out, size_t& written) {
  const std::array<bool, 256>& stop = plusIsSpace ? kStopPercentPlus : kStopPercent;
  const unsigned char* const end = p + n;
  // Both start out "behind the walk", i.e. not searched yet.
  const unsigned char* percent = p;
  const unsigned char* plus = p;
  size_t w = 0;
  while (p != end) {
    const unsigned char* limit = end - p > kHandScan ? p + kHandScan : end;
    for (; p != limit && !stop[*p]; ++p, ++w)
      if (Write) out[w] = *p;
    if (p == limit) {
      if (p == end) break;
      if (percent < p) percent = findByte(p, end, '%');
      if (plusIsSpace && plus < p) plus = findByte(p, end, '+');
      const unsigned char* next = plusIsSpace && plus < percent ? plus : percent;
      const auto run = static_cast<size_t>(next - p);
      if (Write) std::memmove(out + w, p, run);
      w += run;
      p = next;
      if (p == end) break;
    }
    if (*p == '+') {
      if (Write) out[w] = ' ';
      ++w;
      ++p;
      continue;
    }
    if (end - p < 3) return false;
    const uint16_t v = kHighDigit[p[1]] | kLowDigit[p[2]];
    if (v & kNotDigit) return false;
    if (Write) out[w] = static_cast<unsigned char>(v);
    ++w;
    p += 3;
  }
  written = w;
  return true;
}

const Base64Tables& tablesFor(StringBuffer::Base64Alphabet alphabet) {
  return alphabet == StringBuffer::Base64Alphabet::UrlSafe ? kUrlSafe : kStandard;
}

// Runs a walk that writes straight into out's spare room (maxOut bytes at
// most) and counts the bytes only when the text was well formed.
template <typename Walk>
bool decodeInto(DataBuffer& out, size_t n, size_t maxOut, Walk walk) {
  if (n == 0) return true;
  unsigned char* room = out.reserveTail(static_cast<unsigned int>(maxOut));
  if (room == nullptr) return false;
  size_t written = 0;
  if (!walk(room, written)) return false;
  out.commitTail(static_cast<unsigned int>(written));
  return true;
}

}  // namespace

bool StringBuffer::decodeBase64(DataBuffer& out, Base64Alphabet alphabet, WhiteSpace whiteSpace) const {
  const auto* text = reinterpret_cast<const unsigned char*>(m_data);
  const bool skip = whiteSpace == WhiteSpace::Skip;
  return decodeInto(out, m_length, m_length / 4 * 3 + 2, [&](unsigned char* room, size_t& written) {
    return walkBase64<true>(text, m_length, tablesFor(alphabet), skip, room, written);
  });
}

bool StringBuffer::decodeHex(DataBuffer& out) const {
  const auto* text = reinterpret_cast<const unsigned char*>(m_data);
  return decodeInto(out, m_length, m_length / 2, [&](unsigned char* room, size_t& written) {
    return walkHex<true>(text, m_length, room, written);
  });
}

bool StringBuffer::decodePercent(DataBuffer& out, PlusSign plus) const {
  const auto* text = reinterpret_cast<const unsigned char*>(m_data);
  const bool plusIsSpace = plus == PlusSign::Space;
  return decodeInto(out, m_length, m_length, [&](unsigned char* room, size_t& written) {
    return walkPercent<true>(text, m_length, plusIsSpace, room, written);
  });
}

// The in-place forms: a dry walk first, then the writing walk over the same
// storage. shorten() then zeroes the bytes given up behind the decoded
// content, so that a secure buffer keeps no trace of the encoded text.

bool StringBuffer::decodeBase64InPlace(Base64Alphabet alphabet, WhiteSpace whiteSpace) {
  auto* text = reinterpret_cast<unsigned char*>(m_data);
  const Base64Tables& t = tablesFor(alphabet);
  const bool skip = whiteSpace == WhiteSpace::Skip;
  size_t written = 0;
  if (m_length == 0) return true;
  if (!walkBase64<false>(text, m_length, t, skip, nullptr, written)) return false;
  walkBase64<true>(text, m_length, t, skip, text, written);
  shorten(m_length - static_cast<unsigned int>(written));
  return true;
}

bool StringBuffer::decodeHexInPlace() {
  auto* text = reinterpret_cast<unsigned char*>(m_data);
  size_t written = 0;
  if (m_length == 0) return true;
  if (!walkHex<false>(text, m_length, nullptr, written)) return false;
  walkHex<true>(text, m_length, text, written);
  shorten(m_length - static_cast<unsigned int>(written));
  return true;
}

bool StringBuffer::decodePercentInPlace(PlusSign plus) {
  auto* text = reinterpret_cast<unsigned char*>(m_data);
  const bool plusIsSpace = plus == PlusSign::Space;
  size_t written = 0;
  if (m_length == 0) return true;
  if (!walkPercent<false>(text, m_length, plusIsSpace, nullptr, written)) return false;
  walkPercent<true>(text, m_length, plusIsSpace, text, written);
  shorten(m_length - static_cast<unsigned int>(written));
  return true;
}
