#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "models.h"
#include "test_support.h"

TEST(ReplaceRemove, ReplaceAllOccurances) {
  struct Row { const char* name; std::string content; const char* find; const char* with; unsigned count; std::string after; };
  const Row rows[] = {
      {"inserted text is not searched again", "aaa", "a", "aa", 3, "aaaaaa"},
      {"matches do not overlap", "aaa", "aa", "b", 1, "ba"},
      {"empty replacement deletes", "a-b-c", "-", "", 2, "abc"},
      {"empty find", "abc", "", "x", 0, "abc"},
      {"text after a zero byte is dropped", std::string("xa\0a", 4), "a", "b", 1, "xb"},
      {"nothing replaced keeps zero bytes", std::string("x\0a", 3), "a", "b", 0, std::string("x\0a", 3)},
      {"growth to the heap", std::string(60, 'a'), "a", "aa", 60, std::string(120, 'a')},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    EXPECT_EQ(r.count, sb.replaceAllOccurances(r.find, r.with));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(ReplaceRemove, SplicesAndRegions) {
  struct Row { const char* name; std::function<unsigned(StringBuffer&)> op; std::string before; unsigned result; std::string after; };
  const Row rows[] = {
      {"all, no case", [](StringBuffer& s) { return s.replaceAllOccurancesNoCase("abc", "x"); }, "ABCabcAbC", 3, "xxx"},
      {"all, no case, absent", [](StringBuffer& s) { return s.replaceAllOccurancesNoCase("abd", "x"); }, "ABC", 0, "ABC"},
      {"last of aaa", [](StringBuffer& s) { return unsigned(s.replaceLastOccurance("aa", "b")); }, "aaa", 1, "ba"},
      {"last of aaaa", [](StringBuffer& s) { return unsigned(s.replaceLastOccurance("aa", "b")); }, "aaaa", 1, "aab"},
      {"first, no case", [](StringBuffer& s) { return unsigned(s.replaceFirstOccurance("B", "xy", true)); }, "abcb", 1, "axycb"},
      {"null replacement", [](StringBuffer& s) { return unsigned(s.replaceFirstOccurance("b", nullptr, false)); }, "abc", 1, "abc"},
      {"after final", [](StringBuffer& s) { return unsigned(s.replaceAfterFinal("/", "x")); }, "a/b/c", 1, "a/b/x"},
      {"between", [](StringBuffer& s) { return unsigned(s.replaceAllBetween("[", "]", "x", false)); }, "a[b]c[d]", 1, "a[x]c[d]"},
      {"between, markers", [](StringBuffer& s) { return unsigned(s.replaceAllBetween("[", "]", "x", true)); }, "a[b]c[d]", 1, "axc[d]"},
      {"between, empty buffer", [](StringBuffer& s) { return unsigned(s.replaceAllBetween("", "", "X", false)); }, "", 0, ""},
      {"between, no end", [](StringBuffer& s) { return unsigned(s.replaceAllBetween("[", ")", "x", true)); }, "a[b]", 0, "a[b]"},
      {"removeBefore", [](StringBuffer& s) { return unsigned(s.removeBefore("=", true)); }, "key=value", 1, "value"},
      {"find in regions", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("{", "}", "a", "b"); }, "a{aa}a{a}", 3, "a{bb}a{b}"},
      {"empty begin marker", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("", "}", "a", "b"); }, "a}a}a", 2, "b}b}a"},
      {"unclosed region", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("{", "}", "a", "b"); }, "{a}{a", 1, "{b}{a"},
      {"markers match case", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("<B>", "</B>", "a", "x"); }, "<b>a</b><B>a</B>", 1, "<b>a</b><B>x</B>"},
      {"removeDelimited", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, false)); }, "a/*x*/b/*y*/c", 1, "abc"},
      {"first only", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, true)); }, "a/*x*/b/*y*/c", 1, "ab/*y*/c"},
      {"no end marker", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, false)); }, "a/*x", 1, "a/*x"},
      {"if contains", [](StringBuffer& s) { return unsigned(s.removeDelimitedIfContains("<", ">", "k", true, false)); }, "<a>1<k>2<b>3<kk>", 1, "<a>12<b>3"},
      {"if contains, first", [](StringBuffer& s) { return unsigned(s.removeDelimitedIfContains("<", ">", "k", true, true)); }, "<a><k><k>", 1, "<a><k>"},
      {"byte set over the whole length", [](StringBuffer& s) { return s.replaceChar5("xyzxx", '-'); }, std::string("xyzwx\0q", 7), 7, std::string("---w-\0q", 7)},
      {"ten-byte set", [](StringBuffer& s) { return s.replaceChar10("abcdefghij", '-'); }, std::string("ja\0k", 4), 4, std::string("--\0k", 4)},
      {"zero in the byte set", [](StringBuffer& s) { return s.replaceChar5("w\0ww\0", '+'); }, std::string("-w-\0q", 5), 5, "-+-+q"},
      {"url-safe Base64", [](StringBuffer& s) { s.replaceModBase64Chars(); return 0u; }, std::string("a-b_c\0-", 7), 0, std::string("a+b/c\0+", 7)},
      {"bytes inside occurrences", [](StringBuffer& s) { return s.replaceCharInOccurances("ab", 'b', 'B'); }, "ab.ab-a.b", 2, "aB.aB-a.b"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
  StringBuffer self("abc");
  EXPECT_TRUE(self.replaceFirstOccurance("b", self.getString() + 2, false)) << "replacement from the content";
  EXPECT_EQ("acc", bytesOf(self));
}

TEST(ReplaceRemove, AllocationCounts) {
  StringBuffer sb(std::string(200, 'a').c_str());
  ScopedAllocatorControl control;
  EXPECT_EQ(200u, sb.replaceAllOccurances("a", "xyz"));
  EXPECT_EQ(1u, control.allocations()) << "one reservation of the exact size";
  sb.replaceChar20("xyzxyzxyzxyzxyzxyzxy", 'q');
  sb.replaceCharInOccurances("qq", 'q', 'r');
  sb.replaceModBase64Chars();
  sb.removeBefore("r", true);
  EXPECT_EQ(1u, control.allocations()) << "the rest works in place";
  EXPECT_EQ(std::string(599, 'r'), bytesOf(sb));
}

TEST(ReplaceRemove, FailedAllocationLeavesContent) {
  const std::string text = std::string(100, 'a') + "bc" + std::string(100, 'd');
  StringBuffer sb(text.c_str());
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.replaceFirstOccurance("bc", "X", false)) << "tail cannot be saved";
  control.failNth(1);
  EXPECT_EQ(0u, sb.replaceAllOccurances("a", "bb"));
  control.failNth(1);
  EXPECT_EQ(0u, sb.replaceAllOccurancesNoCase("A", "bb"));
  control.failNth(1);
  EXPECT_FALSE(sb.replaceLastOccurance("d", std::string(500, 'e').c_str()));
  EXPECT_EQ(text, bytesOf(sb));
}

// The rebuild is one allocation whatever the number of matches: the match
// list of the counting pass (stack first, then the free store) never uses
// the buffer allocator. A missing find or no match allocates nothing.
TEST(ReplaceRemove, ReplaceAllAllocatesOnce) {
  struct Row {
    size_t copies;
    const char* find;
    const char* with;
    unsigned expected;
    unsigned allocations;
  } rows[] = {
      {100, "ab", "xyz", 100, 1},        // grows
      {10, "ab", "xyz", 10, 0},          // the result fits the inline buffer
      {10000, "ab", "x", 10000, 1},      // shrinks, more matches than the stack list holds
      {10000, "ab", "ba", 10000, 1},     // same length: no counting pass
      {10, "zz", "x", 0, 0},             // absent
      {10, "", "x", 0, 0},               // empty find
  };
  for (const Row& r : rows) {
    std::string text;
    for (size_t i = 0; i < r.copies; ++i) text += "ab-";
    StringBuffer sb(text.c_str());
    std::string want;
    for (size_t i = 0; i < r.copies; ++i) want += r.expected != 0 ? std::string(r.with) + "-" : "ab-";
    ScopedAllocatorControl control;
    EXPECT_EQ(r.expected, sb.replaceAllOccurances(r.find, r.with)) << r.find << r.copies;
    EXPECT_EQ(r.allocations, control.allocations()) << r.find << r.copies;
    EXPECT_EQ(want, sb.getString());
  }
}

TEST(ReplaceRemove, ReplaceAllAgreesWithTheModel) {
  // Self-overlapping needles and replacements that contain them are where a
  // left-to-right, never-overlapping scan is easiest to get wrong.
  const char* finds[] = {"a", "aa", "ab", "aba"};
  const char* replacements[] = {"", "b", "aa", "aba"};
  model::forEachString(std::string("ab\0", 3), 6, [&](const std::string& content) {
    for (const char* find : finds)
      for (const char* replacement : replacements) {
        StringBuffer sb = bufferOf(content);
        const model::Replaced expected = model::replaceAll(content, find, replacement);
        ASSERT_EQ(expected.count, sb.replaceAllOccurances(find, replacement)) << content << " " << find;
        ASSERT_EQ(expected.content, bytesOf(sb)) << content << " " << find << " " << replacement;
      }
  });
}
