// The position-keyed rotation of printable characters behind TextCodec.
#include "lib/TextCodec.h"

#include <array>
#include <cstdint>

#include "core/StringBuffer.h"

namespace {

constexpr unsigned kRing = 93;
constexpr unsigned kStep = 17;
constexpr unsigned kStart = 5;
constexpr uint8_t kOffRing = 0xFF;

constexpr bool onRing(unsigned c) { return c >= 32 && c <= 126 && c != '"' && c != '\\'; }

// Place of each byte on the ring, kOffRing for bytes that are left alone.
constexpr std::array<uint8_t, 256> placeTable() {
  std::array<uint8_t, 256> t{};
  uint8_t place = 0;
  for (unsigned c = 0; c < 256; ++c) t[c] = onRing(c) ? place++ : kOffRing;
  return t;
}
constexpr auto kPlace = placeTable();

// The ring's characters, twice over, so that a place plus a shift below the
// ring's size needs no modulo.
constexpr std::array<char, 2 * kRing> ringTable() {
  std::array<char, 2 * kRing> t{};
  unsigned place = 0;
  for (unsigned c = 0; c < 256; ++c)
    if (onRing(c)) {
      t[place] = t[place + kRing] = static_cast<char>(c);
      ++place;
    }
  return t;
}
constexpr auto kRingChars = ringTable();

// Forward shifts by the position's amount; backward by its complement.
void rotate(char* p, unsigned n, bool forward) {
  unsigned shift = kStart;
  for (unsigned i = 0; i < n; ++i) {
    const uint8_t place = kPlace[static_cast<unsigned char>(p[i])];
    if (place != kOffRing) p[i] = kRingChars[place + (forward || shift == 0 ? shift : kRing - shift)];
    shift += kStep;
    if (shift >= kRing) shift -= kRing;
  }
}

// Writing through getString() is sound: the storage belongs to sb, which the
// caller hands over as non-const, and the length does not change.
char* contentOf(StringBuffer& sb) { return const_cast<char*>(sb.getString()); }

}  // namespace

void TextCodec::encode(StringBuffer& sb) {
  if (sb.getString() != nullptr) rotate(contentOf(sb), sb.getSize(), true);
}

void TextCodec::decode(StringBuffer& sb) {
  if (sb.getString() != nullptr) rotate(contentOf(sb), sb.getSize(), false);
}
