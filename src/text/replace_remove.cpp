// Substring replacement and marker-delimited removal. Whole-content
// rewrites are assembled in a temporary and handed over with takeSb; the
// single-match forms splice at the match; the byte mappings work in place.
#include <cstring>
#include <memory>
#include <new>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "lib/TextSearch.h"
#include "text/internal/replace_walk.h"
#include "text/internal/text_scan.h"

namespace {


// A substring search over [from, end): exact or ASCII case-insensitive.
struct Finder {
  const char* needle;
  uint32_t needleLen;
  bool noCase;

  const char* operator()(const char* from, uint32_t n) const {
    return noCase ? TextSearch::findNoCase(from, n, needle, needleLen)
                  : TextSearch::find(from, n, needle, needleLen);
  }
  // The last match of the left-to-right, non-overlapping scan.
  const char* last(const char* from, uint32_t n) const {
    const char* end = from + n;
    const char* found = nullptr;
    for (const char* m = (*this)(from, n); m != nullptr;
         m = (*this)(m + needleLen, static_cast<uint32_t>(end - (m + needleLen)))) {
      found = m;
    }
    return found;
  }
};

// Offsets of the matches found by a counting pass: the first few thousand
// on the stack, the rest in a growing block from the free store (never the
// buffer allocator, whose allocation count the rebuild keeps at one). When
// that block cannot grow, recording stops and the walk searches on from the
// last recorded match.
class MatchList {
 public:
  void push(uint32_t offset) {
    if (!m_recording) return;
    if (m_size == m_capacity && !grow()) {
      m_recording = false;
      return;
    }
    slots()[m_size++] = offset;
  }
  // Only the first match is kept; the walk finds the others itself.
  void stopRecording() { m_recording = false; }
  uint32_t size() const { return m_size; }
  uint32_t at(uint32_t i) const { return slots()[i]; }
  // Every match is in the list.
  bool complete() const { return m_recording; }

 private:
  static constexpr uint32_t kOnStack = 4096;
  uint32_t* slots() { return m_heap != nullptr ? m_heap.get() : m_stack; }
  const uint32_t* slots() const { return m_heap != nullptr ? m_heap.get() : m_stack; }
  bool grow() {
    const uint64_t wanted = uint64_t(m_capacity) * 2;
    if (wanted > UINT32_MAX) return false;
    std::unique_ptr<uint32_t[]> bigger(new (std::nothrow) uint32_t[wanted]);
    if (bigger == nullptr) return false;
    std::memcpy(bigger.get(), slots(), m_size * sizeof(uint32_t));
    m_heap = std::move(bigger);
    m_capacity = static_cast<uint32_t>(wanted);
    return true;
  }

  uint32_t m_stack[kOnStack];
  std::unique_ptr<uint32_t[]> m_heap;
  uint32_t m_capacity = kOnStack;
  uint32_t m_size = 0;
  bool m_recording = true;
};

// A block from the library's allocator holding a copy of n bytes, wiped on
// release when the owner's content is secure.
class SavedBytes {
 public:
  SavedBytes(const char* p, uint32_t n, bool secure) : m_size(n + 1), m_secure(secure) {
    if (n == 0) return;
    m_block = StringBuffer::allocBuffer(m_size);
    if (m_block == nullptr) return;
    std::memcpy(m_block, p, n);
    m_block[n] = 0;
  }
  ~SavedBytes() {
    if (m_block != nullptr && m_secure) std::memset(m_block, 0, m_size);
    ByteAllocator::release(m_block, m_size);
  }
  SavedBytes(const SavedBytes&) = delete;
  SavedBytes& operator=(const SavedBytes&) = delete;
  bool ok() const { return m_block != nullptr; }
  const char* data() const { return reinterpret_cast<const char*>(m_block); }

 private:
  unsigned char* m_block = nullptr;
  uint32_t m_size;
  bool m_secure;
};

// Cuts sb at offset and appends replacement and the saved tail, after
// making room for the final size first, so that a failure leaves the
// content as it was. textLen is the length of sb's text view.
bool splice(StringBuffer& sb, uint32_t textLen, uint32_t offset, uint32_t matchLen,
            const char* replacement, bool secure) {
  // A replacement taken from this very content would be cut or moved under
  // our feet; work from a copy of it then.
  StringBuffer own;
  own.setSecureBuf(secure);
  if (textscan::pointsInto(replacement, sb.getString(), sb.getSize())) {
    if (!own.append(replacement)) return false;
    replacement = own.getString();
  }
  const uint32_t replacementLen = textscan::lengthOf(replacement);
  const uint32_t tailStart = offset + matchLen;
  const uint32_t tailLen = textLen - tailStart;
  SavedBytes tail(sb.getString() + tailStart, tailLen, secure);
  if (tailLen != 0 && !tail.ok()) return false;
  const uint64_t finalLen = uint64_t(offset) + replacementLen + tailLen;
  if (finalLen > UINT32_MAX) return false;
  if (finalLen > sb.getSize() && !sb.expectNumBytes(static_cast<uint32_t>(finalLen) - sb.getSize())) {
    return false;
  }
  sb.chopAt(offset);
  sb.appendN(replacement, replacementLen);
  sb.appendN(tail.data(), tailLen);
  return true;
}

// The regions removed by removeDelimited and removeDelimitedIfContains:
// each runs from the first byte of a begin marker through the end of the
// next end marker, the end marker being searched from the begin marker's
// first byte. With a needle, only regions that contain it go. Appends the
// kept text to out and returns the number of regions removed.
struct RegionRemover {
  Finder begin;
  Finder end;
  const char* needle;  // null: every region goes
  bool firstOnly;

  uint32_t run(const char* text, uint32_t textLen, StringBuffer& out, bool& appendsOk) const {
    const char* textEnd = text + textLen;
    const char* cursor = text;
    uint32_t removed = 0;
    appendsOk = true;
    while (cursor != textEnd) {
      const char* b = begin(cursor, static_cast<uint32_t>(textEnd - cursor));
      if (b == nullptr) break;
      const char* e = end(b, static_cast<uint32_t>(textEnd - b));
      if (e == nullptr) break;
      const char* regionEnd = e + end.needleLen;
      const bool drop =
          needle == nullptr ||
          TextSearch::findBounded(b, needle, static_cast<uint32_t>(regionEnd - b)) != nullptr;
      appendsOk = out.appendN(cursor, static_cast<uint32_t>((drop ? b : regionEnd) - cursor)) && appendsOk;
      cursor = regionEnd;
      if (!drop) continue;
      ++removed;
      if (firstOnly) break;
    }
    // Nothing dropped: the content stays, so the rest is not copied.
    if (removed == 0) return 0;
    appendsOk = out.appendN(cursor, static_cast<uint32_t>(textEnd - cursor)) && appendsOk;
    return removed;
  }
};

// The set is read for exactly N bytes, zero bytes included: a zero among
// them makes the content's zero bytes members too.
template <unsigned N>
unsigned int replaceSetBytes(char* data, uint32_t length, const char* set, char c) {
  if (set == nullptr) return length;
  textscan::ByteTable members{};
  for (unsigned i = 0; i < N; ++i) members[static_cast<unsigned char>(set[i])] = true;
  for (uint32_t i = 0; i < length; ++i) {
    if (members[static_cast<unsigned char>(data[i])]) data[i] = c;
  }
  return length;
}

constexpr bool kFirst = false;
constexpr bool kLast = true;

// The single-occurrence replacements: the first or the last match of one
// left-to-right scan, spliced in place.
bool replaceOneOccurance(StringBuffer& sb, const char* find, const char* replacement, bool noCase, bool last,
                         bool secure) {
  const uint32_t findLen = textscan::lengthOf(find);
  if (findLen == 0) return false;
  const char* text = sb.getString();
  const uint32_t textLen = textscan::textLength(text, sb.getSize());
  const Finder finder{find, findLen, noCase};
  const char* hit = last ? finder.last(text, textLen) : finder(text, textLen);
  if (hit == nullptr) return false;
  // Note: a null replacement leaves the content alone and still reports
  // success; callers use it as "is it there?" with no side effect.
  if (replacement == nullptr) return true;
  return splice(sb, textLen, static_cast<uint32_t>(hit - text), findLen, replacement, secure);
}

}  // namespace

unsigned int StringBuffer::replaceAllOccurances(const char* find, const char* replacement) {
  const uint32_t findLen = textscan::lengthOf(find);
  if (findLen == 0) return 0;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const Finder finder{find, findLen, false};
  const char* first = finder(m_data, textLen);
  if (first == nullptr) return 0;
  // Note: a null replacement counts as "" and deletes the matches.
  const uint32_t replacementLen = textscan::lengthOf(replacement);
  const char* end = m_data + textLen;
  // The counting pass keeps what it found, so the rebuild never searches
  // the same text a second time.
  MatchList matches;
  uint64_t finalLen = textLen;
  if (replacementLen != findLen) {
    uint64_t n = 0;
    for (const char* m = first; m != nullptr; ++n) {
      matches.push(static_cast<uint32_t>(m - m_data));
      const char* after = m + findLen;
      m = finder(after, static_cast<uint32_t>(end - after));
    }
    finalLen = finalLen + n * replacementLen - n * findLen;
  } else {
    matches.push(static_cast<uint32_t>(first - m_data));
    matches.stopRecording();
  }
  if (finalLen > UINT32_MAX) return 0;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  // Reserving the exact size makes the rebuild a single allocation, and
  // lets the pieces be written straight into the new storage.
  if (!result.expectNumBytes(static_cast<uint32_t>(finalLen))) return 0;
  char* out = result.m_data;
  const char* cursor = m_data;
  uint32_t count = 0;
  for (const char* match = m_data + matches.at(0); match != nullptr; ++count) {
    std::memcpy(out, cursor, static_cast<size_t>(match - cursor));
    out += match - cursor;
    std::memcpy(out, replacement, replacementLen);
    out += replacementLen;
    cursor = match + findLen;
    if (count + 1 < matches.size()) {
      match = m_data + matches.at(count + 1);
    } else if (matches.complete()) {
      match = nullptr;
    } else {
      match = finder(cursor, static_cast<uint32_t>(end - cursor));
    }
  }
  std::memcpy(out, cursor, static_cast<size_t>(end - cursor));
  result.m_length = static_cast<uint32_t>(finalLen);
  result.m_data[result.m_length] = 0;
  takeSb(result);
  return count;
}

unsigned int StringBuffer::replaceAllOccurancesNoCase(const char* find, const char* replacement) {
  const uint32_t findLen = textscan::lengthOf(find);
  if (findLen == 0) return 0;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const Finder finder{find, findLen, true};
  const char* first = finder(m_data, textLen);
  if (first == nullptr) return 0;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  uint32_t count = 0;
  if (!textscan::appendReplacingAll(m_data, textLen, first, findLen, replacement, textscan::lengthOf(replacement),
                                    finder, result, count)) {
    return 0;
  }
  takeSb(result);
  return count;
}

bool StringBuffer::replaceFirstOccurance(const char* find, const char* replacement, bool noCase) {
  return replaceOneOccurance(*this, find, replacement, noCase, kFirst, m_secure);
}

bool StringBuffer::replaceLastOccurance(const char* find, const char* replacement) {
  return replaceOneOccurance(*this, find, replacement, false, kLast, m_secure);
}

bool StringBuffer::replaceAfterFinal(const char* marker, const char* replacement) {
  const uint32_t markerLen = textscan::lengthOf(marker);
  if (markerLen == 0) return false;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* hit = Finder{marker, markerLen, false}.last(m_data, textLen);
  if (hit == nullptr) return false;
  const uint32_t cut = static_cast<uint32_t>(hit - m_data) + markerLen;
  return splice(*this, textLen, cut, textLen - cut, replacement != nullptr ? replacement : "", m_secure);
}

bool StringBuffer::replaceAllBetween(const char* beginMarker, const char* endMarker,
                                     const char* replacement, bool replaceMarkers) {
  if (beginMarker == nullptr || endMarker == nullptr || replacement == nullptr) return false;
  // The text before the begin marker is taken from offset 0, which an empty
  // buffer does not have: even two empty markers find no region in it.
  if (m_length == 0) return false;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* textEnd = m_data + textLen;
  const uint32_t beginLen = textscan::lengthOf(beginMarker);
  const uint32_t endLen = textscan::lengthOf(endMarker);
  const char* b = TextSearch::find(m_data, textLen, beginMarker, beginLen);
  if (b == nullptr) return false;
  const char* inner = b + beginLen;
  const char* e = TextSearch::find(inner, static_cast<uint32_t>(textEnd - inner), endMarker, endLen);
  if (e == nullptr) return false;
  const char* keepFrom = replaceMarkers ? e + endLen : e;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  const bool ok = result.appendN(m_data, static_cast<uint32_t>((replaceMarkers ? b : inner) - m_data)) &&
                  result.append(replacement) &&
                  result.appendN(keepFrom, static_cast<uint32_t>(textEnd - keepFrom));
  if (!ok) return false;
  takeSb(result);
  return true;
}

unsigned int StringBuffer::replaceAllOccurancesBetween(const char* beginMarker, const char* endMarker,
                                                       const char* find, const char* replacement) {
  if (beginMarker == nullptr || endMarker == nullptr || find == nullptr || replacement == nullptr) return 0;
  const Finder begin{beginMarker, textscan::lengthOf(beginMarker), false};
  const Finder end{endMarker, textscan::lengthOf(endMarker), false};
  const Finder inner{find, textscan::lengthOf(find), false};
  // An empty begin marker opens a region at the start and behind every end
  // marker. An empty end marker only makes empty regions (and would never
  // advance behind an empty begin marker); an empty find replaces nothing.
  if (end.needleLen == 0 || inner.needleLen == 0) return 0;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* textEnd = m_data + textLen;
  const uint32_t replacementLen = textscan::lengthOf(replacement);
  StringBuffer result;
  result.setSecureBuf(m_secure);
  const char* cursor = m_data;      // start of the text not yet copied
  const char* searchFrom = m_data;  // where the next begin marker may start
  uint32_t total = 0;
  bool ok = true;
  for (;;) {
    const char* b = begin(searchFrom, static_cast<uint32_t>(textEnd - searchFrom));
    if (b == nullptr) break;
    const char* regionStart = b + begin.needleLen;
    const char* e = end(regionStart, static_cast<uint32_t>(textEnd - regionStart));
    if (e == nullptr) break;
    ok = ok && result.appendN(cursor, static_cast<uint32_t>(regionStart - cursor));
    const uint32_t regionLen = static_cast<uint32_t>(e - regionStart);
    const char* first = inner(regionStart, regionLen);
    uint32_t count = 0;
    if (first != nullptr) {
      ok = ok && textscan::appendReplacingAll(regionStart, regionLen, first, inner.needleLen, replacement,
                                              replacementLen, inner, result, count);
    } else {
      ok = ok && result.appendN(regionStart, regionLen);
    }
    total += count;
    cursor = e;  // the end marker is copied with the text that follows it
    searchFrom = e + end.needleLen;
  }
  ok = ok && result.appendN(cursor, static_cast<uint32_t>(textEnd - cursor));
  if (total == 0 || !ok) return 0;
  takeSb(result);
  return total;
}

bool StringBuffer::removeDelimited(const char* beginMarker, const char* endMarker, bool caseSensitive,
                                   bool firstOnly) {
  return removeDelimitedIfContains(beginMarker, endMarker, nullptr, caseSensitive, firstOnly);
}

// Note: the needle is always matched exactly, even when the markers are
// matched without regard to case.
bool StringBuffer::removeDelimitedIfContains(const char* beginMarker, const char* endMarker,
                                             const char* needle, bool caseSensitive, bool firstOnly) {
  const RegionRemover remover{{beginMarker, textscan::lengthOf(beginMarker), !caseSensitive},
                              {endMarker, textscan::lengthOf(endMarker), !caseSensitive},
                              textscan::lengthOf(needle) != 0 ? needle : nullptr,
                              firstOnly};
  if (remover.begin.needleLen == 0 || remover.end.needleLen == 0) return true;
  StringBuffer result;
  result.setSecureBuf(m_secure);
  bool appendsOk = true;
  const uint32_t removed = remover.run(m_data, textscan::textLength(m_data, m_length), result, appendsOk);
  if (removed != 0 && appendsOk) takeSb(result);
  return true;
}

unsigned int StringBuffer::replaceChar5(const char* set, char c) {
  return replaceSetBytes<5>(m_data, m_length, set, c);
}

unsigned int StringBuffer::replaceChar10(const char* set, char c) {
  return replaceSetBytes<10>(m_data, m_length, set, c);
}

unsigned int StringBuffer::replaceChar20(const char* set, char c) {
  return replaceSetBytes<20>(m_data, m_length, set, c);
}

unsigned int StringBuffer::replaceCharInOccurances(const char* substr, char from, char to) {
  const Finder finder{substr, textscan::lengthOf(substr), false};
  if (finder.needleLen == 0) return 0;
  // The text view is fixed up front: a `to` of 0 written into a match must
  // not make the later matches disappear or new ones appear.
  char* end = m_data + textscan::textLength(m_data, m_length);
  uint32_t visited = 0;
  for (char* p = m_data;;) {
    const char* hit = finder(p, static_cast<uint32_t>(end - p));
    if (hit == nullptr) break;
    char* match = m_data + (hit - m_data);
    for (uint32_t i = 0; i < finder.needleLen; ++i) {
      if (match[i] == from) match[i] = to;
    }
    ++visited;
    p = match + finder.needleLen;
  }
  return visited;
}

void StringBuffer::replaceModBase64Chars() {
  for (uint32_t i = 0; i < m_length; ++i) {
    if (m_data[i] == '-') m_data[i] = '+';
    else if (m_data[i] == '_') m_data[i] = '/';
  }
}

bool StringBuffer::removeBefore(const char* marker, bool removeMarker) {
  const uint32_t markerLen = textscan::lengthOf(marker);
  if (markerLen == 0) return false;
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* hit = TextSearch::find(m_data, textLen, marker, markerLen);
  if (hit == nullptr) return false;
  const uint32_t cut = static_cast<uint32_t>(hit - m_data) + (removeMarker ? markerLen : 0);
  const uint32_t kept = textLen - cut;
  std::memmove(m_data, m_data + cut, kept);
  m_data[kept] = 0;
  m_length = kept;
  return true;
}
