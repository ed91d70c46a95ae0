#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

namespace {

std::string byte(unsigned b) { return std::string(1, static_cast<char>(b)); }

bool in(const std::string& set, unsigned b) { return b != 0 && set.find(static_cast<char>(b)) != std::string::npos; }

}  // namespace

TEST(TrimCase, EachTrimUsesExactlyItsSet) {
  struct Row { unsigned (StringBuffer::*op)(); bool front; const char* set; };
  const Row rows[] = {
      {&StringBuffer::trim, true, " \t"},           {&StringBuffer::trim2, true, "\t\n\r "},
      {&StringBuffer::trim3, true, "\"'*-/@"},       {&StringBuffer::trimRight2, false, "\t\n\r "},
      {&StringBuffer::trimTrailingCRLFs, false, "\r\n"}, {&StringBuffer::trimTrailingSpaces, false, " \t"},
  };
  for (const Row& r : rows) {
    for (unsigned b = 1; b < 256; ++b) {
      SCOPED_TRACE(std::string(r.set) + " byte " + std::to_string(b));
      const std::string bb = byte(b) + byte(b);
      StringBuffer sb = bufferOf(bb + "x" + byte(b));
      const bool member = in(r.set, b);
      EXPECT_EQ(member ? (r.front ? 3u : 1u) : 0u, (sb.*r.op)());
      EXPECT_EQ(member ? (r.front ? "x" : bb + "x") : bb + "x" + byte(b), bytesOf(sb));
    }
  }
}

TEST(TrimCase, TrimEdges) {
  StringBuffer blank(" \t "), zero = bufferOf(std::string(" a\0b", 4)), markers("-- x --");
  EXPECT_EQ(3u, blank.trim());
  EXPECT_EQ(0u, blank.getSize());
  EXPECT_EQ(3u, zero.trim()) << "the move to the front stops at the zero byte";
  EXPECT_EQ("a", bytesOf(zero));
  markers.trim3();
  EXPECT_EQ(" x ", bytesOf(markers));
}

TEST(TrimCase, Cutting) {
  struct Row { const char* name; std::function<void(StringBuffer&)> op; const char* before; const char* after; };
  const Row rows[] = {
      {"trimBefore discard", [](StringBuffer& s) { s.trimBefore(':', true); }, "key:value", "value"},
      {"trimBefore last byte", [](StringBuffer& s) { s.trimBefore(':', true); }, "key:", ""},
      {"trimAfter keep", [](StringBuffer& s) { s.trimAfter('.', false); }, "a.b.c", "a.b."},
      {"chopAtSubstr keep", [](StringBuffer& s) { EXPECT_TRUE(s.chopAtSubstr("cd", true)); }, "abcdef", "abcd"},
      {"chopAtSubstr empty", [](StringBuffer& s) { EXPECT_FALSE(s.chopAtSubstr("", false)); }, "abc", "abc"},
      {"chopAtFirstChar first", [](StringBuffer& s) { EXPECT_TRUE(s.chopAtFirstChar('c')); }, "cab", ""},
      {"chopAtLastChar 8-bit", [](StringBuffer& s) { EXPECT_TRUE(s.chopAtLastChar('\xE9')); }, "\xE9t\xE9s", "\xE9t"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb(r.before);
    r.op(sb);
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(TrimCase, CaseMappingOverAllBytes) {
  for (unsigned b = 1; b < 256; ++b) {
    SCOPED_TRACE(b);
    const unsigned lower = ((b >= 'A' && b <= 'Z') || (b >= 192 && b <= 223)) ? b + 32 : b;
    const unsigned upper = ((b >= 'a' && b <= 'z') || b >= 224) ? b - 32 : b;
    StringBuffer l = bufferOf(byte(b) + std::string("\0A", 2)), u = bufferOf(byte(b) + std::string("\0a", 2));
    l.toLowerCase();
    u.toUpperCase();
    EXPECT_EQ(byte(lower) + std::string("\0A", 2), bytesOf(l)) << "nothing behind the zero byte changes";
    EXPECT_EQ(byte(upper) + std::string("\0a", 2), bytesOf(u));
  }
}

TEST(TrimCase, FiltersOverAllBytes) {
  struct Row {
    const char* name;
    unsigned (StringBuffer::*op)();
    bool returnsRemoved;
    std::function<bool(unsigned)> keeps;
  };
  const Row rows[] = {
      {"removeCtrl", &StringBuffer::removeCtrl, true, [](unsigned b) { return b >= 32 || b == 9 || b == 10 || b == 13; }},
      {"removeControlChars", &StringBuffer::removeControlChars, true, [](unsigned b) { return b >= 32; }},
      {"drop8bitChars", &StringBuffer::drop8bitChars, false, [](unsigned b) { return b < 128; }},
      {"dropNonNumeric", &StringBuffer::dropNonNumeric, false, [](unsigned b) { return b == 32 || (b >= '0' && b <= '9'); }},
      {"dropNonNameChars", &StringBuffer::dropNonNameChars, false, [](unsigned b) {
         return b >= 128 || ((b | 32) >= 'a' && (b | 32) <= 'z') || (b >= '0' && b <= '9') ||
                in("!-.:_", b);
       }},
  };
  for (const Row& r : rows) {
    for (unsigned b = 0; b < 256; ++b) {
      SCOPED_TRACE(std::string(r.name) + " byte " + std::to_string(b));
      StringBuffer sb = bufferOf(byte(b) + "5" + byte(b) + "5");
      const unsigned got = (sb.*r.op)();
      const std::string expected = r.keeps(b) ? byte(b) + "5" + byte(b) + "5" : "55";
      EXPECT_EQ(expected, bytesOf(sb));
      EXPECT_EQ(r.returnsRemoved ? 4 - expected.size() : expected.size(), got);
    }
  }
}

TEST(TrimCase, ByteRemovalAndNulls) {
  StringBuffer sb("\xE9" "a\xE9" "b\xE9");
  sb.eliminateChar('\xE9', 2);
  EXPECT_EQ("\xE9" "ab", bytesOf(sb));
  EXPECT_EQ(1u, sb.removeCharOccurances('\xE9'));
  StringBuffer nulls = bufferOf(std::string("a\0b", 3));
  EXPECT_EQ(3u, nulls.replaceNullsWithSpaces());
  EXPECT_EQ("a b", bytesOf(nulls));
}

TEST(TrimCase, NothingAllocates) {
  StringBuffer sb(std::string(300, ' ').append("x\xC9y\r\n").c_str());
  ScopedAllocatorControl control;
  sb.trim2();
  sb.toUpperCase();
  sb.removeCtrl();
  sb.dropNonNameChars();
  sb.chopAtLastChar('Y');
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ("X\xC9", bytesOf(sb));
}
