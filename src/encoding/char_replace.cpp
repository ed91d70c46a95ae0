// Replacing by character code: substrings by one byte (compacting the
// content from the front, with no allocation) or by the UTF-8 form of a
// Windows-1252 character, and one character by another in UTF-8 or ANSI text.
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/TextSearch.h"
#include "lib/XString.h"
#include "lib/_tvEncodingConvert.h"

namespace {

// The UTF-8 form of each Windows-1252 byte 128..255, zero-terminated (the
// five bytes 1252 leaves unassigned are the code points of their value).
// Built once, from the converter, so the mapping has one source.
struct AnsiToUtf8 {
  std::array<std::array<char, 4>, 128> rows{};
  AnsiToUtf8() {
    _tvEncodingConvert conv;
    LogNull log;
    for (int k = 0; k < 128; ++k) {
      const unsigned char byte = static_cast<unsigned char>(128 + k);
      DataBuffer utf8;
      conv.EncConvert(1252, 65001, &byte, 1, utf8, log);
      if (utf8.getSize() <= 3) std::memcpy(rows[k].data(), utf8.getData2(), utf8.getSize());
    }
  }
};

const char* utf8Of1252(unsigned int charCode) {
  static const AnsiToUtf8 table;
  return table.rows[charCode - 128].data();
}

}  // namespace

unsigned int StringBuffer::replaceAllWithUchar(const char* find, unsigned int byteValue) {
  if (find == nullptr || find[0] == 0) return 0;
  const char replacement = static_cast<char>(byteValue & 0xFF);
  const auto findLength = static_cast<uint32_t>(std::strlen(find));
  unsigned int count = 0;

  if (findLength == 1) {
    // One byte for one byte: every match over the whole length, zero bytes
    // inside the content included. The byte is read once, as find may point
    // into the content being overwritten.
    const unsigned char wanted = static_cast<unsigned char>(find[0]);
    char* const end = m_data + m_length;
    for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, wanted, end - p))) != nullptr;) {
      *p++ = replacement;
      ++count;
    }
    return count;
  }

  // Longer matches: the content is read as text. Everything from its first
  // zero byte on is dropped, so a content that begins with one ends empty.
  // The search is bounded by the text's end as measured before any write:
  // a find that points into the content (and so may be overwritten, even by
  // a zero replacement byte) can then never carry the scan past the text.
  const void* zero = std::memchr(m_data, 0, m_length);
  const char* const end = zero != nullptr ? static_cast<const char*>(zero) : m_data + m_length;
  const char* read = m_data;
  char* write = m_data;
  while (const char* hit = TextSearch::find(read, static_cast<uint32_t>(end - read), find, findLength)) {
    const size_t run = static_cast<size_t>(hit - read);
    std::memmove(write, read, run);
    write += run;
    *write++ = replacement;
    read = hit + findLength;
    ++count;
  }
  const size_t rest = static_cast<size_t>(end - read);
  std::memmove(write, read, rest);
  write += rest;
  *write = 0;
  m_length = static_cast<unsigned int>(write - m_data);
  return count;
}

unsigned int StringBuffer::replaceAllWithUcharUtf8(const char* find, unsigned int charCode) {
  if (find == nullptr || find[0] == 0 || charCode > 255) return 0;
  if (charCode < 128) return replaceAllWithUchar(find, charCode);
  return replaceAllOccurances(find, utf8Of1252(charCode));
}

void StringBuffer::replaceCharUtf8(char from, char to) {
  if (from == 0 || m_length == 0 || std::strchr(m_data, from) == nullptr) return;
  if (is7bit(0)) {
    for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, from, m_data + m_length - p))) != nullptr;) *p++ = to;
    return;
  }
  XString text;
  text.setSecure(m_secure);
  text.appendUtf8N(m_data, m_length);
  text.replaceChar(from, to);
  setString(text.getUtf8());
}

unsigned int StringBuffer::replaceCharAnsi(char from, char to) {
  unsigned int count = 0;
  char* const end = m_data + m_length;
  for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, from, end - p))) != nullptr; ++count) *p++ = to;
  return count;
}
