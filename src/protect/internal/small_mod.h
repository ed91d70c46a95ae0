// Remainders by a divisor fixed for a whole loop, without a division per
// step: the scramble and the salted shuffle take one for every position.
#pragma once

#include <cstdint>

namespace sb_internal {

// x mod n by one multiplication, exact for x and n below 65536 (n > 0):
// m is 2^32 / n rounded up, the low 32 bits of m * x are the fraction
// x / n, and that fraction times n is the remainder.
class SmallMod {
 public:
  explicit SmallMod(uint32_t n) : m_n(n), m_m(UINT32_MAX / n + 1) {}
  uint32_t operator()(uint32_t x) const {
    const uint32_t fraction = m_m * x;
    return static_cast<uint32_t>((uint64_t(fraction) * m_n) >> 32);
  }

 private:
  uint32_t m_n;
  uint32_t m_m;
};

}  // namespace sb_internal
