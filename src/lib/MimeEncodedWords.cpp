// MIME encoded words (RFC 2047): finding "=?charset?B|Q?text?=", decoding
// the text, and converting runs of words from their charset to UTF-8.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/_clsEncode.h"
#include "lib/_tvEncodingConvert.h"

namespace {

constexpr int kUtf8 = 65001;
// RFC 2047 caps a whole word at 75 characters; charsets are far shorter.
constexpr unsigned kMaxCharsetLength = 40;

inline bool isLinearSpace(unsigned char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

struct Word {
  const unsigned char* text;  // the encoded text
  unsigned int textLength;
  const unsigned char* end;   // behind the closing "?="
  int codePage;
  bool base64;
};

// Reads the word that starts at p ("=?" there). False when the bytes are
// not a complete word or name a charset no converter knows.
bool parseWord(const unsigned char* p, const unsigned char* end, Word& word) {
  const unsigned char* q = p + 2;
  const unsigned char* const charset = q;
  while (q < end && *q != '?' && !isLinearSpace(*q) && static_cast<unsigned>(q - charset) <= kMaxCharsetLength) ++q;
  if (q >= end || *q != '?' || q == charset) return false;
  // "charset*language" (RFC 2231): the language is not needed to decode.
  const auto* star = static_cast<const unsigned char*>(std::memchr(charset, '*', static_cast<size_t>(q - charset)));
  const unsigned char* const charsetEnd = star != nullptr ? star : q;
  word.codePage = _tvEncodingConvert::codePageFromCharsetName(reinterpret_cast<const char*>(charset),
                                                                static_cast<unsigned>(charsetEnd - charset));
  if (word.codePage == 0) return false;
  if (end - q < 3 || q[2] != '?') return false;
  const unsigned char kind = q[1] | 0x20;
  if (kind != 'b' && kind != 'q') return false;
  word.base64 = kind == 'b';
  q += 3;
  // The text holds neither "?" nor white space, so the first "?" ends it.
  word.text = q;
  while (q < end && *q != '?' && !isLinearSpace(*q)) ++q;
  if (end - q < 2 || q[0] != '?' || q[1] != '=') return false;
  word.textLength = static_cast<unsigned>(q - word.text);
  word.end = q + 2;
  return true;
}

constexpr uint8_t hexValue(unsigned char c) {
  return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : c >= 'a' && c <= 'f' ? c - 'a' + 10 : 16;
}

// The "Q" form: "_" is a space, "=XX" a byte, everything else itself.
bool decodeQ(const unsigned char* p, unsigned int n, DataBuffer& out) {
  unsigned char* const start = out.reserveTail(n);
  if (start == nullptr) return false;
  unsigned char* w = start;
  const unsigned char* const end = p + n;
  while (p < end) {
    const unsigned char c = *p++;
    if (c == '_') {
      *w++ = ' ';
    } else if (c != '=') {
      *w++ = c;
    } else {
      if (end - p < 2 || hexValue(p[0]) > 15 || hexValue(p[1]) > 15) return false;
      *w++ = static_cast<unsigned char>(hexValue(p[0]) << 4 | hexValue(p[1]));
      p += 2;
    }
  }
  out.commitTail(static_cast<unsigned int>(w - start));
  return true;
}

// The words of one charset decoded so far; converted to UTF-8 as one text,
// so a multi-byte character that the sender split between words is whole.
class WordRun {
 public:
  WordRun() { m_bytes.setSecure(true); }
  int codePage() const { return m_codePage; }
  bool add(int codePage, const DataBuffer& bytes) {
    m_codePage = codePage;
    return m_bytes.append(bytes.getData2(), bytes.getSize());
  }
  // Appends the run as UTF-8 to out and empties it.
  bool flushTo(StringBuffer& out, LogBase& log) {
    if (m_bytes.getSize() == 0) return true;
    DataBuffer utf8;
    utf8.setSecure(true);
    _tvEncodingConvert conv;
    conv.EncConvert(m_codePage, kUtf8, m_bytes.getData2(), m_bytes.getSize(), utf8, log);
    m_bytes.clear();
    m_codePage = 0;
    return out.append(utf8);
  }

 private:
  DataBuffer m_bytes;
  int m_codePage = 0;
};

bool onlyLinearSpace(const unsigned char* p, const unsigned char* end) {
  for (; p < end; ++p)
    if (!isLinearSpace(*p)) return false;
  return true;
}

}  // namespace

bool MimeCodec::decodeEncodedWords(StringBuffer& sb, LogBase& log) {
  const auto* const data = reinterpret_cast<const unsigned char*>(sb.getString());
  const unsigned char* const end = data + sb.getSize();
  // The result is wiped whenever it moves: this level cannot tell whether
  // sb holds a secret.
  StringBuffer result;
  result.setSecureBuf(true);
  WordRun run;
  DataBuffer wordBytes;
  wordBytes.setSecure(true);
  const unsigned char* copied = data;          // text before it is in result or run
  const unsigned char* lastWordEnd = nullptr;  // behind the previous word
  bool ok = true;
  bool anyWord = false;
  const unsigned char* p = data;
  while (ok && (p = static_cast<const unsigned char*>(std::memchr(p, '=', static_cast<size_t>(end - p)))) != nullptr) {
    Word word;
    if (end - p < 2 || p[1] != '?' || !parseWord(p, end, word)) {
      ++p;
      continue;
    }
    wordBytes.clear();
    const bool decoded = word.base64 ? _clsEncode::decodeBytes(_clsEncode::kBase64, word.text, word.textLength, wordBytes)
                                     : decodeQ(word.text, word.textLength, wordBytes);
    if (!decoded) {
      p += 2;
      continue;
    }
    anyWord = true;
    const bool adjacent = lastWordEnd == copied && onlyLinearSpace(copied, p);
    if (!adjacent || word.codePage != run.codePage()) ok = run.flushTo(result, log);
    if (ok && !adjacent) ok = result.appendN(reinterpret_cast<const char*>(copied), static_cast<unsigned>(p - copied));
    if (ok) ok = run.add(word.codePage, wordBytes);
    copied = lastWordEnd = p = word.end;
  }
  if (!anyWord) return ok;
  if (ok) ok = run.flushTo(result, log);
  if (ok) ok = result.appendN(reinterpret_cast<const char*>(copied), static_cast<unsigned>(end - copied));
  if (!ok) return false;
  sb.takeSb(result);
  return true;
}
