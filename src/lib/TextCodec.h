// TextCodec: the library's reversible text disguise, applied first by the
// salted literal scheme and to values that template substitution is asked to
// hide. It takes no key and protects nothing; it only keeps text from being
// read at a glance.
//
// The transform: the 93 printable characters other than '"' and '\\' (32..126
// without 34 and 92) form a ring in code order. encode moves the byte at
// position i forward on that ring by (17 * i + 5) mod 93 places; decode moves
// it back by the same amount. Every other byte (controls, zero bytes, '"',
// '\\', 127 and everything above) stays as it is, though it still counts as
// a position. So:
// - the length never changes and nothing is allocated;
// - printable text stays printable, and a text that can be written as a C++
//   string literal without escapes still can after encode, which is what
//   lets salted literals live in source code;
// - UTF-8 stays valid, since bytes above 127 are left alone;
// - decode(encode(x)) == x and encode(decode(x)) == x for every byte string.
// Note: texts encoded once are stored (salted literals in source code), so
// the ring, the step 17 and the start 5 must never change.
#pragma once

class StringBuffer;

class TextCodec {
 public:
  // Disguises the whole content (by its length, zero bytes included) in place.
  static void encode(StringBuffer& sb);
  // Undoes encode in place.
  static void decode(StringBuffer& sb);
};
