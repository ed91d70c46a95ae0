// Arguments that may point into the buffer being written: growth moves the
// content, so such a pointer is kept as an offset and re-pointed afterwards.
#pragma once

#include <cstdint>

namespace markup_alias {

// Offset of q inside the n bytes (terminator included) at base, or -1 when
// it lies elsewhere.
inline int64_t offsetInside(const char* q, const char* base, uint32_t n) {
  const auto a = reinterpret_cast<std::uintptr_t>(q);
  const auto b = reinterpret_cast<std::uintptr_t>(base);
  return q != nullptr && base != nullptr && a >= b && a - b <= n ? static_cast<int64_t>(a - b) : -1;
}

// q itself, or the same offset in the moved content.
inline const char* follow(const char* q, int64_t offset, const char* base) {
  return offset >= 0 ? base + offset : q;
}

}  // namespace markup_alias
