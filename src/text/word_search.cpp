// Substring search that accepts a match only between boundary characters:
// content ids (cid:part1 must not hit cid:part10) and whole words in UTF-8
// text, with replace-all operations built on the two finders.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"
#include "text/internal/replace_walk.h"
#include "text/internal/text_scan.h"

using textscan::ByteTable;
using textscan::withRange;

namespace {

// Content-id bytes: ASCII letters and digits, the eleven punctuation bytes
// that occur in ids and URLs, and the Latin-1 letters from 192 on, less the
// multiplication (215) and division (247) signs.
constexpr ByteTable kCidAscii =
    withRange(withRange(withRange(textscan::byteSet("!%&-./:;?@_"), '0', '9'), 'A', 'Z'), 'a', 'z');
constexpr ByteTable kCid = textscan::without(textscan::without(withRange(kCidAscii, 192, 255), 215), 247);
constexpr ByteTable kWordAscii = withRange(textscan::kAsciiLetters, '0', '9');

using u8 = unsigned char;
u8 at(const char* p, long i) { return static_cast<u8>(p[i]); }

// Content ids: a match needs a non-id byte (or the text's edge) on each side.
struct CidBoundary {
  static bool before(const char* /*from*/, const char* m) { return !kCid[at(m, -1)]; }
  static bool after(const char* p) { return !kCid[at(p, 0)]; }
};

// UTF-8 words: ASCII letters and digits are word bytes; U+00A0 (C2 A0) and
// the general punctuation block U+2000..U+203F (E2 80 xx) are boundaries;
// any other non-ASCII character is part of a word. The look-back sees only
// the bytes from `from` on, so a high byte just behind the start of a retried
// search ends a character whose lead byte was left behind: «éé» holds «é» at
// offset 2 once the match at 0 is rejected.
struct WordBoundary {
  static bool before(const char* from, const char* m) {
    const u8 b = at(m, -1);
    if (b < 128) return !kWordAscii[b];
    const long avail = m - from;
    if (avail >= 3 && at(m, -3) == 226 && at(m, -2) == 128) return true;
    if (avail >= 2) return at(m, -2) == 194 && b == 160;
    return true;  // the first byte of the current search
  }
  static bool after(const char* p) {
    const u8 b = at(p, 0);
    if (b < 128) return !kWordAscii[b];  // the terminator is a boundary too
    return (b == 226 && at(p, 1) == 128) || (b == 194 && at(p, 1) == 160);
  }
};

// First match of the m bytes at needle in the n bytes at text that has a
// boundary on both sides. A rejected match is retried from one byte further
// on, and the byte before a later match is judged within that retried search.
// Note: a match that starts exactly where the retried search starts (only a
// needle that overlaps itself can do that) is judged against the whole text,
// so "aa" is not accepted in the middle of "baa" just because the search
// restarted inside it.
template <typename Boundary>
const char* findBounded(const char* text, uint32_t n, const char* needle, uint32_t m) {
  const char* end = text + n;
  for (const char* from = text;;) {
    const char* hit = TextSearch::find(from, static_cast<uint32_t>(end - from), needle, m);
    if (hit == nullptr) return nullptr;
    const bool beforeOk = hit == text || Boundary::before(hit == from ? text : from, hit);
    if (beforeOk && (hit + m == end || Boundary::after(hit + m))) return hit;
    from = hit + 1;
  }
}

// Replace-all over the text view of sb with a boundary-checked finder; the
// rest behind each replaced match is searched as a text of its own.
template <typename Boundary>
uint32_t replaceBounded(StringBuffer& sb, const char* needle, const char* replacement, bool secure,
                        StringBuffer& result) {
  const uint32_t m = textscan::lengthOf(needle);
  if (m == 0) return 0;
  const char* text = sb.getString();
  const uint32_t textLen = textscan::textLength(text, sb.getSize());
  const char* first = findBounded<Boundary>(text, textLen, needle, m);
  if (first == nullptr) return 0;
  result.setSecureBuf(secure);
  uint32_t count = 0;
  const auto next = [needle, m](const char* from, uint32_t n) {
    return findBounded<Boundary>(from, n, needle, m);
  };
  if (!textscan::appendReplacingAll(text, textLen, first, m, replacement, textscan::lengthOf(replacement), next,
                                    result, count)) {
    return 0;
  }
  return count;
}

}  // namespace

bool StringBuffer::isCidChar(char c) { return textscan::has(kCid, c); }

const char* StringBuffer::findCidOnly(const char* text, const char* cid) {
  const uint32_t m = textscan::lengthOf(cid);
  if (text == nullptr || *text == 0 || m == 0) return nullptr;
  return findBounded<CidBoundary>(text, textscan::lengthOf(text), cid, m);
}

unsigned int StringBuffer::replaceAllCidOccurrences(const char* cid, const char* replacement) {
  StringBuffer result;
  const uint32_t count = replaceBounded<CidBoundary>(*this, cid, replacement, m_secure, result);
  if (count != 0) takeSb(result);
  return count;
}

const char* StringBuffer::findWordOnlyUtf8(const char* text, const char* word, LogBase& /*log*/) {
  const uint32_t m = textscan::lengthOf(word);
  if (text == nullptr || *text == 0 || m == 0) return nullptr;
  return findBounded<WordBoundary>(text, textscan::lengthOf(text), word, m);
}

unsigned int StringBuffer::replaceAllWordOccurrencesUtf8(const char* word, const char* replacement,
                                                         LogBase& /*log*/) {
  StringBuffer result;
  const uint32_t count = replaceBounded<WordBoundary>(*this, word, replacement, m_secure, result);
  if (count != 0) takeSb(result);
  return count;
}
