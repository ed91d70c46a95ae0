// Range checks for 64-bit values on their way into the 32-bit sizes the
// library's buffers use.
#pragma once

#include <cstdint>

namespace tv64 {

// True when v cannot be held in an unsigned 32-bit integer (negative values
// included).
inline bool TooBigForUnsigned32(int64_t v) { return v < 0 || v > int64_t(0xFFFFFFFFu); }

}  // namespace tv64
