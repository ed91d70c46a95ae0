#include <gtest/gtest.h>

#include <string>

#include "lib/ByteAllocator.h"
#include "lib/XString.h"

namespace {

TEST(XString, SetAndAppend) {
  XString x;
  EXPECT_STREQ("", x.getUtf8());
  EXPECT_TRUE(x.setFromUtf8(nullptr) && x.isEmpty());
  ASSERT_TRUE(x.setFromUtf8("caf\xC3\xA9") && x.appendUtf8(" au lait") && x.appendUtf8N("!?", 1));
  ASSERT_TRUE(x.appendUtf8N("ab\0cd", 5)) << "stops at the zero byte";
  EXPECT_EQ("caf\xC3\xA9 au lait!ab", std::string(x.getUtf8(), x.getSizeUtf8()));
  ASSERT_TRUE(x.setFromUtf8(x.getUtf8() + 6)) << "a source inside the text itself";
  EXPECT_STREQ("au lait!ab", x.getUtf8());
}

TEST(XString, ReplaceCharWorksByCharacter) {
  struct Row { const char* name; const char* text; char from, to; bool ok; const char* expected; };
  const Row rows[] = {
      {"ascii to ascii", "a/b/c", '/', '\\', true, "a\\b\\c"},
      {"latin-1 to ascii", "caf\xC3\xA9 \xC3\xA9t\xC3\xA9", '\xE9', 'e', true, "cafe ete"},
      {"ascii to latin-1", "cafe", 'e', '\xE9', true, "caf\xC3\xA9"},
      // U+00E9 is C3 A9; U+20A9 (E2 82 A9) ends in A9 too, and U+00C3 is C3 83.
      {"never a byte inside another character", "\xE2\x82\xA9\xC3\x83", '\xA9', 'x', true, "\xE2\x82\xA9\xC3\x83"},
      {"same lead byte, other character", "\xC3\xA9", '\xC3', 'x', true, "\xC3\xA9"},
      {"truncated sequence at the end", "a\xC3", '\xE9', 'x', true, "a\xC3"},
      {"zero to is refused", "abc", 'b', '\0', false, "abc"}, {"zero from is refused", "abc", '\0', 'x', false, "abc"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    XString x;
    ASSERT_TRUE(x.setFromUtf8(r.text));
    EXPECT_EQ(r.ok, x.replaceChar(r.from, r.to));
    EXPECT_STREQ(r.expected, x.getUtf8());
  }
}

TEST(XString, FailedRebuildKeepsTheText) {
  const std::string text(300, 'a');
  XString x;
  ASSERT_TRUE(x.setFromUtf8(text.c_str()));
  ScopedAllocatorControl control;
  control.failAbove(1);
  EXPECT_FALSE(x.replaceChar('a', '\xE4'));
  EXPECT_FALSE(x.setFromUtf8((text + "b").c_str()));
  control.failAbove(0);
  control.failNth(2);  // the copy's reservation passes, the growth wider characters need does not
  EXPECT_FALSE(x.replaceChar('a', '\xE4'));
  EXPECT_EQ(text, x.getUtf8());
}

}  // namespace
