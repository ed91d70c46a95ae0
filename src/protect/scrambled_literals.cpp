// Literals kept scrambled in the binary and restored at the moment of use:
// the self-inverse literal scramble and the members that take such a
// literal, literals in obfus form, and the salted scheme that hides a text
// behind twelve random letters and a shuffle.
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LiteralScrambler.h"
#include "lib/MimeCodec.h"
#include "lib/Psdk.h"
#include "lib/TextCodec.h"
#include "protect/internal/permutation.h"
#include "protect/internal/scratch_wipe.h"
#include "protect/internal/small_mod.h"

namespace {

// State of the salt letters' generator, shared by all buffers. Atomic so
// that two threads salting at once do not race; relaxed, because racing
// callers may well draw the same letters, which the restore drops anyway.
std::atomic<uint32_t> _lcg_seed{0};

constexpr unsigned kSaltLetters = 12;

// The byte generator behind both the salt and the shuffle positions. It
// runs through all 256 values before repeating, and 197 undoes the factor
// 13 modulo 256, so the shuffle can walk its positions backwards without
// keeping them.
constexpr uint32_t nextByte(uint32_t x) { return (13 * x + 43) & 0xFF; }
constexpr uint32_t previousByte(uint32_t x) { return (197 * (x + 256 - 43)) & 0xFF; }

// k steps of the generator at once: x_k = (mul[k] * x + add[k]) mod 256.
struct Jump {
  std::array<uint8_t, 256> mul{}, add{};
};
constexpr Jump jumpTable() {
  Jump t{};
  uint32_t mul = 1, add = 0;
  for (unsigned k = 0; k < 256; ++k) {
    t.mul[k] = static_cast<uint8_t>(mul);
    t.add[k] = static_cast<uint8_t>(add);
    mul = (13 * mul) & 0xFF;
    add = nextByte(add);
  }
  return t;
}
constexpr Jump kJump = jumpTable();

// The generator's value k steps on from x; it repeats every 256 steps.
inline uint32_t stepsOn(uint32_t x, uint32_t k) {
  k &= 0xFF;
  return (kJump.mul[k] * x + kJump.add[k]) & 0xFF;
}

// A restored copy of a scrambled literal: literals of up to 255 bytes in a
// local array, longer ones in a buffer that shares the caller's secure flag.
// text() is null when that buffer could not be filled.
class RestoredLiteral {
 public:
  RestoredLiteral(const char* lit, bool secure) {
    const size_t length = std::strlen(lit);
    if (length < sizeof m_small) {
      std::memcpy(m_small, lit, length + 1);
      litScramBytes(m_small, static_cast<unsigned int>(length));
      m_text = m_small;
      return;
    }
    m_large.setSecureBuf(secure);
    if (!m_large.append(lit)) return;
    // Writable: the storage belongs to m_large, and its length stays.
    litScramBytes(const_cast<char*>(m_large.getString()), m_large.getSize());
    m_text = m_large.getString();
  }
  RestoredLiteral(const RestoredLiteral&) = delete;
  RestoredLiteral& operator=(const RestoredLiteral&) = delete;

  const char* text() const { return m_text; }

 private:
  char m_small[256];
  StringBuffer m_large;
  const char* m_text = nullptr;
};

// Note: a literal that cannot be restored for lack of memory makes the
// predicates false rather than testing against an empty text, which would
// make beginsWith_lsc true for anything.
template <typename Op>
bool withRestored(const char* lit, bool secure, Op op) {
  if (lit == nullptr) return false;
  const RestoredLiteral restored(lit, secure);
  return restored.text() != nullptr && op(restored.text());
}

// The shuffle positions of a content of n bytes whose bytes sum to s
// (mod 256): x runs on from s, and each position is x mod n. Pairs are
// taken two positions at a time.
class PositionWalk {
 public:
  PositionWalk(uint32_t byteSum, uint32_t n) : m_x(byteSum), m_n(n), m_mod(n) {}
  uint32_t next() {
    m_x = nextByte(m_x);
    return position();
  }
  uint32_t previous() {
    const uint32_t p = position();
    m_x = previousByte(m_x);
    return p;
  }

 private:
  // x stays below 256, so past that length the remainder is x itself.
  uint32_t position() const { return m_n > 255 ? m_x : m_mod(m_x); }

  uint32_t m_x;
  uint32_t m_n;
  sb_internal::SmallMod m_mod;
};

uint32_t byteSumMod256(const char* data, uint32_t n) {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < n; ++i) sum += static_cast<unsigned char>(data[i]);
  return sum & 0xFF;
}

inline void swapBytes(char* p, uint32_t a, uint32_t b) {
  const char t = p[a];
  p[a] = p[b];
  p[b] = t;
}

// Literal substitution of the bytes before the first zero byte.
void substituteText(char* data, uint32_t n) {
  const void* zero = std::memchr(data, 0, n);
  if (zero != nullptr) n = static_cast<uint32_t>(static_cast<const char*>(zero) - data);
  litSubstituteBytes(data, n);
}

}  // namespace

void StringBuffer::litScram(char* s) { litScramInPlace(s); }

bool StringBuffer::containsSubstring_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return containsSubstring(s); });
}

bool StringBuffer::containsSubstringNoCase_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return containsSubstringNoCase(s); });
}

bool StringBuffer::beginsWith_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return beginsWith(s); });
}

bool StringBuffer::beginsWithIgnoreCase_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return beginsWithIgnoreCase(s); });
}

bool StringBuffer::equals_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return equals(s); });
}

bool StringBuffer::equalsIgnoreCase_lsc(const char* lit) const {
  return withRestored(lit, m_secure, [this](const char* s) { return equalsIgnoreCase(s); });
}

bool StringBuffer::append_lsc(const char* lit) {
  return withRestored(lit, m_secure, [this](const char* s) { return append(s); });
}

bool StringBuffer::appendObfus(const char* lit) {
  StringBuffer text;
  text.setSecureBuf(m_secure);
  // A literal that could not be unscrambled would decode to other bytes;
  // appending those and reporting success would hide the failure.
  if (!text.append(lit) || !sb_internal::unscrambleBytes(text.m_data, text.m_length, m_secure)) return false;
  DataBuffer decoded;
  const sb_internal::DataBufferWiper wiper(decoded, m_secure);
  MimeCodec::decodeBase64(text.m_data, text.m_length, decoded);
  return append(decoded);
}

bool StringBuffer::containsObfuscated(const char* lit) const {
  if (lit == nullptr) return false;
  StringBuffer restored;
  restored.setSecureBuf(m_secure);
  return restored.appendObfus(lit) && containsSubstring(restored.m_data);
}

bool StringBuffer::saltedScramble() {
  TextCodec::encode(*this);
  substituteText(m_data, m_length);

  uint32_t x = _lcg_seed.load(std::memory_order_relaxed);
  if (x == 0) x = Psdk::getTickCount() & 0xFFFFF;
  char salt[kSaltLetters];
  for (char& letter : salt) {
    x = nextByte(x);
    letter = static_cast<char>('a' + x % 26);
  }
  _lcg_seed.store(x, std::memory_order_relaxed);
  appendN(salt, kSaltLetters);

  // The pairs are swapped last to first, so the walk starts from the end
  // of the position sequence and steps back through it.
  const uint32_t n = m_length;
  if (n < 2) return true;
  const uint32_t m = n & ~1u;
  PositionWalk walk(stepsOn(byteSumMod256(m_data, n), m), n);
  for (uint32_t j = m / 2; j != 0; --j) {
    const uint32_t second = walk.previous();
    const uint32_t first = walk.previous();
    if (first != second) swapBytes(m_data, first, second);
  }
  return true;
}

bool StringBuffer::saltedUnscramble() {
  const uint32_t n = m_length;
  if (n >= 2) {
    PositionWalk walk(byteSumMod256(m_data, n), n);
    for (uint32_t j = (n & ~1u) / 2; j != 0; --j) {
      const uint32_t first = walk.next();
      const uint32_t second = walk.next();
      if (first != second) swapBytes(m_data, first, second);
    }
  }
  shorten(kSaltLetters);
  substituteText(m_data, m_length);
  TextCodec::decode(*this);
  return true;
}

bool StringBuffer::appendSaltedLiteral(const char* lit) {
  StringBuffer restored;
  restored.setSecureBuf(m_secure);
  if (!restored.append(lit)) return false;
  restored.saltedUnscramble();
  return append(restored);
}
