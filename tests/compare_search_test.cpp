#include <gtest/gtest.h>

#include <cctype>
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
  EXPECT_TRUE(abc.equalsIgnoreCase("abc") && empty.equalsIgnoreCase(static_cast<const char*>(nullptr)) &&
              !abc.equalsIgnoreCase(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(StringBuffer("\xC9").equalsIgnoreCase("\xE9")) << "Latin-1 is not folded";
  EXPECT_TRUE(empty.equalsIgnoreCase2(nullptr, 0) && !empty.equalsIgnoreCase2("", 0));
  EXPECT_TRUE(abc.equalsIgnoreCase2("abc", 3) && !abc.equalsIgnoreCase2("abc", 4));
  EXPECT_GT(0, StringBuffer("a").compare("\xE9")) << "bytes order as unsigned";
  for (const StringBuffer* sb : {&file, &empty}) {
    EXPECT_TRUE(sb->beginsWith("") && sb->endsWith("") && sb->beginsWithN("zzz", 0));
    EXPECT_FALSE(sb->beginsWith(nullptr) || sb->beginsWithIgnoreCaseN(nullptr, 0));
  }
  EXPECT_TRUE(file.beginsWithN("fixed", 2) && file.beginsWithIgnoreCase("FILE.") && file.endsWithIgnoreCase("TXT") &&
              file.beginsWithIgnoreCaseN("FILEx", 4));
  EXPECT_FALSE(file.endsWith("TXT") || abc.endsWith("ABCD") || empty.endsWithWhitespace() ||
               file.beginsWithIgnoreCaseN("x", 1));
  EXPECT_TRUE(zeroed.endsWith("bc") && !zeroed.endsWith("abc")) << "the tail is located by length";
}

TEST(CompareSearch, Searching) {
  StringBuffer sb = bufferOf(std::string("ab\0cd", 5)), high("a\xE9" "b\xE9" "c");
  EXPECT_FALSE(sb.containsSubstring("cd") || sb.containsChar('c')) << "text searches stop at the zero byte";
  EXPECT_TRUE(sb.indexOf("cd") == -1 && sb.indexOfNoCase("CD") == -1 && sb.indexOf("") == 0);
  EXPECT_TRUE(sb.containsAnyOf("c")) << "byte operations see the whole length";
  EXPECT_TRUE(StringBuffer("c").containsAnyOf("xc") && !sb.isNonTerminated());
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

// The searches pick a rare needle byte, skip by memchr and switch to a
// linear search once false starts pile up; every path must find what a plain
// left-to-right scan finds, before and after the switch.
TEST(CompareSearch, SearchPathsAgreeWithPlainScan) {
  const auto plain = [](const std::string& hay, const std::string& needle, bool noCase) -> int {
    auto fold = [noCase](char c) { return noCase ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c; };
    for (size_t i = 0; i + needle.size() <= hay.size(); ++i) {
      size_t j = 0;
      while (j < needle.size() && fold(hay[i + j]) == fold(needle[j])) ++j;
      if (j == needle.size()) return static_cast<int>(i);
    }
    return -1;
  };
  const std::string run(20000, 'a');
  struct Row {
    std::string hay, needle;
  } rows[] = {
      {run + "b", std::string(300, 'a') + "b"},   // near misses until the very end
      {run + "B", std::string(300, 'A') + "b"},   // the same, cases mixed
      {run, std::string(300, 'a') + "b"},         // never found after the switch
      {"xb" + run + "ab", "ab"},                  // rare byte first in the text
      {"the lazy dog, the lazy cat", "lazy cat"},
      {"THE LAZY CAT", "lazy cat"},
      {"zzzz", "zzzzz"},                          // needle longer than the text
      {"abcZ", "Z"},
      {"\xC9t\xE9", "\xE9"},                      // bytes above 127 fold to themselves
      {run + "q" + run.substr(0, 1500) + "Q", std::string(1200, 'a') + "q"},  // long needle, hashed fallback
  };
  for (const Row& r : rows) {
    const StringBuffer sb(r.hay.c_str());
    EXPECT_EQ(plain(r.hay, r.needle, false), sb.indexOf(r.needle.c_str())) << r.needle.substr(0, 20);
    EXPECT_EQ(plain(r.hay, r.needle, true), sb.indexOfNoCase(r.needle.c_str())) << r.needle.substr(0, 20);
  }
}

TEST(CompareSearch, MatchBehindZeroByteIsNotFound) {
  const StringBuffer sb = bufferOf(std::string("abc\0needle", 10));
  EXPECT_EQ(-1, sb.indexOf("needle"));
  EXPECT_EQ(-1, sb.indexOfNoCase("NEEDLE"));
  // A zero byte before the rare needle byte's first possible place, and one
  // met only after the switch to the linear search.
  const std::string run(20000, 'a'), longNeedle = std::string(300, 'a') + "b";
  EXPECT_EQ(-1, bufferOf(std::string("a\0cabc!", 7)).indexOf("abc!"));
  EXPECT_EQ(-1, bufferOf(std::string("a\0c", 3) + std::string(300, 'x') + "abc!").indexOf("abc!"));
  EXPECT_EQ(303, bufferOf(std::string("abc", 3) + std::string(300, 'x') + "abc!").indexOf("abc!"));
  EXPECT_EQ(-1, bufferOf(run + std::string(1, '\0') + longNeedle).indexOf(longNeedle.c_str()));
  EXPECT_EQ(20000, bufferOf(run + longNeedle + std::string(1, '\0')).indexOf(longNeedle.c_str()));
  EXPECT_EQ(1, sb.indexOf("bc"));
  EXPECT_EQ(0, sb.indexOf(""));
}
