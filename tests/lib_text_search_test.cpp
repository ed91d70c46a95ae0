#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <string>

#include "lib/TextSearch.h"

TEST(TextSearch, CompareNoCaseFoldsOnlyAscii) {
  EXPECT_EQ(0, TextSearch::compareNoCase("aBc", "AbC"));
  EXPECT_NE(0, TextSearch::compareNoCase("\xC9", "\xE9")) << "Latin-1 is not folded";
  EXPECT_GT(0, TextSearch::compareNoCase("a", "A\xFF")) << "shorter first, bytes unsigned";
  EXPECT_GT(0, TextSearch::compareNoCase("_", "A")) << "'_' (95) orders before folded 'a' (97)";
  EXPECT_EQ(0, TextSearch::compareNoCaseN("abcX", "ABCy", 3));
  EXPECT_EQ(0, TextSearch::compareNoCase(nullptr, ""));
}

TEST(TextSearch, FindNoCaseAgreesWithFoldedFind) {
  // Every substring of the haystack, in mixed case, must be found where a
  // plain search of the lower-cased strings finds it.
  const std::string hay = "xAaBbAAbaB-aab_AAB";
  std::string folded = hay;
  for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (size_t at = 0; at < hay.size(); ++at) {
    for (size_t n = 1; at + n <= hay.size(); ++n) {
      std::string needle = hay.substr(at, n);
      for (size_t i = 0; i < n; i += 2) needle[i] = static_cast<char>(std::toupper(needle[i]));
      const char* got = TextSearch::findNoCase(hay.c_str(), needle.c_str());
      ASSERT_NE(nullptr, got) << needle;
      EXPECT_EQ(folded.find(folded.substr(at, n)), static_cast<size_t>(got - hay.c_str())) << needle;
    }
  }
  EXPECT_EQ(nullptr, TextSearch::findNoCase("abc", "abcd"));
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
  for (const Row& r : rows) {
    SCOPED_TRACE(std::string(r.text) + " ~ " + r.pattern);
    EXPECT_EQ(r.expected, TextSearch::wildcardMatch(r.text, r.pattern, r.caseSensitive));
  }
  EXPECT_FALSE(TextSearch::wildcardMatch("abc", nullptr, true));
  const std::string many(4000, 'a');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(TextSearch::wildcardMatch(many.c_str(), "*a*a*a*a*a*a*a*a*b", true));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "no exponential backtracking";
}
