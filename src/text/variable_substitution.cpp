// Template expansion in place: "%NAME%" references filled from the process
// environment, and "{$name}" references filled from a StringMap. Both build
// the expanded text in a new buffer and swap it in.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/ProcessEnv.h"
#include "lib/StringMap.h"
#include "lib/TextCodec.h"
#include "text/internal/text_scan.h"
#include "text/internal/threshold_stager.h"

namespace {

constexpr int kModeJson = 22;
constexpr int kModeDisguise = 4;

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

bool StringBuffer::variableSubstitute(StringMap& map, int mode) {
  const char* const end = m_data + textscan::textLength(m_data, m_length);
  // Up to the first reference the text is copied as it is ("{x" pairs
  // included), so a template without one is left alone, unless a zero byte
  // inside it cuts the text short.
  const char* first = m_data;
  for (;;) {
    first = findByte(first, end, '{');
    if (first == nullptr || first + 1 == end) {
      first = end;
      break;
    }
    if (first[1] == '$') break;
    first += 2;
  }
  if (first == end && end == m_data + m_length) return false;

  StringBuffer out;
  StringBuffer name;
  StringBuffer value;
  out.setSecureBuf(m_secure);
  name.setSecureBuf(m_secure);
  // Map values are as a rule the sensitive part of a template.
  value.setSecureBuf(true);
  // Note: a failed append loses only its own piece; the expansion goes on
  // and what was built replaces the content.
  auto sink = [&out](const char* p, unsigned int n) { return out.appendN(p, n); };
  ThresholdStager<256, 252, decltype(sink)> staged(sink);
  staged.putRun(m_data, static_cast<unsigned int>(first - m_data));

  for (const char* p = first; p < end;) {
    const char* open = findByte(p, end, '{');
    if (open == nullptr) {
      staged.putRun(p, static_cast<unsigned int>(end - p));
      break;
    }
    staged.putRun(p, static_cast<unsigned int>(open - p));
    if (open + 1 == end) {
      staged.put('{');
      break;
    }
    if (open[1] != '$') {
      staged.put2('{', open[1]);
      p = open + 2;
      continue;
    }
    const char* nameStart = open + 2;
    const char* close = findByte(nameStart, end, '}');
    if (close == nullptr) {
      staged.flush();
      out.appendN(open, static_cast<unsigned int>(end - open));
      break;
    }
    // A one-byte qualifier such as the "p." of "{$p.host}" is not part of
    // the name; a name that merely starts with "." keeps it.
    if (close - nameStart >= 2 && nameStart[1] == '.') nameStart += 2;
    name.weakClear();
    name.appendN(nameStart, static_cast<unsigned int>(close - nameStart));
    if (map.lookup(name.getString(), value)) {
      staged.flush();
      // Note: a value that cannot be escaped is left out rather than put
      // into JSON text raw.
      bool ready = true;
      if (mode == kModeJson) {
        ready = value.jsonEscape();
      } else if (mode == kModeDisguise) {
        TextCodec::encode(value);
      }
      if (ready) out.append(value);
    }
    p = close + 1;
  }
  staged.flush();
  if (m_secure) staged.wipe();
  takeSb(out);
  return false;
}
