#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "lib/TextSearch.h"

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// Reference: fold ASCII letters only, compare as unsigned bytes.
int referenceCompare(const std::string& a, const std::string& b) {
  std::string x = a, y = b;
  for (char& c : x) c = static_cast<char>(TextSearch::foldAscii(static_cast<unsigned char>(c)));
  for (char& c : y) c = static_cast<char>(TextSearch::foldAscii(static_cast<unsigned char>(c)));
  return sign(std::strcmp(x.c_str(), y.c_str()));
}

}  // namespace

TEST(TextSearch, FoldTouchesOnlyAsciiLetters) {
  for (unsigned b = 0; b < 256; ++b) {
    const unsigned expected = (b >= 'A' && b <= 'Z') ? b + 32 : b;
    EXPECT_EQ(expected, TextSearch::foldAscii(static_cast<unsigned char>(b))) << b;
  }
}

TEST(TextSearch, CompareNoCase) {
  struct Row { const char* a; const char* b; };
  const Row rows[] = {{"abc", "ABC"}, {"abc", "abd"}, {"ab", "abc"}, {"\xC9", "\xE9"},  // Latin-1 not folded
                      {"a\xFF", "A\x01"}, {"", ""}, {"[", "a"}, {"_", "A"}};
  for (const Row& r : rows) {
    SCOPED_TRACE(std::string(r.a) + " vs " + r.b);
    EXPECT_EQ(referenceCompare(r.a, r.b), sign(TextSearch::compareNoCase(r.a, r.b)));
    EXPECT_EQ(-referenceCompare(r.a, r.b), sign(TextSearch::compareNoCase(r.b, r.a)));
  }
  EXPECT_EQ(0, TextSearch::compareNoCaseN("abcX", "ABCy", 3));
  EXPECT_GT(0, TextSearch::compareNoCaseN("ab", "ABC", 3));
  EXPECT_EQ(0, TextSearch::compareNoCase(nullptr, ""));
}

TEST(TextSearch, FindNoCaseAgreesWithFoldedFind) {
  // Every needle drawn from the haystack, in mixed case, must be found at
  // the first folded position, exactly where a plain search of the folded
  // strings finds it.
  const std::string hay = "xAaBbAAbaB-aab_AAB";
  std::string folded = hay;
  for (char& c : folded) c = static_cast<char>(TextSearch::foldAscii(static_cast<unsigned char>(c)));
  for (size_t at = 0; at < hay.size(); ++at) {
    for (size_t n = 1; at + n <= hay.size(); ++n) {
      std::string needle = hay.substr(at, n);
      for (size_t i = 0; i < n; i += 2) needle[i] = static_cast<char>(std::toupper(needle[i]));
      std::string foldedNeedle = folded.substr(at, n);
      const char* got = TextSearch::findNoCase(hay.c_str(), needle.c_str());
      ASSERT_NE(nullptr, got) << needle;
      EXPECT_EQ(folded.find(foldedNeedle), static_cast<size_t>(got - hay.c_str())) << needle;
    }
  }
  EXPECT_EQ(nullptr, TextSearch::findNoCase("abc", "abcd"));
  EXPECT_EQ(nullptr, TextSearch::findNoCase("\xC9t\xC9", "\xE9t"));
}

TEST(TextSearch, FindBoundedStopsAtBoundAndZeroByte) {
  const char text[] = "abc\0def";
  EXPECT_EQ(text + 1, TextSearch::findBounded(text, "bc", 3));
  EXPECT_EQ(nullptr, TextSearch::findBounded(text, "bc", 2)) << "match crossing the bound";
  EXPECT_EQ(nullptr, TextSearch::findBounded(text, "de", 7)) << "behind a zero byte";
  EXPECT_EQ(text, TextSearch::findBounded(text, "", 0));
  EXPECT_EQ(nullptr, TextSearch::findBounded(nullptr, "a", 3));
}

TEST(TextSearch, WildcardMatch) {
  struct Row { const char* text; const char* pattern; bool caseSensitive; bool expected; };
  const Row rows[] = {
      {"report.txt", "*.txt", true, true},      {"report.txt", "*.TXT", true, false},
      {"report.txt", "*.TXT", false, true},     {"abc", "a?c", true, true},
      {"ac", "a?c", true, false},               {"", "*", true, true},
      {"", "", true, true},                     {"a", "", true, false},
      {"abcbd", "a*b*d", true, true},           {"abcbx", "a*b*d", true, false},
      {"a*b", "a\\*b", true, false},            {"mississippi", "m*iss*ppi", true, true},
      {"\xC9t\xC9", "\xE9*", false, false},     {"abc", "abc*", true, true},
      {"abc", "ab", true, false},               {"ab", "a**b**", true, true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(std::string(r.text) + " ~ " + r.pattern);
    EXPECT_EQ(r.expected, TextSearch::wildcardMatch(r.text, r.pattern, r.caseSensitive));
  }
  EXPECT_FALSE(TextSearch::wildcardMatch("abc", nullptr, true));
  EXPECT_TRUE(TextSearch::wildcardMatch(nullptr, "*", true));
}

TEST(TextSearch, WildcardMatchIsNotExponential) {
  const std::string text(4000, 'a');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(TextSearch::wildcardMatch(text.c_str(), "*a*a*a*a*a*a*a*a*b", true));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}
