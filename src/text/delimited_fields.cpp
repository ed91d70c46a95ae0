// Editing one delimited record in place: counting, reading, replacing,
// removing and inserting fields by index, and changing its delimiter, all
// located through the shared record scanner.
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "text/internal/record_scanner.h"

using recordscan::Event;
using recordscan::RecordScanner;
using recordscan::Stop;

namespace {

// Indexes beyond these are taken to be a caller's arithmetic error.
constexpr unsigned int kMaxFieldIndex = 10000000;
constexpr unsigned int kMaxSetIndex = 1000000;
// Tails up to this size are moved in place by setNthDelimited; longer ones are
// saved on the heap.
constexpr unsigned int kLocalTailSize = 400;
// changeDelimiter remembers which of the first this many fields need quotes.
constexpr unsigned int kMarkedFields = 1000;

// Where field index lies. The scan stops at the delimiter that closes it,
// so `separators` counts the separating delimiters up to that point.
struct FieldSpan {
  unsigned int separators = 0;
  unsigned int start = 0;  // the field's first byte
  unsigned int end = 0;    // the delimiter closing it, or the record's end
  bool closed = false;     // a delimiter closes it (it is not the last field)
};

// Every quote simply toggles here: for finding field boundaries a doubled
// quote inside a quoted stretch gives the same answer as the pair rule.
// The record is a buffer's content: it ends at its first zero byte, which
// the scan finds on its way (size is the buffer's length).
FieldSpan locateField(const char* record, unsigned int size, unsigned int index, char delimiter,
                      bool quoteMode, bool escapeMode) {
  if (!quoteMode && !escapeMode && delimiter != 0) {
    FieldSpan f;
    const uint32_t at = recordscan::nthSeparator(record, size, delimiter, index, f.separators);
    if (f.separators < index) {
      f.end = at;
      return f;
    }
    f.start = index == 0 ? 0 : at + 1;
    uint32_t closing = 0;
    f.end = f.start + recordscan::nthSeparator(record + f.start, size - f.start, delimiter, 1, closing);
    f.closed = closing == 1;
    return f;
  }
  RecordScanner scan(record, size, delimiter, quoteMode, escapeMode, /*pairQuotes=*/false, /*terminated=*/true);
  FieldSpan f;
  for (Event ev = scan.next();; ev = scan.next()) {
    if (ev.stop == Stop::End) {
      f.end = ev.pos;
      return f;
    }
    if (ev.stop != Stop::Separator) continue;
    if (f.separators == index) {
      f.end = ev.pos;
      f.closed = true;
      return f;
    }
    if (++f.separators == index) f.start = ev.pos + 1;
  }
  return f;
}

// Zeroes n bytes through a volatile pointer, so that the stores survive even
// when the area is about to go out of scope.
void wipeBytes(void* p, unsigned int n) {
  volatile unsigned char* bytes = static_cast<unsigned char*>(p);
  for (unsigned int i = 0; i < n; ++i) bytes[i] = 0;
}

class FieldMarks {
 public:
  void mark(unsigned int field) {
    if (field < kMarkedFields && !m_marks[field]) {
      m_marks[field] = 1;
      ++m_count;
    }
  }
  // Fields from kMarkedFields on are never marked, so never wrapped.
  bool marked(unsigned int field) const { return field < kMarkedFields && m_marks[field] != 0; }
  unsigned int count() const { return m_count; }

 private:
  std::array<unsigned char, kMarkedFields> m_marks{};
  unsigned int m_count = 0;
};

// Marks the fields in which newDelimiter stands unprotected: outside quoted
// stretches and not escaped. Returns whether it occurs anywhere.
bool surveyFields(const char* record, unsigned int length, char oldDelimiter, char newDelimiter,
                  bool quoteMode, bool escapeMode, FieldMarks& marks) {
  RecordScanner scan(record, length, oldDelimiter, quoteMode, escapeMode);
  bool found = false;
  unsigned int field = 0;
  for (;;) {
    const Event ev = scan.next();
    // Runs start behind an escaped byte, so escaped bytes are never looked at.
    if (!ev.runQuoted && ev.pos > ev.runStart &&
        std::memchr(record + ev.runStart, static_cast<unsigned char>(newDelimiter),
                    ev.pos - ev.runStart) != nullptr) {
      found = true;
      marks.mark(field);
    }
    if (ev.stop == Stop::End) return found;
    if (ev.stop == Stop::Separator) ++field;
  }
}

}  // namespace

unsigned int StringBuffer::countColumns(char delimiter, bool quoteMode, bool escapeMode) {
  if (m_length == 0) return 0;
  // No record has 4294967295 fields' worth of bytes, so this index is never
  // reached and the scan counts every separating delimiter.
  const FieldSpan all = locateField(m_data, m_length, 0xFFFFFFFFu, delimiter, quoteMode, escapeMode);
  return all.separators + 1;
}

bool StringBuffer::getNthDelimited(unsigned int index, char delimiter, bool quoteMode,
                                   bool escapeMode, StringBuffer& out) const {
  // Our choice: reading a field into this buffer itself is refused, as
  // emptying out first would destroy the record being read.
  if (&out == this) return false;
  out.weakClear();
  if (index > kMaxFieldIndex || m_length == 0) return false;

  if (!quoteMode && !escapeMode && delimiter != 0) {
    // A plain record: the field is one run of bytes.
    const FieldSpan f = locateField(m_data, m_length, index, delimiter, false, false);
    if (f.separators < index) return false;
    if (out.appendN(m_data + f.start, f.end - f.start)) return true;
    out.weakClear();
    return false;
  }
  RecordScanner scan(m_data, m_length, delimiter, quoteMode, escapeMode, /*pairQuotes=*/true,
                     /*terminated=*/true);
  unsigned int field = 0;
  unsigned int chunk = 0;
  bool ok = true;
  auto copy = [&](unsigned int end) { ok = ok && out.appendN(m_data + chunk, end - chunk); };
  for (;;) {
    const Event ev = scan.next();
    if (field != index) {
      if (ev.stop == Stop::End) return false;
      if (ev.stop == Stop::Separator && ++field == index) chunk = ev.pos + 1;
      continue;
    }
    // Copy the field out in chunks, leaving out the bytes that only carry
    // structure: an escaping backslash, a quote that opens or closes a
    // quoted stretch, and the second quote of a doubled pair.
    if (ev.stop == Stop::QuotePair) {
      copy(ev.pos + 1);
      chunk = ev.pos + 2;
    } else if (ev.stop == Stop::Escape || ev.stop == Stop::Quote) {
      copy(ev.pos);
      chunk = ev.pos + 1;
    } else {
      copy(ev.pos);
      // Our choice: a value that could not be copied whole is not handed
      // out in part.
      if (!ok) out.weakClear();
      return ok;
    }
  }
}

bool StringBuffer::setNthDelimited(unsigned int index, char delimiter, bool quoteMode,
                                   bool escapeMode, const StringBuffer& value) {
  if (index > kMaxSetIndex || !value.hasObjectMarker()) return false;
  if (&value == this) {
    // Our choice: setting a field to the whole record works from a copy, as
    // the record is cut while the value is still needed.
    StringBuffer copy;
    copy.setSecureBuf(m_secure);
    if (!copy.appendN(m_data, m_length)) return false;
    return setNthDelimited(index, delimiter, quoteMode, escapeMode, copy);
  }

  const unsigned int before = m_length;
  const FieldSpan f = m_length == 0
                          ? FieldSpan{}
                          : locateField(m_data, m_length, index, delimiter, quoteMode, escapeMode);
  if (m_length == 0 || f.separators < index) {
    // The record is too short: the missing fields are added, empty. Note: an
    // empty buffer given an empty field 0 gets one delimiter, because an
    // empty buffer holds no field 0 at all; callers count on the field.
    bool ok;
    if (m_length == 0 && index == 0)
      ok = value.m_length == 0 ? appendChar(delimiter) : appendN(value.m_data, value.m_length);
    else
      ok = appendCharN(delimiter, index - f.separators) && appendN(value.m_data, value.m_length);
    if (!ok) rollback(before);
    return ok;
  }

  // Make all the room first, so that nothing can fail once the record is cut.
  const unsigned int fieldLength = f.end - f.start;
  if (value.m_length > fieldLength && !ensureRoom(value.m_length - fieldLength)) return false;

  const unsigned int tailLength = m_length - f.end;
  if (tailLength <= kLocalTailSize) {
    // A short tail moves within the storage, which has the room already:
    // one copy instead of saving it and appending it back, and no copy of
    // the record's bytes left anywhere. The bytes given up at the end are
    // zeroed, as a shortened buffer's are.
    unsigned int newLength = f.start + value.m_length + tailLength;
    std::memmove(m_data + f.start + value.m_length, m_data + f.end, tailLength);
    if (value.m_length != 0) std::memcpy(m_data + f.start, value.m_data, value.m_length);
    if (newLength < m_length) std::memset(m_data + newLength, 0, m_length - newLength);
    m_data[newLength] = 0;
    // As after an append: counted text never ends in a zero byte.
    if (value.m_length + tailLength != 0)
      while (newLength != 0 && m_data[newLength - 1] == 0) --newLength;
    m_length = newLength;
    return true;
  }

  // A long tail is saved on the heap and appended back.
  unsigned char* heapTail = ByteAllocator::allocate(tailLength);
  if (heapTail == nullptr) return false;
  char* tail = reinterpret_cast<char*>(heapTail);
  std::memcpy(tail, m_data + f.end, tailLength);

  rollback(f.start);
  appendN(value.m_data, value.m_length);
  appendN(tail, tailLength);

  // The saved tail is a copy of the record's bytes: a secure record leaves
  // no such copy behind.
  if (m_secure) wipeBytes(tail, tailLength);
  ByteAllocator::release(heapTail, tailLength);
  return true;
}

bool StringBuffer::removeNthDelimited(unsigned int index, char delimiter, bool quoteMode,
                                      bool escapeMode) {
  if (index > kMaxFieldIndex || m_length == 0) return false;
  const FieldSpan f = locateField(m_data, m_length, index, delimiter, quoteMode, escapeMode);
  if (f.separators < index) return false;
  if (!f.closed) {
    // The last field goes together with the delimiter in front of it.
    rollback(index == 0 ? 0 : f.start - 1);
  } else if (index == 0) {
    removeChunk(0, f.end + 1);
  } else {
    // From the delimiter before the field up to the one after it, which stays.
    removeChunk(f.start - 1, f.end - (f.start - 1));
  }
  return true;
}

bool StringBuffer::insertNthDelimited(unsigned int index, char delimiter, bool quoteMode,
                                      bool escapeMode) {
  if (index > kMaxFieldIndex || m_length == 0) return false;
  if (index == 0) return prepend(delimiter);
  const FieldSpan f = locateField(m_data, m_length, index, delimiter, quoteMode, escapeMode);
  // Note: a record that is too short gains exactly one empty field at the
  // end, whatever the index; callers fill records up with setNthDelimited.
  if (f.separators < index) return appendChar(delimiter);
  return insertCharAt(delimiter, f.start - 1);
}

bool StringBuffer::changeDelimiter(char oldDelimiter, char newDelimiter, bool quoteMode,
                                   bool escapeMode) {
  if (m_length == 0) return false;
  if (oldDelimiter == newDelimiter) return true;

  const unsigned int length = recordscan::recordLength(m_data, m_length);
  FieldMarks marks;
  if (!surveyFields(m_data, length, oldDelimiter, newDelimiter, quoteMode, escapeMode, marks)) {
    // No field needs quotes: swap the delimiters where they stand.
    RecordScanner scan(m_data, length, oldDelimiter, quoteMode, escapeMode);
    for (Event ev = scan.next(); ev.stop != Stop::End; ev = scan.next())
      if (ev.stop == Stop::Separator) m_data[ev.pos] = newDelimiter;
    return true;
  }

  // Rebuild with quotes around the marked fields; every other byte, quotes
  // and backslashes included, is copied as it stands.
  StringBuffer rebuilt;
  rebuilt.setSecureBuf(m_secure);
  if (uint64_t(length) + 2 * marks.count() > 0xFFFFFFFEu ||
      !rebuilt.expectNumBytes(length + 2 * marks.count()))
    return false;
  if (marks.marked(0)) rebuilt.appendChar('"');
  RecordScanner scan(m_data, length, oldDelimiter, quoteMode, escapeMode);
  unsigned int field = 0;
  unsigned int from = 0;
  for (Event ev = scan.next();; ev = scan.next()) {
    if (ev.stop != Stop::Separator && ev.stop != Stop::End) continue;
    rebuilt.appendN(m_data + from, ev.pos - from);
    if (marks.marked(field)) rebuilt.appendChar('"');
    if (ev.stop == Stop::End) break;
    rebuilt.appendChar(newDelimiter);
    if (marks.marked(++field)) rebuilt.appendChar('"');
    from = ev.pos + 1;
  }
  takeSb(rebuilt);
  return true;
}
