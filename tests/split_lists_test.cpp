#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "lib/StringBufferArray.h"
#include "test_support.h"

namespace {

using std::string;
using Pieces = std::vector<string>;
using Splitter = std::function<bool(StringBuffer&, StringBufferArray&)>;

Pieces piecesOf(const StringBufferArray& list) {
  Pieces out;
  for (int i = 0; i < list.getSize(); ++i) out.push_back(bytesOf(*list.sbAt(i)));
  return out;
}

#define SPLITTER(call) [=](StringBuffer& sb, StringBufferArray& l) { return sb.call; }
Splitter split(char d, bool q, bool e) { return SPLITTER(split(l, d, q, e)); }
Splitter upTo(int n, bool q = false) { return SPLITTER(splitUpToN(l, n, ',', q, false)); }
Splitter lines(bool q, bool e) { return SPLITTER(splitByLineEndings(l, q, e)); }
Splitter set(const char* separators) { return SPLITTER(split2(l, separators, false, false)); }
Splitter intoLines() { return SPLITTER(splitIntoLines(l, 99)); }
Splitter boundary(const char* b, int max, bool skip) {
  return [=](StringBuffer& sb, StringBufferArray& l) {
    StringBuffer bound(b);
    return sb.splitUsingBoundary(bound, l, max, skip);
  };
}
#undef SPLITTER

TEST(SplitLists, Pieces) {
  struct Row { const char* name; string content; Splitter op; Pieces expected; bool ok = true; };
  const Row rows[] = {
      {"empty buffer", "", split(',', false, false), {}},
      {"zero first byte", string("\0a", 2), split(',', false, false), {""}},
      {"empty pieces", "a,,b,", split(',', false, false), {"a", "", "b", ""}},
      {"quotes kept", "a,\"b,c\",d", split(',', true, false), {"a", "\"b,c\"", "d"}},
      {"backslash kept", "a\\,b,c", split(',', false, true), {"a\\,b", "c"}},
      {"high-bit delimiter", "a\xA6" "b", split('\xA6', false, false), {"a", "b"}},
      {"up to 3", "a,b,c,d", upTo(3), {"a", "b", "c,d"}},
      {"up to 2, rest kept as it is", "a,\"b,c\",d,e", upTo(2, true), {"a", "\"b,c\",d,e"}},
      {"up to 2, empty rest", "a,", upTo(2), {"a", ""}},
      {"up to 1 is no limit", "a,b,c", upTo(1), {"a", "b", "c"}},
      {"CR LF is one ending", "a\r\nb\n\nc\r", lines(false, false), {"a", "b", "", "c", ""}},
      {"LF CR is two", "a\n\rb", lines(false, false), {"a", "", "b"}},
      {"quoted line ending", "\"x\ny\"\nz", lines(true, false), {"\"x\ny\"", "z"}},
      {"escaped line ending", "x\\\ny", lines(false, true), {"x\\\ny"}},
      {"separator set", "a;b,c", set(";,"), {"a", "b", "c"}},
      {"empty set", "a,b", set(""), {"a,b"}},
      {"null set", "a,b", set(nullptr), {"a,b"}},
      {"lines, CR LF counted once", "a\r\nb\rc\n", intoLines(), {"a", "b", "c", ""}},
      {"boundary, leading", "XXaXXb", boundary("XX", 0, false), {"", "a", "b"}},
      {"boundary, leading skipped", "XXaXXb", boundary("XX", 0, true), {"a", "b"}},
      {"boundary, adjacent and trailing", "aXXXXbXX", boundary("XX", 0, false), {"a", "", "b"}},
      {"boundary, maximum 2", "aXXbXXc", boundary("XX", 2, false), {"a", "b"}},
      {"boundary, negative maximum", "aXXbXXc", boundary("XX", -1, false), {"a"}},
      {"boundary only", "XX", boundary("XX", 0, false), {""}},
      {"boundary only, skipped", "XX", boundary("XX", 0, true), {}},
      {"empty boundary refused", "abc", boundary("", 0, false), {}, false},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    StringBufferArray list;
    EXPECT_EQ(r.ok, r.op(sb, list));
    EXPECT_EQ(r.expected, piecesOf(list));
    EXPECT_EQ(r.content, bytesOf(sb));
  }
}

TEST(SplitLists, ListIsOnlyAppendedTo) {
  StringBufferArray list;
  list.appendPtr(StringBuffer::createNewSB(" old "));
  StringBuffer("a,b,c").splitUpToN(list, 2, ',', false, false);
  EXPECT_EQ((Pieces{" old ", "a", "b", "c"}), piecesOf(list));
  StringBuffer(" d ,\te\r\n").splitAndTrim(list, ',', false, false);
  EXPECT_EQ((Pieces{"old", "a", "b", "c", "d", "e"}), piecesOf(list));
}

TEST(SplitLists, PiecesGrowInChunksAndShrink) {
  // 300 bytes come as 255 + 45: one block of 255 + 202 + 1, slack under 256,
  // kept. 2000 bytes end in a block of 2919, which is given back.
  StringBufferArray list;
  bufferOf(string(300, 'x') + "," + string(2000, 'y')).split(list, ',', false, false);
  EXPECT_EQ(458u, list.sbAt(0)->heapUsage());
  EXPECT_EQ(2001u, list.sbAt(1)->heapUsage());
  StringBufferArray unshrunk;
  bufferOf(string(2000, 'y')).split2(unshrunk, ",", false, false);
  EXPECT_EQ(2919u, unshrunk.sbAt(0)->heapUsage());
}

TEST(SplitLists, AllocationFailure) {
  StringBuffer sb = bufferOf("a," + string(300, 'x') + ",b");
  StringBufferArray list;
  {
    ScopedAllocatorControl control;
    control.failAbove(100);
    EXPECT_FALSE(sb.split(list, ',', false, false));
  }
  EXPECT_EQ((Pieces{"a"}), piecesOf(list));

  StringBuffer bound("X");
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.splitUsingBoundary(bound, list, 0, false));
  EXPECT_EQ(1, list.getSize());
}

}  // namespace
