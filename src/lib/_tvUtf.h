// _tvUtf: the library's UTF-8 / UTF-16 / code-point routines. Everything is
// static; nothing is kept between calls.
//
// Rules shared by every routine here:
// - Well-formed UTF-8 is RFC 3629: no overlong forms, no surrogates
//   (U+D800..U+DFFF), nothing above U+10FFFF, no 5- or 6-byte forms.
// - Code points travel between utf16ToCodePoints and codePointsToUtf8 as
//   32-bit little-endian units (UTF-32LE), four bytes each.
// - Malformed input is never refused outright: what cannot be read becomes
//   U+FFFD, the rest is converted, and the result is false.
#pragma once

#include <cstdint>

class DataBuffer;
class LogBase;

class _tvUtf {
 public:
  // Flags for isValidUtf8. With 0 the test is strict RFC 3629. With
  // kAcceptSurrogates the three-byte forms of U+D800..U+DFFF also pass: that
  // is what codePointToUtf8 writes for a lone surrogate (a JSON "\ud800", say),
  // so text produced that way can still be checked for everything else.
  // Other bits are reserved and ignored.
  static constexpr unsigned int kAcceptSurrogates = 1;

  // The replacement character written for whatever cannot be read.
  static constexpr uint32_t kReplacement = 0xFFFD;

  // True when the n bytes at data are well-formed UTF-8 (see the flags).
  // n == 0 is valid; null data with n > 0 is not.
  static bool isValidUtf8(const unsigned char* data, unsigned int n, unsigned int flags);

  // For tests: caps the vector unit isValidUtf8 may use (0: none, the
  // scalar walk; 1: AVX2; 2: AVX-512), never more than the CPU has, so that
  // every path can be checked on one machine; 2 is the default. Returns the
  // unit now in use.
  static int capVectorUnitForTests(int level);

  // Writes the UTF-8 form of codePoint at out (room for 4 bytes needed) and
  // sets numBytes. A surrogate code point gets its three-byte form (it stands
  // for a lone "\uD800"-style escape, which callers keep as it came); a value
  // above U+10FFFF is written as U+FFFD.
  static void codePointToUtf8(unsigned int codePoint, char* out, unsigned int& numBytes);

  // Reads UTF-16LE bytes from `in` and appends their code points to out as
  // UTF-32LE. A surrogate that is not part of a high-low pair, and an odd
  // last byte, each become U+FFFD; the result is then false. A byte-order
  // mark is read as the character U+FEFF. False also when out cannot grow.
  static bool utf16ToCodePoints(const DataBuffer& in, DataBuffer& out, LogBase& log);

  // Reads UTF-32LE code points from `in` and appends their UTF-8 form to out.
  // Surrogates, values above U+10FFFF and an incomplete last unit become
  // U+FFFD, and the result is then false. False also when out cannot grow.
  static bool codePointsToUtf8(const DataBuffer& in, DataBuffer& out, LogBase& log);

  // Reads one UTF-8 character at p (p < end). Returns the number of bytes it
  // takes (at least 1) and sets codePoint; an ill-formed sequence gives
  // codePoint kInvalid and the length of its longest well-formed prefix (at
  // least 1), so that a decoder emits one replacement per broken character.
  static constexpr uint32_t kInvalid = 0xFFFFFFFF;
  static unsigned int decodeUtf8(const unsigned char* p, const unsigned char* end, uint32_t& codePoint);

  // Writes the UTF-8 form of a code point that is known to be valid (not a
  // surrogate, at most U+10FFFF); returns the bytes written (1 to 4).
  static unsigned int encodeUtf8(uint32_t codePoint, unsigned char* out) {
    if (codePoint < 0x80) {
      out[0] = static_cast<unsigned char>(codePoint);
      return 1;
    }
    if (codePoint < 0x800) {
      out[0] = static_cast<unsigned char>(0xC0 | codePoint >> 6);
      out[1] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
      return 2;
    }
    if (codePoint < 0x10000) {
      out[0] = static_cast<unsigned char>(0xE0 | codePoint >> 12);
      out[1] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
      out[2] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
      return 3;
    }
    out[0] = static_cast<unsigned char>(0xF0 | codePoint >> 18);
    out[1] = static_cast<unsigned char>(0x80 | ((codePoint >> 12) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
    out[3] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
    return 4;
  }
};
