// Taking pieces out of text: extraction copies a piece of the content into
// a caller's buffer, capture appends the leading run of one byte class of a
// caller's string to the content.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"
#include "text/internal/text_scan.h"

using textscan::ByteTable;
using textscan::byteSet;
using textscan::withRange;

namespace {

constexpr ByteTable kHexDigits = withRange(withRange(textscan::kDigits, 'A', 'F'), 'a', 'f');
// Everything but the zero byte and the whitespace bytes.
constexpr ByteTable kNonWhitespace =
    withRange(withRange(withRange(withRange(ByteTable{}, 1, 8), 11, 12), 14, 31), 33, 255);
// Everything but the zero byte, LF and CR.
constexpr ByteTable kLineBytes = withRange(withRange(withRange(ByteTable{}, 1, 9), 11, 12), 14, 255);
constexpr ByteTable kIdentifier = withRange(withRange(withRange(byteSet("_"), '0', '9'), 'A', 'Z'), 'a', 'z');
constexpr ByteTable kAlphaNum = withRange(textscan::kAsciiLetters, '0', '9');


// Length of the run of class bytes at the start of s; no class holds the
// zero byte, so the run always ends at s's terminator at the latest.
uint32_t runLength(const char* s, const ByteTable& cls) {
  uint32_t n = 0;
  while (cls[static_cast<unsigned char>(s[n])]) ++n;
  return n;
}

uint32_t captureRun(StringBuffer& sb, const char* s, const ByteTable& cls) {
  if (s == nullptr) return 0;
  const uint32_t n = runLength(s, cls);
  return sb.appendN(s, n) ? n : 0;
}

const char* find(const char* from, const char* end, const char* needle, uint32_t needleLen) {
  return TextSearch::find(from, static_cast<uint32_t>(end - from), needle, needleLen);
}

const char* skipWhitespace(const char* p, const char* end) {
  while (p != end && textscan::has(textscan::kWhitespace, *p)) ++p;
  return p;
}

}  // namespace

// Extraction refuses to write into the object it reads from: the source
// bytes would move under the copy as the output grows.
bool StringBuffer::getBetween(const char* beginMarker, const char* endMarker, StringBuffer& out) {
  const uint32_t beginLen = textscan::lengthOf(beginMarker);
  const uint32_t endLen = textscan::lengthOf(endMarker);
  if (&out == this || beginLen == 0 || endLen == 0) return false;
  const char* textEnd = m_data + textscan::textLength(m_data, m_length);
  const char* b = find(m_data, textEnd, beginMarker, beginLen);
  if (b == nullptr) return false;
  const char* inner = b + beginLen;
  const char* e = find(inner, textEnd, endMarker, endLen);
  return e != nullptr && out.appendN(inner, static_cast<uint32_t>(e - inner));
}

void StringBuffer::getDelimited(const char* beginMarker, const char* endMarker, bool includeMarkers,
                                StringBuffer& out) const {
  const uint32_t beginLen = textscan::lengthOf(beginMarker);
  const uint32_t endLen = textscan::lengthOf(endMarker);
  if (&out == this || beginLen == 0 || endLen == 0) return;
  const char* textEnd = m_data + textscan::textLength(m_data, m_length);
  const char* b = find(m_data, textEnd, beginMarker, beginLen);
  if (b == nullptr) return;
  if (!includeMarkers) {
    const char* inner = b + beginLen;
    const char* e = find(inner, textEnd, endMarker, endLen);
    if (e != nullptr) out.appendN(inner, static_cast<uint32_t>(e - inner));
    return;
  }
  // Note: with the markers kept, the end marker is searched from the begin
  // marker's second byte, so the two may share bytes ("ab" and "bc" in "abc").
  const char* e = find(b + 1, textEnd, endMarker, endLen);
  if (e != nullptr) out.appendN(b, static_cast<uint32_t>(e + endLen - b));
}

bool StringBuffer::getBefore(const char* marker, bool consume, StringBuffer& out) {
  if (&out == this) return false;
  const uint32_t markerLen = textscan::lengthOf(marker);
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* hit = markerLen != 0 ? TextSearch::find(m_data, textLen, marker, markerLen) : nullptr;
  if (hit == nullptr) {
    if (out.appendN(m_data, m_length) && consume) clear();
    return false;
  }
  if (!out.appendN(m_data, static_cast<uint32_t>(hit - m_data))) return false;
  if (consume) {
    const uint32_t from = static_cast<uint32_t>(hit - m_data) + markerLen;
    const uint32_t kept = textLen - from;
    std::memmove(m_data, m_data + from, kept);
    m_data[kept] = 0;
    m_length = kept;
  }
  return true;
}

bool StringBuffer::getAfterFinal(const char* marker, bool consume, StringBuffer& out) {
  if (&out == this) return false;
  const uint32_t markerLen = textscan::lengthOf(marker);
  const char* textEnd = m_data + textscan::textLength(m_data, m_length);
  const char* last = nullptr;
  if (markerLen != 0) {
    for (const char* m = find(m_data, textEnd, marker, markerLen); m != nullptr;
         m = find(m + markerLen, textEnd, marker, markerLen)) {
      last = m;
    }
  }
  if (last == nullptr) {
    if (out.appendN(m_data, m_length) && consume) clear();
    return false;
  }
  const char* tail = last + markerLen;
  if (!out.appendN(tail, static_cast<uint32_t>(textEnd - tail))) return false;
  if (consume) chopAt(static_cast<uint32_t>(last - m_data));
  return true;
}

bool StringBuffer::getNamedValue(const char* name, StringBuffer& value) {
  if (&value == this) return false;
  value.weakClear();
  StringBuffer key(name);
  key.trim2();
  if (!key.appendChar('=')) return false;
  const char* textEnd = m_data + textscan::textLength(m_data, m_length);
  // Note: the first occurrence wins even when it ends a longer name ("id="
  // inside "uid="); results are kept that way for existing parsers.
  const char* hit = find(m_data, textEnd, key.getString(), key.getSize());
  if (hit == nullptr) return false;
  const char* start = hit + key.getSize();
  const void* semicolon = std::memchr(start, ';', static_cast<size_t>(textEnd - start));
  const char* stop = semicolon != nullptr ? static_cast<const char*>(semicolon) : textEnd;
  return value.appendN(start, static_cast<uint32_t>(stop - start));
}

void StringBuffer::splitAttrValue(StringBuffer& name, StringBuffer& value, bool unquote) const {
  if (&name == this || &value == this) return;
  name.weakClear();
  value.weakClear();
  const char* textEnd = m_data + textscan::textLength(m_data, m_length);
  const char* p = skipWhitespace(m_data, textEnd);
  if (p == textEnd) return;
  const char* equals = static_cast<const char*>(std::memchr(p, '=', static_cast<size_t>(textEnd - p)));
  name.appendN(p, static_cast<uint32_t>((equals != nullptr ? equals : textEnd) - p));
  name.trim2();
  if (equals == nullptr) return;
  p = skipWhitespace(equals + 1, textEnd);
  if (p == textEnd) return;
  if (unquote && *p == '"') ++p;
  value.appendN(p, static_cast<uint32_t>(textEnd - p));
  value.trim2();
  if (unquote && value.endsWith("\"")) value.chopAt(value.getSize() - 1);
}

bool StringBuffer::separate(char c, StringBuffer& before, StringBuffer& after) {
  if (&before == this || &after == this) return false;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* hit = static_cast<const char*>(std::memchr(m_data, c, textLen));
  if (hit == nullptr) return false;
  const bool ok = before.appendN(m_data, static_cast<uint32_t>(hit - m_data));
  return after.appendN(hit + 1, textLen - static_cast<uint32_t>(hit + 1 - m_data)) && ok;
}

bool StringBuffer::pop(char c, StringBuffer& out) {
  if (&out == this) return false;
  const char* hit = textscan::lastByte(m_data, m_length, c);
  if (hit == nullptr) return false;
  const uint32_t at = static_cast<uint32_t>(hit - m_data);
  if (!out.appendN(hit + 1, m_length - at - 1)) return false;
  chopAt(at);
  return true;
}

bool StringBuffer::copyUntil(const char* marker, unsigned int start, unsigned int& offset, StringBuffer& out) {
  offset = 0;
  if (&out == this || marker == nullptr || start >= m_length) return false;
  const char* from = m_data + start;
  const uint32_t span = textscan::textLength(from, m_length - start);
  const char* hit = TextSearch::find(from, span, marker, textscan::lengthOf(marker));
  if (hit == nullptr) return false;
  offset = static_cast<uint32_t>(hit - from);
  return out.appendN(from, offset);
}

unsigned int StringBuffer::captureDecimal(const char* s) { return captureRun(*this, s, textscan::kDigits); }

unsigned int StringBuffer::captureHex(const char* s) { return captureRun(*this, s, kHexDigits); }

unsigned int StringBuffer::captureWS(const char* s) { return captureRun(*this, s, textscan::kWhitespace); }

unsigned int StringBuffer::captureNonWS(const char* s) { return captureRun(*this, s, kNonWhitespace); }

unsigned int StringBuffer::captureIdentifier(const char* s) { return captureRun(*this, s, kIdentifier); }

unsigned int StringBuffer::captureAlpha(const char* s) { return captureRun(*this, s, textscan::kAsciiLetters); }

unsigned int StringBuffer::captureAlphaNum(const char* s) { return captureRun(*this, s, kAlphaNum); }

unsigned int StringBuffer::captureLine(const char* s, bool trim, bool lowerCase) {
  // s may point into this content, so the line goes into a temporary first;
  // takeSb then clears the content as clear does and takes the line over.
  StringBuffer line;
  const uint32_t taken = captureRun(line, s, kLineBytes);
  takeSb(line);
  if (trim) trim2();
  if (lowerCase) toLowerCase();
  return taken;
}
