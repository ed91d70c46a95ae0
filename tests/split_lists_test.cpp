#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lib/StringBufferArray.h"
#include "models.h"
#include "test_support.h"

namespace {

using std::string;
using Pieces = std::vector<string>;
using Splitter = bool (*)(StringBuffer&, StringBufferArray&);

Pieces piecesOf(const StringBufferArray& list) {
  Pieces out;
  for (int i = 0; i < list.getSize(); ++i) out.push_back(bytesOf(*list.sbAt(i)));
  return out;
}

bool cut(StringBuffer& sb, StringBufferArray& l, const char* boundary, int max, bool skip) {
  StringBuffer bound(boundary);
  return sb.splitUsingBoundary(bound, l, max, skip);
}

// Plain splitting and splitting at line endings, quotes and escapes, are
// proven against the model at the end; these rows hold the other splitters.
#define SPLIT(call) [](StringBuffer& sb, StringBufferArray& l) { return call; }
TEST(SplitLists, Pieces) {
  struct Row { const char* name; string content; Splitter op; Pieces expected; bool ok = true; };
  const Row rows[] = {
      {"zero first byte", string("\0a", 2), SPLIT(sb.split(l, ',', false, false)), {""}},
      {"up to 2, rest kept as it is", "a,\"b,c\",d", SPLIT(sb.splitUpToN(l, 2, ',', true, false)), {"a", "\"b,c\",d"}},
      {"up to 1 is no limit", "a,b,c", SPLIT(sb.splitUpToN(l, 1, ',', false, false)), {"a", "b", "c"}},
      {"separator set", "a;b,c", SPLIT(sb.split2(l, ";,", false, false)), {"a", "b", "c"}},
      {"null set", "a,b", SPLIT(sb.split2(l, nullptr, false, false)), {"a,b"}},
      {"separator set, CR LF is two", "a\r\nb", SPLIT(sb.split2(l, "\r\n", false, false)), {"a", "", "b"}},
      {"lines, CR LF counted once", "a\r\nb\rc\n", SPLIT(sb.splitIntoLines(l, 99)), {"a", "b", "c", ""}},
      {"boundary, leading", "XXaXXb", SPLIT(cut(sb, l, "XX", 0, false)), {"", "a", "b"}},
      {"boundary, leading skipped", "XXaXXb", SPLIT(cut(sb, l, "XX", 0, true)), {"a", "b"}},
      {"boundary, adjacent and trailing", "aXXXXbXX", SPLIT(cut(sb, l, "XX", 0, false)), {"a", "", "b"}},
      {"boundary, maximum 2", "aXXbXXc", SPLIT(cut(sb, l, "XX", 2, false)), {"a", "b"}},
      {"boundary, negative maximum", "aXXbXXc", SPLIT(cut(sb, l, "XX", -1, false)), {"a"}},
      {"boundary only, skipped", "XX", SPLIT(cut(sb, l, "XX", 0, true)), {}},
      {"empty boundary refused", "abc", SPLIT(cut(sb, l, "", 0, false)), {}, false},
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
#undef SPLIT

TEST(SplitLists, ListsAndPieces) {
  // The list is only appended to (and splitAndTrim trims what was there).
  StringBufferArray list, unshrunk;
  list.appendPtr(StringBuffer::createNewSB(" old "));
  StringBuffer("a,b,c").splitUpToN(list, 2, ',', false, false);
  EXPECT_EQ((Pieces{" old ", "a", "b", "c"}), piecesOf(list));
  StringBuffer(" d ,\te\r\n").splitAndTrim(list, ',', false, false);
  EXPECT_EQ((Pieces{"old", "a", "b", "c", "d", "e"}), piecesOf(list));
  // 300 bytes come as 255 + 45 into 255 + 202 + 1 (slack kept); 2000 end in 2919, given back.
  bufferOf(string(300, 'x') + "," + string(2000, 'y')).split(list, ',', false, false);
  EXPECT_EQ(458u, list.sbAt(6)->heapUsage());
  EXPECT_EQ(2001u, list.sbAt(7)->heapUsage());
  bufferOf(string(2000, 'y')).split2(unshrunk, ",", false, false);
  EXPECT_EQ(2919u, unshrunk.sbAt(0)->heapUsage());
}

TEST(SplitLists, AllocationFailure) {
  StringBuffer sb = bufferOf("a," + string(300, 'x') + ",b"), bound("X");
  StringBufferArray list;
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.splitUsingBoundary(bound, list, 0, false));
  control.failNth(1);
  EXPECT_FALSE(sb.splitIntoLines(list, 0));
  control.failNth(3);  // the copy and the piece object pass, the piece's bytes do not
  EXPECT_FALSE(sb.splitUsingBoundary(bound, list, 0, false));
  control.failAbove(250);  // the buffer objects pass, the 300-byte piece does not
  EXPECT_FALSE(sb.splitUsingBoundary(bound, list, 0, false));
  EXPECT_EQ(0, list.getSize());
  EXPECT_FALSE(sb.split(list, ',', false, false));
  EXPECT_EQ((Pieces{"a"}), piecesOf(list));
}

TEST(SplitLists, EveryShortRecordAgreesWithTheModel) {
  model::forEachString("a,\"\\\r\n", 4, [](const string& record) {
    const StringBuffer sb = bufferOf(record);
    for (int modes = 0; modes < 4; ++modes) {
      const bool q = (modes & 1) != 0, e = (modes & 2) != 0;
      StringBufferArray byComma, byLine;
      ASSERT_TRUE(sb.split(byComma, ',', q, e) && sb.splitByLineEndings(byLine, q, e));
      ASSERT_EQ(model::split(record, ",", q, e), piecesOf(byComma)) << record << " modes " << modes;
      ASSERT_EQ(model::split(record, "\r\n", q, e, true), piecesOf(byLine)) << record << " modes " << modes;
    }
  });
}

}  // namespace
