// Small helpers shared by the test files.
#pragma once

#include <cstring>
#include <string>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"

// A buffer holding exactly these bytes, zero bytes included.
inline StringBuffer bufferOf(const std::string& bytes) {
  StringBuffer sb;
  for (char c : bytes) sb.appendChar(c);
  return sb;
}

// The whole content, zero bytes included.
inline std::string bytesOf(const StringBuffer& sb) { return std::string(sb.getString(), sb.getSize()); }

// Watches the blocks the allocator releases and remembers whether any of the
// first `watched` bytes of one of them still held a non-zero byte.
class ReleaseWatcher {
 public:
  explicit ReleaseWatcher(unsigned int watched) : m_watched(watched) {
    ByteAllocator::TestControl::setReleaseObserver(&ReleaseWatcher::observe, this);
  }
  ~ReleaseWatcher() { ByteAllocator::TestControl::setReleaseObserver(nullptr, nullptr); }
  ReleaseWatcher(const ReleaseWatcher&) = delete;
  ReleaseWatcher& operator=(const ReleaseWatcher&) = delete;

  unsigned int releases() const { return m_releases; }
  bool sawContent() const { return m_sawContent; }

 private:
  static void observe(const unsigned char* block, uint32_t size, void* context) {
    auto* self = static_cast<ReleaseWatcher*>(context);
    ++self->m_releases;
    const uint32_t n = self->m_watched < size ? self->m_watched : size;
    for (uint32_t i = 0; i < n; ++i)
      if (block[i] != 0) self->m_sawContent = true;
  }

  unsigned int m_watched;
  unsigned int m_releases = 0;
  bool m_sawContent = false;
};
