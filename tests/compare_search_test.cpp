#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace {
std::string byte(unsigned b) { return std::string(1, static_cast<char>(b)); }
}  // namespace

TEST(CompareSearch, Comparison) {
  const StringBuffer empty, abc("ABC"), file("file.txt"), zeroed = bufferOf(std::string("a\0bc", 4));
  EXPECT_TRUE(empty.equals(nullptr) && !abc.equals(nullptr)) << "null equals only the empty buffer";
  EXPECT_TRUE(bufferOf(std::string("ab\0x", 4)).equals(bufferOf(std::string("ab\0y", 4))))
      << "text comparison stops at the zero byte";
  EXPECT_TRUE(abc.equalsIgnoreCase("abc"));
  EXPECT_FALSE(StringBuffer("\xC9").equalsIgnoreCase("\xE9")) << "Latin-1 is not folded";
  EXPECT_TRUE(empty.equalsIgnoreCase2(nullptr, 0) && !empty.equalsIgnoreCase2("", 0));
  EXPECT_TRUE(abc.equalsIgnoreCase2("abc", 3) && !abc.equalsIgnoreCase2("abc", 4));
  EXPECT_GT(0, StringBuffer("a").compare("\xE9")) << "bytes order as unsigned";
  for (const StringBuffer* sb : {&file, &empty}) {
    EXPECT_TRUE(sb->beginsWith("") && sb->endsWith("") && sb->beginsWithN("zzz", 0));
    EXPECT_FALSE(sb->beginsWith(nullptr) || sb->beginsWithIgnoreCaseN(nullptr, 0));
  }
  EXPECT_TRUE(file.beginsWithN("fixed", 2) && file.beginsWithIgnoreCase("FILE.") && file.endsWithIgnoreCase("TXT"));
  EXPECT_FALSE(file.endsWith("TXT") || abc.endsWith("ABCD") || empty.endsWithWhitespace());
  EXPECT_TRUE(zeroed.endsWith("bc") && !zeroed.endsWith("abc")) << "the tail is located by length";
}

TEST(CompareSearch, Searching) {
  StringBuffer sb = bufferOf(std::string("ab\0cd", 5)), high("a\xE9" "b\xE9" "c");
  EXPECT_FALSE(sb.containsSubstring("cd") || sb.containsChar('c')) << "text searches stop at the zero byte";
  EXPECT_EQ(-1, sb.indexOf("cd"));
  EXPECT_TRUE(sb.containsAnyOf("c")) << "byte operations see the whole length";
  EXPECT_EQ(sb.getString() + 3, sb.findFirstChar('c'));
  EXPECT_EQ(sb.getString() + 2, sb.findFirstChar(0));
  EXPECT_EQ(-1, sb.indexOf(nullptr));
  EXPECT_TRUE(sb.indexOf("ab") == 0 && !sb.containsChar(0) && StringBuffer().equals(""));
  EXPECT_EQ(1, StringBuffer("xAbC").indexOfNoCase("abc"));
  EXPECT_TRUE(StringBuffer("xAbC").containsSubstringNoCase("BC"));
  EXPECT_TRUE(StringBuffer("Report.TXT").matches("*.txt", false));
  EXPECT_FALSE(StringBuffer("Report.TXT").matches("*.txt", true) || StringBuffer("x").matches(nullptr, false));
  EXPECT_EQ(2u, high.countCharOccurances('\xE9'));
  EXPECT_EQ(high.getString() + 3, high.findLastChar('\xE9'));
  EXPECT_TRUE(high.containsCharInRange('\x80', '\xFF'));
  EXPECT_FALSE(high.containsCharInRange('z', 'a')) << "lo above hi matches nothing";
  EXPECT_EQ(nullptr, StringBuffer().findLastChar(0));
}

TEST(CompareSearch, ClassificationOverAllBytes) {
  for (unsigned b = 0; b < 256; ++b) {
    SCOPED_TRACE(b);
    const bool ws = b == 9 || b == 10 || b == 13 || b == 32, letter = (b | 32) >= 'a' && (b | 32) <= 'z';
    EXPECT_EQ(ws, bufferOf(" " + byte(b)).allWhitespace());
    EXPECT_EQ(ws, bufferOf("x" + byte(b)).endsWithWhitespace());
    EXPECT_EQ(!(b >= 'a' && b <= 'z'), bufferOf("A" + byte(b)).isAllCaps());
    EXPECT_EQ(b < 128, bufferOf("a" + byte(b)).is7bit(0));
    EXPECT_EQ(letter, bufferOf("a" + byte(b)).is7bitAlpha(0));
    const bool alnum1252 = b == '_' || (b >= '0' && b <= '9') || letter || (b >= 192 && b != 215 && b != 247);
    EXPECT_EQ(alnum1252, StringBuffer::isAlphaNumeric_1252(static_cast<char>(b)));
  }
  EXPECT_TRUE(StringBuffer("abc\xE9").is7bit(3));
}
