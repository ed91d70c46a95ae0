// Converting the content between code pages through _tvEncodingConvert:
// each operation converts into a scratch buffer and then puts the result in
// place of the content, or next to it.
#include <array>
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/Psdk.h"
#include "lib/_tvEncodingConvert.h"
#include "lib/_tvUtf.h"

namespace {

constexpr int kUtf8 = 65001;
constexpr int kUtf16Le = 1200;
constexpr int kUtf16Be = 1201;
constexpr int kUsAscii = 20127;
constexpr int kOemUs = 437;

// Bytes that are rare in real Windows-1252 text: symbols and punctuation
// that a wrong guess of the encoding puts in where letters should be. A
// text full of them is likely not 1252 at all.
constexpr std::array<bool, 256> improbableBytes() {
  std::array<bool, 256> t{};
  t[129] = t[131] = true;
  for (int b = 133; b <= 140; ++b) t[b] = true;
  for (int b = 164; b <= 168; ++b) t[b] = true;
  for (int b = 170; b <= 173; ++b) t[b] = true;
  for (int b = 175; b <= 191; ++b) t[b] = true;
  return t;
}
constexpr auto kImprobable = improbableBytes();

bool allBelow128(const char* p, unsigned int n) {
  const char* const end = p + n;
  for (; end - p >= 8; p += 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    if ((w & 0x8080808080808080ULL) != 0) return false;
  }
  for (; p < end; ++p)
    if (static_cast<unsigned char>(*p) >= 0x80) return false;
  return true;
}

// The pairs whose conversion cannot change the text: US-ASCII read as any
// ASCII superset, and 7-bit text of code page 437 read as 1252, UTF-8 or
// Latin-1. Only the second looks at the bytes.
// Note: the first holds even when the text is not really ASCII; callers rely
// on such text coming back untouched.
bool conversionChangesNothing(int from, int to, const char* p, unsigned int n) {
  if (from == kUsAscii && (to == kUtf8 || (to >= 28591 && to <= 28605) || (to >= 1250 && to <= 1258)))
    return true;
  if (from == kOemUs && (to == 1252 || to == kUtf8 || to == 28591)) return allBelow128(p, n);
  return false;
}

// The code page whose byte order matches this machine's unsigned shorts.
int hostUtf16CodePage() {
  const uint16_t probe = 1;
  unsigned char first;
  std::memcpy(&first, &probe, 1);
  return first == 1 ? kUtf16Le : kUtf16Be;
}

}  // namespace

void StringBuffer::cvAnsiToUtf8(LogBase&) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  scratch.ensureBuffer(m_length + 32);
  _tvEncodingConvert conv;
  LogNull log;
  conv.AnsiToMultiByte(kUtf8, m_data, static_cast<int>(m_length), scratch, log);
  scratch.appendChar(0);
  // takeFromDb adopts the scratch block with no copy. The old content is
  // wiped here: weakClear leaves it in the block that takeFromDb releases.
  wipeIfSecure();
  weakClear();
  takeFromDb(scratch);
}

void StringBuffer::cvUtf8ToAnsi() {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  LogNull log;
  conv.MultiByteToAnsi(kUtf8, reinterpret_cast<const unsigned char*>(m_data), static_cast<int>(m_length), scratch,
                       log);
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

void StringBuffer::cvAnsiToUnicode(DataBuffer& out) const {
  out.clear();
  if (m_length == 0) return;
  _tvEncodingConvert conv;
  LogNull log;
  conv.EncConvert(Psdk::getAnsiCodePage(), kUtf16Le, reinterpret_cast<const unsigned char*>(m_data), m_length, out,
                  log);
}

void StringBuffer::cvUtf8ToUnicode(DataBuffer& out) const {
  out.clear();
  if (m_length == 0) return;
  _tvEncodingConvert conv;
  LogNull log;
  conv.EncConvert(kUtf8, kUtf16Le, reinterpret_cast<const unsigned char*>(m_data), m_length, out, log);
}

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
  if (fromCodePage == toCodePage || fromCodePage == 0 || toCodePage == 0 || m_length == 0) return true;
  if (conversionChangesNothing(fromCodePage, toCodePage, m_data, m_length)) return true;
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  const bool ok =
      conv.EncConvert(fromCodePage, toCodePage, reinterpret_cast<const unsigned char*>(m_data), m_length, scratch, log);
  // Note: replaced even on false, so an unknown code page empties the
  // content; a partial conversion keeps what could be converted.
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
  return ok;
}

bool StringBuffer::convertEncoding2(int fromCodePage, int toCodePage, StringBuffer& out, LogBase& log) const {
  if (m_length == 0) return true;
  if (fromCodePage == toCodePage || fromCodePage == 0 || toCodePage == 0 ||
      conversionChangesNothing(fromCodePage, toCodePage, m_data, m_length))
    return out.appendN(m_data, m_length);
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  if (!conv.EncConvert(fromCodePage, toCodePage, reinterpret_cast<const unsigned char*>(m_data), m_length, scratch,
                       log))
    return false;
  return out.appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

void StringBuffer::convertToAnsi(int codePage) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  LogNull log;
  conv.MultiByteToAnsi(codePage, reinterpret_cast<const unsigned char*>(m_data), static_cast<int>(m_length), scratch,
                       log);
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

void StringBuffer::convertFromAnsi(int codePage) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  LogNull log;
  conv.AnsiToMultiByte(codePage, m_data, static_cast<int>(m_length), scratch, log);
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

void StringBuffer::convertToOem(int codePage) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  LogNull log;
  conv.MultiByteToOem(codePage, reinterpret_cast<const unsigned char*>(m_data), static_cast<int>(m_length), scratch,
                      log);
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

void StringBuffer::convertFromOem(int codePage) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  _tvEncodingConvert conv;
  LogNull log;
  conv.OemToMultiByte(codePage, m_data, static_cast<int>(m_length), scratch, log);
  wipeIfSecure();
  weakClear();
  appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

bool StringBuffer::appendNullTerminatedUtf16AsUtf8(const unsigned short* s) {
  if (s == nullptr) return true;
  size_t units = 0;
  while (s[units] != 0) ++units;
  if (units == 0) return true;
  if (units > UINT32_MAX / 2) return false;
  DataBuffer scratch;
  _tvEncodingConvert conv;
  LogNull log;
  conv.EncConvert(hostUtf16CodePage(), kUtf8, reinterpret_cast<const unsigned char*>(s),
                  static_cast<unsigned int>(units * 2), scratch, log);
  if (scratch.getSize() == 0) return true;
  return appendN(reinterpret_cast<const char*>(scratch.getData2()), scratch.getSize());
}

bool StringBuffer::isValidUtf8() const {
  return _tvUtf::isValidUtf8(reinterpret_cast<const unsigned char*>(m_data), m_length, 0);
}

void StringBuffer::countImprobableAnsiChars(unsigned int& num8bit, unsigned int& numImprobable) const {
  num8bit = 0;
  numImprobable = 0;
  const auto* p = reinterpret_cast<const unsigned char*>(m_data);
  const unsigned char* const end = p + m_length;
  while (p < end) {
    // Most text is ASCII: skip it a word at a time.
    while (end - p >= 8) {
      uint64_t w;
      std::memcpy(&w, p, 8);
      if ((w & 0x8080808080808080ULL) != 0) break;
      p += 8;
    }
    if (p == end) break;
    const unsigned char b = *p++;
    num8bit += b >> 7;
    numImprobable += kImprobable[b];
  }
}
