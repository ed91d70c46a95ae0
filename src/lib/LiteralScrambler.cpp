// The literal substitution table and the scramble built on it.
#include "lib/LiteralScrambler.h"

#include <array>
#include <cstring>

namespace {

// Each range is mirrored onto itself: first + last - c.
constexpr void mirror(std::array<unsigned char, 256>& t, char first, char last) {
  for (int c = first; c <= last; ++c) t[c] = static_cast<unsigned char>(first + last - c);
}

constexpr void swapPair(std::array<unsigned char, 256>& t, unsigned char a, unsigned char b) {
  t[a] = b;
  t[b] = a;
}

constexpr std::array<unsigned char, 256> substitutionTable() {
  std::array<unsigned char, 256> t{};
  for (int c = 0; c < 256; ++c) t[c] = static_cast<unsigned char>(c);
  mirror(t, 'a', 'z');
  mirror(t, 'A', 'Z');
  mirror(t, '0', '9');
  swapPair(t, '*', '<');
  swapPair(t, ',', ' ');
  swapPair(t, '.', '/');
  return t;
}
constexpr auto kSubstitute = substitutionTable();

void substitute(char* p, size_t n) {
  for (size_t i = 0; i < n; ++i) p[i] = static_cast<char>(kSubstitute[static_cast<unsigned char>(p[i])]);
}

void scramble(char* p, size_t n) {
  substitute(p, n);
  for (size_t i = 0; i + 1 < n; i += 2) {
    const char first = p[i];
    p[i] = p[i + 1];
    p[i + 1] = first;
  }
}

}  // namespace

unsigned char litSubstitute(unsigned char c) {
  return kSubstitute[c];
}

void litSubstituteBytes(char* p, unsigned int n) {
  if (p != nullptr) substitute(p, n);
}

void litScramBytes(char* p, unsigned int n) {
  if (p != nullptr) scramble(p, n);
}

void litScramInPlace(char* s) {
  if (s != nullptr) scramble(s, std::strlen(s));
}
