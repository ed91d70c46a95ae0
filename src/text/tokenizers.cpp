// Breaking the content into words at white space, with caller-given
// separator bytes as tokens of their own; quoted stretches and backslash
// escapes hold a token together.
#include "core/StringBuffer.h"
#include "lib/ExtPtrArray.h"
#include "text/internal/piece_gatherer.h"
#include "text/internal/record_scanner.h"

using recordscan::Event;
using recordscan::Stop;

namespace {

// The punctuation of C-like source text; "==" is two tokens.
constexpr char kCppSeparators[] = "*;(){}&+=[],!~";

// Quotes and backslashes are always honoured: a token is a word that the
// record scanner cuts at white space and at the separator bytes.
constexpr bool kQuoteMode = true;
constexpr bool kEscapeMode = true;
constexpr bool kShrinkTokens = true;

// White space and separators both end a word. Separator bytes compare as
// plain byte values; a byte that is both counts as white space.
recordscan::ByteTable wordEnds(const char* separators) {
  recordscan::ByteTable t = recordscan::setOf(separators);
  for (unsigned int b = 0; b < 256; ++b) t[b] = t[b] || textscan::kWhitespace[b];
  return t;
}

// The tables of the common calls, built once: no separators, and C's.
const recordscan::ByteTable& wordEndsFor(const char* separators, recordscan::ByteTable& scratch) {
  static const recordscan::ByteTable kWhitespaceOnly = wordEnds(nullptr);
  static const recordscan::ByteTable kCpp = wordEnds(kCppSeparators);
  if (separators == nullptr || *separators == 0) return kWhitespaceOnly;
  if (separators == kCppSeparators) return kCpp;
  scratch = wordEnds(separators);
  return scratch;
}

}  // namespace

void StringBuffer::tokenize(ExtPtrArray& list, const char* separators) const {
  if (m_length == 0) return;
  PieceGatherer token(list, kShrinkTokens, m_secure);
  if (!token.begin()) return;
  const unsigned int length = recordscan::recordLength(m_data, m_length);
  recordscan::ByteTable scratch;
  recordscan::RecordScanner scan(m_data, length, wordEndsFor(separators, scratch), kQuoteMode, kEscapeMode);
  unsigned int from = 0;
  for (;;) {
    const Event ev = scan.next();
    if (ev.stop != Stop::Separator && ev.stop != Stop::End) continue;
    // A token is one run, so it goes straight from the content into its
    // buffer, copied once.
    token.addWhole(m_data + from, ev.pos - from);
    // Runs of white space, and white space at either end, make no empty tokens.
    if (ev.stop == Stop::End) {
      if (!token.empty()) token.finish();
      return;
    }
    from = ev.pos + 1;
    if (!token.empty() && !(token.finish() && token.begin())) return;
    if (textscan::has(textscan::kWhitespace, m_data[ev.pos])) continue;
    token.addWhole(m_data + ev.pos, 1);
    if (!(token.finish() && token.begin())) return;
  }
}

void StringBuffer::tokenizeCPP(ExtPtrArray& list) const { tokenize(list, kCppSeparators); }

unsigned int StringBuffer::tokenCount(const char* separators) const {
  if (m_length == 0 || m_data[0] == 0) return 0;
  const unsigned int length = recordscan::recordLength(m_data, m_length);
  recordscan::ByteTable scratch;
  recordscan::RecordScanner scan(m_data, length, wordEndsFor(separators, scratch), kQuoteMode, kEscapeMode);
  unsigned int count = 0;
  bool inWord = false;
  for (;;) {
    const Event ev = scan.next();
    // Backslashes, escaped bytes and quotes all belong to the word.
    if (ev.pos > ev.runStart || ev.stop == Stop::Escape || ev.stop == Stop::Quote) inWord = true;
    if (ev.stop == Stop::End) return count + (inWord ? 1 : 0);
    if (ev.stop == Stop::Separator) {
      if (inWord) ++count;
      inWord = false;
    }
  }
}
