// Cutting the content into a list of new buffers: at separator bytes read
// with the delimited-record rules, at line endings, or at a boundary string.
// The source is never changed; the list is only ever appended to.
#include <cstring>
#include <memory>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "lib/StringBufferArray.h"
#include "lib/TextSearch.h"
#include "text/internal/piece_gatherer.h"
#include "text/internal/record_scanner.h"

using recordscan::Event;
using recordscan::Stop;

namespace {

constexpr bool kShrinkPieces = true;
constexpr bool kKeepPieces = false;

// How one of the byte-separated splitters reads its content.
struct SplitRule {
  recordscan::ByteTable separators;  // used when delimiter is below 0
  int delimiter;                      // the one separating byte, or -1
  bool quoteMode;
  bool escapeMode;
  bool shrink;
  bool crlfIsOne = false;  // an LF right behind a separating CR ends nothing
  int upToN = 0;           // below 2: no limit
};

// Every byte that does not separate goes into the current piece unchanged,
// quotes and backslashes included; a separating byte goes into no piece.
bool splitRecord(const char* data, unsigned int size, bool secure, StringBufferArray& list,
                 const SplitRule& rule) {
  if (size == 0) return true;
  const unsigned int length = recordscan::recordLength(data, size);
  PieceGatherer piece(list, rule.shrink, secure);
  if (!piece.begin()) return false;
  recordscan::RecordScanner scan =
      rule.delimiter >= 0
          ? recordscan::RecordScanner(data, length, static_cast<char>(rule.delimiter), rule.quoteMode,
                                      rule.escapeMode)
          : recordscan::RecordScanner(data, length, rule.separators, rule.quoteMode, rule.escapeMode);
  unsigned int from = 0;
  for (;;) {
    const Event ev = scan.next();
    if (ev.stop != Stop::Separator && ev.stop != Stop::End) continue;
    piece.addWhole(data + from, ev.pos - from);
    // Note: the last piece is appended even when empty, so k separators
    // always give k + 1 pieces.
    if (ev.stop == Stop::End) return piece.finish();
    if (!piece.finish() || !piece.begin()) return false;
    from = ev.pos + 1;
    if (rule.crlfIsOne && data[ev.pos] == '\r' && from < length && data[from] == '\n')
      scan.resumeAt(++from);
    if (rule.upToN >= 2 && list.getSize() + 1 == rule.upToN) {
      piece.addDirect(data + from, length - from);
      return piece.finish();
    }
  }
}

struct DeleteSb {
  void operator()(StringBuffer* sb) const { StringBuffer::deleteSb(sb); }
};

// Appends the parts of text between occurrences of the boundary.
bool cutAtBoundaries(const char* text, unsigned int length, const char* boundary,
                     unsigned int boundaryLength, StringBufferArray& list, int maxParts,
                     bool skipEmpty, bool secure) {
  const char* p = text;
  const char* const end = text + length;
  int parts = 0;
  while (p < end) {
    const auto left = static_cast<unsigned int>(end - p);
    if (skipEmpty && left >= boundaryLength && std::memcmp(p, boundary, boundaryLength) == 0) {
      p += boundaryLength;
      continue;
    }
    const char* hit = TextSearch::find(p, left, boundary, boundaryLength);
    const char* partEnd = hit != nullptr ? hit : end;
    if (partEnd != p || !skipEmpty) {
      std::unique_ptr<StringBuffer, DeleteSb> part(StringBuffer::createNewSB());
      if (part == nullptr) return false;
      part->setSecureBuf(secure);
      if (!part->appendN(p, static_cast<unsigned int>(partEnd - p))) return false;
      if (!list.appendPtr(part.release())) return false;
    }
    p = hit != nullptr ? hit + boundaryLength : end;
    // Note: a negative maximum stops after the first part.
    if (maxParts != 0 && ++parts >= maxParts) break;
  }
  return true;
}

}  // namespace

bool StringBuffer::split(StringBufferArray& list, char delimiter, bool quoteMode,
                         bool escapeMode) const {
  const SplitRule rule{{}, static_cast<unsigned char>(delimiter), quoteMode, escapeMode, kShrinkPieces};
  return splitRecord(m_data, m_length, m_secure, list, rule);
}

bool StringBuffer::splitAndTrim(StringBufferArray& list, char delimiter, bool quoteMode,
                                bool escapeMode) const {
  if (!split(list, delimiter, quoteMode, escapeMode)) return false;
  // Note: elements that were in the list before the call are trimmed too.
  for (int i = 0; i < list.getSize(); ++i) {
    if (StringBuffer* sb = list.sbAt(i)) sb->trim2();
  }
  return true;
}

bool StringBuffer::splitUpToN(StringBufferArray& list, int n, char delimiter, bool quoteMode,
                              bool escapeMode) const {
  SplitRule rule{{}, static_cast<unsigned char>(delimiter), quoteMode, escapeMode, kShrinkPieces};
  rule.upToN = n;
  return splitRecord(m_data, m_length, m_secure, list, rule);
}

bool StringBuffer::splitByLineEndings(StringBufferArray& list, bool quoteMode,
                                      bool escapeMode) const {
  SplitRule rule{recordscan::setOf("\r\n"), -1, quoteMode, escapeMode, kShrinkPieces};
  // CR LF ends one line; LF CR ends two, with an empty one between.
  rule.crlfIsOne = true;
  return splitRecord(m_data, m_length, m_secure, list, rule);
}

bool StringBuffer::split2(StringBufferArray& list, const char* separators, bool quoteMode,
                          bool escapeMode) const {
  // Our choice: a null set is taken as the empty set, which keeps
  // the whole content as one piece.
  const SplitRule rule{recordscan::setOf(separators), -1, quoteMode, escapeMode, kKeepPieces};
  return splitRecord(m_data, m_length, m_secure, list, rule);
}

bool StringBuffer::splitIntoLines(StringBufferArray& list, unsigned int /*unused*/) {
  if (m_length == 0) return true;
  std::unique_ptr<StringBuffer, DeleteSb> copy(createNewSB(m_length + 4));
  if (copy == nullptr) return false;
  copy->setSecureBuf(m_secure);
  if (!copy->append(*this)) return false;
  copy->replaceAllWithUchar("\r\n", '\n');
  return copy->split2(list, "\r\n", false, false);
}

bool StringBuffer::splitUsingBoundary(StringBuffer& boundary, StringBufferArray& list,
                                      int maxParts, bool skipEmpty) const {
  if (m_length == 0) return true;
  // Our choice: an empty boundary would never move the scan on; it is
  // refused with false and nothing appended. The boundary is its text, up
  // to its first zero byte.
  const unsigned int boundaryLength = recordscan::recordLength(boundary.m_data, boundary.m_length);
  if (boundaryLength == 0) return false;

  // The parts are cut from a zero-terminated copy of the text, wiped before
  // release when this buffer is secure.
  const unsigned int length = recordscan::recordLength(m_data, m_length);
  unsigned char* copy = ByteAllocator::allocate(m_length + 1);
  if (copy == nullptr) return false;
  std::memcpy(copy, m_data, length);
  copy[length] = 0;
  const bool ok = cutAtBoundaries(reinterpret_cast<const char*>(copy), length, boundary.m_data,
                                  boundaryLength, list, maxParts, skipEmpty, m_secure);
  if (m_secure) std::memset(copy, 0, m_length);
  ByteAllocator::release(copy, m_length + 1);
  return ok;
}
