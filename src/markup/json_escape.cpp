// JSON string content: escaping a buffer in place so it can stand between
// double quotes, appending one "name":"value" member, and decoding escapes
// (\uXXXX units and surrogate pairs included) back to UTF-8.
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "core/internal/utf8_tables.h"
#include "markup/internal/aliasing.h"
#include "markup/internal/byte_scan.h"
#include "markup/internal/run_stager.h"
#include "lib/_tvUtf.h"

namespace {

using Byte = unsigned char;

// For each byte jsonEscape rewrites, the letter written after the
// backslash; 'u' stands for the six-byte \u00XX form. 0: copied unchanged.
constexpr std::array<char, 256> kEscapeLetter = [] {
  std::array<char, 256> t{};
  for (int b = 0; b < 0x20; ++b) t[b] = 'u';
  t['\b'] = 'b';
  t['\t'] = 't';
  t['\n'] = 'n';
  t['\f'] = 'f';
  t['\r'] = 'r';
  t['"'] = '"';
  t['\\'] = '\\';
  return t;
}();

constexpr char kUpperHex[] = "0123456789ABCDEF";

// Bytes an escape adds to the one byte it replaces.
inline uint32_t extraFor(Byte c) { return kEscapeLetter[c] == 'u' ? 5 : 1; }

inline Byte* writeEscape(Byte* w, Byte c) {
  const char letter = kEscapeLetter[c];
  w[0] = '\\';
  w[1] = static_cast<Byte>(letter);
  if (letter != 'u') return w + 2;
  w[2] = '0';
  w[3] = '0';
  w[4] = static_cast<Byte>(kUpperHex[c >> 4]);
  w[5] = static_cast<Byte>(kUpperHex[c & 15]);
  return w + 6;
}

// A lead byte (0xC0 and up) and the trailing bytes the reference table gives
// it travel as one unit that is never looked into, so a special byte inside
// such a unit is copied as it is. Returns where the unit that swallows s
// ends (capped at end), or null when s stands on its own. `from` must be a
// unit boundary at or before s.
const Byte* unitCovering(const Byte* from, const Byte* s, const Byte* end) {
  // A unit is at most six bytes long, so only a lead byte among the five
  // before s can reach it; ASCII-heavy text stops here.
  bool leadNearby = false;
  for (const Byte* q = s - from > 5 ? s - 5 : from; q < s; ++q) leadNearby |= *q >= 0xC0;
  if (!leadNearby) return nullptr;
  // A lead byte inside another unit leads nothing, so the units are walked
  // from the boundary. Callers move the boundary past s afterwards, so no
  // byte is walked twice.
  for (const Byte* q = from; q < s;) {
    if (*q < 0xC0) {
      ++q;
      continue;
    }
    const size_t unit = 1u + sb_internal::kTrailingBytesForUtf8[*q];
    if (unit >= static_cast<size_t>(end - q)) return end;
    if (q + unit > s) return q + unit;
    q += unit;
  }
  return nullptr;
}

// Hands [begin, end) on as runs copied unchanged (onRun(first, last)) and
// the bytes to escape between them (onEscape(byte)), in order.
template <typename OnRun, typename OnEscape>
void walkEscapes(const Byte* begin, const Byte* end, OnRun onRun, OnEscape onEscape) {
  const Byte* run = begin;
  const Byte* boundary = begin;
  for (;;) {
    const Byte* s = markup_scan::findJsonSpecial(boundary, end);
    if (s == end) break;
    if (const Byte* unitEnd = unitCovering(boundary, s, end)) {
      boundary = unitEnd;
      continue;
    }
    onRun(run, s);
    onEscape(*s);
    run = boundary = s + 1;
  }
  onRun(run, end);
}

uint64_t escapedExtra(const Byte* begin, const Byte* end) {
  uint64_t extra = 0;
  walkEscapes(begin, end, [](const Byte*, const Byte*) {}, [&extra](Byte c) { extra += extraFor(c); });
  return extra;
}

// Writes the escaped form of [begin, end) at w; returns the end written.
Byte* writeEscaped(const Byte* begin, const Byte* end, Byte* w) {
  walkEscapes(
      begin, end,
      [&w](const Byte* first, const Byte* last) {
        std::memcpy(w, first, static_cast<size_t>(last - first));
        w += last - first;
      },
      [&w](Byte c) { w = writeEscape(w, c); });
  return w;
}

const Byte* bytes(const char* p) { return reinterpret_cast<const Byte*>(p); }

// What a backslash and the byte after it decode to; -1: both are dropped.
// 'u' is handled apart.
constexpr std::array<int16_t, 256> kUnescaped = [] {
  std::array<int16_t, 256> t{};
  for (auto& v : t) v = -1;
  t['"'] = '"';
  t['/'] = '/';
  t['\\'] = '\\';
  t['b'] = '\b';
  t['f'] = '\f';
  t['n'] = '\n';
  t['r'] = '\r';
  t['t'] = '\t';
  return t;
}();

// Our choice for the four bytes after "\u": the hex digits they begin with
// (either case) make the value, and the first other byte ends it, as the
// library's hex reader does: "\u12zz" stands for U+0012.
uint32_t hexUnit(const Byte* p) {
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) {
    const Byte c = p[i];
    const uint32_t d = c >= '0' && c <= '9' ? c - '0' : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10 : 16;
    if (d == 16) break;
    v = v << 4 | d;
  }
  return v;
}

bool isHighSurrogate(uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isLowSurrogate(uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// The decoded output goes to out in chunks of 200 bytes or more. Zero bytes
// (from the source or from "\u0000") are content and are kept even at the
// end of a chunk, which appendN would drop from the count.
constexpr unsigned int kDecodeFlushAt = 200;
constexpr unsigned int kDecodeStage = 206;  // a unit writes at most 6 bytes

}  // namespace

bool StringBuffer::jsonEscape() {
  if (m_length == 0) return true;
  const Byte* begin = bytes(m_data);
  const Byte* end = begin + m_length;
  const uint64_t extra = escapedExtra(begin, end);
  if (extra == 0) return true;
  // The escaped text is written once, into a block of its exact size (plus
  // the 4 spare bytes callers have always found there), which then becomes
  // the storage: no second copy.
  const uint64_t size = uint64_t(m_length) + extra + 4;
  if (size > 0xFFFFFFFFu) return false;
  Byte* block = allocBuffer(static_cast<unsigned int>(size));
  if (block == nullptr) return false;
  Byte* w = writeEscaped(begin, end, block);
  *w = 0;
  const auto newLength = static_cast<unsigned int>(w - block);
  releaseBuffer();
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_capacity = static_cast<unsigned int>(size);
  m_length = newLength;
  return true;
}

bool StringBuffer::appendJsonMember(bool comma, const char* name, const char* value) {
  const size_t nameLength = name != nullptr ? std::strlen(name) : 0;
  const size_t valueLength = value != nullptr ? std::strlen(value) : 0;
  const Byte* valueBegin = value != nullptr ? bytes(value) : bytes("");
  const uint64_t extra = escapedExtra(valueBegin, valueBegin + valueLength);
  // , " name " : " value "
  const uint64_t total = (comma ? 1u : 0u) + nameLength + valueLength + extra + 5;
  if (total > 0xFFFFFFFFu) return true;

  // Our choice: the member is written straight into our storage after one
  // reservation, with no escaped copy of the value in between; when that
  // reservation fails nothing is appended rather than a partial member.
  const int64_t nameOffset = markup_alias::offsetInside(name, m_data, m_length);
  const int64_t valueOffset = markup_alias::offsetInside(value, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(total))) return true;
  name = markup_alias::follow(name, nameOffset, m_data);
  valueBegin = bytes(markup_alias::follow(reinterpret_cast<const char*>(valueBegin), valueOffset, m_data));

  Byte* w = reinterpret_cast<Byte*>(m_data + m_length);
  if (comma) *w++ = ',';
  *w++ = '"';
  if (nameLength != 0) std::memcpy(w, name, nameLength);
  w += nameLength;
  *w++ = '"';
  *w++ = ':';
  *w++ = '"';
  w = writeEscaped(valueBegin, valueBegin + valueLength, w);
  *w++ = '"';
  *w = 0;
  m_length += static_cast<unsigned int>(total);
  return true;
}

bool StringBuffer::jsonDecode(const char* source, unsigned int count, StringBuffer& out) {
  if (count == 0 || source == nullptr) return true;
  // Chunks are appended while the source is read, so a source inside out's
  // own content is read from a copy.
  StringBuffer copy;
  copy.setSecureBuf(out.m_secure);
  if (markup_alias::offsetInside(source, out.m_data, out.m_length) >= 0) {
    if (!copy.appendN(source, count)) return false;
    source = copy.m_data;
  }
  const auto sink = [&out](const Byte* p, unsigned int n) {
    if (!out.ensureRoom(n)) return false;
    out.putBytes(reinterpret_cast<const char*>(p), n);
    return true;
  };
  markup_stage::RunStager<kDecodeFlushAt, kDecodeStage, decltype(sink)> stager(sink);
  const auto putCodePoint = [&stager](uint32_t codePoint) {
    char utf8[4];
    unsigned int n = 0;
    _tvUtf::codePointToUtf8(codePoint, utf8, n);
    stager.putUnit(utf8, n);
  };
  const Byte* p = bytes(source);
  const Byte* const end = p + count;
  while (p < end && stager.ok()) {
    const void* hit = std::memchr(p, '\\', static_cast<size_t>(end - p));
    const Byte* slash = hit != nullptr ? static_cast<const Byte*>(hit) : end;
    stager.putRun(p, static_cast<unsigned int>(slash - p));
    p = slash;
    if (end - p < 2) break;  // no backslash left, or a final one, which is dropped
    if (p[1] != 'u') {
      if (kUnescaped[p[1]] >= 0) {
        const Byte c = static_cast<Byte>(kUnescaped[p[1]]);
        stager.putUnit(&c, 1);
      }
      p += 2;
      continue;
    }
    const auto digits = static_cast<size_t>(end - p - 2);
    if (digits == 0) break;
    if (digits < 4) {
      p += 2;  // the few bytes left are ordinary input
      continue;
    }
    const uint32_t unit = hexUnit(p + 2);
    if (isHighSurrogate(unit) && digits >= 10 && p[6] == '\\' && p[7] == 'u') {
      // A pair is read as UTF-16 would read it: a high surrogate followed by
      // anything but a low one is a broken character, and a second unit that
      // is itself a surrogate is one more.
      const uint32_t second = hexUnit(p + 8);
      if (isLowSurrogate(second)) {
        putCodePoint(0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00));
      } else {
        putCodePoint(_tvUtf::kReplacement);
        putCodePoint(isHighSurrogate(second) || isLowSurrogate(second) ? _tvUtf::kReplacement : second);
      }
      p += 12;
      continue;
    }
    // Note: a lone surrogate is written in its three-byte form, as it came.
    putCodePoint(unit);
    p += 6;
  }
  const bool ok = stager.finish();
  if (out.m_secure) stager.wipe();
  return ok;
}
