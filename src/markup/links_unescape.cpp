// Pattern rewrites of marked-up text: linking bare web addresses in HTML,
// cutting reason-coded entries out of a revocation list's XML rendering,
// and dropping Markdown and plain backslash escapes in place.
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"
#include "markup/internal/byte_scan.h"

namespace {

using Byte = unsigned char;
using ByteTable = std::array<bool, 256>;

constexpr ByteTable byteSet(const char* members, bool withZero) {
  ByteTable t{};
  for (; *members; ++members) t[static_cast<Byte>(*members)] = true;
  t[0] = withZero;
  return t;
}

// Bytes that end a web address: the end of the text, white space, and the
// brackets that usually enclose an address in prose or markup. Quotes,
// commas and full stops belong to the address.
constexpr ByteTable kAddressEnd = byteSet("\t\n\r ()<>[]{}", true);

// ASCII punctuation: what a Markdown backslash may escape.
constexpr ByteTable kPunctuation = byteSet("!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~", false);

// Every byte: what a plain backslash escape may carry.
constexpr ByteTable kAnyByte = [] {
  ByteTable t{};
  for (bool& b : t) b = true;
  return t;
}();

constexpr bool kKeepFinalBackslash = true;
constexpr bool kDropFinalBackslash = false;

// Compacts the n bytes at begin in place, dropping each backslash that stands
// before a byte of `escapable` and keeping that byte whatever it is (so it is
// not itself taken as an escape). A backslash before any other byte stays,
// and the next byte is looked at afresh; a final backslash stays only when
// asked. Terminates the result and returns its length.
uint32_t dropEscapes(char* begin, uint32_t n, const ByteTable& escapable, bool keepFinalBackslash) {
  const char* const end = begin + n;
  char* w = begin;
  const char* p = begin;
  while (const void* hit = std::memchr(p, '\\', static_cast<size_t>(end - p))) {
    const char* slash = static_cast<const char*>(hit);
    std::memmove(w, p, static_cast<size_t>(slash - p));
    w += slash - p;
    if (slash + 1 < end && escapable[static_cast<Byte>(slash[1])]) {
      *w++ = slash[1];
      p = slash + 2;
    } else {
      if (slash + 1 < end || keepFinalBackslash) *w++ = '\\';
      p = slash + 1;
    }
  }
  std::memmove(w, p, static_cast<size_t>(end - p));
  w += end - p;
  *w = 0;
  return static_cast<uint32_t>(w - begin);
}

// Bytes of the text view: up to the first zero byte.
uint32_t textLength(const char* p, uint32_t n) {
  const void* zero = std::memchr(p, 0, n);
  return zero != nullptr ? static_cast<uint32_t>(static_cast<const char*>(zero) - p) : n;
}

Byte fold(Byte c) { return TextSearch::foldAscii(c); }

// Length of the scheme ("http://" 7, "https://" 8) at p, 0 when neither.
size_t schemeAt(const char* p, const char* end) {
  const size_t left = static_cast<size_t>(end - p);
  if (left < 7 || TextSearch::compareNoCaseN(p, "http", 4) != 0) return 0;
  if (std::memcmp(p + 4, "://", 3) == 0) return 7;
  return left >= 8 && fold(static_cast<Byte>(p[4])) == 's' && std::memcmp(p + 5, "://", 3) == 0 ? 8 : 0;
}

// First "http://" or "https://" in [p, end), either case, or null.
const char* nextAddress(const char* p, const char* end) {
  const Byte* q = reinterpret_cast<const Byte*>(p);
  const Byte* e = reinterpret_cast<const Byte*>(end);
  for (; (q = markup_scan::findAnyOf<'h', 'H'>(q, e)) != e; ++q) {
    if (schemeAt(reinterpret_cast<const char*>(q), end) != 0) return reinterpret_cast<const char*>(q);
  }
  return nullptr;
}

// Appends [p, end) to out with every web address turned into a link.
void appendLinked(const char* p, const char* end, StringBuffer& out) {
  while (const char* address = nextAddress(p, end)) {
    const char* stop = address;
    while (stop < end && !kAddressEnd[static_cast<Byte>(*stop)]) ++stop;
    const auto n = static_cast<unsigned int>(stop - address);
    out.appendN(p, static_cast<unsigned int>(address - p));
    out.append("<a href=\"");
    out.appendN(address, n);
    out.append("\">");
    out.appendN(address, n);
    out.append("</a>");
    p = stop;
  }
  out.appendN(p, static_cast<unsigned int>(end - p));
}

const char* findNoCase(const char* p, const char* end, const char* needle) {
  return TextSearch::findNoCase(p, static_cast<uint32_t>(end - p), needle, static_cast<uint32_t>(std::strlen(needle)));
}

// The markers of a reason-coded revoked-certificate entry in the rendering.
constexpr char kEntryStart[] = "<sequence><int>";
constexpr char kReasonMarker[] = "</utctime><sequence><sequence><oid>2.5.29.21</oid><octets>";
constexpr char kEntryEnd[] = "</octets></sequence></sequence></sequence>";
constexpr uint32_t kEntryStartLength = sizeof kEntryStart - 1;
constexpr uint32_t kReasonLength = sizeof kReasonMarker - 1;
constexpr uint32_t kEntryEndLength = sizeof kEntryEnd - 1;
// The closest an entry's start can be to its reason marker: the start, a
// one-digit serial, "</int>", "<utctime>" and a 13-character UTCTime.
constexpr uint32_t kNearestStart = 44;
constexpr uint32_t kFarthestStart = 255;

const char* find(const char* p, const char* end, const char* needle, uint32_t n) {
  return TextSearch::find(p, static_cast<uint32_t>(end - p), needle, n);
}

}  // namespace

void StringBuffer::autoLinkUrls() {
  const char* p = m_data;
  const char* const end = m_data + textLength(m_data, m_length);
  StringBuffer result;
  result.setSecureBuf(m_secure);
  // The head (everything before "<body") and existing anchors ("<a" up to
  // "</a") are copied as they are; everything else is linked.
  if (const char* body = findNoCase(p, end, "<body")) {
    result.appendN(p, static_cast<unsigned int>(body - p));
    p = body;
  }
  for (;;) {
    const char* anchor = findNoCase(p, end, "<a");
    appendLinked(p, anchor != nullptr ? anchor : end, result);
    if (anchor == nullptr) break;
    const char* close = findNoCase(anchor, end, "</a");
    if (close == nullptr) {
      result.appendN(anchor, static_cast<unsigned int>(end - anchor));
      break;
    }
    result.appendN(anchor, static_cast<unsigned int>(close - anchor));
    p = close;
  }
  takeSb(result);
}

void StringBuffer::autoLinkUrls2(StringBuffer& text) {
  const char* begin = text.getString();
  const char* end = begin + textLength(begin, text.getSize());
  // Note: a text without any address is left exactly as it is.
  if (nextAddress(begin, end) == nullptr) return;
  StringBuffer result;
  result.setSecureBuf(text.m_secure);
  appendLinked(begin, end, result);
  text.takeSb(result);
}

void StringBuffer::removeCrlEntries(LogBase&) {
  const char* const begin = m_data;
  const char* const end = begin + textLength(m_data, m_length);
  const char* reason = find(begin, end, kReasonMarker, kReasonLength);
  if (reason == nullptr || reason - begin < 256) return;

  // The entry's start lies a bounded distance before its reason marker.
  const char* start = nullptr;
  for (uint32_t back = kNearestStart; back <= kFarthestStart && start == nullptr; ++back) {
    if (std::memcmp(reason - back, kEntryStart, kEntryStartLength) == 0) start = reason - back;
  }
  if (start == nullptr) return;

  const char* last = find(reason + kReasonLength, end, kEntryEnd, kEntryEndLength);
  if (last == nullptr) return;
  // The run goes on while another entry starts right behind the last end;
  // its end is the next entry end, whatever lies between.
  for (;;) {
    const char* next = last + kEntryEndLength;
    if (static_cast<size_t>(end - next) < kEntryStartLength ||
        std::memcmp(next, kEntryStart, kEntryStartLength) != 0) {
      break;
    }
    const char* nextEnd = find(next + kEntryStartLength, end, kEntryEnd, kEntryEndLength);
    if (nextEnd == nullptr) break;
    last = nextEnd;
  }
  const char* cut = last + kEntryEndLength;
  const auto rest = static_cast<size_t>(end - cut);
  std::memmove(m_data + (start - begin), cut, rest);
  m_length = static_cast<unsigned int>((start - begin) + rest);
  m_data[m_length] = 0;
}

unsigned int StringBuffer::markdown_unescape() {
  m_length = dropEscapes(m_data, m_length, kPunctuation, kKeepFinalBackslash);
  return m_length;
}

unsigned int StringBuffer::unescape() {
  m_length = dropEscapes(m_data, m_length, kAnyByte, kDropFinalBackslash);
  return m_length;
}
