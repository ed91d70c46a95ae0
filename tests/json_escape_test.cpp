#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

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

// Cases written by tools/gen_json_cases.py: text, our escaped form (valid
// for Python's strict reader) and Python's ASCII dump, one case a line, the
// three separated by a space; a doubled backslash and \xHH stand for bytes.
std::vector<std::array<string, 3>> pythonCases() {
  std::vector<std::array<string, 3>> cases;
  std::ifstream in(SB_TEST_DATA_DIR "/json_cases.txt");
  for (string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::array<string, 3> c;
    size_t field = 0;
    for (size_t i = 0; i < line.size() && field < 3; ++i) {
      if (line[i] == ' ') {
        ++field;
      } else if (line[i] != '\\') {
        c[field] += line[i];
      } else if (line.compare(i, 2, "\\\\") == 0) {
        c[field] += '\\';
        ++i;
      } else {
        c[field] += static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16));
        i += 3;
      }
    }
    cases.push_back(c);
  }
  return cases;
}

string escaped(const string& in) {
  StringBuffer sb = bufferOf(in);
  EXPECT_TRUE(sb.jsonEscape());
  return bytesOf(sb);
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
      {"one byte behind \\u", "ab\\u1", "ab1"},
      {"final backslash", "ab\\", "ab"},
      {"final \\u", "ab\\u", "ab"},
      {"non-hex digit ends the value", "\\u41zz", "A"},
      {"zero bytes and raw quotes copied", string("a\0\"\x01", 4), string("a\0\"\x01", 4)},
      {"\\u0000 is a zero byte", "\\u0000", string("\0", 1)},
  };
  for (const Row& r : rows) EXPECT_EQ(r.want, decoded(r.in)) << r.name;
  StringBuffer out("keep");
  EXPECT_TRUE(StringBuffer::jsonDecode("\\n", 0, out));
  EXPECT_TRUE(StringBuffer::jsonDecode(nullptr, 5, out));
  EXPECT_EQ("keep", bytesOf(out));
}

TEST(JsonEscape, PythonCases) {
  const auto cases = pythonCases();
  ASSERT_GT(cases.size(), 300u) << "tests/data/json_cases.txt missing or cut short";
  for (const auto& c : cases) {
    SCOPED_TRACE(c[1]);
    EXPECT_EQ(c[1], escaped(c[0]));
    EXPECT_EQ(c[0], decoded(c[2]));
    EXPECT_EQ(c[0], decoded(c[1]));
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
