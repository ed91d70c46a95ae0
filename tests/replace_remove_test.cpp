#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

namespace {
std::string repeat(const std::string& s, int n) {
  std::string out;
  while (n-- > 0) out += s;
  return out;
}
}  // namespace

TEST(ReplaceRemove, ReplaceAllOccurances) {
  struct Row { const char* name; std::string content; const char* find; const char* with; unsigned count; std::string after; };
  const Row rows[] = {
      {"inserted text is not searched again", "aaa", "a", "aa", 3, "aaaaaa"},
      {"matches do not overlap", "aaa", "aa", "b", 1, "ba"},
      {"empty replacement deletes", "a-b-c", "-", "", 2, "abc"},
      {"empty find", "abc", "", "x", 0, "abc"},
      {"text after a zero byte is dropped", std::string("xa\0a", 4), "a", "b", 1, "xb"},
      {"nothing replaced keeps zero bytes", std::string("x\0a", 3), "a", "b", 0, std::string("x\0a", 3)},
      {"growth to the heap", std::string(60, 'a'), "a", "bc", 60, repeat("bc", 60)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    EXPECT_EQ(r.count, sb.replaceAllOccurances(r.find, r.with));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
  StringBuffer mixed("ABCabcAbC");
  EXPECT_EQ(3u, mixed.replaceAllOccurancesNoCase("abc", "x"));
  EXPECT_EQ("xxx", bytesOf(mixed));
}

TEST(ReplaceRemove, SingleMatchSplices) {
  struct Row { const char* name; std::function<bool(StringBuffer&)> op; const char* before; bool result; const char* after; };
  const Row rows[] = {
      {"last of aaa", [](StringBuffer& s) { return s.replaceLastOccurance("aa", "b"); }, "aaa", true, "ba"},
      {"last of aaaa", [](StringBuffer& s) { return s.replaceLastOccurance("aa", "b"); }, "aaaa", true, "aab"},
      {"first, no case", [](StringBuffer& s) { return s.replaceFirstOccurance("B", "xy", true); }, "abcb", true, "axycb"},
      {"null replacement", [](StringBuffer& s) { return s.replaceFirstOccurance("b", nullptr, false); }, "abc", true, "abc"},
      {"after final, empty", [](StringBuffer& s) { return s.replaceAfterFinal("/", ""); }, "a/b/c", true, "a/b/"},
      {"after final", [](StringBuffer& s) { return s.replaceAfterFinal("/", "x"); }, "a/b/c", true, "a/b/x"},
      {"between", [](StringBuffer& s) { return s.replaceAllBetween("[", "]", "x", false); }, "a[b]c[d]", true, "a[x]c[d]"},
      {"between, markers", [](StringBuffer& s) { return s.replaceAllBetween("[", "]", "x", true); }, "a[b]c[d]", true, "axc[d]"},
      {"between, no end", [](StringBuffer& s) { return s.replaceAllBetween("[", ")", "x", true); }, "a[b]", false, "a[b]"},
      {"removeBefore", [](StringBuffer& s) { return s.removeBefore("=", true); }, "key=value", true, "value"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
  StringBuffer self("abc");
  EXPECT_TRUE(self.replaceFirstOccurance("b", self.getString() + 2, false)) << "replacement from the content";
  EXPECT_EQ("acc", bytesOf(self));
}

TEST(ReplaceRemove, Regions) {
  struct Row { const char* name; std::function<unsigned(StringBuffer&)> op; const char* before; unsigned result; const char* after; };
  const Row rows[] = {
      {"find in regions", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("{", "}", "a", "b"); }, "a{aa}a{a}", 3, "a{bb}a{b}"},
      {"no region holds find", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("{", "}", "z", "b"); }, "a{aa}", 0, "a{aa}"},
      {"unclosed region", [](StringBuffer& s) { return s.replaceAllOccurancesBetween("{", "}", "a", "b"); }, "{a}{a", 1, "{b}{a"},
      {"removeDelimited", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, false)); }, "a/*x*/b/*y*/c", 1, "abc"},
      {"first only", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, true)); }, "a/*x*/b/*y*/c", 1, "ab/*y*/c"},
      {"no end marker", [](StringBuffer& s) { return unsigned(s.removeDelimited("/*", "*/", true, false)); }, "a/*x", 1, "a/*x"},
      {"if contains", [](StringBuffer& s) { return unsigned(s.removeDelimitedIfContains("<", ">", "k", true, false)); }, "<a>1<k>2<b>3<kk>", 1, "<a>12<b>3"},
      {"if contains, first", [](StringBuffer& s) { return unsigned(s.removeDelimitedIfContains("<", ">", "k", true, true)); }, "<a><k><k>", 1, "<a><k>"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(ReplaceRemove, InPlaceByteMaps) {
  StringBuffer sb = bufferOf(std::string("xyzwx\0", 6) + "q");
  EXPECT_EQ(7u, sb.replaceChar5("xyzxx", '-'));
  EXPECT_EQ(std::string("---w-\0q", 7), bytesOf(sb));
  EXPECT_EQ(7u, sb.replaceChar5(std::string("w\0ww\0", 5).c_str(), '+')) << "a zero in the set matches zero bytes";
  EXPECT_EQ("---+-+q", bytesOf(sb));
  StringBuffer occ("ab.ab-a.b");
  EXPECT_EQ(2u, occ.replaceCharInOccurances("ab", 'b', 'B'));
  EXPECT_EQ("aB.aB-a.b", bytesOf(occ));
}

TEST(ReplaceRemove, AllocationCounts) {
  StringBuffer sb(std::string(200, 'a').c_str());
  {
    ScopedAllocatorControl control;
    EXPECT_EQ(200u, sb.replaceAllOccurances("a", "xyz"));
    EXPECT_EQ(1u, control.allocations()) << "one reservation of the exact size";
  }
  EXPECT_EQ(600u, sb.getSize());
  ScopedAllocatorControl control;
  sb.replaceChar20("xyzxyzxyzxyzxyzxyzxy", 'q');
  sb.replaceCharInOccurances("qq", 'q', 'r');
  sb.replaceModBase64Chars();
  sb.removeBefore("r", true);
  EXPECT_EQ(0u, control.allocations());
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
  EXPECT_FALSE(sb.replaceLastOccurance("d", std::string(500, 'e').c_str()));
  EXPECT_EQ(text, bytesOf(sb));
}
