// TextSearch: the byte-string routines under the text operations of
// StringBuffer: ASCII case-insensitive comparison and search, plain and
// bounded substring search, and a wildcard matcher. Everything works on
// bytes; no locale is consulted, so results do not change with the process
// locale.
#pragma once

#include <cstdint>

class TextSearch {
 public:
  // The byte with A..Z mapped to a..z; every other byte (those above 127
  // included) is its own fold.
  static unsigned char foldAscii(unsigned char c);

  // strcasecmp in the "C" locale: the difference of the first pair of folded
  // bytes that differ, 0 when equal. Null counts as "".
  static int compareNoCase(const char* a, const char* b);
  // As compareNoCase, looking at no more than n bytes.
  static int compareNoCaseN(const char* a, const char* b, uint32_t n);

  // First occurrence of the m bytes at needle in the n bytes at hay, or
  // null. An empty needle is found at hay, as strstr does.
  static const char* find(const char* hay, uint32_t n, const char* needle, uint32_t m);
  // First occurrence of the zero-terminated needle in a zero-terminated text
  // whose terminator lies at or before text[n]: a match must end before the
  // first zero byte. The zero test rides on the same scan as the candidates,
  // so the text is read once. An empty or null needle is found at text.
  static const char* findInText(const char* text, uint32_t n, const char* needle);
  // As find, comparing folded bytes.
  static const char* findNoCase(const char* hay, uint32_t n, const char* needle, uint32_t m);
  // Zero-terminated form of findNoCase (strcasestr); null arguments give null.
  static const char* findNoCase(const char* hay, const char* needle);
  // needle (zero-terminated) inside the first n bytes of text, stopping at a
  // zero byte of text as well (strnstr). Case-sensitive. Null when absent.
  static const char* findBounded(const char* text, const char* needle, uint32_t n);

  // Matches the whole of text against pattern. '*' stands for any run of
  // bytes, the empty one included; '?' for exactly one byte; every other
  // pattern byte for itself. There is no escape: a literal '*' or '?' in the
  // text is matched by a wildcard. caseSensitive false compares ASCII
  // letters without regard to case. Null text counts as ""; a null pattern
  // matches nothing. Runs in O(text * pattern) at worst, never exponential.
  static bool wildcardMatch(const char* text, const char* pattern, bool caseSensitive);
};
