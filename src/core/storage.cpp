// The storage core: inline buffer, adaptive heap growth, secure wiping,
// clears, assignment, destruction and the three primitive appends.
#include <cstring>
#include <functional>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"

namespace {

// Growth never reserves more than this many spare bytes for one buffer.
constexpr unsigned int kMaxExtendSize = 500000;
constexpr uint64_t kMaxBlock = 0xFFFFFFFFu;

// Half the new capacity, capped; a reserve already at the cap (or set higher
// by the caller) is left alone.
unsigned int adaptedExtendSize(unsigned int extendSize, unsigned int capacity) {
  if (extendSize >= kMaxExtendSize || extendSize >= capacity) return extendSize;
  return capacity < 2 * kMaxExtendSize + 2 ? capacity / 2 : kMaxExtendSize;
}

}  // namespace

StringBuffer::StringBuffer() : m_data(m_inline) { m_inline[0] = 0; }

StringBuffer::StringBuffer(const char* s) : StringBuffer() {
  if (s != nullptr) append(s);
}

StringBuffer::StringBuffer(const StringBuffer& other) : ObjectBase(other), m_data(m_inline) {
  m_inline[0] = 0;
  m_secure = other.m_secure;
  append(other);
}

StringBuffer::~StringBuffer() {
  releaseBuffer();
  m_data = nullptr;
  m_inline[0] = 0;
  m_validity = 0;
  m_heap = nullptr;
  m_capacity = 0;
  m_length = 0;
  m_extendSize = 0;
}

StringBuffer& StringBuffer::operator=(const StringBuffer& other) {
  if (&other == this) return *this;
  clear();
  append(other);
  return *this;
}

StringBuffer& StringBuffer::operator=(const char* s) {
  setString(s);
  return *this;
}

bool StringBuffer::setString(const StringBuffer& other) {
  if (&other == this) return true;
  weakClear();
  return appendN(other.m_data, other.m_length);
}

bool StringBuffer::setString(const char* s) {
  if (s == nullptr || *s == 0) {
    weakClear();
    return true;
  }
  // A source inside our own content would be overwritten by the clear (or
  // freed by growth), so it is copied out first.
  if (m_data != nullptr && s >= m_data && s < m_data + m_length) {
    StringBuffer copy;
    if (!copy.append(s)) return false;
    weakClear();
    return appendN(copy.m_data, copy.m_length);
  }
  weakClear();
  return append(s);
}

// Our choice: a source inside the buffer's own content is accepted. Growth
// keeps the content at the same offsets, so the source is re-pointed there;
// the copy itself may overlap and goes through memmove.
bool StringBuffer::ensureRoomKeeping(const char*& source, unsigned int n) {
  if (hasRoomFor(n)) return true;
  const std::less_equal<const char*> atOrBefore;
  const bool inside = m_data != nullptr && atOrBefore(m_data, source) && atOrBefore(source, m_data + m_length);
  const size_t offset = inside ? static_cast<size_t>(source - m_data) : 0;
  if (!expectNumBytes(n)) return false;
  if (inside) source = m_data + offset;
  return true;
}

bool StringBuffer::appendGrowing(const char* s, size_t n) {
  if (n > kMaxBlock || !ensureRoomKeeping(s, static_cast<unsigned int>(n))) return false;
  putBytes(s, static_cast<unsigned int>(n));
  return true;
}

bool StringBuffer::appendNGrowing(const char* p, unsigned int n) {
  if (!ensureRoomKeeping(p, n)) return false;
  putBytes(p, n);
  while (m_length != 0 && m_data[m_length - 1] == 0) --m_length;
  return true;
}

bool StringBuffer::append(const StringBuffer& other) {
  if (&other == this || !other.hasObjectMarker()) return false;
  if (other.m_length == 0) return true;
  // Reserving one byte more than the source holds moves an empty buffer to
  // the heap already for an 81-byte source; kept because callers size
  // follow-up appends on it.
  if (m_length == 0) expectNumBytes(other.m_length + 1);
  return appendN(other.m_data, other.m_length);
}

bool StringBuffer::expectNumBytes(unsigned int n) {
  if (m_validity != kValidityMarker) return false;
  const uint64_t need = uint64_t(m_length) + n;
  if (m_heap != nullptr && need < m_capacity) return true;
  if (m_heap == nullptr && need < kInlineSize) return true;

  const uint64_t capacity = need + m_extendSize + 1;
  if (capacity > kMaxBlock) return false;
  unsigned char* block = ByteAllocator::allocate(static_cast<uint32_t>(capacity));
  if (block == nullptr) return false;

  if (m_heap != nullptr) {
    std::memcpy(block, m_heap, m_length + 1);
    releaseBuffer();
    m_extendSize = adaptedExtendSize(m_extendSize, static_cast<unsigned int>(capacity));
  } else {
    // The first move to the heap keeps the reserve and leaves the inline
    // bytes as they were.
    block[m_length] = 0;
    std::memcpy(block, m_inline, m_length);
  }
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_capacity = static_cast<unsigned int>(capacity);
  return true;
}

unsigned char* StringBuffer::allocBuffer(unsigned int n) { return ByteAllocator::allocate(n); }

void StringBuffer::wipeIfSecure() {
  if (m_secure && m_length != 0 && m_data != nullptr) std::memset(m_data, 0, m_length);
}

void StringBuffer::releaseBuffer() {
  wipeIfSecure();
  if (m_heap != nullptr) {
    ByteAllocator::release(m_heap, m_capacity);
    m_heap = nullptr;
    m_capacity = 0;
  }
  m_data = m_inline;
}

void StringBuffer::resetToEmptyInline() {
  m_data = m_inline;
  m_inline[0] = 0;
  m_length = 0;
  m_extendSize = kDefaultExtendSize;
}

void StringBuffer::clear() {
  releaseBuffer();
  resetToEmptyInline();
}

void StringBuffer::strongClear() { clear(); }

void StringBuffer::secureClear() {
  if (m_length != 0 && m_data != nullptr) std::memset(m_data, 0, m_length);
  clear();
}

void StringBuffer::weakClear() {
  if (m_data != nullptr) m_data[0] = 0;
  m_inline[0] = 0;
  m_length = 0;
  m_extendSize = kDefaultExtendSize;
}

void StringBuffer::minimizeMemoryUsage() {
  if (m_heap == nullptr || m_data != reinterpret_cast<char*>(m_heap)) return;
  if (m_length < kInlineSize) {
    std::memcpy(m_inline, m_heap, m_length + 1);
    releaseBuffer();
    return;
  }
  if (uint64_t(m_capacity) <= uint64_t(m_length) + 256) return;
  unsigned char* block = ByteAllocator::allocate(m_length + 1);
  if (block == nullptr) return;
  std::memcpy(block, m_heap, m_length + 1);
  releaseBuffer();
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_capacity = m_length + 1;
}

unsigned int StringBuffer::heapUsage() { return m_heap != nullptr ? m_capacity : 0; }

unsigned int StringBuffer::totalMemoryUsage() {
  return static_cast<unsigned int>(sizeof(StringBuffer)) + heapUsage();
}
