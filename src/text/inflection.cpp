// English inflection of a single word by its ending, and proper casing of a
// phrase. The rules are deliberately small heuristics over lower-case
// endings; they know no irregular words apart from "always".
#include <array>
#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "text/internal/text_scan.h"

namespace {

constexpr textscan::ByteTable kWordSeparators = textscan::byteSet("\t\n -");
constexpr textscan::ByteTable kVowelsButE = textscan::byteSet("aiou");
constexpr textscan::ByteTable kVowels = textscan::byteSet("aeiou");

// Capitalising a byte: ASCII a..z (the only lower-case letters the platform's
// toupper knows below 128 in every locale we run under), and the Latin-1
// block 224..255 lowered by 32 as a block; 128..223 stay.
constexpr std::array<unsigned char, 256> kCapital = [] {
  std::array<unsigned char, 256> t{};
  for (unsigned b = 0; b < 256; ++b) t[b] = static_cast<unsigned char>(b);
  for (unsigned b = 'a'; b <= 'z'; ++b) t[b] = static_cast<unsigned char>(b - 32);
  for (unsigned b = 224; b < 256; ++b) t[b] = static_cast<unsigned char>(b - 32);
  return t;
}();

// The byte k places before the last one (0 the last), or 0 when the word is
// shorter; 0 matches no rule.
unsigned char fromEnd(const StringBuffer& sb, unsigned int k) {
  const unsigned int n = sb.getSize();
  return k < n ? static_cast<unsigned char>(sb.getString()[n - 1 - k]) : 0;
}

// Swaps the last `drop` bytes for `suffix`. Room is made first, so a word
// that cannot grow is left whole rather than cut.
void replaceEnding(StringBuffer& sb, unsigned int drop, const char* suffix) {
  const auto add = static_cast<unsigned int>(std::strlen(suffix));
  if (add > drop && !sb.expectNumBytes(add - drop)) return;
  sb.shorten(drop);
  sb.append(suffix);
}

}  // namespace

void StringBuffer::pluralize() {
  if (m_length == 0) return;
  const unsigned char last = fromEnd(*this, 0);
  const unsigned char p1 = fromEnd(*this, 1);
  switch (last) {
    case 's':
      return;
    case 'x':
    case 'z':
      replaceEnding(*this, 0, "es");
      return;
    case 'h':
      replaceEnding(*this, 0, p1 == 'c' || p1 == 's' ? "es" : "s");
      return;
    case 'e':
      if (p1 == 'f')
        replaceEnding(*this, 2, "ves");
      else
        replaceEnding(*this, 0, "s");
      return;
    case 'f':
      replaceEnding(*this, 1, "ves");
      return;
    case 'y':
      // A lone "y" has no p1 and takes the default.
      if (m_length >= 2 && !kVowels[p1]) {
        replaceEnding(*this, 1, "ies");
        return;
      }
      break;
    default:
      break;
  }
  replaceEnding(*this, 0, "s");
}

void StringBuffer::unpluralize() {
  if (m_length == 0 || fromEnd(*this, 0) != 's') return;
  if (m_length == 1) {
    shorten(1);
    return;
  }
  const unsigned char p1 = fromEnd(*this, 1);
  if (p1 >= '0' && p1 <= '9') return;  // "1990s"
  if (kVowelsButE[p1]) return;         // "gas", "this", "photos", "bus"
  if (m_length <= 3) {
    shorten(1);
    return;
  }
  const unsigned char p2 = fromEnd(*this, 2);
  const unsigned char p3 = fromEnd(*this, 3);
  // Every change below only shortens the word, so none of them allocates.
  unsigned int drop = 1;
  const char* suffix = "";
  switch (p2) {
    case 'a':
      if (p1 == 's') return;
      if (p1 == 'y' && equalsIgnoreCase("always")) return;
      break;
    case 'e':
    case 'u':
      if (p1 == 's') return;
      break;
    case 'h':
    case 'x':
      if (p1 == 'e') drop = 2;
      break;
    case 'i':
      if (p1 == 's') return;
      if (p1 == 'e') {
        drop = 3;
        suffix = "y";
      }
      break;
    case 'o':
      if (p1 == 'e' || p1 == 's') return;
      break;
    case 'v':
      // "sleeves", "olives" and "knives" keep their "ve"; "leaves" does not.
      if (p1 == 'e' && !(m_length >= 5 && (p3 == 'e' || p3 == 'i' || p3 == 'o'))) {
        drop = 3;
        suffix = "f";
      }
      break;
    case 'z':
      if (p1 == 'e' && p3 != 'i') drop = 2;
      break;
    default:
      break;
  }
  replaceEnding(*this, drop, suffix);
}

void StringBuffer::toProperCase() {
  bool capitalNext = true;
  bool inSeparators = false;
  for (char* p = m_data; *p != 0; ++p) {
    const auto b = static_cast<unsigned char>(*p);
    if (kWordSeparators[b]) {
      inSeparators = true;
    } else if (inSeparators) {
      capitalNext = true;
      inSeparators = false;
    }
    // Note: the flag is spent on whatever byte comes first, so a phrase that
    // opens with "(" or a quote keeps its first word in lower case.
    if (capitalNext) {
      *p = static_cast<char>(kCapital[b]);
      capitalNext = false;
    }
  }
}
