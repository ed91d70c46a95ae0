// The one reader of delimited records: it walks a record and reports, in
// order, the bytes that carry structure (escaping backslashes, quotes that
// toggle a quoted stretch, separators), skipping ordinary content in bulk.
// The field operations, the splitters and the tokenizers all read records
// through it and differ only in what they do with the bytes it reports.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/internal/text_scan.h"

namespace recordscan {

using textscan::ByteTable;

// A table holding one byte. Our choice: delimiters from 0x80 to 0xFF are
// compared as the plain byte values they are, so a delimiter such as 0xA6 or
// 0xFE separates like any ASCII one instead of never matching.
inline ByteTable singleByte(char c) {
  ByteTable t{};
  t[static_cast<unsigned char>(c)] = true;
  return t;
}

// A table of the bytes of a zero-terminated set; null is the empty set.
inline ByteTable setOf(const char* members) {
  ByteTable t{};
  if (members != nullptr)
    for (; *members; ++members) t[static_cast<unsigned char>(*members)] = true;
  return t;
}

// Length of the record held in a buffer: it ends at the first zero byte.
inline uint32_t recordLength(const char* data, uint32_t size) {
  return size == 0 ? 0 : textscan::textLength(data, size);
}

enum class Stop : uint8_t {
  Escape,     // a backslash; it and the byte after it are both field bytes
  Quote,      // a double quote that opened or closed a quoted stretch
  QuotePair,  // the first of two quotes inside a quoted stretch (pair rule on)
  Separator,  // a separator byte outside quotes and not escaped
  End,        // the end of the record
};

struct Event {
  Stop stop;
  uint32_t pos;       // offset of the reported byte (the record length at End)
  uint32_t runStart;  // the content run [runStart, pos) came before it
  bool runQuoted;     // that run lay inside a quoted stretch
};

class RecordScanner {
 public:
  // pairQuotes: two quotes inside a quoted stretch stand for one literal
  // quote and leave the stretch open (reported as QuotePair). Without it
  // every quote toggles, which locates the same fields.
  RecordScanner(const char* record, uint32_t length, const ByteTable& separators,
                bool quoteMode, bool escapeMode, bool pairQuotes = false)
      : m_rec(reinterpret_cast<const unsigned char*>(record)),
        m_len(length),
        m_escape(escapeMode),
        m_quote(quoteMode),
        m_pairQuotes(pairQuotes),
        m_outside(separators),
        m_inside{} {
    if (escapeMode) m_outside['\\'] = m_inside['\\'] = true;
    if (quoteMode) m_outside['"'] = m_inside['"'] = true;
    m_outsideSingle = soleMember(m_outside);
    m_insideSingle = soleMember(m_inside);
  }

  // One separator byte: the stops are at most three bytes, compared
  // directly, so no table is built and reading field 1 of a short record
  // costs only the bytes it reads.
  RecordScanner(const char* record, uint32_t length, char separator, bool quoteMode, bool escapeMode,
                bool pairQuotes = false)
      : m_rec(reinterpret_cast<const unsigned char*>(record)),
        m_len(length),
        m_escape(escapeMode),
        m_quote(quoteMode),
        m_pairQuotes(pairQuotes),
        m_small(true) {
    m_outsideBytes.add(static_cast<unsigned char>(separator));
    if (escapeMode) {
      m_outsideBytes.add('\\');
      m_insideBytes.add('\\');
    }
    if (quoteMode) {
      m_outsideBytes.add('"');
      m_insideBytes.add('"');
    }
  }

  // The next structural byte after the current position.
  Event next() {
    const uint32_t runStart = m_pos;
    const bool runQuoted = m_inQuotes;
    const uint32_t at = findStop(m_pos);
    if (at >= m_len) {
      m_pos = m_len;
      return {Stop::End, m_len, runStart, runQuoted};
    }
    const unsigned char c = m_rec[at];
    m_pos = at + 1;
    // The order matters: an escaped byte is content even when it is a quote
    // or a separator, and escaping also works inside quotes.
    if (m_escape && c == '\\') {
      if (m_pos < m_len) ++m_pos;
      return {Stop::Escape, at, runStart, runQuoted};
    }
    if (m_quote && c == '"') {
      if (m_pairQuotes && m_inQuotes && m_pos < m_len && m_rec[m_pos] == '"') {
        ++m_pos;
        return {Stop::QuotePair, at, runStart, runQuoted};
      }
      m_inQuotes = !m_inQuotes;
      return {Stop::Quote, at, runStart, runQuoted};
    }
    return {Stop::Separator, at, runStart, runQuoted};
  }

  // Continues the scan at pos (used to swallow the LF of a CR LF pair).
  void resumeAt(uint32_t pos) { m_pos = pos < m_len ? pos : m_len; }
  uint32_t position() const { return m_pos; }
  bool inQuotes() const { return m_inQuotes; }

 private:
  static int soleMember(const ByteTable& t) {
    int member = -1;
    for (int b = 0; b < 256; ++b) {
      if (!t[b]) continue;
      if (member >= 0) return -1;
      member = b;
    }
    return member < 0 ? -2 : member;
  }

  // Up to three stop bytes; unused slots repeat the first, so every test
  // is the same three compares.
  struct SmallSet {
    unsigned char b[3] = {0, 0, 0};
    int count = 0;
    void add(unsigned char c) {
      for (int i = 0; i < count; ++i)
        if (b[i] == c) return;
      b[count++] = c;
      for (int i = count; i < 3; ++i) b[i] = b[0];
    }
  };

  uint32_t findSmall(const SmallSet& set, uint32_t from) const {
    if (set.count == 0 || from >= m_len) return m_len;
    if (set.count == 1) {
      const auto* hit = static_cast<const unsigned char*>(std::memchr(m_rec + from, set.b[0], m_len - from));
      return hit == nullptr ? m_len : static_cast<uint32_t>(hit - m_rec);
    }
    const unsigned char a = set.b[0], b = set.b[1], c = set.b[2];
    for (; from < m_len; ++from) {
      const unsigned char x = m_rec[from];
      if (x == a || x == b || x == c) break;
    }
    return from;
  }

  // First byte at or after from that may carry structure in the current
  // state. Inside quotes only quotes and backslashes can; a set of one byte
  // is searched with memchr, larger sets through the table.
  uint32_t findStop(uint32_t from) const {
    if (m_small) return findSmall(m_inQuotes ? m_insideBytes : m_outsideBytes, from);
    const ByteTable& table = m_inQuotes ? m_inside : m_outside;
    const int single = m_inQuotes ? m_insideSingle : m_outsideSingle;
    if (single == -2 || from >= m_len) return m_len;
    if (single >= 0) {
      const auto* hit =
          static_cast<const unsigned char*>(std::memchr(m_rec + from, single, m_len - from));
      return hit == nullptr ? m_len : static_cast<uint32_t>(hit - m_rec);
    }
    while (from < m_len && !table[m_rec[from]]) ++from;
    return from;
  }

  const unsigned char* m_rec;
  uint32_t m_len;
  uint32_t m_pos = 0;
  bool m_escape;
  bool m_quote;
  bool m_pairQuotes;
  bool m_inQuotes = false;
  bool m_small = false;
  SmallSet m_outsideBytes;
  SmallSet m_insideBytes;
  // Filled only by the table constructor.
  ByteTable m_outside;
  ByteTable m_inside;
  int m_outsideSingle = -1;  // the one member of a one-byte table, -2 for none
  int m_insideSingle = -1;
};

}  // namespace recordscan
