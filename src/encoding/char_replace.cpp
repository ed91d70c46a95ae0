// Replacing substrings by a single byte in place: the content only ever
// shrinks, so it is compacted from the front without any allocation.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"

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
