#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace {
std::string byte(unsigned b) { return std::string(1, static_cast<char>(b)); }
}  // namespace

TEST(CompareSearch, Equality) {
  const StringBuffer empty, a("a"), abc("ABC");
  EXPECT_TRUE(empty.equals(nullptr));
  EXPECT_FALSE(a.equals(nullptr));
  EXPECT_TRUE(empty.equals(""));
  EXPECT_TRUE(bufferOf(std::string("ab\0x", 4)).equals(bufferOf(std::string("ab\0y", 4))))
      << "text comparison stops at the zero byte";
  EXPECT_TRUE(abc.equalsIgnoreCase("abc"));
  EXPECT_FALSE(StringBuffer("\xC9").equalsIgnoreCase("\xE9")) << "Latin-1 is not folded";
  EXPECT_TRUE(empty.equalsIgnoreCase2(nullptr, 0));
  EXPECT_FALSE(empty.equalsIgnoreCase2("", 0));
  EXPECT_TRUE(abc.equalsIgnoreCase2("abc", 3));
  EXPECT_FALSE(abc.equalsIgnoreCase2("abc", 4));
  EXPECT_GT(0, StringBuffer("a").compare("\xE9")) << "bytes order as unsigned";
}

TEST(CompareSearch, PrefixesAndSuffixes) {
  const StringBuffer file("file.txt"), empty;
  for (const StringBuffer* sb : {&file, &empty}) {
    EXPECT_TRUE(sb->beginsWith(""));
    EXPECT_TRUE(sb->endsWith(""));
    EXPECT_TRUE(sb->beginsWithN("zzz", 0));
    EXPECT_FALSE(sb->beginsWith(nullptr));
    EXPECT_FALSE(sb->beginsWithIgnoreCaseN(nullptr, 0));
  }
  EXPECT_TRUE(file.beginsWithN("fixed", 2));
  EXPECT_TRUE(file.beginsWithIgnoreCase("FILE."));
  EXPECT_TRUE(file.endsWithIgnoreCase("TXT"));
  EXPECT_FALSE(file.endsWith("TXT"));
  EXPECT_FALSE(StringBuffer("abc").endsWith("abcd"));
  EXPECT_TRUE(bufferOf(std::string("a\0bc", 4)).endsWith("bc")) << "the tail is located by length";
  EXPECT_FALSE(bufferOf(std::string("a\0bc", 4)).endsWith("abc"));
  EXPECT_FALSE(empty.endsWithWhitespace());
}

TEST(CompareSearch, TextSearchesStopAtZeroByte) {
  StringBuffer sb = bufferOf(std::string("ab\0cd", 5));
  EXPECT_FALSE(sb.containsSubstring("cd"));
  EXPECT_EQ(-1, sb.indexOf("cd"));
  EXPECT_FALSE(sb.containsChar('c'));
  EXPECT_TRUE(sb.containsAnyOf("c")) << "byte operations see the whole length";
  EXPECT_EQ(sb.getString() + 3, sb.findFirstChar('c'));
  EXPECT_EQ(sb.getString() + 2, sb.findFirstChar(0));
  EXPECT_EQ(-1, sb.indexOf(nullptr));
  EXPECT_EQ(1, StringBuffer("xAbC").indexOfNoCase("abc"));
  EXPECT_TRUE(StringBuffer("xAbC").containsSubstringNoCase("BC"));
  EXPECT_TRUE(StringBuffer("Report.TXT").matches("*.txt", false));
  EXPECT_FALSE(StringBuffer("Report.TXT").matches("*.txt", true));
  EXPECT_FALSE(StringBuffer("x").matches(nullptr, false));
}

TEST(CompareSearch, SingleBytesCompareUnsigned) {
  StringBuffer sb("a\xE9" "b\xE9" "c");
  EXPECT_EQ(2u, sb.countCharOccurances('\xE9'));
  EXPECT_EQ(sb.getString() + 3, sb.findLastChar('\xE9'));
  EXPECT_TRUE(sb.containsCharInRange('\x80', '\xFF'));
  EXPECT_FALSE(sb.containsCharInRange('z', 'a')) << "lo above hi matches nothing";
  EXPECT_EQ(nullptr, StringBuffer().findLastChar(0));
}

TEST(CompareSearch, ClassificationOverAllBytes) {
  for (unsigned b = 0; b < 256; ++b) {
    SCOPED_TRACE(b);
    const bool ws = b == 9 || b == 10 || b == 13 || b == 32;
    EXPECT_EQ(ws, bufferOf(" " + byte(b)).allWhitespace());
    EXPECT_EQ(ws, bufferOf("x" + byte(b)).endsWithWhitespace());
    EXPECT_EQ(!(b >= 'a' && b <= 'z'), bufferOf("A" + byte(b)).isAllCaps());
    EXPECT_EQ(b < 128, bufferOf("a" + byte(b)).is7bit(0));
    const bool letter = (b | 32) >= 'a' && (b | 32) <= 'z';
    EXPECT_EQ(letter, bufferOf("a" + byte(b)).is7bitAlpha(0));
    const bool alnum1252 = b == '_' || (b >= '0' && b <= '9') || letter || (b >= 192 && b != 215 && b != 247);
    EXPECT_EQ(alnum1252, StringBuffer::isAlphaNumeric_1252(static_cast<char>(b)));
  }
  EXPECT_TRUE(StringBuffer("abc\xE9").is7bit(3));
}
