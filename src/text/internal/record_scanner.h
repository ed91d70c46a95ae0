// The one reader of delimited records: it walks a record and reports, in
// order, the bytes that carry structure (escaping backslashes, quotes that
// toggle a quoted stretch, separators), skipping ordinary content in bulk.
// The field operations, the splitters and the tokenizers all read records
// through it and differ only in what they do with the bytes it reports.
#pragma once

#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Plain records (one separator byte, no quotes, no escapes) need no state:
// the offset of the want-th separator (counting from 1) in the record held
// at rec, which ends at its first zero byte or after size bytes. When there
// are fewer, the record's end; passed tells how many were met. Sixteen bytes
// are weighed per step, so short fields cost no call each.
// Set bits of a 16-bit mask. The x86-64 baseline has no popcnt instruction,
// so __builtin_popcount would be a library call on every block.
inline unsigned bitCount16(unsigned x) {
  x = x - ((x >> 1) & 0x5555u);
  x = (x & 0x3333u) + ((x >> 2) & 0x3333u);
  x = (x + (x >> 4)) & 0x0F0Fu;
  return (x + (x >> 8)) & 0x1Fu;
}

inline uint32_t nthSeparator(const char* rec, uint32_t size, char sep, uint32_t want, uint32_t& passed) {
  passed = 0;
  if (want == 0) return 0;
  uint32_t i = 0;
#if defined(__SSE2__)
  const __m128i seps = _mm_set1_epi8(sep), zeros = _mm_setzero_si128();
  for (; size - i >= 16; i += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rec + i));
    const unsigned zero = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, zeros)));
    unsigned hits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, seps)));
    if (zero != 0) hits &= (zero & (0u - zero)) - 1;  // only those before the zero
    const unsigned count = bitCount16(hits);
    if (count >= want - passed) {
      for (uint32_t skip = want - passed - 1; skip != 0; --skip) hits &= hits - 1;
      passed = want;
      return i + static_cast<uint32_t>(__builtin_ctz(hits));
    }
    passed += count;
    if (zero != 0) return i + static_cast<uint32_t>(__builtin_ctz(zero));
  }
#endif
  for (; i < size; ++i) {
    if (rec[i] == 0) return i;
    if (rec[i] == sep && ++passed == want) return i;
  }
  return size;
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
  // terminated: the record ends at its first zero byte, and one lies at or
  // before record[length] (a buffer's content). The zero is then one more
  // stop byte of the same scan, and no pass looks for it beforehand.
  RecordScanner(const char* record, uint32_t length, char separator, bool quoteMode, bool escapeMode,
                bool pairQuotes = false, bool terminated = false)
      : m_rec(reinterpret_cast<const unsigned char*>(record)),
        m_len(length),
        m_escape(escapeMode),
        m_quote(quoteMode),
        m_pairQuotes(pairQuotes),
        m_small(true),
        m_terminated(terminated) {
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
      if (m_pos < m_len && !(m_terminated && m_rec[m_pos] == 0)) ++m_pos;
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
  // Eight entries a step: a table is mostly false.
  static int soleMember(const ByteTable& t) {
    int member = -1;
    for (int b = 0; b < 256; b += 8) {
      uint64_t word;
      std::memcpy(&word, t.data() + b, 8);
      if (word == 0) continue;
      for (int k = b; k < b + 8; ++k) {
        if (!t[k]) continue;
        if (member >= 0) return -1;
        member = k;
      }
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

  uint32_t findSmall(const SmallSet& set, uint32_t from) {
    if (from >= m_len) return m_len;
    if (m_terminated) return findSmallInText(set, from);
    if (set.count == 0) return m_len;
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

  // As findSmall, stopping at a zero byte too: the record is cut there.
  // strchrnul finds the one stop byte or the terminator in one pass.
  uint32_t findSmallInText(const SmallSet& set, uint32_t from) {
    const char* p = reinterpret_cast<const char*>(m_rec + from);
    if (set.count <= 1) {
      p = ::strchrnul(p, static_cast<char>(set.b[0]));
    } else {
      const char a = static_cast<char>(set.b[0]), b = static_cast<char>(set.b[1]), c = static_cast<char>(set.b[2]);
      for (char x; (x = *p) != 0 && x != a && x != b && x != c;) ++p;
    }
    const uint32_t at = static_cast<uint32_t>(reinterpret_cast<const unsigned char*>(p) - m_rec);
    if (*p == 0 && at < m_len) m_len = at;
    return at < m_len ? at : m_len;
  }

  // First byte at or after from that may carry structure in the current
  // state. Inside quotes only quotes and backslashes can; a set of one byte
  // is searched with memchr, larger sets through the table.
  uint32_t findStop(uint32_t from) {
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
  bool m_terminated = false;
  SmallSet m_outsideBytes;
  SmallSet m_insideBytes;
  // Filled only by the table constructor.
  ByteTable m_outside;
  ByteTable m_inside;
  int m_outsideSingle = -1;  // the one member of a one-byte table, -2 for none
  int m_insideSingle = -1;
};

}  // namespace recordscan
