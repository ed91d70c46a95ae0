// Heap buffers for the library's pointer arrays, and handing the content out
// as plain arrays: copies that keep it, extractions that give the storage away.
#include <cstring>
#include <new>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "lib/LogBase.h"

namespace {

// Fails the factory cleanly: the half-made buffer goes through the common
// deletion routine like any other.
StringBuffer* discard(StringBuffer* sb) {
  TarvexObject::deleteObject(sb);
  return nullptr;
}

}  // namespace

// The allocator is asked first so that tests can fail the object itself,
// not only its storage; with the test switch off that costs one load.
StringBuffer* StringBuffer::createNewSB() {
  if (!ByteAllocator::admitObject(sizeof(StringBuffer))) return nullptr;
  return new (std::nothrow) StringBuffer();
}

StringBuffer* StringBuffer::createNewSB(unsigned int extendSize) {
  StringBuffer* sb = createNewSB();
  if (sb != nullptr) sb->m_extendSize = extendSize;
  return sb;
}

StringBuffer* StringBuffer::createNewSB(const char* s) {
  StringBuffer* sb = createNewSB();
  if (sb != nullptr && !sb->append(s)) return discard(sb);
  return sb;
}

StringBuffer* StringBuffer::createNewSB(const StringBuffer& other) {
  StringBuffer* sb = createNewSB();
  if (sb == nullptr) return nullptr;
  // No reserve: a copy is usually kept as it is.
  sb->m_extendSize = 0;
  if (!sb->appendN(other.m_data, other.m_length)) return discard(sb);
  sb->m_extendSize = kDefaultExtendSize;
  return sb;
}

StringBuffer* StringBuffer::createNewSB_exact(const char* p, unsigned int n) {
  StringBuffer* sb = createNewSB();
  if (sb == nullptr) return nullptr;
  if (uint64_t(n) + 1 <= 0xFFFFFFFFu) sb->expectNumBytes(n + 1);
  if (!sb->appendN(p, n)) return discard(sb);
  return sb;
}

void StringBuffer::deleteSb(StringBuffer* sb) { TarvexObject::deleteObject(sb); }

char* StringBuffer::createCopy() const {
  unsigned char* copy = ByteAllocator::allocate(m_length + 1);
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, m_data, m_length + 1);
  return reinterpret_cast<char*>(copy);
}

char* StringBuffer::copyString(unsigned int* outLength) const {
  if (outLength != nullptr) *outLength = m_length;
  unsigned char* copy = ByteAllocator::allocate(m_length + 1);
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, m_data, m_length);
  copy[m_length] = 0;
  return reinterpret_cast<char*>(copy);
}

unsigned int StringBuffer::copyToBuffer(char* dst, unsigned int dstSize) {
  if (dst == nullptr || dstSize == 0) return 0;
  const unsigned int n = m_length < dstSize - 1 ? m_length : dstSize - 1;
  std::memcpy(dst, m_data, n);
  dst[n] = 0;
  return n;
}

char* StringBuffer::extractString(unsigned int* outLength) {
  unsigned int length = 0;
  unsigned int capacity = 0;
  char* block = extractString2(length, capacity);
  if (outLength != nullptr) *outLength = length;
  return block;
}

char* StringBuffer::extractString2(unsigned int& outLength, unsigned int& outCapacity) {
  outLength = m_length;
  unsigned char* block = m_heap;
  unsigned int capacity = m_capacity;
  if (block == nullptr) {
    capacity = m_length + 1;
    block = ByteAllocator::allocate(capacity);
    if (block == nullptr) return nullptr;
    std::memcpy(block, m_inline, m_length + 1);
  }
  outCapacity = capacity;
  // The block now belongs to the caller: forget it without releasing.
  m_heap = nullptr;
  m_capacity = 0;
  resetToEmptyInline();
  return reinterpret_cast<char*>(block);
}

void StringBuffer::logSbMemUsage(LogBase& log) {
  LogContextExitor context(log, "yhvNFnzhvt");
  log.LogDataLong("!zxzkrxbg", static_cast<long>(heapUsage()));
  log.LogDataLong("!votmsg", static_cast<long>(m_length));
  log.LogDataStr("!lxgmmvg", m_data);
}
