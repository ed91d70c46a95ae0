// Decoding by encoding name: one table of names, and one table-driven
// decoder per encoding, each writing straight into the output's spare room
// and committing only when the whole text was well formed.
#include "lib/_clsEncode.h"

#include <array>
#include <cstring>
#include <strings.h>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"

namespace {

struct Name {
  const char* name;
  int id;
};
constexpr Name kNames[] = {
    {"base64", _clsEncode::kBase64},
    {"b64", _clsEncode::kBase64},
    {"base64-mime", _clsEncode::kBase64},
    {"base64_mime", _clsEncode::kBase64},
    {"mime", _clsEncode::kBase64},
    {"quoted-printable", _clsEncode::kQuotedPrintable},
    {"quoted_printable", _clsEncode::kQuotedPrintable},
    {"qp", _clsEncode::kQuotedPrintable},
    {"hex", _clsEncode::kHex},
    {"hexadecimal", _clsEncode::kHex},
    {"base16", _clsEncode::kHex},
    {"url", _clsEncode::kUrl},
    {"urlencoding", _clsEncode::kUrl},
    {"percent", _clsEncode::kUrl},
    {"base32", _clsEncode::kBase32},
    {"base64url", _clsEncode::kBase64Url},
    {"base64-url", _clsEncode::kBase64Url},
    {"base64_url", _clsEncode::kBase64Url},
    {"modbase64", _clsEncode::kBase64Url},
};

// Symbol classes beside the values themselves.
constexpr uint8_t kSpace = 0xFD;
constexpr uint8_t kPad = 0xFE;
constexpr uint8_t kBad = 0xFF;

constexpr std::array<uint8_t, 256> symbolTable(const char* alphabet, bool foldCase) {
  std::array<uint8_t, 256> t{};
  for (auto& v : t) v = kBad;
  for (uint8_t i = 0; alphabet[i] != 0; ++i) {
    const auto c = static_cast<unsigned char>(alphabet[i]);
    t[c] = i;
    if (foldCase && c >= 'A' && c <= 'Z') t[c + 32] = i;
  }
  t['\t'] = t['\n'] = t['\r'] = t[' '] = kSpace;
  t['='] = kPad;
  return t;
}
constexpr auto kBase64Symbols =
    symbolTable("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", false);
constexpr auto kBase64UrlSymbols =
    symbolTable("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_", false);
constexpr auto kBase32Symbols = symbolTable("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", true);
constexpr auto kHexDigits = [] {
  auto t = symbolTable("0123456789ABCDEF", true);
  t['='] = kBad;
  return t;
}();

// Output position; every decoder writes at most one byte per input byte.
using Out = unsigned char*;

// Decodes groups of `bits`-bit symbols (6 for base64, 5 for base32). After
// padding only white space and more padding may follow. A trailing group
// must hold at least one whole byte.
bool decodeRadix(const std::array<uint8_t, 256>& symbols, unsigned bits, const unsigned char* p,
                 const unsigned char* end, Out& w) {
  uint32_t acc = 0;
  unsigned held = 0;    // bits in acc
  unsigned symbolsInGroup = 0;
  const unsigned groupSymbols = bits == 6 ? 4 : 8;
  bool padded = false;
  for (; p < end; ++p) {
    const uint8_t v = symbols[*p];
    if (v < 64) {
      if (padded) return false;
      acc = acc << bits | v;
      held += bits;
      if (held >= 8) {
        held -= 8;
        *w++ = static_cast<unsigned char>(acc >> held);
      }
      symbolsInGroup = (symbolsInGroup + 1) % groupSymbols;
    } else if (v == kPad) {
      padded = true;
    } else if (v != kSpace) {
      return false;
    }
  }
  // Symbols left over that cannot make a byte (one base64 symbol; one,
  // three or six base32 symbols) mean the text was cut.
  if (bits == 6) return symbolsInGroup != 1;
  return symbolsInGroup != 1 && symbolsInGroup != 3 && symbolsInGroup != 6;
}

bool decodeHex(const unsigned char* p, const unsigned char* end, Out& w) {
  while (p < end) {
    const uint8_t hi = kHexDigits[*p];
    if (hi == kSpace) {
      ++p;
      continue;
    }
    if (hi >= 16 || end - p < 2 || kHexDigits[p[1]] >= 16) return false;
    *w++ = static_cast<unsigned char>(hi << 4 | kHexDigits[p[1]]);
    p += 2;
  }
  return true;
}

// "%XX" (url) or "=XX" (quoted-printable) escapes in otherwise literal text;
// quoted-printable also drops "=" before a line break.
bool decodeEscapes(unsigned char mark, bool softBreaks, const unsigned char* p, const unsigned char* end, Out& w) {
  while (p < end) {
    const auto* hit = static_cast<const unsigned char*>(std::memchr(p, mark, static_cast<size_t>(end - p)));
    const unsigned char* runEnd = hit != nullptr ? hit : end;
    std::memcpy(w, p, static_cast<size_t>(runEnd - p));
    w += runEnd - p;
    if (hit == nullptr) return true;
    p = hit + 1;
    if (softBreaks && p < end && (*p == '\n' || (*p == '\r' && end - p >= 2 && p[1] == '\n'))) {
      p += *p == '\r' ? 2 : 1;
      continue;
    }
    if (end - p < 2 || kHexDigits[p[0]] >= 16 || kHexDigits[p[1]] >= 16) return false;
    *w++ = static_cast<unsigned char>(kHexDigits[p[0]] << 4 | kHexDigits[p[1]]);
    p += 2;
  }
  return true;
}

}  // namespace

int _clsEncode::encodingIdFromName(const char* name, LogBase&) {
  if (name == nullptr) return 0;
  for (const Name& n : kNames)
    if (strcasecmp(name, n.name) == 0) return n.id;
  return 0;
}

namespace {

// Decodes into out's spare room; commits the bytes (and the zero behind
// them when asked) only when the whole text was well formed.
bool decodeInto(int id, const unsigned char* p, unsigned int n, DataBuffer& out, bool terminate) {
  if (id < _clsEncode::kBase64 || id > _clsEncode::kBase64Url || n == UINT32_MAX) return false;
  // Every decoder writes at most one byte per input byte, and the zero
  // behind them needs one more.
  unsigned char* const start = out.reserveTail(n + 1);
  if (start == nullptr) return false;
  Out w = start;
  const unsigned char* const end = p + n;
  bool ok = false;
  switch (id) {
    case _clsEncode::kBase64:
      ok = decodeRadix(kBase64Symbols, 6, p, end, w);
      break;
    case _clsEncode::kBase64Url:
      ok = decodeRadix(kBase64UrlSymbols, 6, p, end, w);
      break;
    case _clsEncode::kBase32:
      ok = decodeRadix(kBase32Symbols, 5, p, end, w);
      break;
    case _clsEncode::kHex:
      ok = decodeHex(p, end, w);
      break;
    case _clsEncode::kUrl:
      ok = decodeEscapes('%', false, p, end, w);
      break;
    default:
      ok = decodeEscapes('=', true, p, end, w);
      break;
  }
  if (!ok) {
    // Nothing is committed, so out keeps exactly what it held; the bytes
    // written into its spare room are wiped, as the text may be a secret.
    std::memset(start, 0, static_cast<size_t>(w - start));
    return false;
  }
  if (terminate) *w++ = 0;
  out.commitTail(static_cast<unsigned int>(w - start));
  return true;
}

}  // namespace

bool _clsEncode::decodeBytes(int id, const unsigned char* p, unsigned int n, DataBuffer& out) {
  if (p == nullptr && n != 0) return false;
  return decodeInto(id, p, n, out, false);
}

bool _clsEncode::decodeBinary(int id, StringBuffer& text, DataBuffer& out, bool terminate, LogBase& log) {
  if (id < kBase64 || id > kBase64Url) {
    log.LogError_lcr("mFmpdl,mmvlxrwtmm,nz/v");  // scrambled: the encoding is unknown
    log.LogDataLong("encodingId", id);
    return false;
  }
  if (decodeInto(id, reinterpret_cast<const unsigned char*>(text.getString()), text.getSize(), out, terminate))
    return true;
  log.LogError_lcr("zNuoilvn,wmvlxvw,wvggc/");  // scrambled: the text is malformed, or memory ran out
  return false;
}
