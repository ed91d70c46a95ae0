// XString: the library's text string, held as UTF-8 whatever encoding it came
// in. The text never holds a zero byte, so getUtf8() is always the whole of it.
#pragma once

#include "core/StringBuffer.h"

class XString {
 public:
  XString() = default;
  ~XString() = default;
  XString(const XString&) = default;
  XString& operator=(const XString&) = default;

  // Replaces the text with s; null is "". False when memory runs out (the
  // text is then as it was).
  bool setFromUtf8(const char* s);
  // Appends s; null is "".
  bool appendUtf8(const char* s);
  // Appends at most n bytes of s, stopping early at a zero byte.
  bool appendUtf8N(const char* s, unsigned int n);
  // The text as zero-terminated UTF-8; never null ("" when empty). Valid
  // until the string changes or dies.
  const char* getUtf8() const { return m_utf8.getString(); }
  // Number of UTF-8 bytes.
  unsigned int getSizeUtf8() const { return m_utf8.getSize(); }
  bool isEmpty() const { return m_utf8.getSize() == 0; }
  void clear() { m_utf8.clear(); }
  // Wipes the text, and every copy an edit makes of it, before that storage
  // is released: for a string that holds a secure buffer's content.
  void setSecure(bool secure) {
    m_secure = secure;
    m_utf8.setSecureBuf(secure);
  }

  // Replaces every occurrence of the character `from` by `to`, character by
  // character: a byte below 0x80 is that ASCII character; a byte 0x80-0xFF
  // is the Latin-1 character U+0080..U+00FF, matched and written as its
  // two-byte UTF-8 form, so a byte inside some other multibyte character is
  // never touched. A zero `from` or `to` changes nothing and returns false
  // (the text cannot hold a zero). False when memory runs out, with the text
  // as it was.
  bool replaceChar(char from, char to);

 private:
  StringBuffer m_utf8;
  bool m_secure = false;
};
