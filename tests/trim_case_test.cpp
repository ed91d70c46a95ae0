#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

namespace {

std::string byte(unsigned b) { return std::string(1, static_cast<char>(b)); }

bool in(const char* set, unsigned b) { return b != 0 && std::string(set).find(static_cast<char>(b)) != std::string::npos; }

}  // namespace

// Over all bytes on heap content "bb5...5b5b": trims keep the inner b, filters reach it, nothing allocates.
TEST(TrimCase, ByteSetsOverAllBytes) {
  enum Reach { kBothEnds, kRightEnd, kAnywhere };
  struct Row { const char* name; unsigned (StringBuffer::*op)(); Reach reach; bool returnsLength; std::function<bool(unsigned)> drops; };
  const Row rows[] = {
      {"trim", &StringBuffer::trim, kBothEnds, false, [](unsigned b) { return in(" \t", b); }},
      {"trim2", &StringBuffer::trim2, kBothEnds, false, [](unsigned b) { return in("\t\n\r ", b); }},
      {"trim3", &StringBuffer::trim3, kBothEnds, false, [](unsigned b) { return in("\"'*-/@", b); }},
      {"trimRight2", &StringBuffer::trimRight2, kRightEnd, false, [](unsigned b) { return in("\t\n\r ", b); }},
      {"trimTrailingCRLFs", &StringBuffer::trimTrailingCRLFs, kRightEnd, false, [](unsigned b) { return in("\r\n", b); }},
      {"trimTrailingSpaces", &StringBuffer::trimTrailingSpaces, kRightEnd, false, [](unsigned b) { return in(" \t", b); }},
      {"removeCtrl", &StringBuffer::removeCtrl, kAnywhere, false, [](unsigned b) { return b < 32 && !in("\t\n\r", b); }},
      {"removeControlChars", &StringBuffer::removeControlChars, kAnywhere, false, [](unsigned b) { return b < 32; }},
      {"drop8bitChars", &StringBuffer::drop8bitChars, kAnywhere, true, [](unsigned b) { return b >= 128; }},
      {"dropNonNumeric", &StringBuffer::dropNonNumeric, kAnywhere, true, [](unsigned b) { return !in(" 0123456789", b); }},
      {"dropNonNameChars", &StringBuffer::dropNonNameChars, kAnywhere, true,
       [](unsigned b) { return b < 128 && ((b | 32) < 'a' || (b | 32) > 'z') && !in("0123456789!-.:_", b); }},
  };
  const std::string fives(100, '5');
  for (const Row& r : rows) {
    for (unsigned b = r.reach == kAnywhere ? 0 : 1; b < 256; ++b) {
      SCOPED_TRACE(std::string(r.name) + " byte " + std::to_string(b));
      const std::string x = byte(b), before = x + x + fives + x + "5" + x;
      const std::string dropped = r.reach == kBothEnds ? fives + x + "5" : r.reach == kRightEnd ? x + x + fives + x + "5" : fives + "5";
      const std::string after = r.drops(b) ? dropped : before;
      StringBuffer sb = bufferOf(before);
      ScopedAllocatorControl control;
      EXPECT_EQ(r.returnsLength ? after.size() : before.size() - after.size(), (sb.*r.op)());
      EXPECT_EQ(after, bytesOf(sb));
      EXPECT_TRUE(control.allocations() == 0 && sb.getString()[sb.getSize()] == 0);
    }
  }
}

TEST(TrimCase, CutsAndRemovals) {
  struct Row { const char* name; std::function<unsigned(StringBuffer&)> op; std::string before; unsigned result; std::string after; };
  const Row rows[] = {
      {"trim to nothing", [](StringBuffer& s) { return s.trim(); }, " \t ", 3, ""},
      {"trim ends the text at a zero byte", [](StringBuffer& s) { return s.trim(); }, std::string(" a\0b", 4), 3, "a"},
      {"trimBefore discard", [](StringBuffer& s) { s.trimBefore(':', true); return 0u; }, "key:value", 0, "value"},
      {"trimBefore keep", [](StringBuffer& s) { s.trimBefore(':', false); return 0u; }, "key:value", 0, ":value"},
      {"trim3 keeps spaces", [](StringBuffer& s) { return s.trim3(); }, "-- x --", 4, " x "},
      {"CR and LF in any order", [](StringBuffer& s) { return s.trimTrailingCRLFs(); }, "abc\r\n\n\r", 4, "abc"},
      {"trimBefore last byte", [](StringBuffer& s) { s.trimBefore(':', true); return 0u; }, "key:", 0, ""},
      {"trimAfter keep", [](StringBuffer& s) { s.trimAfter('.', false); return 0u; }, "a.b.c", 0, "a.b."},
      {"trimAfter discard", [](StringBuffer& s) { s.trimAfter('.', true); return 0u; }, "a.b.c", 0, "a.b"},
      {"chopAtSubstr keep", [](StringBuffer& s) { return unsigned(s.chopAtSubstr("cd", true)); }, "abcdef", 1, "abcd"},
      {"chopAtSubstr cut before", [](StringBuffer& s) { return unsigned(s.chopAtSubstr("cd", false)); }, "abcdef", 1, "ab"},
      {"chopAtSubstr refuses empty", [](StringBuffer& s) { return unsigned(s.chopAtSubstr("", false)); }, "abc", 0, "abc"},
      {"chopAtFirstChar first", [](StringBuffer& s) { return unsigned(s.chopAtFirstChar('c')); }, "cab", 1, ""},
      {"chopAtLastChar 8-bit", [](StringBuffer& s) { return unsigned(s.chopAtLastChar('\xE9')); }, "\xE9t\xE9s", 1, "\xE9t"},
      {"eliminateChar from offset", [](StringBuffer& s) { s.eliminateChar('\xE9', 2); return 0u; }, "\xE9" "a\xE9" "b\xE9", 0, "\xE9" "ab"},
      {"removeCharOccurances 8-bit", [](StringBuffer& s) { return s.removeCharOccurances('\xE9'); }, "\xE9" "ab\xE9", 2, "ab"},
      {"replaceNullsWithSpaces", [](StringBuffer& s) { return s.replaceNullsWithSpaces(); }, std::string("a\0b\0", 4), 4, "a b "},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
}

// Latin-1 maps 192..223 and 224..255 as blocks, 215/247 and 223/255 included; in place, on the heap.
TEST(TrimCase, CaseMappingOverAllBytes) {
  const std::string tail = std::string(1, '\0') + std::string(100, 'A') + "a";  // nothing behind the zero byte changes
  for (unsigned b = 1; b < 256; ++b) {
    SCOPED_TRACE(b);
    StringBuffer lower = bufferOf(byte(b) + tail), upper = bufferOf(byte(b) + tail);
    ScopedAllocatorControl control;
    lower.toLowerCase();
    upper.toUpperCase();
    EXPECT_EQ(0u, control.allocations());
    EXPECT_EQ(byte((b >= 'A' && b <= 'Z') || (b >= 192 && b <= 223) ? b + 32 : b) + tail, bytesOf(lower));
    EXPECT_EQ(byte((b >= 'a' && b <= 'z') || b >= 224 ? b - 32 : b) + tail, bytesOf(upper));
  }
}
