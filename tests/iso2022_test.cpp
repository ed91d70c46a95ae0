#include <gtest/gtest.h>

#include <string>

#include "lib/StringBufferArray.h"
#include "lib/StringScanner.h"
#include "test_support.h"

namespace {

using std::string;

const string kOpen = "\x1B$B";
const string kClose = "\x1B(B";

TEST(Iso2022, ReplaceAndRestore) {
  struct Row { const char* name; string text, shielded; std::vector<string> parts; };
  const Row rows[] = {
      {"two segments", "a" + kOpen + "$\"$$" + kClose + "b" + kOpen + "F|" + kClose + "c",
       "a" + kOpen + "TV_ISO2022_1" + kClose + "b" + kOpen + "TV_ISO2022_2" + kClose + "c", {"$\"$$", "F|"}},
      {"segments touch each other and the ends", kOpen + "AB" + kClose + kOpen + "CD" + kClose,
       kOpen + "TV_ISO2022_1" + kClose + kOpen + "TV_ISO2022_2" + kClose, {"AB", "CD"}},
      {"empty segment", "x" + kOpen + kClose + "y", "x" + kOpen + "TV_ISO2022_1" + kClose + "y", {""}},
      {"no closing sequence", "x" + kOpen + "AB", "x" + kOpen + "TV_ISO2022_1", {"AB"}},
      {"opening sequence last", "x" + kOpen, "x" + kOpen, {}},
      {"no segment", "plain " + kClose + " text", "plain " + kClose + " text", {}},
      {"empty", "", "", {}},
      {"placeholder text in another case stays", "tv_iso2022_1" + kOpen + "AB" + kClose,
       "tv_iso2022_1" + kOpen + "TV_ISO2022_1" + kClose, {"AB"}},
      {"no segment before a zero byte keeps the bytes behind it", string("a\0", 2) + kOpen + "AB", string("a\0", 2) + kOpen + "AB", {}},
      {"placeholder numbered past the segments stays", "TV_ISO2022_2" + kOpen + "AB" + kClose,
       "TV_ISO2022_2" + kOpen + "TV_ISO2022_1" + kClose, {"AB"}},
      // On the heap, and the content shrinks: the bytes left behind the new
      // end and the segment's own block must both be wiped.
      {"long segment", "a" + kOpen + string(600, 'Z') + kClose, "a" + kOpen + "TV_ISO2022_1" + kClose, {string(600, 'Z')}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBufferArray parts;  // its slots hold no content: released after the watch
    ReleaseWatcher watcher(64);  // what the long segment leaves behind the shielded text
    {
      StringBuffer sb;
      sb.setSecureBuf(true);
      sb.appendN(r.text.data(), static_cast<unsigned int>(r.text.size()));
      sb.iso2022Replace(parts);
      EXPECT_EQ(r.shielded, bytesOf(sb));
      sb.minimizeMemoryUsage();  // gives back the block the segments left
      ASSERT_EQ(static_cast<int>(r.parts.size()), parts.getSize());
      for (int i = 0; i < parts.getSize(); ++i) EXPECT_EQ(r.parts[i], bytesOf(*parts.sbAt(i)));
      sb.iso2022Restore(parts);
      EXPECT_EQ(r.text, bytesOf(sb));
      while (parts.getSize() != 0) TarvexObject::deleteObject(parts.removeAt(0));
    }
    EXPECT_FALSE(watcher.sawContent());
  }
}

// Placeholder 1 is also the start of placeholders 10 to 19.
TEST(Iso2022, TwelveSegmentsComeBackInOrder) {
  string text;
  for (int i = 0; i < 12; ++i) text += "<" + kOpen + string(2, static_cast<char>('A' + i)) + kClose;
  StringBuffer sb = bufferOf(text);
  StringBufferArray parts;
  sb.iso2022Replace(parts);
  EXPECT_EQ(12, parts.getSize());
  EXPECT_EQ(string::npos, bytesOf(sb).find("AA"));
  sb.iso2022Restore(parts);
  EXPECT_EQ(text, bytesOf(sb));
}

TEST(Iso2022, NoSegmentObject) {
  // The first allocation is the segment object: the rest stays as it was.
  const string text = "a" + kOpen + "AB" + kClose + "b";
  StringBuffer sb = bufferOf(text);
  StringBufferArray parts;
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    sb.iso2022Replace(parts);
  }
  EXPECT_EQ(0, parts.getSize());
  EXPECT_EQ(text, bytesOf(sb));
}

TEST(Iso2022, Scanner) {
  StringScanner scanner;
  StringBuffer out;
  scanner.setString("ab--cd--ef");
  EXPECT_EQ(1, scanner.advancePastMarker("--", out));
  EXPECT_EQ("ab--", bytesOf(out));
  EXPECT_TRUE(scanner.captureUntilMarker("--", out));
  EXPECT_EQ("ab--cd", bytesOf(out));
  EXPECT_EQ(0, scanner.advancePastMarker("zz", out));
  EXPECT_EQ(0, scanner.advancePastMarker("", out) + scanner.advancePastMarker(nullptr, out));
  EXPECT_STREQ("--ef", scanner.remaining());
  EXPECT_TRUE(scanner.captureUntilMarker("zz", out));
  EXPECT_TRUE(scanner.atEnd());
  EXPECT_EQ("ab--cd--ef", bytesOf(out));
  scanner.setString(nullptr);
  EXPECT_TRUE(scanner.atEnd());
  // No room for the bytes: nothing is consumed.
  const string text = string(300, 'x') + "--";
  scanner.setString(text.c_str());
  StringBuffer small;
  ScopedAllocatorControl control;
  control.failAbove(1);
  EXPECT_EQ(0, scanner.advancePastMarker("--", small));
  EXPECT_FALSE(scanner.captureUntilMarker("--", small));
  EXPECT_EQ(text, scanner.remaining());
}

}  // namespace
