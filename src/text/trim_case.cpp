// In-place shortening of the content: trimming byte sets from its ends,
// cutting it at a byte or substring, ASCII/Latin-1 case changes, and
// filters that keep one class of bytes. Nothing here allocates.
#include <algorithm>
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"
#include "text/internal/text_scan.h"

using textscan::ByteTable;
using textscan::byteSet;
using textscan::withRange;

namespace {

// Each trim and filter has its own set; they are not interchangeable.
constexpr ByteTable kBlank = byteSet(" \t");
constexpr ByteTable kLineEnds = byteSet("\r\n");
constexpr ByteTable kQuoteMarks = byteSet("\"'*-/@");
constexpr ByteTable kKeptByRemoveCtrl = withRange(byteSet("\t\n\r"), 32, 255);
constexpr ByteTable kPrintable = withRange(ByteTable{}, 32, 255);
constexpr ByteTable kSevenBit = withRange(ByteTable{}, 0, 127);
constexpr ByteTable kNumeric = withRange(byteSet(" "), '0', '9');
constexpr ByteTable kNameBytes = withRange(
    byteSet("!-.:_0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"), 128, 255);

// ASCII letters plus the Latin-1 letters 192..223 / 224..255, which pair up
// 32 apart. Note: 215 and 247 (multiplication and division signs) and 223
// and 255 are mapped too; callers depend on the mapping being a plain
// 32-byte shift of the whole upper block.
constexpr std::array<unsigned char, 256> makeCaseShift(unsigned asciiFrom, unsigned latinFrom,
                                                       int delta) {
  std::array<unsigned char, 256> t{};
  for (unsigned i = 0; i < 256; ++i) t[i] = static_cast<unsigned char>(i);
  for (unsigned i = asciiFrom; i < asciiFrom + 26; ++i) t[i] = static_cast<unsigned char>(int(i) + delta);
  for (unsigned i = latinFrom; i < latinFrom + 32; ++i) t[i] = static_cast<unsigned char>(int(i) + delta);
  return t;
}
constexpr auto kToLower = makeCaseShift('A', 192, 32);
constexpr auto kToUpper = makeCaseShift('a', 224, -32);

bool inSet(const ByteTable& set, char c) { return set[static_cast<unsigned char>(c)]; }

// Trims set bytes from both ends. A leading run is removed by moving the
// rest to the front up to its next zero byte, so bytes behind an embedded
// zero are dropped whenever something was trimmed at the start. Returns the
// number of bytes the length went down by.
uint32_t trimBothEnds(char* data, uint32_t& length, const ByteTable& set) {
  if (length == 0) return 0;
  const uint32_t before = length;
  uint32_t lead = 0;
  while (inSet(set, data[lead])) ++lead;  // the terminating zero is in no set
  uint32_t end = length;
  if (lead != 0) {
    end = textscan::textLength(data + lead, length - lead);
    std::memmove(data, data + lead, end);
    data[end] = 0;
  }
  while (end != 0 && inSet(set, data[end - 1])) data[--end] = 0;
  length = end;
  return before - end;
}

uint32_t trimEnd(char* data, uint32_t& length, const ByteTable& set) {
  const uint32_t before = length;
  while (length != 0 && inSet(set, data[length - 1])) data[--length] = 0;
  return before - length;
}

// Compacts the bytes from offset start on that keep() accepts to the front
// of that range, terminates, and returns the number removed.
template <typename Keep>
uint32_t compactFrom(char* data, uint32_t& length, uint32_t start, Keep keep) {
  uint32_t write = start;
  for (uint32_t read = start; read < length; ++read) {
    if (!keep(static_cast<unsigned char>(data[read]))) continue;
    if (write != read) data[write] = data[read];
    ++write;
  }
  const uint32_t removed = length - write;
  data[write] = 0;
  length = write;
  return removed;
}

uint32_t keepOnly(char* data, uint32_t& length, const ByteTable& keep) {
  return compactFrom(data, length, 0, [&keep](unsigned char b) { return keep[b]; });
}

}  // namespace

unsigned int StringBuffer::trim() { return trimBothEnds(m_data, m_length, kBlank); }

unsigned int StringBuffer::trim2() { return trimBothEnds(m_data, m_length, textscan::kWhitespace); }

unsigned int StringBuffer::trim3() { return trimBothEnds(m_data, m_length, kQuoteMarks); }

unsigned int StringBuffer::trimRight2() { return trimEnd(m_data, m_length, textscan::kWhitespace); }

unsigned int StringBuffer::trimTrailingCRLFs() { return trimEnd(m_data, m_length, kLineEnds); }

unsigned int StringBuffer::trimTrailingSpaces() { return trimEnd(m_data, m_length, kBlank); }

void StringBuffer::trimBefore(char c, bool discard) {
  const uint32_t textLen = textscan::textLength(m_data, m_length);
  const char* hit = static_cast<const char*>(std::memchr(m_data, c, textLen));
  if (hit == nullptr) return;
  const uint32_t from = static_cast<uint32_t>(hit - m_data) + (discard ? 1 : 0);
  const uint32_t kept = textLen - from;
  std::memmove(m_data, m_data + from, kept);
  m_data[kept] = 0;
  m_length = kept;
}

void StringBuffer::trimAfter(char c, bool discard) {
  const char* hit = textscan::lastByte(m_data, m_length, c);
  if (hit == nullptr) return;
  chopAt(static_cast<uint32_t>(hit - m_data) + (discard ? 0 : 1));
}

bool StringBuffer::chopAtSubstr(const char* s, bool keep) {
  if (s == nullptr || *s == 0) return false;
  const char* hit = findSubstr(s);
  if (hit == nullptr) return false;
  chopAt(static_cast<uint32_t>(hit - m_data) + (keep ? static_cast<uint32_t>(std::strlen(s)) : 0));
  return true;
}

bool StringBuffer::chopAtFirstChar(char c) {
  const char* hit = findFirstChar(c);
  if (hit == nullptr) return false;
  chopAt(static_cast<uint32_t>(hit - m_data));
  return true;
}

bool StringBuffer::chopAtLastChar(char c) {
  const char* hit = findLastChar(c);
  if (hit == nullptr) return false;
  chopAt(static_cast<uint32_t>(hit - m_data));
  return true;
}

void StringBuffer::toLowerCase() {
  for (char* p = m_data; *p != 0; ++p) *p = static_cast<char>(kToLower[static_cast<unsigned char>(*p)]);
}

void StringBuffer::toUpperCase() {
  for (char* p = m_data; *p != 0; ++p) *p = static_cast<char>(kToUpper[static_cast<unsigned char>(*p)]);
}

void StringBuffer::toLowerFirstChar() {
  if (m_length != 0) m_data[0] = static_cast<char>(kToLower[static_cast<unsigned char>(m_data[0])]);
}

unsigned int StringBuffer::removeCtrl() { return keepOnly(m_data, m_length, kKeptByRemoveCtrl); }

unsigned int StringBuffer::removeControlChars() { return keepOnly(m_data, m_length, kPrintable); }

void StringBuffer::eliminateChar(char c, unsigned int start) {
  if (start >= m_length) return;
  const unsigned char drop = static_cast<unsigned char>(c);
  compactFrom(m_data, m_length, start, [drop](unsigned char b) { return b != drop; });
}

unsigned int StringBuffer::removeCharOccurances(char c) {
  const unsigned char drop = static_cast<unsigned char>(c);
  return compactFrom(m_data, m_length, 0, [drop](unsigned char b) { return b != drop; });
}

unsigned int StringBuffer::drop8bitChars() {
  keepOnly(m_data, m_length, kSevenBit);
  return m_length;
}

unsigned int StringBuffer::dropNonNumeric() {
  keepOnly(m_data, m_length, kNumeric);
  return m_length;
}

unsigned int StringBuffer::dropNonNameChars() {
  keepOnly(m_data, m_length, kNameBytes);
  return m_length;
}

unsigned int StringBuffer::replaceNullsWithSpaces() {
  std::replace(m_data, m_data + m_length, '\0', ' ');
  return m_length;
}
