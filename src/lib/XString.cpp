// XString text: appends that keep the text free of zero bytes, and the
// character replacement that rebuilds it.
#include "lib/XString.h"

#include <cstring>

namespace {

// Writes character c (ASCII, or Latin-1 for 0x80..0xFF) as UTF-8; returns
// the number of bytes (1 or 2).
unsigned encodeChar(char c, char* out) {
  const auto u = static_cast<unsigned char>(c);
  if (u < 0x80) {
    out[0] = c;
    return 1;
  }
  out[0] = static_cast<char>(0xC0 | u >> 6);
  out[1] = static_cast<char>(0x80 | (u & 0x3F));
  return 2;
}

// First occurrence of the 1- or 2-byte pattern in [p, end), or null. A
// two-byte pattern starts with a lead byte, which in UTF-8 only ever begins
// a character, so a plain byte match is a character match.
const char* findChar(const char* p, const char* end, const char* pat, unsigned patLen) {
  while (p < end) {
    const void* hit = std::memchr(p, pat[0], static_cast<size_t>(end - p));
    if (hit == nullptr) return nullptr;
    const char* h = static_cast<const char*>(hit);
    if (patLen == 1 || (end - h >= 2 && h[1] == pat[1])) return h;
    p = h + 1;
  }
  return nullptr;
}

}  // namespace

bool XString::setFromUtf8(const char* s) {
  // Built aside first, so that a failure leaves the text as it was.
  StringBuffer text;
  text.setSecureBuf(m_secure);
  if (!text.append(s)) return false;
  m_utf8.takeSb(text);
  return true;
}

bool XString::appendUtf8(const char* s) {
  return m_utf8.append(s);
}

bool XString::appendUtf8N(const char* s, unsigned int n) {
  if (s == nullptr) return true;
  const void* zero = std::memchr(s, 0, n);
  if (zero != nullptr) n = static_cast<unsigned int>(static_cast<const char*>(zero) - s);
  return m_utf8.appendN(s, n);
}

bool XString::replaceChar(char from, char to) {
  if (from == 0 || to == 0) return false;
  if (from == to) return true;
  char pat[2] = {};
  char rep[2] = {};
  const unsigned patLen = encodeChar(from, pat);
  const unsigned repLen = encodeChar(to, rep);
  const char* p = m_utf8.getString();
  const char* const end = p + m_utf8.getSize();
  const char* hit = findChar(p, end, pat, patLen);
  if (hit == nullptr) return true;
  StringBuffer out;
  out.setSecureBuf(m_secure);
  if (!out.expectNumBytes(m_utf8.getSize())) return false;
  for (; hit != nullptr; hit = findChar(p, end, pat, patLen)) {
    if (!out.appendN(p, static_cast<unsigned int>(hit - p)) || !out.appendN(rep, repLen)) return false;
    p = hit + patLen;
  }
  if (!out.appendN(p, static_cast<unsigned int>(end - p))) return false;
  m_utf8.takeSb(out);
  return true;
}
