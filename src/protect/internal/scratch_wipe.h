// Wiping of the byte buffers the obfuscation rooms decode into: DataBuffer
// has no secure flag of its own, so the operations that fill one with
// restored bytes clear it themselves for a secure StringBuffer.
#pragma once

#include <cstring>

#include "lib/DataBuffer.h"

namespace sb_internal {

// Clears the whole block of d before d releases it when wipe is true. The
// whole block, not only the content, because the decoder reserves it once
// and its spare end may hold bytes from an earlier use.
class DataBufferWiper {
 public:
  DataBufferWiper(DataBuffer& d, bool wipe) : m_buffer(d), m_wipe(wipe) {}
  ~DataBufferWiper() {
    if (m_wipe && m_buffer.getBufSize() != 0) std::memset(m_buffer.getData2(), 0, m_buffer.getBufSize());
  }
  DataBufferWiper(const DataBufferWiper&) = delete;
  DataBufferWiper& operator=(const DataBufferWiper&) = delete;

 private:
  DataBuffer& m_buffer;
  bool m_wipe;
};

}  // namespace sb_internal
