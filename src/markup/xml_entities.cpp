// XML and HTML entities: escaping text with the predefined entities (each
// operation with its own subset), decoding them again in place, and writing
// small XML fragments (tags, elements, name="value" pairs). Every writer
// measures its output first and then fills storage reserved once.
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "lib/EntityRefChecker.h"
#include "lib/ExtPtrArray.h"
#include "lib/StringPair.h"
#include "lib/TextSearch.h"
#include "markup/internal/aliasing.h"
#include "markup/internal/byte_scan.h"
#include "markup/internal/run_stager.h"

namespace {

using Byte = unsigned char;

struct Entity {
  const char* text;
  uint8_t length;
};

// The form of every byte an escaper rewrites. TAB, LF and CR are escaped
// only in attribute values, where a parser would turn them into spaces.
constexpr std::array<Entity, 256> kEntity = [] {
  std::array<Entity, 256> t{};
  t['&'] = {"&amp;", 5};
  t['<'] = {"&lt;", 4};
  t['>'] = {"&gt;", 4};
  t['"'] = {"&quot;", 6};
  t['\''] = {"&apos;", 6};
  t['\t'] = {"&#9;", 4};
  t['\n'] = {"&#10;", 5};
  t['\r'] = {"&#13;", 5};
  return t;
}();

// The sets of bytes the operations escape.
template <Byte... Members>
struct Escapes {
  static const Byte* next(const Byte* p, const Byte* end) { return markup_scan::findAnyOf<Members...>(p, end); }
};
using Three = Escapes<'&', '<', '>'>;
using ThreeAndQuote = Escapes<'&', '<', '>', '"'>;
using AllFive = Escapes<'&', '<', '>', '"', '\''>;
// Our choice: attribute values are always entity-encoded (a CDATA section is
// not allowed between quotes), and TAB, LF and CR are written as character
// references so that a parser hands the value back exactly.
using Attribute = Escapes<'&', '<', '>', '"', '\'', '\t', '\n', '\r'>;

// Decides whether an ampersand is left as it is.
struct KeepNone {
  bool operator()(const Byte*) const { return false; }
};

bool isDecimal(Byte c) { return c >= '0' && c <= '9'; }
bool isHex(Byte c) { return isDecimal(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }

// A numeric character reference ("&#" digits ";" or "&#x" hex digits ";")
// that lies wholly before end.
struct KeepNumericRef {
  const Byte* end;
  bool operator()(const Byte* amp) const {
    const Byte* p = amp + 1;
    if (end - p < 2 || *p != '#') return false;
    ++p;
    const bool hex = *p == 'x' || *p == 'X';
    if (hex) ++p;
    const Byte* digits = p;
    while (p < end && (hex ? isHex(*p) : isDecimal(*p))) ++p;
    return p != digits && p < end && *p == ';';
  }
};

bool startsWith(const Byte* p, const Byte* end, const char* s, size_t n) {
  return static_cast<size_t>(end - p) >= n && std::memcmp(p, s, n) == 0;
}

// The four entities encodeXMLSpecial itself writes or knows, then whatever
// the entity test accepts. The text behind amp is zero-terminated.
struct KeepKnownRef {
  const Byte* end;
  LogBase& log;
  bool operator()(const Byte* amp) const {
    const Byte* p = amp + 1;
    if (startsWith(p, end, "lt;", 3) || startsWith(p, end, "gt;", 3) || startsWith(p, end, "amp;", 4) ||
        startsWith(p, end, "quot;", 5)) {
      return true;
    }
    return EntityRefChecker::startsWithEntityRef(reinterpret_cast<const char*>(amp), log);
  }
};

struct Plan {
  uint64_t size;      // bytes of the escaped form
  uint32_t replaced;  // bytes rewritten as entities
  uint32_t greater;   // of which ">"
  uint32_t quotes;    // of which '"'
};

template <typename Set, typename Keep = KeepNone>
Plan planEscapes(const Byte* p, const Byte* end, Keep keep = {}) {
  Plan plan{static_cast<uint64_t>(end - p), 0, 0, 0};
  while ((p = Set::next(p, end)) != end) {
    if (*p != '&' || !keep(p)) {
      plan.size += kEntity[*p].length - 1u;
      ++plan.replaced;
      plan.greater += *p == '>';
      plan.quotes += *p == '"';
    }
    ++p;
  }
  return plan;
}

// Writes the escaped form of [p, end) at w, copying unchanged runs whole;
// returns the end written.
template <typename Set, typename Keep = KeepNone>
Byte* writeEscapes(const Byte* p, const Byte* end, Byte* w, Keep keep = {}) {
  const Byte* run = p;
  for (const Byte* s; (s = Set::next(p, end)) != end;) {
    p = s + 1;
    if (*s == '&' && keep(s)) continue;
    std::memcpy(w, run, static_cast<size_t>(s - run));
    w += s - run;
    std::memcpy(w, kEntity[*s].text, kEntity[*s].length);
    w += kEntity[*s].length;
    run = p;
  }
  std::memcpy(w, run, static_cast<size_t>(end - run));
  return w + (end - run);
}

Byte* put(Byte* w, const void* p, size_t n) {
  if (n != 0) std::memcpy(w, p, n);
  return w + n;
}
Byte* put(Byte* w, const char* s) { return put(w, s, std::strlen(s)); }

size_t lengthOf(const char* s) { return s != nullptr ? std::strlen(s) : 0; }
const Byte* bytes(const char* s) { return reinterpret_cast<const Byte*>(s); }
const char* orEmpty(const char* s) { return s != nullptr ? s : ""; }

// Bytes of s before its first zero byte, at most n.
size_t boundedLength(const char* s, size_t n) {
  const void* zero = std::memchr(s, 0, n);
  return zero != nullptr ? static_cast<size_t>(static_cast<const char*>(zero) - s) : n;
}

// Bytes of the text view: up to the first zero byte.
uint32_t textLength(const char* p, uint32_t n) {
  const void* zero = std::memchr(p, 0, n);
  return zero != nullptr ? static_cast<uint32_t>(static_cast<const char*>(zero) - p) : n;
}

// Element text as appendXml(text) writes it: a CDATA section when the text
// holds a TAB or LF, otherwise all five entities.
class ElementText {
 public:
  ElementText(const char* text, size_t n) : m_begin(bytes(text)), m_end(bytes(text) + n) {
    m_cdata = markup_scan::findAnyOf<'\t', '\n'>(m_begin, m_end) != m_end;
    if (m_cdata) {
      // Our choice: a "]]>" inside the text would end the section early, so
      // the section is split there ("]]" closes one, ">" opens the next).
      m_size = n + kOpen.size() + kClose.size();
      for (const Byte* p = m_begin; (p = nextTerminator(p)) != nullptr; p += 3) m_size += kSplit.size() - 3;
    } else {
      m_size = planEscapes<AllFive>(m_begin, m_end).size;
    }
  }
  uint64_t size() const { return m_size; }
  // The same text, now found at text (our content moved while growing).
  void moveTo(const char* text) {
    m_end = bytes(text) + (m_end - m_begin);
    m_begin = bytes(text);
  }

  Byte* write(Byte* w) const {
    if (!m_cdata) return writeEscapes<AllFive>(m_begin, m_end, w);
    w = put(w, kOpen.data(), kOpen.size());
    const Byte* run = m_begin;
    for (const Byte* p; (p = nextTerminator(run)) != nullptr; run = p + 3) {
      w = put(w, run, static_cast<size_t>(p - run));
      w = put(w, kSplit.data(), kSplit.size());
    }
    w = put(w, run, static_cast<size_t>(m_end - run));
    return put(w, kClose.data(), kClose.size());
  }

 private:
  static constexpr std::string_view kOpen = "<![CDATA[";
  static constexpr std::string_view kClose = "]]>";
  static constexpr std::string_view kSplit = "]]]]><![CDATA[>";

  const Byte* nextTerminator(const Byte* from) const {
    return bytes(TextSearch::find(reinterpret_cast<const char*>(from), static_cast<uint32_t>(m_end - from), "]]>", 3));
  }

  const Byte* m_begin;
  const Byte* m_end;
  bool m_cdata;
  uint64_t m_size;
};

const StringPair* pairAt(const ExtPtrArray* attributes, int i) {
  return dynamic_cast<const StringPair*>(attributes->elementAt(i));
}

// ` key="value"` for every pair, values escaped as attribute values.
uint64_t attributesSize(const ExtPtrArray* attributes) {
  uint64_t size = 0;
  const int n = attributes != nullptr ? attributes->getSize() : 0;
  for (int i = 0; i < n; ++i) {
    if (const StringPair* pair = pairAt(attributes, i)) {
      const Byte* value = bytes(pair->getValue());
      size += 4 + std::strlen(pair->getKey()) + planEscapes<Attribute>(value, value + std::strlen(pair->getValue())).size;
    }
  }
  return size;
}

Byte* writeAttributes(const ExtPtrArray* attributes, Byte* w) {
  const int n = attributes != nullptr ? attributes->getSize() : 0;
  for (int i = 0; i < n; ++i) {
    if (const StringPair* pair = pairAt(attributes, i)) {
      *w++ = ' ';
      w = put(w, pair->getKey());
      w = put(w, "=\"", 2);
      const Byte* value = bytes(pair->getValue());
      w = writeEscapes<Attribute>(value, value + std::strlen(pair->getValue()), w);
      *w++ = '"';
    }
  }
  return w;
}

// Decodes in place the entities named in `names` (each with its ";") found
// after ampersands in [p, end); returns the end written. Output never grows,
// so writing behind the reading position is safe, and decoded bytes are
// never read again.
struct NamedEntity {
  std::string_view name;
  char decoded;
};
template <size_t N>
Byte* decodeInPlace(Byte* p, Byte* end, const NamedEntity (&names)[N], uint32_t& count) {
  Byte* w = p;
  while (const void* hit = std::memchr(p, '&', static_cast<size_t>(end - p))) {
    Byte* amp = static_cast<Byte*>(const_cast<void*>(hit));
    std::memmove(w, p, static_cast<size_t>(amp - p));
    w += amp - p;
    p = amp + 1;
    *w = '&';
    for (const NamedEntity& e : names) {
      if (startsWith(p, end, e.name.data(), e.name.size())) {
        *w = static_cast<Byte>(e.decoded);
        p += e.name.size();
        ++count;
        break;
      }
    }
    ++w;
  }
  std::memmove(w, p, static_cast<size_t>(end - p));
  return w + (end - p);
}

constexpr NamedEntity kPredefined[] = {
    {"amp;", '&'}, {"apos;", '\''}, {"gt;", '>'}, {"lt;", '<'}, {"quot;", '"'}};
constexpr NamedEntity kHtmlDecoded[] = {{"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"amp;", '&'}};

// Staging of appendXmlNoCdata: chunks go out once they reach kFlushAt bytes;
// the largest entity (6 bytes) still fits behind 249 staged bytes.
constexpr unsigned int kStageSize = 255;
constexpr unsigned int kFlushAt = 250;

struct AppendChunk {
  StringBuffer& out;
  bool operator()(const Byte* p, unsigned int n) const { return out.appendN(reinterpret_cast<const char*>(p), n); }
};

}  // namespace

unsigned int StringBuffer::replaceXMLSpecial() {
  // Note: the three replacements of & < > are done in one pass; the result
  // and the count of ">" are what three passes (ampersands first) give.
  const Byte* begin = bytes(m_data);
  const Byte* end = begin + textLength(m_data, m_length);
  const Plan plan = planEscapes<Three>(begin, end);
  if (plan.replaced == 0 || plan.size > 0xFFFFFFFEu) return 0;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  if (!result.expectNumBytes(static_cast<unsigned int>(plan.size))) return 0;
  Byte* w = writeEscapes<Three>(begin, end, reinterpret_cast<Byte*>(result.m_data));
  *w = 0;
  result.m_length = static_cast<unsigned int>(plan.size);
  takeSb(result);
  return plan.greater;
}

unsigned int StringBuffer::replaceHTMLSpecial() {
  const Byte* begin = bytes(m_data);
  const Byte* end = begin + textLength(m_data, m_length);
  const Plan plan = planEscapes<ThreeAndQuote>(begin, end);
  if (plan.replaced == 0 || plan.size > 0xFFFFFFFEu) return 0;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  if (!result.expectNumBytes(static_cast<unsigned int>(plan.size))) return 0;
  Byte* w = writeEscapes<ThreeAndQuote>(begin, end, reinterpret_cast<Byte*>(result.m_data));
  *w = 0;
  result.m_length = static_cast<unsigned int>(plan.size);
  takeSb(result);
  return plan.quotes;
}

bool StringBuffer::encodePreDefinedXmlEntities(unsigned int start) {
  if (m_length <= start) return true;
  const Byte* begin = bytes(m_data) + start;
  const Byte* end = bytes(m_data) + m_length;
  const KeepNumericRef keep{end};
  const Plan plan = planEscapes<Three>(begin, end, keep);
  if (plan.replaced == 0) return true;
  const uint64_t size = start + plan.size;
  if (size > 0xFFFFFFFEu) return false;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  if (!result.expectNumBytes(static_cast<unsigned int>(size))) return false;
  Byte* w = put(reinterpret_cast<Byte*>(result.m_data), m_data, start);
  *writeEscapes<Three>(begin, end, w, keep) = 0;
  result.m_length = static_cast<unsigned int>(size);
  takeSb(result);
  return true;
}

unsigned int StringBuffer::encodeXMLSpecial(LogBase& log) {
  if (m_length == 0) return 0;
  const Byte* begin = bytes(m_data);
  const Byte* end = begin + m_length;
  const KeepKnownRef keep{end, log};
  const Plan plan = planEscapes<Three>(begin, end, keep);
  if (plan.replaced == 0 || plan.size > 0xFFFFFFFEu) return 0;
  // Our choice: when the rebuilt text cannot be stored the content stays as
  // it was and 0 is returned, rather than leaving the buffer empty.
  StringBuffer result;
  result.setSecureBuf(m_secure);
  if (!result.expectNumBytes(static_cast<unsigned int>(plan.size))) return 0;
  *writeEscapes<Three>(begin, end, reinterpret_cast<Byte*>(result.m_data), keep) = 0;
  result.m_length = static_cast<unsigned int>(plan.size);
  takeSb(result);
  return plan.replaced;
}

unsigned int StringBuffer::decodeXMLSpecial() {
  if (std::memchr(m_data, '&', textLength(m_data, m_length)) == nullptr) return 0;
  // "&amp;" goes last, so "&amp;lt;" becomes "&lt;" and is not decoded again.
  unsigned int count = replaceAllWithUchar("&lt;", '<');
  count += replaceAllWithUchar("&gt;", '>');
  return count + replaceAllWithUchar("&amp;", '&');
}

bool StringBuffer::decodeHTMLSpecial() {
  if (m_length == 0) return false;
  Byte* begin = reinterpret_cast<Byte*>(m_data);
  uint32_t count = 0;
  Byte* w = decodeInPlace(begin, begin + textLength(m_data, m_length), kHtmlDecoded, count);
  *w = 0;
  const auto newLength = static_cast<unsigned int>(w - begin);
  // Note: true means the content became shorter, which also covers bytes
  // behind a zero byte being dropped from the count.
  const bool shorter = newLength < m_length;
  m_length = newLength;
  return shorter;
}

unsigned int StringBuffer::decodePreDefinedXmlEntities(unsigned int start) {
  if (m_length <= start) return 0;
  Byte* begin = reinterpret_cast<Byte*>(m_data) + start;
  uint32_t count = 0;
  Byte* w = decodeInPlace(begin, begin + textLength(m_data + start, m_length - start), kPredefined, count);
  *w = 0;
  m_length = static_cast<unsigned int>(w - reinterpret_cast<Byte*>(m_data));
  return count;
}

void StringBuffer::appendXml(const char* text) {
  const size_t n = lengthOf(text);
  if (n == 0) return;
  ElementText element(text, n);
  if (element.size() > 0xFFFFFFFEu) return;
  const int64_t offset = markup_alias::offsetInside(text, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(element.size()))) return;
  element.moveTo(markup_alias::follow(text, offset, m_data));
  Byte* w = element.write(reinterpret_cast<Byte*>(m_data + m_length));
  *w = 0;
  m_length += static_cast<unsigned int>(element.size());
}

void StringBuffer::appendXmlNoCdata(const char* text) { appendXmlNoCdataN(text, 0xFFFFFFFFu); }

void StringBuffer::appendXmlNoCdataN(const char* text, unsigned int n) {
  if (text == nullptr || n == 0 || text[0] == 0) return;
  const size_t length = boundedLength(text, n);
  // The chunks below are appended one by one and growth moves our content,
  // so text from our own content is read from a copy.
  StringBuffer copy;
  copy.setSecureBuf(m_secure);
  if (markup_alias::offsetInside(text, m_data, m_length) >= 0) {
    if (!copy.appendN(text, static_cast<unsigned int>(length))) return;
    text = copy.m_data;
  }
  markup_stage::RunStager<kFlushAt, kStageSize, AppendChunk> stager(AppendChunk{*this});
  const Byte* p = bytes(text);
  const Byte* const end = p + length;
  for (const Byte* special; p < end && stager.ok(); p = special + 1) {
    special = AllFive::next(p, end);
    stager.putRun(p, static_cast<unsigned int>(special - p));
    if (special == end) break;
    stager.putUnit(kEntity[*special].text, kEntity[*special].length);
  }
  stager.finish();
  if (m_secure) stager.wipe();
}

bool StringBuffer::appendAndXmlEntityEncode(const char* text, unsigned int n) {
  if (text == nullptr) return true;
  if (n == 0) n = static_cast<unsigned int>(std::strlen(text));
  if (n == 0) return true;
  const size_t length = boundedLength(text, n);
  // The worst case is reserved once, so the writing below needs no checks.
  const uint64_t worst = uint64_t(n) * 5;
  if (worst > 0xFFFFFFFEu) return false;
  const int64_t offset = markup_alias::offsetInside(text, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(worst))) return false;
  const Byte* source = bytes(markup_alias::follow(text, offset, m_data));
  Byte* const start = reinterpret_cast<Byte*>(m_data + m_length);
  Byte* w = writeEscapes<Three>(source, source + length, start);
  *w = 0;
  m_length += static_cast<unsigned int>(w - start);
  return true;
}

bool StringBuffer::appendXmlOpenTag(const char* tag, const ExtPtrArray* attributes) {
  tag = orEmpty(tag);
  const size_t tagLength = std::strlen(tag);
  const uint64_t size = 3 + tagLength + attributesSize(attributes);
  if (size > 0xFFFFFFFEu) return false;
  // Our choice: all or nothing; a tag that does not fit is not begun.
  const int64_t offset = markup_alias::offsetInside(tag, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(size))) return false;
  tag = markup_alias::follow(tag, offset, m_data);
  Byte* w = reinterpret_cast<Byte*>(m_data + m_length);
  *w++ = '<';
  w = put(w, tag, tagLength);
  w = writeAttributes(attributes, w);
  w = put(w, ">\n\0", 3);
  m_length += static_cast<unsigned int>(size);
  return true;
}

bool StringBuffer::appendXmlCloseTag(const char* tag) {
  tag = orEmpty(tag);
  const size_t tagLength = std::strlen(tag);
  const int64_t offset = markup_alias::offsetInside(tag, m_data, m_length);
  if (tagLength > 0xFFFFFFF0u || !ensureRoom(static_cast<unsigned int>(tagLength + 4))) return false;
  tag = markup_alias::follow(tag, offset, m_data);
  Byte* w = put(reinterpret_cast<Byte*>(m_data + m_length), "</", 2);
  w = put(w, tag, tagLength);
  put(w, ">\n\0", 3);
  m_length += static_cast<unsigned int>(tagLength + 4);
  return true;
}

bool StringBuffer::appendXml(const char* tag, const ExtPtrArray& attributes, const char* content) {
  tag = orEmpty(tag);
  content = orEmpty(content);
  const size_t tagLength = std::strlen(tag);
  const size_t contentLength = std::strlen(content);
  ElementText element(content, contentLength);
  // <tag attributes>content</tag>LF
  const uint64_t size = 6 + 2 * uint64_t(tagLength) + attributesSize(&attributes) + element.size();
  if (size > 0xFFFFFFFEu) return false;
  const int64_t tagOffset = markup_alias::offsetInside(tag, m_data, m_length);
  const int64_t contentOffset = markup_alias::offsetInside(content, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(size))) return false;
  tag = markup_alias::follow(tag, tagOffset, m_data);
  element.moveTo(markup_alias::follow(content, contentOffset, m_data));
  Byte* w = reinterpret_cast<Byte*>(m_data + m_length);
  *w++ = '<';
  w = put(w, tag, tagLength);
  w = writeAttributes(&attributes, w);
  *w++ = '>';
  w = element.write(w);
  w = put(w, "</", 2);
  w = put(w, tag, tagLength);
  put(w, ">\n\0", 3);
  m_length += static_cast<unsigned int>(size);
  return true;
}

bool StringBuffer::simpleXml(const char* tag, const char* content, int count, const char** names,
                             const char** values, LogBase& log) {
  tag = orEmpty(tag);
  content = orEmpty(content);
  if (names == nullptr) count = 0;
  const auto valueAt = [values](int i) { return orEmpty(values != nullptr ? values[i] : nullptr); };
  // Texts from our own content are read from a copy of it, since growth
  // would move them under our feet.
  bool aliased = markup_alias::offsetInside(tag, m_data, m_length) >= 0 ||
                 markup_alias::offsetInside(content, m_data, m_length) >= 0;
  for (int i = 0; i < count && !aliased; ++i) {
    aliased = markup_alias::offsetInside(names[i], m_data, m_length) >= 0 ||
              markup_alias::offsetInside(valueAt(i), m_data, m_length) >= 0;
  }
  if (aliased) {
    StringBuffer copy;
    copy.setSecureBuf(m_secure);
    if (!copy.appendN(m_data, m_length) || !copy.simpleXml(tag, content, count, names, values, log)) return false;
    takeSb(copy);
    return true;
  }

  const size_t tagLength = std::strlen(tag);
  const size_t contentLength = std::strlen(content);
  const Byte* contentBegin = bytes(content);
  const KeepKnownRef keep{contentBegin + contentLength, log};
  uint64_t size = 1 + tagLength;
  for (int i = 0; i < count; ++i)
    if (names[i] != nullptr) size += 4 + std::strlen(names[i]) + std::strlen(valueAt(i));
  if (contentLength == 0) {
    size += 3;
  } else {
    size += 4 + tagLength + planEscapes<Three>(contentBegin, contentBegin + contentLength, keep).size;
  }
  // Our choice: the element is written whole after one reservation, or not
  // at all.
  if (size > 0xFFFFFFFEu || !ensureRoom(static_cast<unsigned int>(size))) return false;
  Byte* w = reinterpret_cast<Byte*>(m_data + m_length);
  *w++ = '<';
  w = put(w, tag, tagLength);
  // Note: attribute values are written as given; callers pass values that
  // are already fit for XML.
  for (int i = 0; i < count; ++i) {
    if (names[i] == nullptr) continue;
    *w++ = ' ';
    w = put(w, names[i]);
    w = put(w, "=\"", 2);
    w = put(w, valueAt(i));
    *w++ = '"';
  }
  if (contentLength == 0) {
    w = put(w, " />", 3);
  } else {
    *w++ = '>';
    w = writeEscapes<Three>(contentBegin, contentBegin + contentLength, w, keep);
    w = put(w, "</", 2);
    w = put(w, tag, tagLength);
    *w++ = '>';
  }
  *w = 0;
  m_length += static_cast<unsigned int>(size);
  return true;
}

bool StringBuffer::appendNameValue(const char* name, const char* value) {
  name = orEmpty(name);
  value = orEmpty(value);
  const size_t nameLength = std::strlen(name);
  const Byte* valueBegin = bytes(value);
  const Byte* valueEnd = valueBegin + std::strlen(value);
  uint64_t size = nameLength + 3 + static_cast<uint64_t>(valueEnd - valueBegin);
  for (const Byte* p = valueBegin; (p = Escapes<'"'>::next(p, valueEnd)) != valueEnd; ++p) ++size;
  if (size > 0xFFFFFFFEu) return false;
  const int64_t nameOffset = markup_alias::offsetInside(name, m_data, m_length);
  const int64_t valueOffset = markup_alias::offsetInside(value, m_data, m_length);
  if (!ensureRoom(static_cast<unsigned int>(size))) return false;
  name = markup_alias::follow(name, nameOffset, m_data);
  valueEnd = bytes(markup_alias::follow(value, valueOffset, m_data)) + (valueEnd - valueBegin);
  valueBegin = bytes(markup_alias::follow(value, valueOffset, m_data));
  Byte* w = put(reinterpret_cast<Byte*>(m_data + m_length), name, nameLength);
  w = put(w, "=\"", 2);
  for (const Byte* p = valueBegin;;) {
    const Byte* quote = Escapes<'"'>::next(p, valueEnd);
    w = put(w, p, static_cast<size_t>(quote - p));
    if (quote == valueEnd) break;
    w = put(w, "\\\"", 2);
    p = quote + 1;
  }
  put(w, "\"", 2);
  m_length += static_cast<unsigned int>(size);
  return true;
}
