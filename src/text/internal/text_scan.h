// Byte tables and the text view shared by the search, trim, replace,
// extraction and word-search rooms.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace textscan {

using ByteTable = std::array<bool, 256>;

constexpr ByteTable byteSet(const char* members) {
  ByteTable t{};
  for (; *members; ++members) t[static_cast<unsigned char>(*members)] = true;
  return t;
}

// t with every byte from lo to hi (inclusive) added.
constexpr ByteTable withRange(ByteTable t, unsigned lo, unsigned hi) {
  for (unsigned b = lo; b <= hi; ++b) t[b] = true;
  return t;
}

// t with byte b taken out.
constexpr ByteTable without(ByteTable t, unsigned b) {
  t[b] = false;
  return t;
}

inline bool has(const ByteTable& t, char c) { return t[static_cast<unsigned char>(c)]; }

// TAB, LF, CR and space: the whitespace of most text operations (VT and FF
// are deliberately not in it).
inline constexpr ByteTable kWhitespace = byteSet("\t\n\r ");
inline constexpr ByteTable kAsciiLetters =
    withRange(withRange(ByteTable{}, 'A', 'Z'), 'a', 'z');
inline constexpr ByteTable kDigits = withRange(ByteTable{}, '0', '9');

// Length of a zero-terminated argument, null counting as "".
inline uint32_t lengthOf(const char* s) { return s != nullptr ? static_cast<uint32_t>(std::strlen(s)) : 0; }

// The text view of a content: the bytes before its first zero byte, at most
// n. Text operations see only these; byte operations see all n.
inline uint32_t textLength(const char* p, uint32_t n) {
  const void* zero = std::memchr(p, 0, n);
  return zero != nullptr ? static_cast<uint32_t>(static_cast<const char*>(zero) - p) : n;
}

// match, when no zero byte lies between text and it; null otherwise. Lets a
// search run over the whole length and pay for the zero test only up to
// where it stopped.
inline const char* withinText(const char* text, const char* match) {
  if (match == nullptr || std::memchr(text, 0, static_cast<size_t>(match - text)) != nullptr) return nullptr;
  return match;
}

// Last byte equal to c in [p, p + n), or null.
inline const char* lastByte(const char* p, uint32_t n, char c) {
  while (n != 0) {
    if (p[--n] == c) return p + n;
  }
  return nullptr;
}

// True when q points into the n + 1 bytes (terminator included) at p; used
// to spot arguments that alias the content about to be rewritten.
inline bool pointsInto(const char* q, const char* p, uint32_t n) {
  const auto a = reinterpret_cast<std::uintptr_t>(q);
  const auto b = reinterpret_cast<std::uintptr_t>(p);
  return q != nullptr && p != nullptr && a >= b && a - b <= n;
}

}  // namespace textscan
