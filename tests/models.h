// Reference models: the plainest code that computes what an operation
// promises, written on std::string without regard to speed. The unit tests
// and the fuzz driver both compare the real operations against them.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

namespace model {

using std::string;
using Pieces = std::vector<string>;

// Calls fn with every string of up to maxLength bytes over alphabet.
template <typename Fn>
void forEachString(const string& alphabet, size_t maxLength, Fn fn) {
  string s;
  fn(s);
  std::vector<size_t> digits;
  while (digits.size() <= maxLength) {
    size_t i = 0;
    while (i < digits.size() && ++digits[i] == alphabet.size()) digits[i++] = 0;
    if (i == digits.size()) digits.push_back(0);
    if (digits.size() > maxLength) break;
    s.assign(digits.size(), ' ');
    for (size_t k = 0; k < digits.size(); ++k) s[k] = alphabet[digits[k]];
    fn(s);
  }
}

// What a zero-terminated reader of the content sees.
inline string textOf(const string& bytes) { return bytes.substr(0, bytes.find('\0')); }

inline bool isSpace(unsigned char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
inline bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }
inline int hexDigit(unsigned char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
inline unsigned char foldAscii(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

struct Replaced {
  unsigned count;
  string content;
};

// Every occurrence of find in the text, left to right, never overlapping and
// never searching inserted text. Nothing found leaves every byte; otherwise
// the result is the rewritten text (bytes behind a zero byte are dropped).
inline Replaced replaceAll(const string& content, const string& find, const string& replacement) {
  const string text = textOf(content);
  if (find.empty()) return {0, content};
  string out;
  unsigned count = 0;
  size_t from = 0;
  for (size_t at; (at = text.find(find, from)) != string::npos; from = at + find.size(), ++count)
    out += text.substr(from, at - from) + replacement;
  if (count == 0) return {0, content};
  return {count, out + text.substr(from)};
}

// Byte-separated splitting of the text: quote mode makes a double quote
// toggle a stretch in which separators are content, escape mode makes a
// backslash carry the next byte; both stay in the piece. lineEndings: a CR
// that ends a piece swallows an LF right behind it. Empty content: no piece.
inline Pieces split(const string& content, const string& separators, bool quoteMode, bool escapeMode,
                    bool lineEndings = false) {
  if (content.empty()) return {};
  const string text = textOf(content);
  Pieces out(1);
  bool inQuotes = false, escaped = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    bool separates = false;
    if (escapeMode && escaped) {
      escaped = false;
    } else if (escapeMode && c == '\\') {
      escaped = true;
    } else if (quoteMode && c == '"') {
      inQuotes = !inQuotes;
    } else if (!(quoteMode && inQuotes)) {
      separates = separators.find(c) != string::npos;
    }
    if (!separates) {
      out.back() += c;
      continue;
    }
    out.emplace_back();
    if (lineEndings && c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
  }
  return out;
}

// Words between white space; a backslash carries the next byte, a double
// quote toggles a stretch that holds everything; outside quotes each byte of
// separators is a token of its own (with countOnly it only ends a word).
inline Pieces tokenize(const string& content, const string& separators, bool countOnly = false) {
  const string text = textOf(content);
  Pieces out;
  string word;
  bool inQuotes = false;
  const auto finish = [&] {
    if (!word.empty()) out.push_back(word);
    word.clear();
  };
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      word += c;
      if (i + 1 < text.size()) word += text[++i];
    } else if (c == '"') {
      word += c;
      inQuotes = !inQuotes;
    } else if (inQuotes) {
      word += c;
    } else if (isSpace(static_cast<unsigned char>(c))) {
      finish();
    } else if (separators.find(c) != string::npos) {
      finish();
      if (!countOnly) out.emplace_back(1, c);
    } else {
      word += c;
    }
  }
  finish();
  return out;
}

// '*' any run of bytes, '?' one byte, anything else itself (ASCII letters
// folded unless caseSensitive); the whole text must match.
inline bool wildcard(const string& text, const string& pattern, bool caseSensitive) {
  // match[j]: the text read so far matches pattern[0, j).
  std::vector<char> match(pattern.size() + 1, 0), next(pattern.size() + 1);
  match[0] = 1;
  for (size_t j = 0; j < pattern.size() && pattern[j] == '*'; ++j) match[j + 1] = 1;
  for (const char t : text) {
    next.assign(pattern.size() + 1, 0);
    for (size_t j = 0; j < pattern.size(); ++j) {
      const unsigned char p = pattern[j];
      if (p == '*') {
        next[j + 1] = next[j] || match[j + 1] || match[j];
      } else if (match[j]) {
        const auto a = static_cast<unsigned char>(t);
        next[j + 1] = p == '?' || (caseSensitive ? p == a : foldAscii(p) == foldAscii(a));
      }
    }
    match.swap(next);
  }
  return match[pattern.size()] != 0;
}

// Leading TAB, LF, CR and space, one sign, digits; clamped to [lo, hi].
inline int64_t decimalValue(const string& content, int64_t lo, int64_t hi) {
  const string text = textOf(content);
  size_t i = 0;
  while (i < text.size() && isSpace(static_cast<unsigned char>(text[i]))) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  // Magnitudes beyond 2^63 only need to stay beyond both limits.
  uint64_t magnitude = 0;
  for (; i < text.size() && isDigit(static_cast<unsigned char>(text[i])); ++i)
    magnitude = magnitude > (UINT64_MAX - 9) / 10 ? UINT64_MAX : magnitude * 10 + (text[i] - '0');
  if (negative) {
    if (magnitude > uint64_t(INT64_MAX) + 1) return lo;
    const int64_t v = magnitude == uint64_t(INT64_MAX) + 1 ? INT64_MIN : -static_cast<int64_t>(magnitude);
    return v < lo ? lo : v > hi ? hi : v;
  }
  return magnitude > uint64_t(hi) ? hi : static_cast<int64_t>(magnitude) < lo ? lo : static_cast<int64_t>(magnitude);
}

// Which integer type the decimal text needs: 0 int, 1 unsigned int, 2 wider.
inline int intType(const string& content) {
  string digits = textOf(content);
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.erase(0, 1);
  if (digits.size() != 10) return digits.size() < 10 ? 0 : 2;
  if (negative) return digits <= "2147483648" ? 0 : 2;
  return digits <= "2147483647" ? 0 : digits <= "4294967295" ? 1 : 2;
}

// The bytes n hex characters spell: "0x" skipped, an odd count's first
// character alone makes the first byte. Only meaningful for hex digits.
inline string hexBytes(const string& s) {
  string text = textOf(s), out;
  if (text.size() >= 2 && text[0] == '0' && text[1] == 'x') text.erase(0, 2);
  size_t i = 0;
  if (text.size() % 2 == 1) out += static_cast<char>(hexDigit(static_cast<unsigned char>(text[i++])));
  for (; i + 1 < text.size(); i += 2)
    out += static_cast<char>(hexDigit(static_cast<unsigned char>(text[i])) << 4 |
                             hexDigit(static_cast<unsigned char>(text[i + 1])));
  return out;
}

// Every byte passes; the character classes of the numeric value tests.
inline bool isDecimal(const string& bytes, bool allowPoint) {
  bool point = false;
  for (const char c : bytes) {
    if (isDigit(static_cast<unsigned char>(c))) continue;
    if (!allowPoint || c != '.' || point) return false;
    point = true;
  }
  return true;
}
inline bool isHex(const string& bytes) {
  for (const char c : bytes)
    if (hexDigit(static_cast<unsigned char>(c)) < 0) return false;
  return true;
}
inline bool isBase64Text(const string& bytes) {
  bool padded = false;
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    const bool symbol = isDigit(c) || (foldAscii(c) >= 'a' && foldAscii(c) <= 'z') || c == '+' || c == '/';
    if (isSpace(c)) continue;
    if (c == '=') padded = true;
    else if (!symbol || padded) return false;
  }
  return true;
}

// Strict UTF-8: no overlong form, no surrogate, nothing above U+10FFFF, no
// sequence cut short.
inline bool isUtf8(const string& s) {
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    const size_t n = b < 0x80 ? 0 : b >= 0xC2 && b < 0xE0 ? 1 : b >= 0xE0 && b < 0xF0 ? 2 : b >= 0xF0 && b < 0xF5 ? 3 : 9;
    if (n == 9 || i + n >= s.size()) return false;
    uint32_t cp = n == 0 ? b : b & (0x3F >> n);
    for (size_t k = 1; k <= n; ++k) {
      const auto c = static_cast<unsigned char>(s[i + k]);
      if ((c & 0xC0) != 0x80) return false;
      cp = cp << 6 | (c & 0x3F);
    }
    const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
    if (cp < least[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) return false;
    i += n + 1;
  }
  return true;
}

// Percent-encoding as the signing schemes canonicalize: plain bytes (letters,
// digits, "~" and plainPunctuation) stay, a space becomes "+" when asked,
// percent is 'c' (stays), 'e' (%25) or 'h' (stays before two hex digits);
// a byte from 0xC0 up is encoded together with the bytes its length claims.
inline string percentEncode(const string& in, const string& plainPunctuation, char percent, bool spaceAsPlus) {
  static const char hex[] = "0123456789ABCDEF";
  string out;
  const auto escape = [&](unsigned char c) { out += {'%', hex[c >> 4], hex[c & 15]}; };
  for (size_t i = 0; i < in.size(); ++i) {
    const auto c = static_cast<unsigned char>(in[i]);
    if (c >= 0xC0) {
      const size_t unit = 1 + (c < 0xE0 ? 1 : c < 0xF0 ? 2 : c < 0xF8 ? 3 : c < 0xFC ? 4 : 5);
      for (size_t end = std::min(in.size(), i + unit); i < end; ++i) escape(static_cast<unsigned char>(in[i]));
      --i;
    } else if (c == '%') {
      const bool pair = i + 2 < in.size() && hexDigit(static_cast<unsigned char>(in[i + 1])) >= 0 &&
                        hexDigit(static_cast<unsigned char>(in[i + 2])) >= 0;
      if (percent == 'c' || (percent == 'h' && pair)) out += '%';
      else escape(c);
    } else if (c == ' ' && spaceAsPlus) {
      out += '+';
    } else if ((c < 128 && std::isalnum(c)) || c == '~' || (c != 0 && plainPunctuation.find(char(c)) != string::npos)) {
      out += char(c);
    } else {
      escape(c);
    }
  }
  return out;
}

// "{$name}" references of a template filled from values (a one-byte
// qualifier "x." before the name dropped, unknown names removed); "{" and
// the byte after it are text; an unterminated reference stays with the rest.
template <typename Lookup>
string substitute(const string& text, Lookup lookup) {
  string out;
  for (size_t i = 0; i < text.size();) {
    if (text[i] != '{' || i + 1 == text.size()) {
      out += text[i++];
    } else if (text[i + 1] != '$') {
      out += text.substr(i, 2);
      i += 2;
    } else {
      const size_t close = text.find('}', i + 2);
      if (close == string::npos) return out + text.substr(i);
      string name = text.substr(i + 2, close - i - 2);
      if (name.size() >= 2 && name[1] == '.') name.erase(0, 2);
      out += lookup(name);
      i = close + 1;
    }
  }
  return out;
}

}  // namespace model
