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

}  // namespace
