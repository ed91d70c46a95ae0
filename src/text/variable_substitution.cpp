// Template expansion in place: "%NAME%" references filled from the process
// environment, and "{$name}" references filled from a StringMap. Both build
// the expanded text in a new buffer and swap it in.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/ProcessEnv.h"
#include "text/internal/text_scan.h"

namespace {

const char* findByte(const char* p, const char* end, char c) {
  return static_cast<const char*>(std::memchr(p, c, static_cast<size_t>(end - p)));
}

}  // namespace

void StringBuffer::envReplace() {
  const char* const end = m_data + textscan::textLength(m_data, m_length);
  const char* open = findByte(m_data, end, '%');
  if (open == nullptr) return;
  const char* close = findByte(open + 1, end, '%');
  if (close == nullptr) return;

  StringBuffer out;
  StringBuffer name;
  out.setSecureBuf(m_secure);
  name.setSecureBuf(m_secure);
  const char* p = m_data;
  // Note: a failed append loses only its own piece; the expansion goes on
  // and what was built replaces the content, as with any other template.
  for (;;) {
    out.appendN(p, static_cast<unsigned int>(open - p));
    name.weakClear();
    name.appendN(open + 1, static_cast<unsigned int>(close - open - 1));
    ProcessEnv::appendValue(name.getString(), out);
    p = close + 1;
    open = findByte(p, end, '%');
    if (open == nullptr) break;
    close = findByte(open + 1, end, '%');
    if (close == nullptr) break;
  }
  // The unpaired "%" and the text after it stay as they are.
  out.appendN(p, static_cast<unsigned int>(end - p));
  takeSb(out);
}
