// Writing generated text straight into a buffer's own storage. A writer asks
// for room exactly as appendN(n) would (same room test, same growth), fills
// the n bytes in place and then counts them in, so the result and every
// growth step match appending the same bytes from a staging copy, without
// the copy.
#pragma once

#include "core/StringBuffer.h"

struct StringBufferTail {
  // Where n more bytes go, or null when the buffer cannot grow (it is then
  // unchanged).
  static char* reserve(StringBuffer& sb, unsigned int n) {
    return sb.ensureRoom(n) ? sb.m_data + sb.m_length : nullptr;
  }
  // Counts in n bytes written at reserve()'s pointer; none of them is the
  // zero byte that appendN would drop from the end.
  static void commit(StringBuffer& sb, unsigned int n) {
    sb.m_length += n;
    sb.m_data[sb.m_length] = 0;
  }
};
