// Replacing substrings by a single byte in place: the content only ever
// shrinks, so it is compacted from the front without any allocation.
#include <cstring>

#include "core/StringBuffer.h"

unsigned int StringBuffer::replaceAllWithUchar(const char* find, unsigned int byteValue) {
  if (find == nullptr || find[0] == 0) return 0;
  const char replacement = static_cast<char>(byteValue & 0xFF);
  const size_t findLength = std::strlen(find);
  unsigned int count = 0;

  if (findLength == 1) {
    // One byte for one byte: every match over the whole length, zero bytes
    // inside the content included.
    char* const end = m_data + m_length;
    for (char* p = m_data; (p = static_cast<char*>(std::memchr(p, find[0], end - p))) != nullptr;) {
      *p++ = replacement;
      ++count;
    }
    return count;
  }

  // Longer matches: the content is read as text. Everything from its first
  // zero byte on is dropped, so a content that begins with one ends empty.
  const char* read = m_data;
  char* write = m_data;
  while (const char* hit = std::strstr(read, find)) {
    const size_t run = static_cast<size_t>(hit - read);
    std::memmove(write, read, run);
    write += run;
    *write++ = replacement;
    read = hit + findLength;
    ++count;
  }
  const size_t rest = std::strlen(read);
  std::memmove(write, read, rest);
  write += rest;
  *write = 0;
  m_length = static_cast<unsigned int>(write - m_data);
  return count;
}
