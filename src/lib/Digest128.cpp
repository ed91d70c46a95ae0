// MD5 over a whole message in one call: 64-byte blocks straight from the
// input, then one or two padded blocks built on the stack.
#include "lib/Digest128.h"

#include <cstdint>
#include <cstring>

namespace {

// Per-step left rotations, four per round.
constexpr unsigned kShift[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// floor(abs(sin(i + 1)) * 2^32), the additive constants of the 64 steps.
constexpr uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

constexpr uint32_t rotl(uint32_t x, unsigned s) { return (x << s) | (x >> (32 - s)); }

uint32_t loadLittle(const unsigned char* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void storeLittle(uint32_t v, unsigned char* p) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
  p[2] = static_cast<unsigned char>(v >> 16);
  p[3] = static_cast<unsigned char>(v >> 24);
}

void processBlock(uint32_t state[4], const unsigned char* block) {
  uint32_t x[16];
  for (unsigned i = 0; i < 16; ++i) x[i] = loadLittle(block + 4 * i);
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (unsigned i = 0; i < 64; ++i) {
    const unsigned round = i / 16;
    uint32_t f;
    unsigned g;
    switch (round) {
      case 0: f = (b & c) | (~b & d); g = i; break;
      case 1: f = (d & b) | (~d & c); g = (5 * i + 1) & 15; break;
      case 2: f = b ^ c ^ d; g = (3 * i + 5) & 15; break;
      default: f = c ^ (b | ~d); g = (7 * i) & 15; break;
    }
    const uint32_t next = b + rotl(a + f + kSine[i] + x[g], kShift[round][i & 3]);
    a = d;
    d = c;
    c = b;
    b = next;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

void Digest128::compute(const unsigned char* data, unsigned n, unsigned char* out) {
  uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  const unsigned whole = data != nullptr ? n / 64 * 64 : 0;
  for (unsigned offset = 0; offset < whole; offset += 64) processBlock(state, data + offset);

  // The rest, a 0x80 byte, zeros, and the bit length as 64 bits little-endian:
  // one block when the rest leaves room for the 9 bytes, two otherwise.
  unsigned char tail[128] = {};
  const unsigned rest = data != nullptr ? n - whole : 0;
  if (rest != 0) std::memcpy(tail, data + whole, rest);
  tail[rest] = 0x80;
  const unsigned tailSize = rest < 56 ? 64 : 128;
  const uint64_t bits = uint64_t(data != nullptr ? n : 0) * 8;
  storeLittle(static_cast<uint32_t>(bits), tail + tailSize - 8);
  storeLittle(static_cast<uint32_t>(bits >> 32), tail + tailSize - 4);
  processBlock(state, tail);
  if (tailSize == 128) processBlock(state, tail + 64);

  for (unsigned i = 0; i < 4; ++i) storeLittle(state[i], out + 4 * i);
}
