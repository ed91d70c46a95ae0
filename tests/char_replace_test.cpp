#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace {

using std::string;

TEST(CharReplace, ReplaceAllWithUchar) {
  struct Row { const char* name; string content; const char* find; unsigned int byte; string want; unsigned int n; };
  const Row rows[] = {
      {"CR LF to LF", "\r\n\r\n\r", "\r\n", '\n', "\n\n\r", 2},
      {"matches do not overlap", "aaa", "aa", 'b', "ba", 1},
      {"one byte, behind a zero byte too", string("a\0a", 3), "a", 'b', string("b\0b", 3), 2},
      {"longer find stops at a zero byte", string("ab\0ab", 5), "ab", 'x', "x", 1},
      {"zero first byte ends empty", string("\0ab", 3), "ab", 'x', "", 0},
      {"only the low 8 bits", "xy", "x", 0x141, "Ay", 1},
      {"heap content", string(200, 'a') + "<>", "<>", '!', string(200, 'a') + "!", 1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    ScopedAllocatorControl control;
    EXPECT_EQ(r.n, sb.replaceAllWithUchar(r.find, r.byte));
    EXPECT_EQ(r.want, bytesOf(sb));
    EXPECT_EQ(0u, control.allocations());
  }
  EXPECT_EQ(0u, StringBuffer("abc").replaceAllWithUchar(nullptr, 'x'));
  // A find that points into the content: overwriting it (here with a zero
  // byte) must not carry the scan past the text.
  StringBuffer self("abab");
  EXPECT_EQ(1u, self.replaceAllWithUchar(self.getString(), 0));
  EXPECT_EQ(string("\0", 1), bytesOf(self));
}

TEST(CharReplace, ReplaceAllWithUcharUtf8) {
  struct Row { const char* name; string content; const char* find; unsigned int code; string want; unsigned int n; };
  const Row rows[] = {
      {"ASCII code", "a&amp;b", "&amp;", '&', "a&b", 1},
      {"e acute", "x&eacute;y&eacute;", "&eacute;", 233, "x\xC3\xA9y\xC3\xA9", 2},
      {"euro", "[E]", "E", 128, "[\xE2\x82\xAC]", 1},
      {"unassigned 129", "[E]", "E", 129, "[\xC2\x81]", 1},
      {"y diaeresis", "E", "E", 255, "\xC3\xBF", 1},
      {"above 255", "E", "E", 256, "E", 0},
      {"empty find", "E", "", 233, "E", 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    EXPECT_EQ(r.n, sb.replaceAllWithUcharUtf8(r.find, r.code));
    EXPECT_EQ(r.want, bytesOf(sb));
  }
  EXPECT_EQ(0u, StringBuffer("a").replaceAllWithUcharUtf8(nullptr, 233));
}

TEST(CharReplace, ReplaceCharUtf8) {
  struct Row { const char* name; string content; char from, to; string want; };
  const Row rows[] = {
      {"7-bit in place", "a-b-c", '-', '+', "a+b+c"},
      {"multi-byte characters intact", "\xC3\xA9-\xE2\x82\xAC-", '-', '+', "\xC3\xA9+\xE2\x82\xAC+"},
      // from is looked for as a byte first: the UTF-8 form alone is not it.
      {"Latin-1 character as a byte only", "caf\xC3\xA9", static_cast<char>(0xE9), 'e', "caf\xC3\xA9"},
      {"absent", "abc", 'x', 'y', "abc"},
      {"zero from, zero byte inside", string("a\0b", 3), 0, 'y', string("a\0b", 3)},
      {"content of one byte", "-", '-', '+', "+"},
      {"absent before a zero byte", string("ab\0x", 4), 'x', 'y', string("ab\0x", 4)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    sb.replaceCharUtf8(r.from, r.to);
    EXPECT_EQ(r.want, bytesOf(sb));
  }
}

TEST(CharReplace, ReplaceCharAnsi) {
  StringBuffer sb = bufferOf(string("\xE9" "a\0\xE9", 4));
  EXPECT_EQ(2u, sb.replaceCharAnsi(static_cast<char>(0xE9), 'e'));
  EXPECT_EQ(string("ea\0e", 4), bytesOf(sb));
  EXPECT_EQ(1u, sb.replaceCharAnsi(0, '_'));
  EXPECT_EQ(0u, StringBuffer().replaceCharAnsi('a', 'b'));
}

}  // namespace
