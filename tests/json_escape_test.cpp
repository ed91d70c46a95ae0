#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "data/json_cases.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/_tvUtf.h"
#include "test_support.h"

namespace {

using std::string;

// The escaping rules written the slow, obvious way, to check the fast scan
// against: a lead byte swallows its trailing bytes unseen.
string referenceEscape(const string& in) {
  string out;
  for (size_t i = 0; i < in.size();) {
    const auto b = static_cast<unsigned char>(in[i]);
    if (b >= 0xC0) {
      size_t n = b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
      n = std::min(n + 1, in.size() - i);
      out.append(in, i, n);
      i += n;
      continue;
    }
    ++i;
    switch (b) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\b': out += "\\b"; break;
      case '\t': out += "\\t"; break;
      case '\n': out += "\\n"; break;
      case '\f': out += "\\f"; break;
      case '\r': out += "\\r"; break;
      default:
        if (b < 0x20) {
          char u[8];
          std::snprintf(u, sizeof u, "\\u%04X", b);
          out += u;
        } else {
          out += static_cast<char>(b);
        }
    }
  }
  return out;
}

string escaped(const string& in) {
  StringBuffer sb = bufferOf(in);
  EXPECT_TRUE(sb.jsonEscape());
  return bytesOf(sb);
}

TEST(JsonEscape, JsonEscape) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"quote and backslash, slash kept", "a\"b\\c/d", "a\\\"b\\\\c/d"},
      {"short forms and upper-case \\u", "\x01\x0B\x09\x0A\x0D\x08\x0C", "\\u0001\\u000B\\t\\n\\r\\b\\f"},
      {"zero byte and 0x1F", string("\0\x1F", 2), "\\u0000\\u001F"},
      {"DEL and UTF-8 untouched", "\x7F\xC3\xA9", "\x7F\xC3\xA9"},
      {"lead byte swallows a quote", "\xC3\"x\"", "\xC3\"x\\\""},
      {"four-byte lead swallows controls", "\xF0\n\t\"\n", "\xF0\n\t\"\\n"},
      {"lead inside a unit leads nothing", "\xE2\xC3\"\n", "\xE2\xC3\"\\n"},
      {"lone continuation byte", "\x80\"", "\x80\\\""},
      {"unit cut by the end", "ab\xFC\"", "ab\xFC\""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(r.want, escaped(r.in));
  }
}

TEST(JsonEscape, EveryByteAlone) {
  for (int b = 0; b < 256; ++b) {
    SCOPED_TRACE(b);
    const string in(1, static_cast<char>(b));
    EXPECT_EQ(referenceEscape(in), escaped(in));
    // The same byte deep inside a long run, after the wide scan's first steps.
    const string wide = string(37, 'x') + in + string(20, 'y');
    EXPECT_EQ(referenceEscape(wide), escaped(wide));
  }
}

TEST(JsonEscape, MatchesReferenceOnRandomText) {
  const unsigned char alphabet[] = {'a', '"', '\\', 0, '\n', 0x1F, 0x7F, 0x80, 0xBF, 0xC3, 0xE2, 0xF0, 0xFC, ' '};
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    string in(rng() % 90, 'a');
    for (char& c : in) c = static_cast<char>(alphabet[rng() % sizeof alphabet]);
    ASSERT_EQ(referenceEscape(in), escaped(in)) << round;
  }
}

TEST(JsonEscape, PythonTable) {
  for (const JsonCase& c : kJsonCases) EXPECT_EQ(c.escaped, escaped(c.text));
}

TEST(JsonEscape, Storage) {
  // Nothing to escape: no allocation, the same storage.
  StringBuffer plain = bufferOf(string(300, 'p'));
  const char* before = plain.getString();
  {
    ScopedAllocatorControl control;
    EXPECT_TRUE(plain.jsonEscape());
    EXPECT_EQ(0u, control.allocations());
  }
  EXPECT_EQ(before, plain.getString());

  // Something to escape: one block of the exact escaped size plus 4.
  StringBuffer sb("ab\"\x01");
  {
    ScopedAllocatorControl control;
    EXPECT_TRUE(sb.jsonEscape());
    EXPECT_EQ(1u, control.allocations());
  }
  EXPECT_EQ("ab\\\"\\u0001", bytesOf(sb));
  EXPECT_EQ(sb.getSize() + 4, sb.heapUsage());
  EXPECT_EQ(202u, sb.getExtendSize());

  // The block cannot be had: content as it was.
  StringBuffer failing = bufferOf(string(100, '"'));
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(failing.jsonEscape());
  }
  EXPECT_EQ(string(100, '"'), bytesOf(failing));

  // A secure buffer's old storage is wiped before it goes back.
  StringBuffer secret = bufferOf(string(200, 's') + "\n");
  secret.setSecureBuf(true);
  ReleaseWatcher watcher(200);
  EXPECT_TRUE(secret.jsonEscape());
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_FALSE(watcher.sawContent());
}

TEST(JsonEscape, AppendJsonMember) {
  struct Row { const char* name; bool comma; const char* key; const char* value; string want; };
  const Row rows[] = {
      {"comma, quote escaped", true, "k", "v\"1", ",\"k\":\"v\\\"1\""},
      {"no comma, name not escaped", false, "a\"b", "\n", "\"a\"b\":\"\\n\""},
      {"null name and value", false, nullptr, nullptr, "\"\":\"\""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb("{");
    EXPECT_TRUE(sb.appendJsonMember(r.comma, r.key, r.value));
    EXPECT_EQ("{" + r.want, bytesOf(sb));
  }

  // Name and value taken from the buffer itself while it grows to the heap.
  StringBuffer self = bufferOf(string(70, 'n') + "\"");
  const string original = bytesOf(self);
  EXPECT_TRUE(self.appendJsonMember(true, self.getString(), self.getString() + 70));
  EXPECT_EQ(original + ",\"" + original + "\":\"\\\"\"", bytesOf(self));

  // No room: nothing is appended, and the result is still true.
  StringBuffer small("x");
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_TRUE(small.appendJsonMember(false, "k", string(100, 'v').c_str()));
  }
  EXPECT_EQ("x", bytesOf(small));
}

string decoded(const string& in) {
  StringBuffer out;
  EXPECT_TRUE(StringBuffer::jsonDecode(in.data(), static_cast<unsigned int>(in.size()), out));
  return bytesOf(out);
}

TEST(JsonEscape, JsonDecode) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"simple escapes", "a\\\"b\\/c\\n\\\\\\b\\f\\r\\t", "a\"b/c\n\\\b\f\r\t"},
      {"two-byte unit", "\\u00e9", "\xC3\xA9"},
      {"upper-case digits", "\\u20AC", "\xE2\x82\xAC"},
      {"surrogate pair", "\\ud83d\\ude00", "\xF0\x9F\x98\x80"},
      {"highest pair", "\\uDBFF\\uDFFF", "\xF4\x8F\xBF\xBF"},
      {"lone high surrogate at the end", "\\ud83dx", "\xED\xA0\xBDx"},
      {"lone low surrogate", "\\ude00", "\xED\xB8\x80"},
      {"high then a plain unit", "\\ud83d\\u0041", "\xEF\xBF\xBD" "A"},
      {"high then high", "\\ud83d\\ud83d", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"pair cut short is two units", "\\ud83d\\ude0", "\xED\xA0\xBD" "de0"},
      {"unknown letters dropped", "\\x\\q\\a\\N", ""},
      {"short \\u: the digits are text", "ab\\u12", "ab12"},
      {"one digit after \\u", "ab\\u1", "ab1"},
      {"final backslash", "ab\\", "ab"},
      {"final \\u", "ab\\u", "ab"},
      {"non-hex digit ends the value", "\\u41zz", "A"},
      {"zero bytes and raw quotes copied", string("a\0\"\x01", 4), string("a\0\"\x01", 4)},
      {"\\u0000 is a zero byte", "\\u0000", string("\0", 1)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(r.want, decoded(r.in));
  }
  StringBuffer out("keep");
  EXPECT_TRUE(StringBuffer::jsonDecode("\\n", 0, out));
  EXPECT_TRUE(StringBuffer::jsonDecode(nullptr, 5, out));
  EXPECT_EQ("keep", bytesOf(out));
}

// Pairs checked against the UTF-16 route: hex text to bytes, swapped to
// little-endian units, then to code points and UTF-8.
TEST(JsonEscape, JsonDecodePairsMatchUtf16) {
  LogNull log;
  std::mt19937 rng(11);
  const unsigned int seconds[] = {0xDC00, 0xDFFF, 0xD800, 0xDBFF, 0x0041, 0x00E9, 0xFFFF, 0x0000};
  for (int round = 0; round < 400; ++round) {
    const unsigned int high = 0xD800 + rng() % 0x400;
    const unsigned int second = round < 8 ? seconds[round] : rng() % 0x10000;
    char hex[9];
    std::snprintf(hex, sizeof hex, "%04x%04x", high, second);
    DataBuffer units, points, utf8;
    units.appendEncodedById(hex, DataBuffer::kEncodingHex);
    units.byteSwap21();
    _tvUtf::utf16ToCodePoints(units, points, log);
    _tvUtf::codePointsToUtf8(points, utf8, log);
    const string want(reinterpret_cast<const char*>(utf8.getData2()), utf8.getSize());
    EXPECT_EQ(want, decoded("\\u" + string(hex, 4) + "\\u" + string(hex + 4, 4))) << hex;
  }
}

TEST(JsonEscape, PythonTableDecodes) {
  for (const JsonCase& c : kJsonCases) {
    EXPECT_EQ(c.text, decoded(c.pythonAscii));
    EXPECT_EQ(c.text, decoded(c.escaped));
  }
}

// Any valid UTF-8 text comes back from jsonEscape and jsonDecode unchanged,
// zero bytes at chunk edges included.
TEST(JsonEscape, RoundTrip) {
  std::mt19937 rng(5);
  const unsigned int ranges[][2] = {{0, 0x20}, {0x20, 0x80}, {0x80, 0x800}, {0x800, 0xD800}, {0xE000, 0x10000},
                                    {0x10000, 0x110000}};
  for (int round = 0; round < 300; ++round) {
    string text;
    const int n = static_cast<int>(rng() % 400);
    for (int i = 0; i < n; ++i) {
      const auto& r = ranges[rng() % 6];
      unsigned char u[4];
      const unsigned int k = _tvUtf::encodeUtf8(r[0] + rng() % (r[1] - r[0]), u);
      text.append(reinterpret_cast<const char*>(u), k);
    }
    StringBuffer sb = bufferOf(text);
    ASSERT_TRUE(sb.jsonEscape());
    ASSERT_EQ(text, decoded(bytesOf(sb))) << round;
  }
}

TEST(JsonEscape, JsonDecodeChunks) {
  // Output goes out in chunks of at least 200 bytes: failing the second
  // growth shows where the first ended, and what was appended stays.
  struct Row { const char* name; string in; unsigned int firstChunk; };
  const Row rows[] = {
      {"plain run", string(500, 'a'), 200},
      {"a character carries the chunk past 200", string(199, 'a') + "\\u20ac" + string(50, 'b'), 202},
      {"zero byte at the chunk edge stays", string(199, 'a') + string(1, '\0') + string(50, 'b'), 200},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer out;
    out.setExtendSize(0);
    ScopedAllocatorControl control;
    control.failNth(2);
    EXPECT_FALSE(StringBuffer::jsonDecode(r.in.data(), static_cast<unsigned int>(r.in.size()), out));
    EXPECT_EQ(r.firstChunk, out.getSize());
  }
  // A source inside out's own content.
  StringBuffer self = bufferOf(string(300, 'x') + "\\n");
  EXPECT_TRUE(StringBuffer::jsonDecode(self.getString(), self.getSize(), self));
  EXPECT_EQ(string(300, 'x') + "\\n" + string(300, 'x') + "\n", bytesOf(self));
}

}  // namespace
