#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

// The heap allocations an operation makes are part of what callers plan
// for: in-place edits make none, a rebuild with a known final size one, and
// nothing at all when there is nothing to change.
TEST(AllocationCounts, PerOperation) {
  struct Row {
    const char* what;
    std::function<void(StringBuffer&)> op;
    uint64_t allocations;
  };
  const Row rows[] = {
      {"trim", [](StringBuffer& sb) { sb.trim(); }, 0},
      {"trim2", [](StringBuffer& sb) { sb.trim2(); }, 0},
      {"trim3", [](StringBuffer& sb) { sb.trim3(); }, 0},
      {"trimRight2", [](StringBuffer& sb) { sb.trimRight2(); }, 0},
      {"trimTrailingCRLFs", [](StringBuffer& sb) { sb.trimTrailingCRLFs(); }, 0},
      {"trimBefore", [](StringBuffer& sb) { sb.trimBefore('b', true); }, 0},
      {"trimAfter", [](StringBuffer& sb) { sb.trimAfter('y', false); }, 0},
      {"chopAtSubstr", [](StringBuffer& sb) { sb.chopAtSubstr("xyz", true); }, 0},
      {"case", [](StringBuffer& sb) { sb.toUpperCase(), sb.toLowerCase(), sb.toLowerFirstChar(); }, 0},
      {"filters", [](StringBuffer& sb) { sb.removeCtrl(), sb.drop8bitChars(), sb.dropNonNameChars(); }, 0},
      {"replaceChar5", [](StringBuffer& sb) { sb.replaceChar5("abcde", '-'); }, 0},
      {"replaceAll, none found", [](StringBuffer& sb) { sb.replaceAllOccurances("#", "longer"); }, 0},
      {"replaceAll", [](StringBuffer& sb) { sb.replaceAllOccurances("a", "longer"); }, 1},
      {"replaceAllNoCase, none found", [](StringBuffer& sb) { sb.replaceAllOccurancesNoCase("#", "x"); }, 0},
      {"removeDelimited, no region", [](StringBuffer& sb) { sb.removeDelimited("<", ">", true, false); }, 0},
      {"setNthDelimited, short tail", [](StringBuffer& sb) { sb.setNthDelimited(39, ',', false, false, StringBuffer("v")); }, 0},
      {"setNthDelimited, long tail", [](StringBuffer& sb) { sb.setNthDelimited(1, ',', false, false, StringBuffer("v")); }, 1},
      {"changeDelimiter in place", [](StringBuffer& sb) { sb.changeDelimiter(',', ';', true, false); }, 0},
      {"tokenCount", [](StringBuffer& sb) { sb.tokenCount(", "); }, 0},
  };
  std::string content = " \t";
  for (int i = 0; i < 40; ++i) content += "abc xyz\x01\xC9 B,";
  content += " \r\n";
  for (const Row& r : rows) {
    StringBuffer sb = bufferOf(content);
    ScopedAllocatorControl control;
    r.op(sb);
    EXPECT_EQ(r.allocations, control.allocations()) << r.what;
  }
}
