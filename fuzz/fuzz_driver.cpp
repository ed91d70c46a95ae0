// One libFuzzer driver for every operation that parses or rewrites text it
// does not control. The first input byte picks a row of the table below, the
// second sets up the buffer (secure flag, inline or heap start, output
// aliasing); the content follows, up to the first 0x1E byte, and behind that
// each row reads its arguments (texts end at byte 0x1F). After every call the class
// invariants are checked, and where the contract is simple the result is
// compared with the reference models the unit tests use.
//
// SB_FUZZ_GROUP=<group> restricts the table to one group of rows, so that a
// short run spends its time on one family. A new family is one more row.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/StringBufferArray.h"
#include "lib/StringMap.h"
#include "lib/TextCodec.h"
#include "lib/TextSearch.h"
#include "lib/_tvEncodingConvert.h"
#include "models.h"
#include "test_support.h"

namespace {

using std::string;

[[noreturn]] void fail(const char* op, const char* what) {
  std::fprintf(stderr, "%s: %s\n", op, what);
  std::abort();
}

const char* gOp = "";
#define CHECK(cond) \
  do {              \
    if (!(cond)) fail(gOp, #cond); \
  } while (0)

class Input {
 public:
  Input(const uint8_t* p, size_t n) : m_p(p), m_n(n) {}
  uint8_t byte() { return m_n != 0 ? (--m_n, *m_p++) : 0; }
  bool flag() { return (byte() & 1) != 0; }
  // A short argument, up to the separator byte 0x1F or 24 bytes.
  string arg() {
    string s;
    while (m_n != 0 && s.size() < 24) {
      const char c = static_cast<char>(byte());
      if (c == '\x1F') break;
      s += c;
    }
    return s;
  }

 private:
  const uint8_t* m_p;
  size_t m_n;
};

// Zero byte at the length, length within the storage in use.
void checkSb(const StringBuffer& sb) {
  CHECK(sb.isValidObject());
  CHECK(sb.getString() != nullptr);
  CHECK(sb.getString()[sb.getSize()] == 0);
  const unsigned int capacity = const_cast<StringBuffer&>(sb).heapUsage();
  CHECK(capacity == 0 ? sb.getSize() <= 81 : sb.getSize() < capacity);
}

model::Pieces checkList(const ExtPtrArray& list) {
  model::Pieces out;
  for (int i = 0; i < list.getSize(); ++i) {
    const auto* sb = dynamic_cast<const StringBuffer*>(list.elementAt(i));
    CHECK(sb != nullptr);
    checkSb(*sb);
    out.push_back(bytesOf(*sb));
  }
  return out;
}

string dataOf(const DataBuffer& db) {
  CHECK(db.getSize() <= db.getBufSize() || db.getBufSize() == 0);
  return string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

// What every row works on: the content under test and an output buffer,
// which the setup byte may make the content itself.
struct Case {
  Input& in;
  StringBuffer& sb;
  StringBuffer& out;
  const string content;
};

// Invariants of both buffers; a read-only operation must leave every byte.
void run(Case& c, bool changed) {
  checkSb(c.sb);
  checkSb(c.out);
  if (!changed) CHECK(bytesOf(c.sb) == c.content);
}

bool plainOrLetterFree(const string& s) {
  for (const char ch : s)
    if (model::foldAscii(static_cast<unsigned char>(ch)) != static_cast<unsigned char>(ch) ||
        (ch >= 'a' && ch <= 'z'))
      return false;
  return true;
}

// ---- field operations ----

// A zero delimiter ends the record it is written into, and a quote or
// backslash delimiter is read as structure: the round trips below hold
// only for the others.
bool ordinaryDelimiter(char d) { return d != 0 && d != '"' && d != '\\'; }

void countColumns(Case& c) {
  const char d = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const unsigned n = c.sb.countColumns(d, q, e);
  run(c, false);
  if (model::textOf(c.content) == c.content && !c.content.empty())
    CHECK(n == model::split(c.content, string(1, d), q, e).size());
}

void getNth(Case& c) {
  const unsigned i = c.in.byte() % 8;
  const char d = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const bool ok = c.sb.getNthDelimited(i, d, q, e, c.out);
  run(c, false);
  if (&c.out != &c.sb && ok && !q && !e) {
    const model::Pieces fields = model::split(c.content, string(1, d), false, false);
    CHECK(i < fields.size() && bytesOf(c.out) == fields[i]);
  }
}

void setNth(Case& c) {
  const unsigned i = c.in.byte() % 8;
  const char d = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const string value = c.in.arg();
  StringBuffer v = bufferOf(value);
  const bool ok = c.sb.setNthDelimited(i, d, q, e, v);
  run(c, true);
  const bool plainValue = value.find(d) == string::npos && value.find('\0') == string::npos &&
                          value.find('"') == string::npos && value.find('\\') == string::npos;
  // Quotes or backslashes in the record could swallow the added delimiters.
  const bool plainRecord = c.content.find_first_of(string("\"\\\0", 3)) == string::npos;
  if (ok && plainValue && plainRecord && ordinaryDelimiter(d)) {
    StringBuffer field;
    CHECK(c.sb.getNthDelimited(i, d, q, e, field) || value.empty());
    CHECK(bytesOf(field) == value);
  }
}

void insertRemoveNth(Case& c) {
  const unsigned i = c.in.byte() % 8;
  const char d = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const unsigned before = c.sb.countColumns(d, q, e);
  if (c.sb.insertNthDelimited(i, d, q, e)) {
    checkSb(c.sb);
    if (i < before && ordinaryDelimiter(d) && model::textOf(c.content) == c.content) {
      CHECK(c.sb.countColumns(d, q, e) == before + 1);
      CHECK(c.sb.removeNthDelimited(i, d, q, e));
      CHECK(bytesOf(c.sb) == c.content);
    }
  }
  c.sb.removeNthDelimited(c.in.byte() % 8, d, q, e);
  run(c, true);
}

void changeDelimiter(Case& c) {
  const char from = static_cast<char>(c.in.byte()), to = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const bool ok = c.sb.changeDelimiter(from, to, q, e);
  run(c, true);
  const bool plain = c.content.find_first_of(string("\"\\\0", 3) + to) == string::npos;
  if (ok && plain && !q && !e && !c.content.empty()) {
    string joined;
    for (const string& f : model::split(c.content, string(1, from), false, false)) joined += f + to;
    joined.pop_back();
    CHECK(bytesOf(c.sb) == joined);
  }
}

// ---- splitting and tokenizing ----

void splitters(Case& c) {
  const uint8_t which = c.in.byte() % 5;
  const char d = static_cast<char>(c.in.byte());
  const bool q = c.in.flag(), e = c.in.flag();
  const string seps = model::textOf(c.in.arg());
  StringBufferArray list;
  bool ok = false;
  model::Pieces expected;
  switch (which) {
    case 0: ok = c.sb.split(list, d, q, e); expected = model::split(c.content, string(1, d), q, e); break;
    case 1: ok = c.sb.split2(list, seps.c_str(), q, e); expected = model::split(c.content, seps, q, e); break;
    case 2: ok = c.sb.splitByLineEndings(list, q, e); expected = model::split(c.content, "\r\n", q, e, true); break;
    case 3: ok = c.sb.splitAndTrim(list, d, q, e); break;
    default: ok = c.sb.splitUpToN(list, c.in.byte() % 6, d, q, e); break;
  }
  const model::Pieces got = checkList(list);
  run(c, false);
  CHECK(ok);
  if (which <= 2) CHECK(got == expected);
}

void lineAndBoundarySplitters(Case& c) {
  StringBufferArray list;
  const string boundary = model::textOf(c.in.arg());
  const int max = static_cast<int8_t>(c.in.byte()) % 5;
  const bool skip = c.in.flag();
  if (c.in.flag()) {
    c.sb.splitIntoLines(list, 0);
    const string lf = model::replaceAll(c.content, "\r\n", "\n").content;
    CHECK(checkList(list) == model::split(model::textOf(lf), "\r\n", false, false));
    return;
  }
  if (!boundary.empty()) {
    StringBuffer b(boundary.c_str());
    c.sb.splitUsingBoundary(b, list, max, skip);
  }
  const model::Pieces got = checkList(list);
  run(c, false);
  if (boundary.empty()) return;
  for (const string& piece : got) CHECK(!skip || !piece.empty());
}

void tokenizers(Case& c) {
  const bool cpp = c.in.flag();
  const string seps = cpp ? "*;(){}&+=[],!~" : model::textOf(c.in.arg());
  ExtPtrArray list;
  if (cpp) c.sb.tokenizeCPP(list);
  else c.sb.tokenize(list, seps.c_str());
  const unsigned count = c.sb.tokenCount(seps.c_str());
  run(c, false);
  CHECK(checkList(list) == model::tokenize(c.content, seps));
  CHECK(count == model::tokenize(c.content, seps, true).size());
}

// ---- replace and remove ----

void replaceAll(Case& c) {
  const string find = model::textOf(c.in.arg()), replacement = model::textOf(c.in.arg());
  const bool noCase = c.in.flag();
  const unsigned n = noCase ? c.sb.replaceAllOccurancesNoCase(find.c_str(), replacement.c_str())
                            : c.sb.replaceAllOccurances(find.c_str(), replacement.c_str());
  run(c, true);
  if (!noCase || plainOrLetterFree(find + c.content)) {
    const model::Replaced expected = model::replaceAll(c.content, find, replacement);
    CHECK(n == expected.count);
    CHECK(bytesOf(c.sb) == expected.content);
  }
}

void replaceOne(Case& c) {
  const string a = model::textOf(c.in.arg()), b = model::textOf(c.in.arg()), r = model::textOf(c.in.arg());
  const bool f1 = c.in.flag(), f2 = c.in.flag();
  switch (c.in.byte() % 8) {
    case 0: c.sb.replaceFirstOccurance(a.c_str(), r.c_str(), f1); break;
    case 1: c.sb.replaceLastOccurance(a.c_str(), r.c_str()); break;
    case 2: c.sb.replaceAfterFinal(a.c_str(), r.c_str()); break;
    case 3:
      if (!c.sb.replaceAllBetween(a.c_str(), b.c_str(), r.c_str(), f1)) CHECK(bytesOf(c.sb) == c.content);
      break;
    case 4: c.sb.replaceAllOccurancesBetween(a.c_str(), b.c_str(), r.c_str(), "x"); break;
    case 5: CHECK(c.sb.removeDelimited(a.c_str(), b.c_str(), f1, f2)); break;
    case 6: CHECK(c.sb.removeDelimitedIfContains(a.c_str(), b.c_str(), r.c_str(), f1, f2)); break;
    default:
      if (!c.sb.removeBefore(a.c_str(), f1)) CHECK(bytesOf(c.sb) == c.content);
      break;
  }
  run(c, true);
}

void replaceBytes(Case& c) {
  string set = c.in.arg();
  set.resize(20, 'q');
  const char to = static_cast<char>(c.in.byte());
  const string substr = model::textOf(c.in.arg());
  const unsigned which = c.in.byte() % 5;
  unsigned result = 0;
  if (which == 0) result = c.sb.replaceChar5(set.data(), to);
  if (which == 1) result = c.sb.replaceChar10(set.data(), to);
  if (which == 2) result = c.sb.replaceChar20(set.data(), to);
  if (which == 3) c.sb.replaceCharInOccurances(substr.c_str(), set[0], to);
  if (which == 4) c.sb.replaceModBase64Chars();
  run(c, true);
  CHECK(c.sb.getSize() == c.content.size());
  if (which <= 2) CHECK(result == c.content.size());
}

void boundedReplace(Case& c) {
  const string needle = model::textOf(c.in.arg()), replacement = model::textOf(c.in.arg());
  const uint8_t which = c.in.byte() % 3;
  LogNull log;
  const string text = model::textOf(c.content);
  if (which == 0) {
    const char* hit = StringBuffer::findWordOnlyUtf8(text.c_str(), needle.c_str(), log);
    if (hit != nullptr) CHECK(std::memcmp(hit, needle.data(), needle.size()) == 0);
    c.sb.replaceAllWordOccurrencesUtf8(needle.c_str(), replacement.c_str(), log);
  } else if (which == 1) {
    const char* hit = StringBuffer::findCidOnly(text.c_str(), needle.c_str());
    if (hit != nullptr) CHECK(std::memcmp(hit, needle.data(), needle.size()) == 0);
    c.sb.replaceAllCidOccurrences(needle.c_str(), replacement.c_str());
  } else {
    const unsigned byteValue = 1 + c.in.byte() % 255;
    const unsigned n = c.sb.replaceAllWithUchar(needle.c_str(), byteValue);
    // One byte is swapped over the whole length; a longer find rewrites
    // the text, which always ends at the first zero byte.
    model::Replaced expected = model::replaceAll(c.content, needle, string(1, char(byteValue)));
    if (needle.size() == 1) {
      expected = {0, c.content};
      for (char& ch : expected.content)
        if (ch == needle[0]) ch = static_cast<char>(byteValue), ++expected.count;
    } else if (!needle.empty()) {
      expected.content = model::textOf(expected.content);
    }
    CHECK(n == expected.count && bytesOf(c.sb) == expected.content);
  }
  run(c, true);
}

// ---- extraction ----

void extraction(Case& c) {
  const string a = model::textOf(c.in.arg()), b = model::textOf(c.in.arg());
  const bool f = c.in.flag();
  const char ch = static_cast<char>(c.in.byte());
  StringBuffer second;
  unsigned offset = 0;
  switch (c.in.byte() % 12) {
    case 0: c.sb.getBetween(a.c_str(), b.c_str(), c.out); break;
    case 1: c.sb.getDelimited(a.c_str(), b.c_str(), f, c.out); break;
    case 2: c.sb.getBefore(a.c_str(), f, c.out); break;
    case 3: c.sb.getAfterFinal(a.c_str(), f, c.out); break;
    case 4: c.sb.getNamedValue(a.c_str(), c.out); break;
    case 5: c.sb.splitAttrValue(c.out, second, f); break;
    case 6: c.sb.separate(ch, c.out, second); break;
    case 7: c.sb.pop(ch, c.out); break;
    case 8:
      c.sb.copyUntil(a.c_str(), c.in.byte() % 40, offset, c.out);
      CHECK(offset <= c.content.size());
      break;
    case 9: c.sb.captureLine(c.content.c_str(), f, c.in.flag()); break;
    case 10: {
      unsigned (StringBuffer::*capture[])(const char*) = {
          &StringBuffer::captureDecimal, &StringBuffer::captureHex,        &StringBuffer::captureWS,
          &StringBuffer::captureNonWS,   &StringBuffer::captureIdentifier, &StringBuffer::captureAlpha,
          &StringBuffer::captureAlphaNum};
      const string before = bytesOf(c.sb);
      const unsigned n = (c.sb.*capture[static_cast<uint8_t>(ch) % 7])(a.c_str());
      CHECK(n <= a.size() && bytesOf(c.sb) == before + a.substr(0, n));
      break;
    }
    default: {
      // The source of a capture may be the buffer's own content.
      const unsigned before = c.sb.getSize();
      c.sb.captureNonWS(c.sb.getString());
      CHECK(c.sb.getSize() >= before);
      break;
    }
  }
  checkSb(second);
  run(c, true);
}

// ---- appends and cuts, against std::string ----

// Counted appends never leave zero bytes at the end of the content (an
// empty one changes nothing, not even a zero byte appended as a char).
void appendCounted(string& m, const string& s) {
  if (s.empty()) return;
  m += s;
  while (!m.empty() && m.back() == 0) m.pop_back();
}

// Inserts carry the tail over as text, so it ends at its first zero byte.
void editProgram(Case& c) {
  string m = bytesOf(c.sb);
  for (int step = 0; step < 48 && !c.content.empty(); ++step) {
    const uint8_t op = c.in.byte();
    const string s = c.in.arg();
    const unsigned pos = c.in.byte() % 100;
    switch (op % 16) {
      case 0: CHECK(c.sb.append(s.c_str())); m += model::textOf(s); break;
      case 1:
        CHECK(c.sb.appendN(s.data(), s.size()));
        appendCounted(m, s);
        break;
      case 2: CHECK(c.sb.appendChar(static_cast<char>(pos))); m += static_cast<char>(pos); break;
      case 3: CHECK(c.sb.prepend(s.c_str())); m = model::textOf(s) + m; break;
      case 4:
        CHECK(c.sb.prependN(s.data(), s.size()));
        if (m.empty()) {
          appendCounted(m, s);
        } else {
          m = s + m;
        }
        break;
      case 5:
        CHECK(c.sb.insertCharAt(s.empty() ? 'i' : s[0], pos));
        if (pos == 0) m = model::textOf(s.substr(0, 1).empty() ? "i" : s.substr(0, 1)) + m;
        else if (pos >= m.size()) m += model::textOf(s.empty() ? "i" : s.substr(0, 1));
        else m = m.substr(0, pos) + (s.empty() ? 'i' : s[0]) + model::textOf(m.substr(pos));
        break;
      case 6: {
        const StringBuffer other = bufferOf(s);
        CHECK(c.sb.insertAt(other, pos));
        if (s.empty()) break;
        if (pos == 0) {
          m = model::textOf(s) + m;
        } else if (pos >= m.size()) {
          appendCounted(m, s);
        } else {
          const string tail = model::textOf(m.substr(pos));
          m.resize(pos);
          appendCounted(m, s);
          m += tail;
        }
        break;
      }
      case 7: {
        const unsigned count = c.in.byte() % 20;
        c.sb.removeChunk(pos, count);
        if (pos < m.size() && pos + count <= m.size()) m = m.substr(0, pos) + model::textOf(m.substr(pos + count));
        break;
      }
      case 8: c.sb.shorten(pos % 10); m.resize(m.size() - std::min<size_t>(pos % 10, m.size())); break;
      case 9: c.sb.chopAt(pos); if (pos < m.size()) m.resize(pos); break;
      case 10: CHECK(c.sb.appendCharN('n', pos)); m.append(pos, 'n'); break;
      case 11: CHECK(c.sb.setString(s.c_str())); m = model::textOf(s); break;
      case 12: CHECK(c.sb.appendMaxN(s.c_str(), pos % 8)); m += model::textOf(s).substr(0, pos % 8); break;
      case 13: CHECK(!c.sb.append(c.sb)); break;
      case 14: c.sb.minimizeMemoryUsage(); break;
      default: {
        StringBuffer other = bufferOf(s);
        c.sb.takeSb(other);
        CHECK(other.getSize() == 0);
        m = s;
        break;
      }
    }
    checkSb(c.sb);
    CHECK(bytesOf(c.sb) == m);
  }
}

// ---- numbers ----

void numbers(Case& c) {
  const string& s = c.content;
  CHECK(c.sb.intValue() == model::decimalValue(s, INT32_MIN, INT32_MAX));
  CHECK(c.sb.uintValue() == model::decimalValue(s, 0, UINT32_MAX));
  CHECK(c.sb.int64Value() == model::decimalValue(s, INT64_MIN, INT64_MAX));
  (void)c.sb.doubleValue();
  CHECK(c.sb.determineIntType() == model::intType(s));
  CHECK(c.sb.isDecimalNumber(true) == model::isDecimal(s, true));
  CHECK(c.sb.isDecimalNumber(false) == model::isDecimal(s, false));
  CHECK(c.sb.isHexidecimal() == model::isHex(s));
  CHECK(c.sb.isBase64() == model::isBase64Text(s));
  (void)StringBuffer::hexValueUint32(s.c_str());
  DataBuffer out;
  CHECK(c.sb.hexStringToBinary(out));
  if (model::isHex(s)) CHECK(dataOf(out) == model::hexBytes(s));
  run(c, false);
  c.sb.canonicalizeHexString();
  run(c, true);
  CHECK(c.sb.getSize() % 2 == 0);
}

// ---- codecs ----

void codecs(Case& c) {
  const uint8_t which = c.in.byte() % 4;
  DataBuffer out;
  out.append("<", 1);
  if (which == 0) {
    MimeCodec::decodeBase64(c.content.data(), static_cast<unsigned>(c.content.size()), out);
  } else if (which == 1) {
    out.appendEncodedById(model::textOf(c.content).c_str(), c.in.flag() ? 1 : 3);
  } else if (which == 2) {
    // Round trip, through the buffer's own storage.
    const unsigned before = c.sb.getSize();
    CHECK(MimeCodec::encodeBase64(c.sb.getString(), before, c.sb));
    CHECK(MimeCodec::decodeBase64(c.sb.getString() + before, c.sb.getSize() - before, out));
    CHECK(dataOf(out) == "<" + c.content);
    c.sb.shorten(c.sb.getSize() - before);
  } else {
    StringBuffer dump;
    CHECK(dump.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(c.content.data()),
                                 static_cast<unsigned>(c.content.size()), false));
    CHECK(out.appendEncodedById(dump.getString(), DataBuffer::kEncodingHex));
    CHECK(dataOf(out) == "<" + c.content);
  }
  CHECK(dataOf(out).substr(0, 1) == "<");
  run(c, false);
}

// ---- wildcard matching ----

void wildcard(Case& c) {
  const string pattern = model::textOf(c.in.arg());
  const bool caseSensitive = c.in.flag();
  CHECK(c.sb.matches(pattern.c_str(), caseSensitive) ==
        model::wildcard(model::textOf(c.content), pattern, caseSensitive));
  run(c, false);
}

// ---- JSON ----

void json(Case& c) {
  StringBuffer decoded;
  if (c.in.flag()) {
    // Escaping valid UTF-8 and decoding it again gives back every byte.
    const bool ok = c.sb.jsonEscape();
    run(c, true);
    CHECK(ok);
    const string escaped = bytesOf(c.sb);
    CHECK(StringBuffer::jsonDecode(escaped.data(), static_cast<unsigned>(escaped.size()), decoded));
    if (model::isUtf8(c.content)) CHECK(bytesOf(decoded) == c.content);
  } else if (c.in.flag()) {
    StringBuffer::jsonDecode(c.content.data(), static_cast<unsigned>(c.content.size()), c.out);
    run(c, &c.out == &c.sb);
  } else {
    const string name = model::textOf(c.in.arg());
    c.sb.appendJsonMember(c.in.flag(), name.c_str(), model::textOf(c.content).c_str());
    run(c, true);
  }
  checkSb(decoded);
}

// ---- XML and HTML entities ----

string xmlEscaped(const string& text, bool quotes) {
  string out;
  for (const char ch : text) {
    if (ch == '&') out += "&amp;";
    else if (ch == '<') out += "&lt;";
    else if (ch == '>') out += "&gt;";
    else if (ch == '"' && quotes) out += "&quot;";
    else out += ch;
  }
  return out;
}

void xml(Case& c) {
  const string text = model::textOf(c.content);
  const unsigned start = c.in.byte() % 8;
  switch (c.in.byte() % 8) {
    case 0: {  // the all-five escaper, undone by the predefined-entity decoder
      StringBuffer x;
      x.appendXmlNoCdata(c.content.c_str());
      checkSb(x);
      x.decodePreDefinedXmlEntities(0);
      CHECK(bytesOf(x) == text);
      break;
    }
    case 1: {
      const unsigned n = c.sb.replaceXMLSpecial();
      CHECK(n == std::count(text.begin(), text.end(), '>'));
      if (text != c.content) break;
      CHECK(bytesOf(c.sb) == xmlEscaped(text, false));
      c.sb.decodeXMLSpecial();
      CHECK(bytesOf(c.sb) == text);
      break;
    }
    case 2:
      c.sb.replaceHTMLSpecial();
      if (text == c.content) CHECK(bytesOf(c.sb) == xmlEscaped(text, true));
      break;
    case 3:
      if (!c.sb.encodePreDefinedXmlEntities(start)) CHECK(bytesOf(c.sb) == c.content);
      break;
    case 4: { LogNull log; c.sb.encodeXMLSpecial(log); break; }
    case 5: c.sb.decodeHTMLSpecial(); break;
    case 6: c.sb.decodePreDefinedXmlEntities(start); break;
    default: c.sb.appendXml(model::textOf(c.in.arg()).c_str()); break;
  }
  run(c, true);
}

// ---- canonicalizers, against a plain percent-encoder ----

void canonical(Case& c) {
  LogNull log;
  const uint8_t which = c.in.byte() % 8;
  bool ok = false;
  string expected;
  switch (which) {
    case 0: ok = c.sb.awsNormalizeUriUtf8(log); expected = model::percentEncode(c.content, "-._/", 'h', false); break;
    case 1: ok = c.sb.awsNormalizeQueryStringPart(false, log); expected = model::percentEncode(c.content, "-._", 'h', false); break;
    case 2: ok = c.sb.awsNormalizeQueryStringPart(true, log); expected = model::percentEncode(c.content, "-._/", 'h', false); break;
    case 3: ok = c.sb.awsNormalizeQueryParams(); expected = model::percentEncode(c.content, "-._&/=?", 'c', false); break;
    case 4: ok = c.sb.nonAwsNormalizePath(); expected = model::percentEncode(c.content, "!$'()*+,-./:<=>@_", 'c', false); break;
    case 5: ok = c.sb.mwsNormalizeQueryParams(); expected = model::percentEncode(c.content, "-._", 'e', false); break;
    case 6: ok = c.sb.nonAwsNormalizeQueryParamValue(log); expected = model::percentEncode(c.content, "!$'()-./:<>?@_", 'h', true); break;
    default: ok = c.sb.nonAwsNormalizeAllQueryParams(); expected = model::percentEncode(c.content, "!$'()-./:<>?@_&=", 'c', true); break;
  }
  run(c, true);
  CHECK(ok);
  CHECK(bytesOf(c.sb) == expected);
}

// ---- code pages ----

void codePages(Case& c) {
  LogNull log;
  const string text = model::textOf(c.content);
  // A leading U+FEFF reads back as the UTF-16 byte-order mark, which
  // decoding drops.
  const string unmarked = c.content.compare(0, 3, "\xEF\xBB\xBF") == 0 ? c.content.substr(3) : c.content;
  StringBuffer back;
  switch (c.in.byte() % 5) {
    case 0:  // every Windows-1252 byte has a Unicode character and back
      CHECK(c.sb.convertEncoding(1252, 65001, log));
      CHECK(c.sb.isValidUtf8());
      c.sb.convertEncoding(65001, 1252, log);
      if (text == c.content) CHECK(bytesOf(c.sb) == c.content);
      break;
    case 1: {
      // Through DataBuffers: a buffer's counted appends drop the zero byte
      // that ends a UTF-16 text of ASCII.
      DataBuffer wide, utf8;
      _tvEncodingConvert conv;
      const auto* bytes = reinterpret_cast<const unsigned char*>(c.content.data());
      const bool ok = conv.EncConvert(65001, 1200, bytes, static_cast<unsigned>(c.content.size()), wide, log);
      CHECK(ok || !model::isUtf8(c.content));
      if (!ok) break;
      CHECK(conv.EncConvert(1200, 65001, wide.getData2(), wide.getSize(), utf8, log));
      CHECK(dataOf(utf8) == unmarked);
      break;
    }
    case 2:
      CHECK(c.sb.isValidUtf8() == model::isUtf8(c.content));
      run(c, false);
      break;
    case 3: {
      DataBuffer wide;
      c.sb.cvUtf8ToUnicode(wide);
      std::vector<unsigned short> units(wide.getSize() / 2 + 1, 0);
      std::memcpy(units.data(), wide.getData2(), wide.getSize() / 2 * 2);
      CHECK(back.appendNullTerminatedUtf16AsUtf8(units.data()));
      if (model::isUtf8(c.content) && text == c.content) CHECK(bytesOf(back) == unmarked);
      unsigned high = 0, rare = 0;
      c.sb.countImprobableAnsiChars(high, rare);
      CHECK(rare <= high && high <= c.content.size());
      run(c, false);
      break;
    }
    default: {
      const int pages[] = {437, 932, 936, 1200, 1201, 1251, 12000, 20127, 28591, 50220, 51932, 54936, 65000, 65001};
      const int from = pages[c.in.byte() % 14], to = pages[c.in.byte() % 14];
      const string before = bytesOf(c.out);
      if (!c.sb.convertEncoding2(from, to, c.out, log) && &c.out != &c.sb) CHECK(bytesOf(c.out) == before);
      c.sb.convertEncoding(from, to, log);
      run(c, true);
      break;
    }
  }
  checkSb(back);
}

// ---- decoding by name, encoded words, ISO-2022-JP shielding ----

void decoding(Case& c) {
  LogNull log;
  const string text = model::textOf(c.content);
  const char* names[] = {"base64", "quoted-printable", "hex", "url", "base32", "base64url", "q", "none"};
  switch (c.in.byte() % 4) {
    case 0: CHECK(c.sb.qbDecode(log)); break;
    case 1: {
      DataBuffer out;
      out.append("<", 1);
      if (!c.sb.decode(names[c.in.byte() % 8], out, log)) CHECK(dataOf(out) == "<");
      break;
    }
    case 2:
      if (!c.sb.decode_in_place(c.in.byte() % 8, log)) CHECK(bytesOf(c.sb) == c.content);
      break;
    default: {
      StringBufferArray parts;
      c.sb.iso2022Replace(parts);
      checkList(parts);
      checkSb(c.sb);
      c.sb.iso2022Restore(parts);
      if (c.content.find("TV_ISO2022_") == string::npos && (parts.getSize() == 0 || text == c.content))
        CHECK(bytesOf(c.sb) == c.content);
      break;
    }
  }
  run(c, true);
}

// ---- template substitution ----

void substitution(Case& c) {
  StringMap map;
  std::vector<std::pair<string, string>> values;
  for (int i = c.in.byte() % 4; i > 0; --i) {
    const string name = model::textOf(c.in.arg()), value = model::textOf(c.in.arg());
    if (map.set(name.c_str(), value.c_str())) {
      values.erase(std::remove_if(values.begin(), values.end(), [&](auto& v) { return v.first == name; }),
                   values.end());
      values.emplace_back(name, value);
    }
  }
  const int modes[] = {0, 22, 4};
  const int mode = modes[c.in.byte() % 3];
  if (c.in.flag()) {
    setenv("SB_FUZZ_VAR", "value", 1);
    c.sb.envReplace();
    run(c, true);
    return;
  }
  CHECK(!c.sb.variableSubstitute(map, mode));
  run(c, true);
  const string text = model::textOf(c.content);
  if (mode == 0 && (text != c.content || text.find("{$") != string::npos)) {
    CHECK(bytesOf(c.sb) == model::substitute(text, [&](const string& name) {
      for (const auto& v : values)
        if (v.first == name) return v.second;
      return string();
    }));
  }
}

// ---- links, revocation entries, unescaping ----

void links(Case& c) {
  LogNull log;
  switch (c.in.byte() % 5) {
    case 0: c.sb.autoLinkUrls(); break;
    case 1: {
      StringBuffer text = bufferOf(c.content);
      c.sb.autoLinkUrls2(text);
      checkSb(text);
      run(c, false);
      break;
    }
    case 2: c.sb.removeCrlEntries(log); break;
    case 3: c.sb.markdown_unescape(); break;
    default: {
      const unsigned n = c.sb.unescape();
      string expected;
      const string text = model::textOf(c.content);
      for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && ++i == text.size()) break;
        expected += text[i];
      }
      CHECK(n == c.sb.getSize());
      if (text == c.content) CHECK(bytesOf(c.sb) == expected);
      break;
    }
  }
  run(c, true);
}

// ---- line layout ----

void layout(Case& c) {
  const string text = model::textOf(c.content);
  const uint8_t which = c.in.byte() % 6;
  if (which == 0) {
    c.sb.toCRLF();
    checkSb(c.sb);
    c.sb.toLF();
    if (text == c.content)
      CHECK(bytesOf(c.sb) == model::replaceAll(model::replaceAll(text, "\r\n", "\n").content, "\r", "\n").content);
  } else if (which == 1) {
    size_t longest = 0, line = 0;
    for (const char ch : c.content) {
      if (ch != '\r' && ch != '\n') longest = std::max(longest, ++line);
      else line = 0;
    }
    CHECK(c.sb.longestLineLength() == longest);
  } else if (which == 2) {
    const unsigned n = c.sb.removeFws();
    string expected;
    for (const char ch : text)
      if (!model::isSpace(static_cast<unsigned char>(ch))) expected += ch;
    CHECK(n == c.sb.getSize());
    if (text == c.content) CHECK(bytesOf(c.sb) == expected);
  } else if (which == 3) {
    c.sb.indent(static_cast<char>(c.in.byte()), c.in.byte() % 6);
    checkSb(c.sb);
    c.sb.unindent();
  } else if (which == 4) {
    c.sb.trimInsideSpaces();
    c.sb.removeInvalidFilenameChars();
    c.sb.stripDirectory();
  } else {
    c.sb.replace_emoji();
    c.sb.toAlphaNumUsAscii();
    c.sb.toProperCase();
    c.sb.pluralize();
    c.sb.unpluralize();
  }
  run(c, true);
}

// ---- reversible pairs ----

void protect(Case& c) {
  string expected = c.content;
  switch (c.in.byte() % 6) {
    case 0:
      c.sb.obfus();
      checkSb(c.sb);
      c.sb.unobfus();
      while (!expected.empty() && expected.back() == 0) expected.pop_back();
      break;
    case 1: c.sb.scramble(); checkSb(c.sb); c.sb.unscramble(); break;
    case 2: c.sb.reverse_x(); checkSb(c.sb); c.sb.forward_x(); break;
    case 3: c.sb.saltedScramble(); checkSb(c.sb); c.sb.saltedUnscramble(); break;
    case 4: TextCodec::encode(c.sb); checkSb(c.sb); TextCodec::decode(c.sb); break;
    default: {
      string lit = model::textOf(c.content);
      StringBuffer::litScram(&lit[0]);
      CHECK(lit.size() == model::textOf(c.content).size());
      StringBuffer::litScram(&lit[0]);
      expected = lit;
      c.sb.setString(lit.c_str());
      break;
    }
  }
  run(c, true);
  CHECK(bytesOf(c.sb) == expected);
}

struct Row {
  const char* group;
  const char* name;
  void (*fn)(Case&);
};
const Row kRows[] = {
    {"fields", "countColumns", countColumns},
    {"fields", "getNthDelimited", getNth},
    {"fields", "setNthDelimited", setNth},
    {"fields", "insert/removeNthDelimited", insertRemoveNth},
    {"fields", "changeDelimiter", changeDelimiter},
    {"split", "split family", splitters},
    {"split", "lines and boundaries", lineAndBoundarySplitters},
    {"tokens", "tokenizers", tokenizers},
    {"replace", "replace all", replaceAll},
    {"replace", "replace one, remove", replaceOne},
    {"replace", "byte replacement", replaceBytes},
    {"replace", "word, cid, uchar", boundedReplace},
    {"extract", "extraction and capture", extraction},
    {"append", "edit program", editProgram},
    {"numbers", "numeric parsing", numbers},
    {"codecs", "Base64 and hex", codecs},
    {"wildcard", "wildcard", wildcard},
    {"json", "escape, decode, members", json},
    {"xml", "entities and emitters", xml},
    {"canon", "canonicalizers", canonical},
    {"codepages", "code-page conversion", codePages},
    {"decoding", "decoders, encoded words, ISO-2022", decoding},
    {"subst", "template substitution", substitution},
    {"links", "links, revocation entries, unescaping", links},
    {"layout", "line layout and inflection", layout},
    {"protect", "reversible pairs", protect},
};

std::vector<const Row*> gActive;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* group = std::getenv("SB_FUZZ_GROUP");
  for (const Row& r : kRows)
    if (group == nullptr || *group == 0 || std::strcmp(group, r.group) == 0) gActive.push_back(&r);
  if (gActive.empty()) {
    std::fprintf(stderr, "SB_FUZZ_GROUP=%s names no group\n", group);
    std::exit(2);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const Row& row = *gActive[data[0] % gActive.size()];
  gOp = row.name;
  const uint8_t setup = data[1];
  // The content runs up to the first 0x1E byte; the arguments follow it.
  const auto* begin = reinterpret_cast<const char*>(data + 2);
  const auto* mark = static_cast<const char*>(std::memchr(begin, 0x1E, size - 2));
  const string content(begin, mark != nullptr ? mark : begin + (size - 2));
  Input args(mark != nullptr ? reinterpret_cast<const uint8_t*>(mark + 1) : data + size,
             mark != nullptr ? size - 2 - content.size() - 1 : 0);
  StringBuffer sb, separate;
  sb.setSecureBuf((setup & 1) != 0);
  if ((setup & 2) != 0) sb.expectNumBytes(120);  // start on the heap
  for (const char ch : content) sb.appendChar(ch);
  Case c{args, sb, (setup & 4) != 0 ? sb : separate, content};
  row.fn(c);
  return 0;
}
