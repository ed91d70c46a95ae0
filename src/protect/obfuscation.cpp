// Keyless, reversible hiding of the content in place: a permutation of the
// bytes keyed by a digest of their length and sum (with a Base64 wrapping
// that makes it printable), and a substitution of printable bytes that
// cycles through four tables by position.
#include <array>
#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"
#include "lib/DataBuffer.h"
#include "lib/Digest128.h"
#include "lib/MimeCodec.h"
#include "protect/internal/permutation.h"
#include "protect/internal/scratch_wipe.h"
#include "protect/internal/small_mod.h"
#include "protect/internal/substitution_tables.h"

namespace {

// The order array lives in one allocator block, released (wiped first for a
// secure buffer: with the scrambled bytes it would give the content away)
// when the operation ends. order() is null when the block could not be had.
class OrderArray {
 public:
  OrderArray(uint32_t n, bool secure) : m_secure(secure) {
    const uint64_t bytes = uint64_t(n) * sizeof(uint32_t);
    if (bytes > UINT32_MAX) return;  // a content of 1 GiB or more is left as it is
    m_bytes = static_cast<uint32_t>(bytes);
    m_block = ByteAllocator::allocate(m_bytes);
  }
  ~OrderArray() {
    if (m_block == nullptr) return;
    if (m_secure) std::memset(m_block, 0, m_bytes);
    ByteAllocator::release(m_block, m_bytes);
  }
  OrderArray(const OrderArray&) = delete;
  OrderArray& operator=(const OrderArray&) = delete;

  // The allocator's blocks come from array new, aligned for any scalar.
  uint32_t* order() { return reinterpret_cast<uint32_t*>(m_block); }

 private:
  unsigned char* m_block = nullptr;
  uint32_t m_bytes = 0;
  bool m_secure;
};

// (j + b) mod n for j < n and b < n + 256: by one multiplication while n is
// small, by at most two subtractions once it is past 256.
class KeyedStep {
 public:
  explicit KeyedStep(uint32_t n) : m_n(n), m_small(n) {}
  uint32_t operator()(uint32_t j, uint32_t b) const {
    if (m_n <= 256) return m_small(j + b);
    uint64_t x = uint64_t(j) + b;
    if (x >= m_n) x -= m_n;
    if (x >= m_n) x -= m_n;
    return static_cast<uint32_t>(x);
  }

 private:
  uint32_t m_n;
  sb_internal::SmallMod m_small;
};

// Fills order with a shuffle of 0..n-1 keyed by the digest of
// (byte sum * n). A permutation of the bytes changes neither the sum nor
// n, so unscramble rebuilds the same order from the scrambled content.
void buildOrder(const unsigned char* p, uint32_t n, uint32_t* order) {
  uint64_t sum = 0;
  for (uint32_t i = 0; i < n; ++i) sum += p[i];
  for (uint32_t i = 0; i < n; ++i) order[i] = i;

  const uint64_t seed = sum * n;
  unsigned char seedBytes[8];
  for (unsigned b = 0; b < 8; ++b) seedBytes[b] = static_cast<unsigned char>(seed >> (56 - 8 * b));
  unsigned char key[Digest128::kSize];
  Digest128::compute(seedBytes, sizeof seedBytes, key);

  const KeyedStep advance(n);
  uint32_t j = 0;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t t = order[i];
    j = advance(j, t + key[i & 15]);
    order[i] = order[j];
    order[j] = t;
  }
}

inline void swapBytes(char* p, uint32_t a, uint32_t b) {
  const char t = p[a];
  p[a] = p[b];
  p[b] = t;
}

// Printable bytes through a 96-entry table, every other byte to itself:
// one lookup per byte and no range test in the loops.
using FullTable = std::array<unsigned char, 256>;
using TableSet = std::array<FullTable, 4>;

constexpr TableSet widen(const unsigned char* const (&tables)[4]) {
  TableSet set{};
  for (unsigned k = 0; k < 4; ++k)
    for (unsigned c = 0; c < 256; ++c)
      set[k][c] = c >= 32 && c <= 126 ? tables[k][c - 32] : static_cast<unsigned char>(c);
  return set;
}
constexpr TableSet kReverse = widen(sb_internal::kReverseTables);
constexpr TableSet kForward = widen(sb_internal::kForwardTables);

// The table counter advances with every byte, printable or not.
void substitute(char* data, uint32_t n, const TableSet& t) {
  auto* p = reinterpret_cast<unsigned char*>(data);
  uint32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    p[i] = t[0][p[i]];
    p[i + 1] = t[1][p[i + 1]];
    p[i + 2] = t[2][p[i + 2]];
    p[i + 3] = t[3][p[i + 3]];
  }
  for (; i < n; ++i) p[i] = t[i & 3][p[i]];
}

}  // namespace

void StringBuffer::scramble() {
  if (m_length < 2) return;
  OrderArray array(m_length, m_secure);
  uint32_t* order = array.order();
  if (order == nullptr) return;
  buildOrder(reinterpret_cast<const unsigned char*>(m_data), m_length, order);
  for (uint32_t i = 0; i < m_length; ++i) swapBytes(m_data, i, order[i]);
}

bool sb_internal::unscrambleBytes(char* p, uint32_t n, bool secure) {
  if (n < 2) return true;
  OrderArray array(n, secure);
  uint32_t* order = array.order();
  if (order == nullptr) return false;
  buildOrder(reinterpret_cast<const unsigned char*>(p), n, order);
  for (uint32_t i = n; i-- != 0;) swapBytes(p, i, order[i]);
  return true;
}

void StringBuffer::unscramble() { sb_internal::unscrambleBytes(m_data, m_length, m_secure); }

void StringBuffer::obfus() {
  StringBuffer encoded;
  encoded.setSecureBuf(m_secure);
  // Note: a failed encoding is not reported; the content then ends up empty.
  MimeCodec::encodeBase64(m_data, m_length, encoded);
  encoded.scramble();
  // weakClear keeps the storage without wiping, and a growth move below
  // would then free it with the plain bytes still in it.
  wipeIfSecure();
  weakClear();
  appendN(encoded.m_data, encoded.m_length);
}

void StringBuffer::unobfus() {
  unscramble();
  DataBuffer decoded;
  const sb_internal::DataBufferWiper wiper(decoded, m_secure);
  // Note: text that is not Base64 gives whatever the decoder makes of it,
  // up to the point where it stops; that is not reported either.
  MimeCodec::decodeBase64(m_data, m_length, decoded);
  // The decoded bytes are shorter than the text; without this wipe the
  // rest of the unscrambled text would stay behind the new end.
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(decoded.getData2()), decoded.getSize());
}

void StringBuffer::reverse_x() { substitute(m_data, m_length, kReverse); }

void StringBuffer::forward_x() { substitute(m_data, m_length, kForward); }

bool StringBuffer::setString_x(const char* s) {
  if (!setString(s)) return false;
  reverse_x();
  return true;
}

bool StringBuffer::equals_x(const char* s) const {
  if (s == nullptr) return m_length == 0;
  const auto* p = reinterpret_cast<const unsigned char*>(m_data);
  const auto* q = reinterpret_cast<const unsigned char*>(s);
  // A printable byte of s never substitutes to 0, so the content's first
  // zero byte matches only the end of s.
  for (uint32_t i = 0;; ++i) {
    if (p[i] != kReverse[i & 3][q[i]]) return false;
    if (p[i] == 0) return true;
  }
}
