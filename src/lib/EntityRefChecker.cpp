// Recognising numeric and named character references at an ampersand.
#include "lib/EntityRefChecker.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

constexpr std::string_view kNames[] = {
#include "lib/EntityRefNames.inc"
};

// The longest name ("CounterClockwiseContourIntegral") has 31 letters; a run
// longer than that cannot be one, which bounds the scan on hostile input.
constexpr size_t kLongestName = 31;

bool isDecimal(unsigned char c) { return c >= '0' && c <= '9'; }
bool isHex(unsigned char c) { return isDecimal(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }
bool isNameByte(unsigned char c) { return isDecimal(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z'); }

bool isNumericRef(const unsigned char* p) {
  const bool hex = *p == 'x' || *p == 'X';
  if (hex) ++p;
  const unsigned char* digits = p;
  while (hex ? isHex(*p) : isDecimal(*p)) ++p;
  return p != digits && *p == ';';
}

bool isNamedRef(const unsigned char* p) {
  size_t n = 0;
  while (n <= kLongestName && isNameByte(p[n])) ++n;
  if (n == 0 || n > kLongestName || p[n] != ';') return false;
  const std::string_view name(reinterpret_cast<const char*>(p), n);
  const auto* found = std::lower_bound(std::begin(kNames), std::end(kNames), name,
                                       [](std::string_view entry, std::string_view key) { return entry < key; });
  return found != std::end(kNames) && *found == name;
}

}  // namespace

bool EntityRefChecker::startsWithEntityRef(const char* text, LogBase&) {
  if (text == nullptr || text[0] != '&') return false;
  const auto* p = reinterpret_cast<const unsigned char*>(text + 1);
  return *p == '#' ? isNumericRef(p + 1) : isNamedRef(p);
}
