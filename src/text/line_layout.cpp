// Rewriting the layout of text in place: line endings, indentation, line
// measurement, white-space and file-name clean-up, and emoji replaced by
// plain symbols. Everything but toCRLF and indent compacts the content from
// the front in one pass and allocates nothing.
#include <array>
#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "text/internal/text_scan.h"
#include "text/internal/threshold_stager.h"

using textscan::ByteTable;
using textscan::byteSet;

namespace {

// Finds the next occurrence of either of two bytes. Each byte's next
// position is kept until the walk passes it, so every byte of the text is
// searched at most once per value, with memchr. Writes behind the walk (an
// in-place compaction) never reach the kept positions.
class TwoByteFinder {
 public:
  TwoByteFinder(const char* begin, const char* end, char a, char b)
      : m_end(end), m_a(a), m_b(b), m_nextA(find(begin, a)), m_nextB(find(begin, b)) {}

  // The first of the two bytes at or after p, or the end.
  const char* next(const char* p) {
    if (m_nextA < p) m_nextA = find(p, m_a);
    if (m_nextB < p) m_nextB = find(p, m_b);
    return m_nextA < m_nextB ? m_nextA : m_nextB;
  }

 private:
  const char* find(const char* p, char c) const {
    const void* hit = std::memchr(p, c, static_cast<size_t>(m_end - p));
    return hit != nullptr ? static_cast<const char*>(hit) : m_end;
  }

  const char* m_end;
  char m_a, m_b;
  const char* m_nextA;
  const char* m_nextB;
};

// Ends an in-place compaction whose output stops at w: terminates it and
// returns the new length. A secure buffer also loses the bytes it vacated,
// because releasing storage wipes only up to the length.
uint32_t settle(char* data, uint32_t oldLength, char* w, bool secure) {
  const auto newLength = static_cast<uint32_t>(w - data);
  if (secure && newLength < oldLength) std::memset(w, 0, oldLength - newLength);
  data[newLength] = 0;
  return newLength;
}

constexpr ByteTable kFoldingWhite = byteSet("\t\n\r ");
constexpr ByteTable kBadInFileName = byteSet("*<>?|");

// What toAlphaNumUsAscii makes of each byte: letters and digits stay, a
// byte from 128 up whose low seven bits spell one becomes that letter or
// digit, and everything else becomes "0".
constexpr std::array<char, 256> kAlphaNumFold = [] {
  std::array<char, 256> t{};
  for (unsigned b = 0; b < 256; ++b) {
    const unsigned low = b & 0x7F;
    const bool alnum = (low >= '0' && low <= '9') || (low >= 'A' && low <= 'Z') || (low >= 'a' && low <= 'z');
    t[b] = static_cast<char>(alnum ? low : '0');
  }
  return t;
}();

// ---- Emoji table ----

struct EmojiRow {
  char32_t from[2];
  char32_t to[2];
};

// Tried in this order; a row with the variation selector U+FE0F stands
// before the same character without it so that the selector goes too.
constexpr EmojiRow kEmojiRows[] = {
    {{0x2705, 0}, {0x2713, 0}},      {{0x27A1, 0xFE0F}, {0x2192, 0}}, {{0x27A1, 0}, {0x2192, 0}},
    {{0x2B05, 0xFE0F}, {0x2190, 0}}, {{0x2B05, 0}, {0x2190, 0}},      {{0x2B06, 0xFE0F}, {0x2191, 0}},
    {{0x2B06, 0}, {0x2191, 0}},      {{0x2B07, 0xFE0F}, {0x2193, 0}}, {{0x2B07, 0}, {0x2193, 0}},
    {{0x2194, 0xFE0F}, {0x2194, 0}}, {{0x2194, 0}, {0x2194, 0}},      {{0x2195, 0xFE0F}, {0x2195, 0}},
    {{0x2195, 0}, {0x2195, 0}},      {{0x21A9, 0xFE0F}, {0x21A9, 0}}, {{0x21A9, 0}, {0x21A9, 0}},
    {{0x21AA, 0xFE0F}, {0x21AA, 0}}, {{0x21AA, 0}, {0x21AA, 0}},      {{0x2714, 0xFE0F}, {0x2713, 0}},
    {{0x2714, 0}, {0x2713, 0}},      {{0x274C, 0}, {0x2717, 0}},      {{0x2716, 0xFE0F}, {0x00D7, 0}},
    {{0x2716, 0}, {0x00D7, 0}},      {{0x2B50, 0}, {0x2605, 0}},      {{0x2764, 0xFE0F}, {0x2665, 0}},
    {{0x2764, 0}, {0x2665, 0}},      {{0x1F535, 0}, {0x25CF, 0}},     {{0x26AA, 0}, {0x25CB, 0}},
    {{0x1F534, 0}, {0x25CF, 0}},     {{0x26AB, 0}, {0x25CF, 0}},      {{0x1F538, 0}, {0x25C6, 0}},
    {{0x1F539, 0}, {0x25C7, 0}},     {{0x1F532, 0}, {0x25A1, 0}},     {{0x1F533, 0}, {0x25A0, 0}},
    {{0x1F53A, 0}, {0x25B2, 0}},     {{0x1F53B, 0}, {0x25BC, 0}},     {{0x25B6, 0xFE0F}, {0x25BA, 0}},
    {{0x25B6, 0}, {0x25BA, 0}},      {{0x25C0, 0xFE0F}, {0x25C4, 0}}, {{0x25C0, 0}, {0x25C4, 0}},
    {{0x2757, 0}, {0x0021, 0}},      {{0x2755, 0}, {0x0021, 0}},      {{0x2753, 0}, {0x003F, 0}},
    {{0x2754, 0}, {0x003F, 0}},      {{0x2049, 0xFE0F}, {0x003F, 0x0021}}, {{0x2049, 0}, {0x003F, 0x0021}},
    {{0x203C, 0xFE0F}, {0x0021, 0x0021}}, {{0x203C, 0}, {0x0021, 0x0021}},
};
constexpr unsigned kEmojiRowCount = sizeof(kEmojiRows) / sizeof(kEmojiRows[0]);

struct Utf8Seq {
  unsigned char bytes[8] = {};
  uint8_t length = 0;
};

constexpr Utf8Seq utf8Of(const char32_t (&cps)[2]) {
  Utf8Seq s{};
  for (char32_t cp : cps) {
    if (cp == 0) break;
    if (cp < 0x80) {
      s.bytes[s.length++] = static_cast<unsigned char>(cp);
    } else if (cp < 0x800) {
      s.bytes[s.length++] = static_cast<unsigned char>(0xC0 | (cp >> 6));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      s.bytes[s.length++] = static_cast<unsigned char>(0xE0 | (cp >> 12));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    } else {
      s.bytes[s.length++] = static_cast<unsigned char>(0xF0 | (cp >> 18));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
      s.bytes[s.length++] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    }
  }
  return s;
}

struct EncodedRow {
  Utf8Seq from, to;
};

// The rows in UTF-8, grouped by their first two bytes (lead 0xE2 or 0xF0,
// then a continuation byte), keeping the table order inside each group.
// Rows of different groups can never match at the same place, so trying
// only the group of the bytes at hand finds the same first match as trying
// the whole table, at a handful of comparisons per lead byte.
struct EmojiIndex {
  EncodedRow rows[kEmojiRowCount]{};
  uint8_t start[2][64]{};
  uint8_t count[2][64]{};
};

constexpr EmojiIndex buildEmojiIndex() {
  EmojiIndex index{};
  unsigned next = 0;
  for (unsigned lead = 0; lead < 2; ++lead) {
    for (unsigned second = 0; second < 64; ++second) {
      index.start[lead][second] = static_cast<uint8_t>(next);
      for (const EmojiRow& row : kEmojiRows) {
        const Utf8Seq from = utf8Of(row.from);
        if (from.bytes[0] != (lead == 0 ? 0xE2 : 0xF0) || from.bytes[1] != 0x80 + second) continue;
        index.rows[next++] = EncodedRow{from, utf8Of(row.to)};
        ++index.count[lead][second];
      }
    }
  }
  return index;
}
constexpr EmojiIndex kEmoji = buildEmojiIndex();

// The row matching the bytes at p (a 0xE2 or 0xF0 byte), or null. A row
// matches only when its whole source lies before end.
const EncodedRow* matchEmoji(const char* p, const char* end) {
  if (end - p < 3) return nullptr;
  const unsigned second = static_cast<unsigned char>(p[1]);
  if (second < 0x80 || second > 0xBF) return nullptr;
  const unsigned lead = static_cast<unsigned char>(p[0]) == 0xE2 ? 0 : 1;
  const unsigned first = kEmoji.start[lead][second - 0x80];
  for (unsigned i = first; i < first + kEmoji.count[lead][second - 0x80]; ++i) {
    const EncodedRow& row = kEmoji.rows[i];
    if (row.from.length <= end - p && std::memcmp(p, row.from.bytes, row.from.length) == 0) return &row;
  }
  return nullptr;
}

}  // namespace

unsigned int StringBuffer::toCRLF() {
  if (m_length == 0) return 0;
  const char* const begin = m_data;
  const char* const end = m_data + m_length;

  // Counted first, so that a text already in CR LF form costs no allocation.
  uint32_t count = 0;
  for (const char* p = begin; (p = static_cast<const char*>(std::memchr(p, '\n', end - p))) != nullptr; ++p)
    if (p == begin || p[-1] != '\r') ++count;
  for (const char* p = begin; (p = static_cast<const char*>(std::memchr(p, '\r', end - p))) != nullptr; ++p)
    if (p + 1 == end || p[1] != '\n') ++count;
  if (count == 0) return 0;

  StringBuffer out;
  out.setSecureBuf(m_secure);
  // Chunks are added as bytes, zero bytes included: appendN would drop a
  // zero that happens to end a chunk.
  auto sink = [&out](const char* p, unsigned int n) {
    if (!out.ensureRoom(n)) return false;
    out.putBytes(p, n);
    return true;
  };
  ThresholdStager<256, 254, decltype(sink)> stager(sink);
  TwoByteFinder ends(begin, end, '\r', '\n');
  for (const char* p = begin; p < end;) {
    const char* q = ends.next(p);
    stager.putRun(p, static_cast<unsigned int>(q - p));
    if (q == end) break;
    // A pair is read as one unit, so it is never split however the chunks fall.
    stager.put2('\r', '\n');
    p = q + 1;
    if (*q == '\r' && p < end && *p == '\n') ++p;
  }
  stager.flush();
  if (m_secure) stager.wipe();
  // Note: a conversion that ran out of memory changes nothing and reports
  // no line endings changed, rather than leaving half a text.
  if (!stager.ok()) return 0;
  takeSb(out);
  return count;
}

unsigned int StringBuffer::toLF() {
  const uint32_t before = m_length;
  const unsigned int count = replaceAllWithUchar("\r\n", '\n');
  if (m_secure && m_length + 1 < before) std::memset(m_data + m_length + 1, 0, before - m_length - 1);
  return count;
}

void StringBuffer::indent(char c, unsigned int n) {
  // An indent of zero bytes would be empty text, and one beyond appendCharN's
  // limit is refused there; either leaves the content as it is.
  constexpr unsigned int kMaxIndent = 12582912;
  if (n == 0 || c == 0 || n > kMaxIndent) return;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  uint64_t lineFeeds = 0;
  for (const char* p = m_data; (p = static_cast<const char*>(std::memchr(p, '\n', m_data + textLen - p))) != nullptr; ++p)
    ++lineFeeds;

  if (lineFeeds == 0) {
    // One line: the indent goes in front of all of the content.
    if (!ensureRoom(n)) return;
    std::memmove(m_data + n, m_data, m_length + 1);
    std::memset(m_data, static_cast<unsigned char>(c), n);
    m_length += n;
    return;
  }

  // Every line feed is followed by the indent; lines are read as text, so
  // anything behind a zero byte is dropped. Sized exactly and written in
  // place: one allocation, and on failure the content stays as it was.
  const uint64_t finalLength = uint64_t(textLen) + (lineFeeds + 1) * n;
  if (finalLength >= UINT32_MAX) return;
  StringBuffer out;
  out.setSecureBuf(m_secure);
  if (!out.expectNumBytes(static_cast<uint32_t>(finalLength))) return;
  char* w = out.m_data;
  std::memset(w, static_cast<unsigned char>(c), n);
  w += n;
  const char* const end = m_data + textLen;
  for (const char* p = m_data; p < end;) {
    const void* hit = std::memchr(p, '\n', static_cast<size_t>(end - p));
    const char* lineEnd = hit != nullptr ? static_cast<const char*>(hit) + 1 : end;
    std::memcpy(w, p, static_cast<size_t>(lineEnd - p));
    w += lineEnd - p;
    p = lineEnd;
    if (hit != nullptr) {
      std::memset(w, static_cast<unsigned char>(c), n);
      w += n;
    }
  }
  out.m_length = static_cast<uint32_t>(finalLength);
  out.m_data[out.m_length] = 0;
  takeSb(out);
}

unsigned int StringBuffer::unindent() {
  char* const data = m_data;
  const char* const end = data + m_length;
  TwoByteFinder ends(data, end, '\r', '\n');
  char* w = data;
  for (const char* p = data; p < end;) {
    // At a line start: drop the blanks, then keep the line with its ending.
    while (p < end && (*p == ' ' || *p == '\t')) ++p;
    const char* q = ends.next(p);
    if (q < end) ++q;
    if (w != p) std::memmove(w, p, static_cast<size_t>(q - p));
    w += q - p;
    p = q;
  }
  m_length = settle(data, m_length, w, m_secure);
  return m_length;
}

// Note: the text after the last line ending is a line too and is measured,
// so "abcdef" is 6 and "ab\ncdef" is 4: a caller sizing a column or
// checking a line-length limit means every line it will print.
unsigned int StringBuffer::longestLineLength() {
  const char* const end = m_data + m_length;
  TwoByteFinder ends(m_data, end, '\r', '\n');
  uint32_t longest = 0;
  for (const char* p = m_data;;) {
    const char* q = ends.next(p);
    const auto lineLength = static_cast<uint32_t>(q - p);
    if (lineLength > longest) longest = lineLength;
    if (q == end) break;
    p = q + 1;
  }
  return longest;
}

unsigned int StringBuffer::removeFws() {
  char* const data = m_data;
  char* w = data;
  // Every byte is written and the write position only advances past kept
  // ones: no branch per byte.
  for (uint32_t i = 0; i < m_length; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    *w = static_cast<char>(b);
    w += !kFoldingWhite[b];
  }
  m_length = settle(data, m_length, w, m_secure);
  return m_length;
}

unsigned int StringBuffer::trimInsideSpaces() {
  const uint32_t before = m_length;
  char* const data = m_data;
  char* w = data;
  bool previousWhite = false;
  for (uint32_t i = 0; i < before; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    const bool white = kFoldingWhite[b];
    *w = white ? ' ' : static_cast<char>(b);
    w += !(white && previousWhite);
    previousWhite = white;
  }
  m_length = settle(data, before, w, m_secure);
  return before - m_length;
}

unsigned int StringBuffer::removeInvalidFilenameChars() {
  char* const data = m_data;
  char* w = data;
  for (uint32_t i = 0; i < m_length; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    *w = b == '\\' ? '/' : static_cast<char>(b);
    w += !kBadInFileName[b];
  }
  m_length = settle(data, m_length, w, m_secure);
  return m_length;
}

void StringBuffer::toAlphaNumUsAscii() {
  for (uint32_t i = 0; i < m_length; ++i) m_data[i] = kAlphaNumFold[static_cast<unsigned char>(m_data[i])];
}

void StringBuffer::stripDirectory() {
  // Only the text of the first 2048 bytes is looked at, so a long content
  // without separators there is left alone even if one follows.
  constexpr uint32_t kScope = 2048;
  const uint32_t scope = textscan::textLength(m_data, m_length < kScope ? m_length : kScope);
  uint32_t cut = scope;
  while (cut != 0 && m_data[cut - 1] != '/' && m_data[cut - 1] != '\\') --cut;
  if (cut == 0) return;
  const uint32_t kept = scope - cut;
  std::memmove(m_data, m_data + cut, kept);
  m_length = settle(m_data, m_length, m_data + kept, m_secure);
  // The content is replaced, as an emptying followed by an append would.
  m_extendSize = kDefaultExtendSize;
}

void StringBuffer::replace_emoji() {
  char* const data = m_data;
  const char* const end = data + m_length;
  TwoByteFinder leads(data, end, '\xE2', '\xF0');
  char* w = data;
  for (const char* p = data; p < end;) {
    const char* q = leads.next(p);
    if (w != p) std::memmove(w, p, static_cast<size_t>(q - p));
    w += q - p;
    p = q;
    if (p == end) break;
    // Every replacement is no longer than its source, so w stays behind p.
    if (const EncodedRow* row = matchEmoji(p, end)) {
      std::memcpy(w, row->to.bytes, row->to.length);
      w += row->to.length;
      p += row->from.length;
    } else {
      *w++ = *p++;
    }
  }
  m_length = settle(data, m_length, w, m_secure);
}
