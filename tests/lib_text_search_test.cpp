#include <gtest/gtest.h>

#include <string>

#include "lib/TextSearch.h"

TEST(TextSearch, CompareNoCaseFoldsOnlyAscii) {
  EXPECT_EQ(0, TextSearch::compareNoCase("aBc", "AbC"));
  EXPECT_NE(0, TextSearch::compareNoCase("\xC9", "\xE9")) << "Latin-1 is not folded";
  EXPECT_GT(0, TextSearch::compareNoCase("a", "A\xFF")) << "shorter first, bytes unsigned";
  EXPECT_GT(0, TextSearch::compareNoCase("_", "A")) << "'_' (95) orders before folded 'a' (97)";
  EXPECT_EQ(0, TextSearch::compareNoCaseN("abcX", "ABCy", 3));
  EXPECT_EQ(0, TextSearch::compareNoCase(nullptr, ""));
  for (unsigned b = 0; b < 256; ++b) EXPECT_EQ(b >= 'A' && b <= 'Z' ? b + 32 : b, TextSearch::foldAscii(static_cast<unsigned char>(b)));
}

TEST(TextSearch, FindNoCaseAgreesWithFoldedFind) {
  // Every substring, in the other case, is found where a plain search of the folded text finds it.
  const std::string hay = "xAaBbAAbaB-aab_AAB", swapped = "XaAbBaaBAb-AAB_aab", folded = "xaabbaabab-aab_aab";
  for (size_t at = 0; at < hay.size(); ++at)
    for (size_t n = 1; at + n <= hay.size(); ++n)
      EXPECT_EQ(hay.c_str() + folded.find(folded.substr(at, n)),
                TextSearch::findNoCase(hay.c_str(), swapped.substr(at, n).c_str())) << swapped.substr(at, n);
  EXPECT_EQ(nullptr, TextSearch::findNoCase("abc", "abcd"));
  const char* const pairs = "bxaxb";  // a candidate for the rare x whose first byte differs
  EXPECT_EQ(pairs + 2, TextSearch::find(pairs, 5, "ax", 2));
  EXPECT_EQ(nullptr, TextSearch::findNoCase(std::string(3000, 'a').c_str(), (std::string(200, 'A') + "b").c_str()));
}

TEST(TextSearch, FindBoundedStopsAtBoundAndZeroByte) {
  const char text[] = "abc\0def";
  EXPECT_EQ(text + 1, TextSearch::findBounded(text, "bc", 3));
  EXPECT_EQ(nullptr, TextSearch::findBounded(text, "bc", 2)) << "match crossing the bound";
  EXPECT_EQ(nullptr, TextSearch::findBounded(text, "de", 7)) << "behind a zero byte";
}

TEST(TextSearch, WildcardMatch) {
  struct Row { const char* text; const char* pattern; bool caseSensitive; bool expected; };
  const Row rows[] = {
      {"report.txt", "*.txt", true, true}, {"report.txt", "*.TXT", true, false},
      {"report.txt", "*.TXT", false, true}, {"abc", "a?c", true, true},
      {"ac", "a?c", true, false},          {"", "*", true, true},
      {"a", "", true, false},              {"abcbx", "a*b*d", true, false},
      {"mississippi", "m*iss*ppi", true, true}, {"ab", "a**b**", true, true},
  };
  for (const Row& r : rows)
    EXPECT_EQ(r.expected, TextSearch::wildcardMatch(r.text, r.pattern, r.caseSensitive)) << r.text << " " << r.pattern;
  EXPECT_FALSE(TextSearch::wildcardMatch("abc", nullptr, true));
  EXPECT_FALSE(TextSearch::wildcardMatch(std::string(400, 'a').c_str(), "*a*a*a*a*a*a*a*a*b", true));
}
