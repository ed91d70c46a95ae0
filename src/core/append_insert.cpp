// Adding bytes at the end, the front or inside the content, cutting it short,
// and taking over another buffer's storage without copying.
#include <cstring>
#include <functional>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "lib/DataBuffer.h"

namespace {

// Above this a repeated byte is taken to be a caller's arithmetic error.
constexpr unsigned int kMaxRepeatedBytes = 12582912;

}  // namespace

bool StringBuffer::appendUChar(unsigned char c) { return appendChar(static_cast<char>(c)); }

bool StringBuffer::appendChar2(char a, char b) {
  if (!ensureRoom(2)) return false;
  m_data[m_length] = a;
  m_data[m_length + 1] = b;
  m_length += 2;
  m_data[m_length] = 0;
  return true;
}

bool StringBuffer::appendChar3(char a, char b, char c) {
  if (!ensureRoom(3)) return false;
  m_data[m_length] = a;
  m_data[m_length + 1] = b;
  m_data[m_length + 2] = c;
  m_length += 3;
  m_data[m_length] = 0;
  return true;
}

bool StringBuffer::appendCharN(char c, unsigned int n) {
  if (n > kMaxRepeatedBytes || n == 0) return true;
  if (!ensureRoom(n)) return false;
  std::memset(m_data + m_length, static_cast<unsigned char>(c), n);
  m_length += n;
  m_data[m_length] = 0;
  return true;
}

bool StringBuffer::appendLineEnding() { return appendChar('\n'); }

bool StringBuffer::append2(const char* a, const char* b) { return append(a) && append(b); }

bool StringBuffer::append3(const char* a, const char* b, const char* c) {
  return append(a) && append(b) && append(c);
}

bool StringBuffer::append(const DataBuffer& d) {
  return appendN(reinterpret_cast<const char*>(d.getData2()), d.getSize());
}

bool StringBuffer::appendMinSize(const char* s) {
  const unsigned int saved = m_extendSize;
  m_extendSize = 0;
  const bool ok = append(s);
  m_extendSize = saved;
  return ok;
}

bool StringBuffer::appendMinSize(const StringBuffer& other) {
  if (&other == this || !other.hasObjectMarker()) return false;
  if (other.m_length == 0) return true;
  const unsigned int saved = m_extendSize;
  m_extendSize = 0;
  const bool ok = appendN(other.m_data, other.m_length);
  m_extendSize = saved;
  return ok;
}

bool StringBuffer::appendMaxN(const char* s, unsigned int max) {
  if (s == nullptr || max == 0) return true;
  // Only the first max + 1 bytes are looked at, so s need not be terminated
  // within reach when it is longer than max.
  if (strnlen(s, static_cast<size_t>(max) + 1) <= max) return append(s);
  return appendN(s, max);
}

bool StringBuffer::prepend(const char* s) {
  if (m_length == 0) return append(s);
  if (s == nullptr || *s == 0) return true;
  const size_t n = std::strlen(s);
  if (n > 0xFFFFFFFFu) return false;
  return prependN(s, static_cast<unsigned int>(n));
}

bool StringBuffer::prepend(char c) {
  if (m_length == 0) return appendChar(c);
  return prependN(&c, 1);
}

bool StringBuffer::prependN(const char* p, unsigned int n) {
  if (m_length == 0) return appendN(p, n);
  if (p == nullptr || n == 0) return true;
  if (!ensureRoomKeeping(p, n)) return false;
  // A source inside the content moves along with it.
  if (!std::less<const char*>()(p, m_data) && std::less<const char*>()(p, m_data + m_length)) p += n;
  m_data[m_length + n] = 0;
  std::memmove(m_data + n, m_data, m_length);
  std::memmove(m_data, p, n);
  m_length += n;
  return true;
}

bool StringBuffer::insertCharAt(char c, unsigned int pos) {
  if (!ensureRoom(1)) return false;
  const char one[2] = {c, 0};
  if (pos == 0) return prepend(one);
  if (pos >= m_length) return append(one);
  // Note: the tail is carried over as text, up to its first zero byte; the
  // inserts are text operations and callers holding binary data splice with
  // the counted appends instead.
  StringBuffer tail;
  tail.setSecureBuf(m_secure);  // the saved tail is a copy of the content
  if (!tail.append(m_data + pos)) return false;
  m_data[pos] = c;
  m_data[pos + 1] = 0;
  m_length = pos + 1;
  return append(tail);
}

bool StringBuffer::insertAt(const StringBuffer& other, unsigned int pos) {
  if (other.m_length == 0) return true;
  if (&other == this) return false;
  if (!ensureRoom(other.m_length)) return false;
  if (pos == 0) return prepend(other.m_data);
  if (pos >= m_length) return append(other);
  StringBuffer tail;
  tail.setSecureBuf(m_secure);
  if (!tail.append(m_data + pos)) return false;
  chopAt(pos);
  return append(other) && append(tail);
}

void StringBuffer::removeChunk(unsigned int pos, unsigned int count) {
  if (pos >= m_length || uint64_t(pos) + count > m_length) return;
  // Note: the tail is moved as text, so it ends at its first zero byte; the
  // length follows what was moved.
  const char* tail = m_data + pos + count;
  const size_t tailLength = std::strlen(tail);
  std::memmove(m_data + pos, tail, tailLength);
  m_length = pos + static_cast<unsigned int>(tailLength);
  m_data[m_length] = 0;
}

void StringBuffer::shorten(unsigned int n) {
  const unsigned int removed = n < m_length ? n : m_length;
  m_length -= removed;
  std::memset(m_data + m_length, 0, removed);
}

unsigned int StringBuffer::rollback(unsigned int newLength) {
  if (m_length <= newLength) return m_length;
  shorten(m_length - newLength);
  return newLength;
}

void StringBuffer::chopAt(unsigned int pos) {
  if (m_length <= pos) return;
  m_data[pos] = 0;
  m_length = pos;
}

void StringBuffer::takeSb(StringBuffer& other) {
  if (&other == this) return;
  strongClear();
  m_length = other.m_length;
  m_extendSize = other.m_extendSize;
  m_heap = other.m_heap;
  m_capacity = other.m_capacity;
  if (m_heap != nullptr) {
    m_data = reinterpret_cast<char*>(m_heap);
  } else {
    m_data = m_inline;
    std::memcpy(m_inline, other.m_inline, m_length + 1);
  }
  other.m_heap = nullptr;
  other.m_capacity = 0;
  other.resetToEmptyInline();
}

bool StringBuffer::takeFromDb(DataBuffer& d) {
  strongClear();
  if (!d.prepForSbTake()) return false;
  if (d.getSize() < 2) return true;
  m_heap = d.getData2();
  m_data = reinterpret_cast<char*>(m_heap);
  m_capacity = d.getBufSize();
  m_length = d.getSize() - 1;
  d.dropData();
  return true;
}
