// What other C++ code expects of a byte string: counted string_view input and
// output, streaming, joining and printf-style formatting, each writing
// straight into the buffer's own storage with at most one growth.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <typeinfo>

#include "core/StringBuffer.h"
#include "lib/StringBufferArray.h"

namespace {

constexpr uint64_t kMaxCount = 0xFFFFFFFFu;

// Elements whose bytes the measuring pass of a join keeps on the stack, so
// that the copying pass reads them from one small array instead of looking
// each element up, testing its type and loading it again.
constexpr int kRememberedElements = 128;

// Element i when it is a StringBuffer, else null. The elements are nearly
// always exactly StringBuffer, whose type_info object is then the very same
// one, so comparing its address spares the cast (and a name compare).
const StringBuffer* elementOf(const StringBufferArray& list, int i) {
  TarvexObject* obj = list.elementAt(i);
  if (obj == nullptr) return nullptr;
  if (&typeid(*obj) == &typeid(StringBuffer)) return static_cast<const StringBuffer*>(obj);
  return dynamic_cast<const StringBuffer*>(obj);
}

}  // namespace

StringBuffer::StringBuffer(std::string_view bytes) : StringBuffer() {
  if (bytes.size() <= kMaxCount) appendBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

bool StringBuffer::appendBytes(const char* p, unsigned int n) {
  if (n == 0) return true;
  if (!ensureRoomKeeping(p, n)) return false;
  putBytes(p, n);
  return true;
}

bool StringBuffer::append(std::string_view bytes) {
  if (bytes.size() > kMaxCount) return false;
  return appendBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

bool StringBuffer::setString(std::string_view bytes) {
  if (bytes.size() > kMaxCount) return false;
  const auto n = static_cast<unsigned int>(bytes.size());
  if (m_data == nullptr) return n == 0;
  // Room is made while the old content still stands, so a failed growth
  // changes nothing; a source inside the content is found again after it.
  const char* source = bytes.data();
  if (n > m_length && !ensureRoomKeeping(source, n - m_length)) return false;
  if (n != 0) std::memmove(m_data, source, n);
  m_length = n;
  m_data[n] = 0;
  m_extendSize = kDefaultExtendSize;
  return true;
}

std::ostream& operator<<(std::ostream& os, const StringBuffer& sb) { return os << sb.view(); }

char* StringBuffer::joinRoom(uint64_t total, bool aliased, StringBuffer& grown) {
  if (total > kMaxCount) return nullptr;
  const auto n = static_cast<unsigned int>(total);
  if (hasRoomFor(n)) return m_data + m_length;
  if (!aliased) return expectNumBytes(n) ? m_data + m_length : nullptr;
  // The pieces must stay readable while they are copied, so the new storage
  // is made beside the old one, with this buffer's reserve and secure flag,
  // and the content copied over; still a single allocation.
  if (uint64_t(m_length) + n > kMaxCount) return nullptr;
  grown.m_secure = m_secure;
  grown.m_extendSize = m_extendSize;
  if (!grown.expectNumBytes(m_length + n)) return nullptr;
  std::memcpy(grown.m_data, m_data, m_length);
  grown.m_length = m_length;
  return grown.m_data + m_length;
}

void StringBuffer::joinDone(char* end, StringBuffer& grown) {
  if (grown.m_heap == nullptr) {
    m_length = static_cast<unsigned int>(end - m_data);
    m_data[m_length] = 0;
    return;
  }
  grown.m_length = static_cast<unsigned int>(end - grown.m_data);
  grown.m_data[grown.m_length] = 0;
  takeSb(grown);
}

bool StringBuffer::join(const StringBufferArray& list, std::string_view separator) {
  const int size = list.getSize();
  // A skipped element is remembered with a null data pointer, which no
  // live buffer's view has. Plain pairs, so the array costs nothing to set up.
  struct Bytes {
    const char* data;
    size_t size;
  };
  Bytes remembered[kRememberedElements];
  uint64_t total = 0;
  uint64_t count = 0;
  bool aliased = storageRange().holds(separator);
  for (int i = 0; i < size; ++i) {
    const StringBuffer* sb = elementOf(list, i);
    aliased |= sb == this;
    const std::string_view v = sb != nullptr ? sb->view() : std::string_view();
    if (i < kRememberedElements) remembered[i] = {v.data(), v.size()};
    if (v.data() != nullptr) {
      total += v.size();
      ++count;
    }
  }
  if (count > 1) total += (count - 1) * separator.size();
  // Note: this buffer may be one of the elements. Its remembered bytes stay
  // valid because a growth then goes through `grown` and leaves the old
  // storage alone until the end; without growth they are read from the front
  // of the storage while the joined text is written behind them. Either way
  // it joins as it was.
  StringBuffer grown;
  char* w = joinRoom(total, aliased, grown);
  if (w == nullptr) return false;
  bool first = true;
  for (int i = 0; i < size; ++i) {
    std::string_view v;
    if (i < kRememberedElements) {
      v = std::string_view(remembered[i].data, remembered[i].size);
    } else if (const StringBuffer* sb = elementOf(list, i)) {
      v = sb->view();
    }
    if (v.data() == nullptr) continue;
    if (!first) w = putPiece(w, separator);
    first = false;
    w = putPiece(w, v);
  }
  joinDone(w, grown);
  return true;
}

bool StringBuffer::appendFormat(const char* format, ...) {
  if (format == nullptr) return true;
  if (m_data == nullptr) return false;
  char* const start = m_data + m_length;
  size_t room = (m_heap != nullptr ? m_capacity : kInlineSize) - m_length;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int n = std::vsnprintf(start, room, format, args);
  va_end(args);
  bool ok = n >= 0;
  if (ok && static_cast<size_t>(n) >= room) {
    // The text did not fit. The part written into the old spare room is
    // wiped before growth frees it when the buffer is secure; then storage
    // grows once, to the exact size, and the text is formatted again there.
    if (m_secure) std::memset(start, 0, room);
    ok = expectNumBytes(static_cast<unsigned int>(n));
    if (ok) {
      room = static_cast<size_t>(n) + 1;
      ok = std::vsnprintf(m_data + m_length, room, format, again) == n;
    }
  }
  va_end(again);
  if (!ok) {
    // vsnprintf may have written before it failed: the bytes behind the
    // content are not content, but the terminator must come back.
    if (m_secure) std::memset(m_data + m_length, 0, room);
    m_data[m_length] = 0;
    return false;
  }
  m_length += static_cast<unsigned int>(n);
  return true;
}
