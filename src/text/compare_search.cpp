// Read-only comparison, search and byte classification of the content.
// Text operations stop at the first zero byte; byte operations walk the
// whole length.
#include <algorithm>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"
#include "text/internal/text_scan.h"

using textscan::ByteTable;

namespace {

// Underscore, digits, ASCII letters, and the Windows-1252 letters from 192
// on, less the multiplication (215) and division (247) signs.
constexpr ByteTable kWordAscii = textscan::withRange(textscan::withRange(textscan::kAsciiLetters, '0', '9'), '_', '_');
constexpr ByteTable kAlnum1252 =
    textscan::without(textscan::without(textscan::withRange(kWordAscii, 192, 255), 215), 247);
constexpr ByteTable kLowerAscii = textscan::withRange(ByteTable{}, 'a', 'z');

const unsigned char* ubytes(const char* p) { return reinterpret_cast<const unsigned char*>(p); }

// True when every one of the n bytes at p is in t.
bool allIn(const char* p, uint32_t n, const ByteTable& t) {
  return std::all_of(ubytes(p), ubytes(p) + n, [&t](unsigned char b) { return t[b]; });
}

bool anyIn(const char* p, uint32_t n, const ByteTable& t) {
  return std::any_of(ubytes(p), ubytes(p) + n, [&t](unsigned char b) { return t[b]; });
}


}  // namespace

bool StringBuffer::equals(const char* s) const {
  if (s == nullptr) return m_length == 0;
  if (m_data[0] != s[0]) return false;
  return std::strcmp(m_data, s) == 0;
}

bool StringBuffer::equals(const StringBuffer& other) const {
  if (m_length != other.m_length) return false;
  if (m_data[0] != other.m_data[0]) return false;
  return std::strcmp(m_data, other.m_data) == 0;
}

bool StringBuffer::equalsIgnoreCase(const char* s) const {
  if (s == nullptr) return m_length == 0;
  return TextSearch::compareNoCase(m_data, s) == 0;
}

bool StringBuffer::equalsIgnoreCase(const StringBuffer& other) const {
  return m_length == other.m_length && TextSearch::compareNoCase(m_data, other.m_data) == 0;
}

bool StringBuffer::equalsIgnoreCase2(const char* s, unsigned int n) const {
  if (m_length != n) return false;
  // Note: a real string with n 0 is refused even on an empty buffer; only
  // the "nothing at all" pair (null, 0) counts as equal to empty.
  if (s == nullptr || n == 0) return s == nullptr && n == 0;
  return TextSearch::compareNoCase(m_data, s) == 0;
}

// A null s orders as "" here rather than crashing inside strcmp.
int StringBuffer::compare(const char* s) const { return std::strcmp(m_data, s != nullptr ? s : ""); }

int StringBuffer::compareNoCase(const char* s) const { return TextSearch::compareNoCase(m_data, s); }

bool StringBuffer::beginsWith(const char* s) const {
  return s != nullptr && std::strncmp(m_data, s, std::strlen(s)) == 0;
}

bool StringBuffer::beginsWithN(const char* s, unsigned int n) const {
  return s != nullptr && (n == 0 || std::strncmp(m_data, s, n) == 0);
}

bool StringBuffer::beginsWithIgnoreCase(const char* s) const {
  return s != nullptr && TextSearch::compareNoCaseN(m_data, s, textscan::lengthOf(s)) == 0;
}

bool StringBuffer::beginsWithIgnoreCaseN(const char* s, unsigned int n) const {
  return s != nullptr && (n == 0 || TextSearch::compareNoCaseN(m_data, s, n) == 0);
}

// The tail is located by length and compared up to its zero byte, so a tail
// holding an embedded zero byte never matches.
bool StringBuffer::endsWith(const char* s) const {
  if (s == nullptr) return false;
  const uint32_t n = textscan::lengthOf(s);
  if (n == 0) return true;
  if (n > m_length) return false;
  return std::strcmp(m_data + (m_length - n), s) == 0;
}

bool StringBuffer::endsWithIgnoreCase(const char* s) const {
  if (s == nullptr) return false;
  const uint32_t n = textscan::lengthOf(s);
  if (n == 0) return true;
  if (n > m_length) return false;
  return TextSearch::compareNoCase(m_data + (m_length - n), s) == 0;
}

bool StringBuffer::endsWithWhitespace() const {
  if (!isValidObject() || m_length == 0) return false;
  return textscan::has(textscan::kWhitespace, m_data[m_length - 1]);
}

bool StringBuffer::containsSubstring(const char* s) const { return findSubstr(s) != nullptr; }

bool StringBuffer::containsSubstringNoCase(const char* s) const { return indexOfNoCase(s) >= 0; }

// The content's terminator lets one scan look for the needle and for the end
// of the text together; a search that stops early never reads the rest.
const char* StringBuffer::findSubstr(const char* s) const {
  if (s == nullptr) return nullptr;
  return TextSearch::findInText(m_data, m_length, s);
}

int StringBuffer::indexOf(const char* s) const {
  const char* p = findSubstr(s);
  return p != nullptr ? static_cast<int>(p - m_data) : -1;
}

int StringBuffer::indexOfNoCase(const char* s) const {
  if (s == nullptr) return -1;
  const char* p =
      textscan::withinText(m_data, TextSearch::findNoCase(m_data, m_length, s, textscan::lengthOf(s)));
  return p != nullptr ? static_cast<int>(p - m_data) : -1;
}

bool StringBuffer::matches(const char* pattern, bool flag) {
  return pattern != nullptr && TextSearch::wildcardMatch(m_data, pattern, flag);
}

bool StringBuffer::containsChar(char c) const {
  if (c == 0 || m_length == 0) return false;
  return std::memchr(m_data, c, textscan::textLength(m_data, m_length)) != nullptr;
}

bool StringBuffer::containsAnyOf(const char* set) const {
  if (set == nullptr || *set == 0 || m_length == 0) return false;
  ByteTable members{};
  for (const unsigned char* p = ubytes(set); *p != 0; ++p) members[*p] = true;
  return anyIn(m_data, m_length, members);
}

bool StringBuffer::containsCharInRange(char lo, char hi) const {
  const unsigned char low = static_cast<unsigned char>(lo);
  const unsigned char high = static_cast<unsigned char>(hi);
  return std::any_of(ubytes(m_data), ubytes(m_data) + m_length,
                     [low, high](unsigned char b) { return low <= b && b <= high; });
}

char* StringBuffer::findFirstChar(char c) {
  if (m_length == 0) return nullptr;
  return static_cast<char*>(std::memchr(m_data, c, m_length));
}

char* StringBuffer::findLastChar(char c) {
  if (m_length == 0) return nullptr;
  return const_cast<char*>(textscan::lastByte(m_data, m_length, c));
}

unsigned int StringBuffer::countCharOccurances(char c) const {
  return static_cast<unsigned int>(std::count(m_data, m_data + m_length, c));
}

bool StringBuffer::allWhitespace() const { return allIn(m_data, m_length, textscan::kWhitespace); }

bool StringBuffer::isAllCaps() { return !anyIn(m_data, m_length, kLowerAscii); }

bool StringBuffer::is7bit(unsigned int n) const {
  const uint32_t span = (n == 0 || n > m_length) ? m_length : n;
  return std::none_of(ubytes(m_data), ubytes(m_data) + span, [](unsigned char b) { return b > 127; });
}

bool StringBuffer::is7bitAlpha(unsigned int n) {
  const uint32_t span = (n == 0 || n > m_length) ? m_length : n;
  return allIn(m_data, span, textscan::kAsciiLetters);
}

bool StringBuffer::isAlphaNumeric_1252(char c) { return textscan::has(kAlnum1252, c); }

bool StringBuffer::isNonTerminated() const { return m_data != nullptr && m_data[m_length] != 0; }
