// Code-page conversion: a table from Windows code-page numbers to iconv
// names, per-thread iconv descriptors, and per-process 256-entry tables that
// carry single-byte code pages to and from UTF-8 without iconv. Every other
// pair goes through UTF-8 as the pivot, each half with its own error rule.
#include "lib/_tvEncodingConvert.h"

#include <iconv.h>
#include <strings.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/Psdk.h"
#include "lib/_tvUtf.h"

namespace {

// How a code page's bytes are read and written.
enum class Kind : uint8_t { Utf8, Utf16Le, Utf16Be, Utf32Le, Utf32Be, SingleByte, Multi };

struct CodePage {
  int number;
  const char* iconvName;
  Kind kind;
  bool unicode;      // every character has a form here: U+FFFD, not "?", marks a loss
  bool windows125x;  // unassigned bytes stand for the code points of their value
};

constexpr CodePage kCodePages[] = {
    {437, "IBM437", Kind::SingleByte, false, false},
    {737, "CP737", Kind::SingleByte, false, false},
    {775, "IBM775", Kind::SingleByte, false, false},
    {850, "IBM850", Kind::SingleByte, false, false},
    {852, "IBM852", Kind::SingleByte, false, false},
    {855, "IBM855", Kind::SingleByte, false, false},
    {857, "IBM857", Kind::SingleByte, false, false},
    {858, "IBM858", Kind::SingleByte, false, false},
    {860, "IBM860", Kind::SingleByte, false, false},
    {861, "IBM861", Kind::SingleByte, false, false},
    {862, "IBM862", Kind::SingleByte, false, false},
    {863, "IBM863", Kind::SingleByte, false, false},
    {864, "IBM864", Kind::SingleByte, false, false},
    {865, "IBM865", Kind::SingleByte, false, false},
    {866, "IBM866", Kind::SingleByte, false, false},
    {869, "IBM869", Kind::SingleByte, false, false},
    {874, "WINDOWS-874", Kind::SingleByte, false, false},
    {932, "WINDOWS-31J", Kind::Multi, false, false},
    {936, "CP936", Kind::Multi, false, false},
    {949, "CP949", Kind::Multi, false, false},
    {950, "CP950", Kind::Multi, false, false},
    {1200, "UTF-16LE", Kind::Utf16Le, true, false},
    {1201, "UTF-16BE", Kind::Utf16Be, true, false},
    {1250, "WINDOWS-1250", Kind::SingleByte, false, true},
    {1251, "WINDOWS-1251", Kind::SingleByte, false, true},
    {1252, "WINDOWS-1252", Kind::SingleByte, false, true},
    {1253, "WINDOWS-1253", Kind::SingleByte, false, true},
    {1254, "WINDOWS-1254", Kind::SingleByte, false, true},
    {1255, "WINDOWS-1255", Kind::SingleByte, false, true},
    {1256, "WINDOWS-1256", Kind::SingleByte, false, true},
    {1257, "WINDOWS-1257", Kind::SingleByte, false, true},
    // 1258 composes a base letter with the tone mark that follows it, so it
    // is not one byte per character and stays with iconv.
    {1258, "WINDOWS-1258", Kind::Multi, false, true},
    {1361, "JOHAB", Kind::Multi, false, false},
    {10000, "MACINTOSH", Kind::SingleByte, false, false},
    {10007, "MAC-CYRILLIC", Kind::SingleByte, false, false},
    {12000, "UTF-32LE", Kind::Utf32Le, true, false},
    {12001, "UTF-32BE", Kind::Utf32Be, true, false},
    {20127, "US-ASCII", Kind::SingleByte, false, false},
    {20866, "KOI8-R", Kind::SingleByte, false, false},
    {20932, "EUC-JP", Kind::Multi, false, false},
    {20936, "GB2312", Kind::Multi, false, false},
    {21866, "KOI8-U", Kind::SingleByte, false, false},
    {28591, "ISO-8859-1", Kind::SingleByte, false, false},
    {28592, "ISO-8859-2", Kind::SingleByte, false, false},
    {28593, "ISO-8859-3", Kind::SingleByte, false, false},
    {28594, "ISO-8859-4", Kind::SingleByte, false, false},
    {28595, "ISO-8859-5", Kind::SingleByte, false, false},
    {28596, "ISO-8859-6", Kind::SingleByte, false, false},
    {28597, "ISO-8859-7", Kind::SingleByte, false, false},
    {28598, "ISO-8859-8", Kind::SingleByte, false, false},
    {28599, "ISO-8859-9", Kind::SingleByte, false, false},
    {28603, "ISO-8859-13", Kind::SingleByte, false, false},
    {28605, "ISO-8859-15", Kind::SingleByte, false, false},
    {50220, "ISO-2022-JP", Kind::Multi, false, false},
    {50221, "ISO-2022-JP", Kind::Multi, false, false},
    {50222, "ISO-2022-JP", Kind::Multi, false, false},
    {50225, "ISO-2022-KR", Kind::Multi, false, false},
    {51932, "EUC-JP", Kind::Multi, false, false},
    {51936, "EUC-CN", Kind::Multi, false, false},
    {51949, "EUC-KR", Kind::Multi, false, false},
    {54936, "GB18030", Kind::Multi, true, false},
    {65000, "UTF-7", Kind::Multi, true, false},
    {65001, "UTF-8", Kind::Utf8, true, false},
};
constexpr size_t kNumCodePages = sizeof(kCodePages) / sizeof(kCodePages[0]);

// The table is short and sorted, but a plain scan keeps it editable.
int indexOfCodePage(int number) {
  for (size_t i = 0; i < kNumCodePages; ++i)
    if (kCodePages[i].number == number) return static_cast<int>(i);
  return -1;
}

// ---- iconv descriptors, cached per thread ----

// A handful of pairs covers what one thread converts; the oldest entry
// makes room. Names come from kCodePages, so they compare by address.
class IconvCache {
 public:
  ~IconvCache() {
    for (Entry& e : m_entries)
      if (e.to != nullptr) iconv_close(e.cd);
  }
  // A descriptor in its initial shift state, or null when iconv lacks the
  // pair.
  iconv_t* get(const char* to, const char* from) {
    for (Entry& e : m_entries) {
      if (e.to == to && e.from == from) {
        iconv(e.cd, nullptr, nullptr, nullptr, nullptr);
        return &e.cd;
      }
    }
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return nullptr;
    Entry& slot = m_entries[m_next];
    m_next = (m_next + 1) % kSlots;
    if (slot.to != nullptr) iconv_close(slot.cd);
    slot = Entry{to, from, cd};
    return &slot.cd;
  }

 private:
  static constexpr size_t kSlots = 8;
  struct Entry {
    const char* to = nullptr;
    const char* from = nullptr;
    iconv_t cd{};
  };
  std::array<Entry, kSlots> m_entries{};
  size_t m_next = 0;
};

iconv_t* cachedIconv(const char* to, const char* from) {
  thread_local IconvCache cache;
  return cache.get(to, from);
}

// ---- single-byte tables ----

struct SingleByteTable {
  // UTF-8 form of each byte, padded to four so a writer can copy a fixed
  // four and advance by the length; length 0 means the byte has no
  // character.
  unsigned char utf8[256][4];
  uint8_t utf8Length[256];
  // iconv knew the byte (as opposed to an unassigned 125x byte filled in).
  bool assigned[256];
  bool asciiCompatible;
  // Code point to byte, for code points below U+10000: the high byte picks a
  // page of 256 entries (page 0 means none), the low byte the entry; -1
  // means the code page has no byte for it.
  uint8_t pageOf[256];
  std::vector<std::array<int16_t, 256>> pages;

  int byteFor(uint32_t cp) const {
    if (cp > 0xFFFF) return -1;
    const uint8_t page = pageOf[cp >> 8];
    return page == 0 ? -1 : pages[page - 1][cp & 0xFF];
  }
  void addReverse(uint32_t cp, unsigned char byte) {
    if (cp > 0xFFFF || byteFor(cp) >= 0) return;  // the first byte for a code point wins
    uint8_t& page = pageOf[cp >> 8];
    if (page == 0) {
      std::array<int16_t, 256> fresh;
      fresh.fill(-1);
      pages.push_back(fresh);
      page = static_cast<uint8_t>(pages.size());
    }
    pages[page - 1][cp & 0xFF] = byte;
  }
};

// Asks iconv what each byte means. Null when iconv lacks the code page or
// some byte turns out to stand for more than one character.
std::unique_ptr<SingleByteTable> buildTable(const CodePage& page) {
  iconv_t* cd = cachedIconv("UTF-32LE", page.iconvName);
  if (cd == nullptr) return nullptr;
  auto table = std::make_unique<SingleByteTable>();
  std::memset(table->pageOf, 0, sizeof table->pageOf);
  uint32_t codePoints[256];
  for (int b = 0; b < 256; ++b) {
    char in = static_cast<char>(b);
    unsigned char outBytes[16];
    char* inPtr = &in;
    size_t inLeft = 1;
    char* outPtr = reinterpret_cast<char*>(outBytes);
    size_t outLeft = sizeof outBytes;
    iconv(*cd, nullptr, nullptr, nullptr, nullptr);
    const size_t r = iconv(*cd, &inPtr, &inLeft, &outPtr, &outLeft);
    iconv(*cd, nullptr, nullptr, &outPtr, &outLeft);  // a stateful page may hold the byte back
    const size_t produced = sizeof outBytes - outLeft;
    uint32_t cp = _tvUtf::kInvalid;
    if (r != static_cast<size_t>(-1) && inLeft == 0) {
      if (produced > 4) return nullptr;
      if (produced == 4)
        cp = uint32_t(outBytes[0]) | uint32_t(outBytes[1]) << 8 | uint32_t(outBytes[2]) << 16 |
             uint32_t(outBytes[3]) << 24;
    }
    table->assigned[b] = cp != _tvUtf::kInvalid;
    if (cp == _tvUtf::kInvalid && page.windows125x && b >= 0x80) cp = static_cast<uint32_t>(b);
    codePoints[b] = cp;
  }
  table->asciiCompatible = true;
  for (int b = 0; b < 128; ++b)
    if (codePoints[b] != static_cast<uint32_t>(b)) table->asciiCompatible = false;
  for (int b = 0; b < 256; ++b) {
    const uint32_t cp = codePoints[b];
    std::memset(table->utf8[b], 0, 4);
    table->utf8Length[b] = 0;
    if (cp == _tvUtf::kInvalid || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) continue;
    table->utf8Length[b] = static_cast<uint8_t>(_tvUtf::encodeUtf8(cp, table->utf8[b]));
  }
  // Assigned bytes first, so a code point that some byte really means is
  // never written as a filled-in unassigned byte.
  for (int pass = 0; pass < 2; ++pass)
    for (int b = 0; b < 256; ++b)
      if (table->utf8Length[b] != 0 && table->assigned[b] == (pass == 0))
        table->addReverse(codePoints[b], static_cast<unsigned char>(b));
  return table;
}

// The table of a single-byte or 125x code page, built on first use; null
// when it cannot be built.
const SingleByteTable* tableOf(int index) {
  static std::once_flag once[kNumCodePages];
  static std::unique_ptr<SingleByteTable> tables[kNumCodePages];
  std::call_once(once[index], [index] { tables[index] = buildTable(kCodePages[index]); });
  return tables[index].get();
}

// ---- writers ----

constexpr uint64_t kHighBits = 0x8080808080808080ULL;
// Input is converted a block at a time, so the worst-case room reserved for
// one block stays small while the output grows geometrically.
constexpr unsigned int kBlock = 64 * 1024;

inline uint64_t load64(const unsigned char* p) {
  uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

// Appends through reserveTail / commitTail one block at a time.
class Writer {
 public:
  explicit Writer(DataBuffer& out) : m_out(out) {}
  // Room for n bytes; false when memory runs out.
  bool reserve(unsigned int n) {
    m_start = m_w = m_out.reserveTail(n);
    return m_w != nullptr;
  }
  void commit() { m_out.commitTail(static_cast<unsigned int>(m_w - m_start)); }
  unsigned char*& w() { return m_w; }

 private:
  DataBuffer& m_out;
  unsigned char* m_start = nullptr;
  unsigned char* m_w = nullptr;
};

// Single-byte text to UTF-8 straight from the table; ASCII runs of an
// ASCII-compatible page are copied eight bytes at a time.
bool singleByteToUtf8(const SingleByteTable& t, const unsigned char* p, unsigned int n, DataBuffer& out) {
  bool exact = true;
  Writer writer(out);
  while (n > 0) {
    const unsigned int len = n < kBlock ? n : kBlock;
    if (!writer.reserve(len * 3 + 4)) return false;
    unsigned char* w = writer.w();
    const unsigned char* const end = p + len;
    while (p < end) {
      if (t.asciiCompatible) {
        while (end - p >= 8) {
          const uint64_t word = load64(p);
          if ((word & kHighBits) != 0) break;
          std::memcpy(w, &word, 8);
          p += 8;
          w += 8;
        }
        if (p == end) break;
      }
      const unsigned char b = *p++;
      std::memcpy(w, t.utf8[b], 4);
      const uint8_t l = t.utf8Length[b];
      if (l == 0) {
        w += _tvUtf::encodeUtf8(_tvUtf::kReplacement, w);
        exact = false;
      }
      w += l;
    }
    writer.w() = w;
    writer.commit();
    n -= len;
  }
  return exact;
}

// Number of ASCII bytes before the first byte with its high bit set, given
// the word's high bits (not 0).
inline unsigned asciiPrefix(uint64_t highBits) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ && (defined(__GNUC__) || defined(__clang__))
  return static_cast<unsigned>(__builtin_ctzll(highBits)) / 8;
#else
  unsigned n = 0;
  unsigned char bytes[8];
  std::memcpy(bytes, &highBits, 8);
  while (bytes[n] == 0) ++n;
  return n;
#endif
}

// UTF-8 to a single-byte page through the reverse table; what has no byte
// there (or is not UTF-8) becomes "?". An ASCII-compatible page copies eight
// bytes at a time and then keeps only the ASCII prefix of them, so the bytes
// before a character cost no branch each.
bool utf8ToSingleByte(const SingleByteTable& t, const unsigned char* p, unsigned int n, DataBuffer& out) {
  bool exact = true;
  Writer writer(out);
  const unsigned char* const end = p + n;
  while (p < end) {
    const unsigned int len = static_cast<unsigned int>(end - p) < kBlock ? static_cast<unsigned int>(end - p) : kBlock;
    // Eight bytes of slack for the word copies.
    if (!writer.reserve(len + 8)) return false;
    unsigned char* w = writer.w();
    const unsigned char* const blockEnd = p + len;
    // A character may run past the block's end; it is read whole all the
    // same, as every character yields at most one output byte.
    while (p < blockEnd) {
      if (t.asciiCompatible) {
        if (blockEnd - p >= 8) {
          const uint64_t word = load64(p);
          std::memcpy(w, &word, 8);
          const uint64_t high = word & kHighBits;
          if (high == 0) {
            p += 8;
            w += 8;
            continue;
          }
          const unsigned ascii = asciiPrefix(high);
          p += ascii;
          w += ascii;
        } else if (*p < 0x80) {
          *w++ = *p++;
          continue;
        }
      }
      // Two- and three-byte characters, the only ones a single-byte page
      // can hold, are read here; the rest goes to the full decoder.
      uint32_t cp;
      const unsigned char c = *p;
      if (c >= 0xC2 && c <= 0xDF && end - p >= 2 && (p[1] & 0xC0) == 0x80) {
        cp = uint32_t(c & 0x1F) << 6 | (p[1] & 0x3F);
        p += 2;
      } else if (c >= 0xE1 && c <= 0xEC && end - p >= 3 && (p[1] & 0xC0) == 0x80 && (p[2] & 0xC0) == 0x80) {
        cp = uint32_t(c & 0x0F) << 12 | uint32_t(p[1] & 0x3F) << 6 | (p[2] & 0x3F);
        p += 3;
      } else {
        p += _tvUtf::decodeUtf8(p, end, cp);
      }
      const int byte = cp == _tvUtf::kInvalid ? -1 : t.byteFor(cp);
      if (byte < 0) {
        *w++ = '?';
        exact = false;
      } else {
        *w++ = static_cast<unsigned char>(byte);
      }
    }
    writer.w() = w;
    writer.commit();
  }
  return exact;
}

// One single-byte page to another through a byte-to-byte table made for the
// call (256 look-ups).
bool singleByteToSingleByte(const SingleByteTable& from, const SingleByteTable& to, const unsigned char* p,
                            unsigned int n, DataBuffer& out) {
  int16_t map[256];
  for (int b = 0; b < 256; ++b) {
    map[b] = -1;
    if (from.utf8Length[b] == 0) continue;
    uint32_t cp;
    _tvUtf::decodeUtf8(from.utf8[b], from.utf8[b] + from.utf8Length[b], cp);
    map[b] = static_cast<int16_t>(to.byteFor(cp));
  }
  unsigned char* w = out.reserveTail(n);
  if (w == nullptr) return false;
  bool exact = true;
  for (unsigned int i = 0; i < n; ++i) {
    const int16_t m = map[p[i]];
    if (m < 0) exact = false;
    w[i] = m < 0 ? '?' : static_cast<unsigned char>(m);
  }
  out.commitTail(n);
  return exact;
}

// ---- Unicode forms, to and from UTF-8 ----

inline uint32_t readUnit16(const unsigned char* p, bool bigEndian) {
  return bigEndian ? uint32_t(p[0]) << 8 | p[1] : uint32_t(p[1]) << 8 | p[0];
}

bool utf16ToUtf8(const unsigned char* p, unsigned int n, bool bigEndian, DataBuffer& out) {
  unsigned int i = 0;
  if (n >= 2 && readUnit16(p, bigEndian) == 0xFEFF) i = 2;
  // Three UTF-8 bytes at most per unit (a pair of units gives four), and
  // three for an odd last byte.
  const uint64_t room = uint64_t(n / 2) * 3 + 3;
  if (room > UINT32_MAX) return false;
  unsigned char* w = out.reserveTail(static_cast<unsigned int>(room));
  if (w == nullptr) return false;
  unsigned char* const start = w;
  bool exact = true;
  for (; i + 1 < n; i += 2) {
    uint32_t unit = readUnit16(p + i, bigEndian);
    if (unit >= 0xD800 && unit <= 0xDFFF) {
      const uint32_t next = (unit < 0xDC00 && i + 3 < n) ? readUnit16(p + i + 2, bigEndian) : 0;
      if (next >= 0xDC00 && next <= 0xDFFF) {
        unit = 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
        i += 2;
      } else {
        unit = _tvUtf::kReplacement;
        exact = false;
      }
    }
    w += _tvUtf::encodeUtf8(unit, w);
  }
  if (i < n) {
    w += _tvUtf::encodeUtf8(_tvUtf::kReplacement, w);
    exact = false;
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return exact;
}

bool utf32ToUtf8(const unsigned char* p, unsigned int n, bool bigEndian, DataBuffer& out) {
  unsigned char* w = out.reserveTail(n + 3);
  if (w == nullptr) return false;
  unsigned char* const start = w;
  bool exact = true;
  unsigned int i = 0;
  for (; i + 3 < n; i += 4) {
    uint32_t cp = bigEndian ? uint32_t(p[i]) << 24 | uint32_t(p[i + 1]) << 16 | uint32_t(p[i + 2]) << 8 | p[i + 3]
                            : uint32_t(p[i + 3]) << 24 | uint32_t(p[i + 2]) << 16 | uint32_t(p[i + 1]) << 8 | p[i];
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      cp = _tvUtf::kReplacement;
      exact = false;
    }
    w += _tvUtf::encodeUtf8(cp, w);
  }
  if (i < n) {
    w += _tvUtf::encodeUtf8(_tvUtf::kReplacement, w);
    exact = false;
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return exact;
}

// Copies UTF-8, replacing each ill-formed piece by U+FFFD.
bool utf8ToUtf8(const unsigned char* p, unsigned int n, DataBuffer& out) {
  if (_tvUtf::isValidUtf8(p, n, 0)) return out.append(p, n);
  if (uint64_t(n) * 3 > UINT32_MAX) return false;
  unsigned char* w = out.reserveTail(n * 3);
  if (w == nullptr) return false;
  unsigned char* const start = w;
  const unsigned char* const end = p + n;
  while (p < end) {
    uint32_t cp;
    const unsigned int len = _tvUtf::decodeUtf8(p, end, cp);
    if (cp == _tvUtf::kInvalid) {
      w += _tvUtf::encodeUtf8(_tvUtf::kReplacement, w);
    } else {
      std::memcpy(w, p, len);
      w += len;
    }
    p += len;
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return false;
}

// Well-formed UTF-8 (the pivot) to UTF-16 or UTF-32.
bool utf8ToWide(const unsigned char* p, unsigned int n, unsigned int unitSize, bool bigEndian, DataBuffer& out) {
  // Each input byte yields at most one 16-bit unit; each character of four
  // bytes yields one 32-bit unit, of fewer bytes at most one too.
  const uint64_t room = unitSize == 2 ? uint64_t(n) * 2 : uint64_t(n) * 4;
  if (room > UINT32_MAX) return false;
  unsigned char* w = out.reserveTail(static_cast<unsigned int>(room));
  if (w == nullptr) return false;
  unsigned char* const start = w;
  const unsigned char* const end = p + n;
  bool exact = true;
  auto put = [&](uint32_t v, unsigned int bytes) {
    for (unsigned int k = 0; k < bytes; ++k)
      w[bigEndian ? bytes - 1 - k : k] = static_cast<unsigned char>(v >> (8 * k));
    w += bytes;
  };
  while (p < end) {
    uint32_t cp;
    p += _tvUtf::decodeUtf8(p, end, cp);
    if (cp == _tvUtf::kInvalid) {
      cp = _tvUtf::kReplacement;
      exact = false;
    }
    if (unitSize == 4) {
      put(cp, 4);
    } else if (cp < 0x10000) {
      put(cp, 2);
    } else {
      put(0xD800 + ((cp - 0x10000) >> 10), 2);
      put(0xDC00 + ((cp - 0x10000) & 0x3FF), 2);
    }
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return exact;
}

// ---- iconv halves ----

// Runs iconv over the input, growing out as needed. onError is called at a
// spot iconv cannot convert (in points at it); it appends whatever stands
// for it, advances in, and returns false when it cannot go on.
template <class OnError>
bool runIconv(iconv_t cd, const unsigned char* src, unsigned int n, DataBuffer& out, OnError onError) {
  char* in = reinterpret_cast<char*>(const_cast<unsigned char*>(src));
  size_t inLeft = n;
  unsigned int room = n < 64 ? 64 : (n > kBlock ? kBlock * 2 : n * 2);
  bool flushed = false;
  while (true) {
    unsigned char* w = out.reserveTail(room);
    if (w == nullptr) return false;
    char* outPtr = reinterpret_cast<char*>(w);
    size_t outLeft = room;
    size_t r;
    if (inLeft > 0) {
      r = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    } else {
      r = iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
      flushed = r != static_cast<size_t>(-1);
    }
    const int error = r == static_cast<size_t>(-1) ? errno : 0;
    out.commitTail(static_cast<unsigned int>(room - outLeft));
    if (error == E2BIG) {
      if (room < (1u << 30)) room *= 2;
      continue;
    }
    if (error != 0) {
      const unsigned char* at = reinterpret_cast<const unsigned char*>(in);
      const size_t skip = onError(at, inLeft, error == EINVAL);
      if (skip == 0) return false;
      in += skip;
      inLeft -= skip;
      continue;
    }
    if (inLeft == 0 && flushed) return true;
  }
}

// Any code page to UTF-8 through iconv. An unreadable byte becomes U+FFFD
// (or, in a 125x page, the code point of its value) and reading goes on
// behind it; a character cut off at the end becomes one U+FFFD.
bool iconvToUtf8(const CodePage& page, const unsigned char* p, unsigned int n, DataBuffer& out) {
  iconv_t* cd = cachedIconv("UTF-8", page.iconvName);
  if (cd == nullptr) return false;
  bool exact = true;
  bool memoryOk = true;
  const bool done = runIconv(*cd, p, n, out, [&](const unsigned char* at, size_t left, bool truncated) -> size_t {
    unsigned char utf8[4];
    // 1258 holds a base letter back, waiting for a tone mark; it must come
    // out before what stands for the bad byte. (A shifted page must not be
    // flushed here: that would drop its shift state.)
    if (page.windows125x) {
      unsigned char* w = out.reserveTail(16);
      if (w == nullptr) {
        memoryOk = false;
        return 0;
      }
      char* flushOut = reinterpret_cast<char*>(w);
      size_t flushRoom = 16;
      iconv(*cd, nullptr, nullptr, &flushOut, &flushRoom);
      out.commitTail(static_cast<unsigned int>(16 - flushRoom));
    }
    if (page.windows125x && !truncated && *at >= 0x80) {
      memoryOk = out.append(utf8, _tvUtf::encodeUtf8(*at, utf8));
    } else {
      exact = false;
      memoryOk = out.append(utf8, _tvUtf::encodeUtf8(_tvUtf::kReplacement, utf8));
    }
    if (!memoryOk) return 0;
    return truncated ? left : 1;
  });
  return done && memoryOk && exact;
}

// Well-formed UTF-8 to any code page through iconv. A character the page
// lacks becomes "?" (converted by iconv too, so a shifted encoding such as
// ISO-2022-JP switches back to ASCII for it), or its own byte when it is an
// unassigned byte of a 125x page.
bool iconvFromUtf8(const CodePage& page, int pageIndex, const unsigned char* p, unsigned int n, DataBuffer& out) {
  iconv_t* cd = cachedIconv(page.iconvName, "UTF-8");
  if (cd == nullptr) return false;
  const SingleByteTable* table = page.windows125x ? tableOf(pageIndex) : nullptr;
  const unsigned char* const end = p + n;
  bool exact = true;
  bool memoryOk = true;
  const bool done = runIconv(*cd, p, n, out, [&](const unsigned char* at, size_t, bool) -> size_t {
    uint32_t cp;
    const unsigned int len = _tvUtf::decodeUtf8(at, end, cp);
    if (table != nullptr && cp >= 0x80 && cp <= 0xFF && !table->assigned[cp]) {
      memoryOk = out.appendChar(static_cast<unsigned char>(cp));
      return memoryOk ? len : 0;
    }
    exact = false;
    char question[] = "?";
    char* qIn = question;
    size_t qLeft = 1;
    unsigned char* w = out.reserveTail(16);
    if (w == nullptr) {
      memoryOk = false;
      return 0;
    }
    char* qOut = reinterpret_cast<char*>(w);
    size_t qRoom = 16;
    iconv(*cd, &qIn, &qLeft, &qOut, &qRoom);
    out.commitTail(static_cast<unsigned int>(16 - qRoom));
    return len;
  });
  return done && memoryOk && exact;
}

// ---- the two halves ----

// Appends the UTF-8 form of the input to out; false when anything had to be
// replaced or memory ran out.
bool decodeToUtf8(int index, const unsigned char* p, unsigned int n, DataBuffer& out) {
  const CodePage& page = kCodePages[index];
  switch (page.kind) {
    case Kind::Utf8:
      return utf8ToUtf8(p, n, out);
    case Kind::Utf16Le:
    case Kind::Utf16Be:
      return utf16ToUtf8(p, n, page.kind == Kind::Utf16Be, out);
    case Kind::Utf32Le:
    case Kind::Utf32Be:
      return utf32ToUtf8(p, n, page.kind == Kind::Utf32Be, out);
    case Kind::SingleByte:
      if (const SingleByteTable* t = tableOf(index)) return singleByteToUtf8(*t, p, n, out);
      return iconvToUtf8(page, p, n, out);
    case Kind::Multi:
      break;
  }
  return iconvToUtf8(page, p, n, out);
}

// Appends well-formed UTF-8 converted to the code page; false when anything
// had to be replaced or memory ran out.
bool encodeFromUtf8(int index, const unsigned char* p, unsigned int n, DataBuffer& out) {
  const CodePage& page = kCodePages[index];
  switch (page.kind) {
    case Kind::Utf8:
      return out.append(p, n);
    case Kind::Utf16Le:
    case Kind::Utf16Be:
      return utf8ToWide(p, n, 2, page.kind == Kind::Utf16Be, out);
    case Kind::Utf32Le:
    case Kind::Utf32Be:
      return utf8ToWide(p, n, 4, page.kind == Kind::Utf32Be, out);
    case Kind::SingleByte:
      if (const SingleByteTable* t = tableOf(index)) return utf8ToSingleByte(*t, p, n, out);
      return iconvFromUtf8(page, index, p, n, out);
    case Kind::Multi:
      break;
  }
  return iconvFromUtf8(page, index, p, n, out);
}

// Whether this system's iconv carries the code page; asked once per page.
bool available(int index) {
  static std::once_flag once[kNumCodePages];
  static bool present[kNumCodePages];
  std::call_once(once[index], [index] {
    const CodePage& page = kCodePages[index];
    if (page.kind != Kind::SingleByte && page.kind != Kind::Multi) {
      present[index] = true;
      return;
    }
    iconv_t cd = iconv_open("UTF-8", page.iconvName);
    present[index] = cd != reinterpret_cast<iconv_t>(-1);
    if (present[index]) iconv_close(cd);
  });
  return present[index];
}

void logUnknown(LogBase& log, int fromCodePage, int toCodePage) {
  log.LogError_lcr("mFmpdl,mlxvwk,tz/v");  // scrambled: the code page is unknown
  log.LogDataLong("fromCodePage", fromCodePage);
  log.LogDataLong("toCodePage", toCodePage);
}

}  // namespace

bool _tvEncodingConvert::EncConvert(int fromCodePage, int toCodePage, const unsigned char* src, unsigned int n,
                                    DataBuffer& out, LogBase& log) {
  const int from = indexOfCodePage(fromCodePage);
  const int to = indexOfCodePage(toCodePage);
  if (from < 0 || to < 0 || !available(from) || !available(to)) {
    logUnknown(log, fromCodePage, toCodePage);
    return false;
  }
  if (n == 0) return true;
  if (src == nullptr) return false;
  if (fromCodePage == toCodePage) return out.append(src, n);

  const CodePage& fromPage = kCodePages[from];
  const CodePage& toPage = kCodePages[to];
  if (toPage.kind == Kind::Utf8) return decodeToUtf8(from, src, n, out);
  if (fromPage.kind == Kind::Utf8) {
    // The table and Unicode writers read UTF-8 themselves, bad bytes and
    // all; only iconv needs it well formed first.
    const bool ownReader = toPage.kind != Kind::Multi && (toPage.kind != Kind::SingleByte || tableOf(to) != nullptr);
    if (ownReader || _tvUtf::isValidUtf8(src, n, 0)) return encodeFromUtf8(to, src, n, out);
  } else if (fromPage.kind == Kind::SingleByte && toPage.kind == Kind::SingleByte) {
    const SingleByteTable* a = tableOf(from);
    const SingleByteTable* b = tableOf(to);
    if (a != nullptr && b != nullptr) return singleByteToSingleByte(*a, *b, src, n, out);
  }
  // Everything else meets in UTF-8. A loss on the way in shows as U+FFFD in
  // the pivot, which an 8-bit target then writes as "?".
  // The pivot is wiped when released: the text may be a secret, and this
  // level cannot know.
  DataBuffer pivot;
  pivot.setSecure(true);
  const bool readExact = decodeToUtf8(from, src, n, pivot);
  const bool writeExact = encodeFromUtf8(to, pivot.getData2(), pivot.getSize(), out);
  return readExact && writeExact;
}

bool _tvEncodingConvert::AnsiToMultiByte(int toCodePage, const char* src, int n, DataBuffer& out, LogBase& log) {
  return EncConvert(Psdk::getAnsiCodePage(), toCodePage, reinterpret_cast<const unsigned char*>(src),
                    n > 0 ? static_cast<unsigned int>(n) : 0, out, log);
}

bool _tvEncodingConvert::MultiByteToAnsi(int fromCodePage, const unsigned char* src, int n, DataBuffer& out,
                                         LogBase& log) {
  return EncConvert(fromCodePage, Psdk::getAnsiCodePage(), src, n > 0 ? static_cast<unsigned int>(n) : 0, out, log);
}

bool _tvEncodingConvert::OemToMultiByte(int toCodePage, const char* src, int n, DataBuffer& out, LogBase& log) {
  return EncConvert(Psdk::getOemCodePage(), toCodePage, reinterpret_cast<const unsigned char*>(src),
                    n > 0 ? static_cast<unsigned int>(n) : 0, out, log);
}

bool _tvEncodingConvert::MultiByteToOem(int fromCodePage, const unsigned char* src, int n, DataBuffer& out,
                                        LogBase& log) {
  return EncConvert(fromCodePage, Psdk::getOemCodePage(), src, n > 0 ? static_cast<unsigned int>(n) : 0, out, log);
}

bool _tvEncodingConvert::isKnownCodePage(int codePage) { return indexOfCodePage(codePage) >= 0; }

int _tvEncodingConvert::codePageFromCharsetName(const char* name, unsigned int length) {
  if (name == nullptr || length == 0 || length > 40) return 0;
  char lower[48];
  for (unsigned int i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(name[i]);
    lower[i] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  lower[length] = 0;
  struct Alias {
    const char* name;
    int codePage;
  };
  // The names mail and web text use; "cp", "windows-", "ibm" and "iso-8859-"
  // followed by a number are read below without a row each.
  static constexpr Alias kAliases[] = {
      {"utf-8", 65001},       {"utf8", 65001},          {"us-ascii", 20127},      {"ascii", 20127},
      {"latin1", 28591},      {"iso_8859-1", 28591},    {"shift_jis", 932},       {"shift-jis", 932},
      {"sjis", 932},          {"x-sjis", 932},          {"windows-31j", 932},     {"ms_kanji", 932},
      {"gb2312", 936},        {"gbk", 936},             {"x-gbk", 936},           {"euc-cn", 936},
      {"gb18030", 54936},     {"big5", 950},            {"big5-hkscs", 950},      {"ks_c_5601-1987", 949},
      {"euc-kr", 51949},      {"euc-jp", 51932},        {"iso-2022-jp", 50220},   {"iso-2022-kr", 50225},
      {"koi8-r", 20866},      {"koi8-u", 21866},        {"utf-16le", 1200},       {"utf-16be", 1201},
      {"utf-16", 1201},       {"utf-32le", 12000},      {"utf-32be", 12001},      {"utf-32", 12001},
      {"utf-7", 65000},       {"macintosh", 10000},     {"x-mac-cyrillic", 10007}, {"tis-620", 874},
      {"johab", 1361},
  };
  for (const Alias& a : kAliases)
    if (std::strcmp(lower, a.name) == 0) return a.codePage;
  auto numberAfter = [&](const char* prefix) {
    const size_t k = std::strlen(prefix);
    if (length <= k || std::strncmp(lower, prefix, k) != 0) return 0;
    int v = 0;
    for (unsigned int i = static_cast<unsigned int>(k); i < length; ++i) {
      if (lower[i] < '0' || lower[i] > '9' || v > 100000) return 0;
      v = v * 10 + (lower[i] - '0');
    }
    return indexOfCodePage(v) >= 0 ? v : 0;
  };
  // ISO-8859-n is Windows code page 28590 + n (13 and 15 included).
  if (length > 9 && std::strncmp(lower, "iso-8859-", 9) == 0) {
    int v = 0;
    for (unsigned int i = 9; i < length; ++i) {
      if (lower[i] < '0' || lower[i] > '9') return 0;
      v = v * 10 + (lower[i] - '0');
      if (v > 99) return 0;
    }
    return indexOfCodePage(28590 + v) >= 0 ? 28590 + v : 0;
  }
  for (const char* prefix : {"windows-", "cp", "ibm", "x-cp"})
    if (int cp = numberAfter(prefix)) return cp;
  return 0;
}
