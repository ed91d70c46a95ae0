#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

struct EditRow { const char* name; std::string start; std::function<bool(StringBuffer&)> edit; bool result;
                 std::string expected; };

// A row's edit, named by the call it makes; the cuts return nothing and report true.
#define EDIT(call) [&](StringBuffer& sb) { return sb.call; }
#define CUT(call) [](StringBuffer& sb) { sb.call; return true; }

// Appends, prepends, inserts and cuts; our own content as a source at sizes
// where the copy forces growth from inline storage and from a full heap block.
TEST(AppendInsert, Edits) {
  DataBuffer data;
  data.append("d\0d", 3);
  StringBuffer twelve("12");
  const std::string a(60, 'a'), h = std::string(299, 'h') + "!", a78(78, 'a'), a79(79, 'a');
  const EditRow rows[] = {
      {"appendChar counts a zero byte", "a", EDIT(appendChar('\0')), true, std::string("a\0", 2)},
      {"appendUChar high byte", "", EDIT(appendUChar(0xFE)), true, "\xFE"},
      {"appendChar2 fills the inline buffer", a79, EDIT(appendChar2('1', '2') && sb.heapUsage() == 0), true, a79 + "12"},
      {"appendChar3 fills the inline buffer", a78, EDIT(appendChar3('1', '2', '3') && sb.heapUsage() == 0), true,
       a78 + "123"},
      {"appendCharN at its limit", "", EDIT(appendCharN('z', 12582912)), true, std::string(12582912, 'z')},
      {"appendCharN past its limit appends nothing", "a", EDIT(appendCharN('z', 12582913)), true, "a"},
      {"append3 takes null as empty", "", EDIT(append3("a", nullptr, "c")), true, "ac"},
      {"append DataBuffer keeps inner zero", "", EDIT(append(data)), true, std::string("d\0d", 3)},
      {"appendMaxN cuts", "", EDIT(appendMaxN("abcdef", 3)), true, "abc"},
      {"appendMaxN shorter text", "", EDIT(appendMaxN("abc", 10)), true, "abc"},
      {"appendMaxN zero max", "x", EDIT(appendMaxN("abc", 0)), true, "x"},
      {"prepend onto empty", "", EDIT(prepend("ab")), true, "ab"},
      {"prepend char", "bc", EDIT(prepend('a')), true, "abc"},
      {"prependN with zero bytes", "c", EDIT(prependN("a\0b", 3)), true, std::string("a\0bc", 4)},
      {"prependN onto empty drops trailing zeros", "", EDIT(prependN("a\0", 2)), true, "a"},
      {"insertCharAt middle", "abcd", EDIT(insertCharAt('X', 2)), true, "abXcd"},
      {"insertCharAt front", "abcd", EDIT(insertCharAt('X', 0)), true, "Xabcd"},
      {"insertCharAt at length", "abcd", EDIT(insertCharAt('X', 4)), true, "abcdX"},
      {"insertCharAt past the end", "abcd", EDIT(insertCharAt('X', 99)), true, "abcdX"},
      {"insertAt middle", "abc", EDIT(insertAt(twelve, 1)), true, "a12bc"},
      {"insertAt front", "abc", EDIT(insertAt(twelve, 0)), true, "12abc"},
      {"insertAt past the end", "abc", EDIT(insertAt(twelve, 7)), true, "abc12"},
      {"insertAt itself is refused", "abc", EDIT(insertAt(sb, 1)), false, "abc"},
      {"insertAt nothing", "abc", EDIT(insertAt(StringBuffer(), 1)), true, "abc"},
      {"append own text inline", a, EDIT(append(sb.getString())), true, a + a},
      {"append own text on the heap", h, EDIT(append(sb.getString())), true, h + h},
      {"appendN own tail", h, EDIT(appendN(sb.getString() + 299, 1)), true, h + "!"},
      {"prepend own text", h, EDIT(prepend(sb.getString() + 290)), true, h.substr(290) + h},
      {"prependN own head", a, EDIT(prependN(sb.getString(), 30)), true, a.substr(0, 30) + a},
      {"removeChunk middle", "abcde", CUT(removeChunk(1, 2)), true, "ade"},
      {"removeChunk running past the end", "abcde", CUT(removeChunk(3, 3)), true, "abcde"},
      {"removeChunk up to the end", "abcde", CUT(removeChunk(3, 2)), true, "abc"},
      {"shorten past the start", "abc", CUT(shorten(10)), true, ""},
      {"rollback cuts", "abcde", EDIT(rollback(2) == 2), true, "ab"},
      {"rollback beyond keeps", "abcde", EDIT(rollback(9) == 5), true, "abcde"},
      {"chopAt", "abcdef", CUT(chopAt(3)), true, "abc"},
      {"chopAt beyond", "abc", CUT(chopAt(3)), true, "abc"},
  };
  for (const EditRow& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.start);
    EXPECT_EQ(r.result, r.edit(sb));
    EXPECT_EQ(r.expected, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
}
#undef EDIT
#undef CUT

TEST(AppendInsert, ShortenZeroesWhatItRemoves) {
  StringBuffer sb("abcdef");
  const char* storage = sb.getString();
  sb.shorten(3);
  EXPECT_EQ(std::string(4, '\0'), std::string(storage + 3, 4));
  sb.chopAt(1);
  EXPECT_EQ('c', storage[2]);  // chopAt leaves the bytes beyond alone
}

TEST(AppendInsert, AppendMinSizeAddsNoReserve) {
  StringBuffer sb = bufferOf(std::string(60, 'a'));
  EXPECT_TRUE(sb.appendMinSize(std::string(30, 'b').c_str()));
  EXPECT_TRUE(sb.heapUsage() == 91 && sb.getExtendSize() == 202);
  StringBuffer other = bufferOf(std::string(40, 'c')), target = bufferOf(std::string(60, 't'));
  EXPECT_TRUE(target.appendMinSize(other));
  EXPECT_EQ(101u, target.heapUsage());
  EXPECT_FALSE(target.appendMinSize(target));

  ScopedAllocatorControl control;
  control.failNth(1);
  target.setExtendSize(77);
  EXPECT_FALSE(target.appendMinSize(std::string(30, 'x').c_str()));
  EXPECT_EQ(77u, target.getExtendSize());
  // A tail too long for an inline copy that cannot be saved: nothing changes.
  StringBuffer spliced = bufferOf(std::string(200, 's'));
  control.failNth(1);
  EXPECT_FALSE(spliced.insertAt(StringBuffer("12"), 1));
  control.failNth(1);
  EXPECT_FALSE(spliced.insertCharAt('x', 1));
  EXPECT_EQ(std::string(200, 's'), bytesOf(spliced));
}

TEST(AppendInsert, TakeSbMovesHeapStorageWithoutCopying) {
  StringBuffer other;
  other.appendCharN('o', 500);
  other.setExtendSize(123);
  const char* storage = other.getString();
  const unsigned int capacity = other.heapUsage();
  StringBuffer sb("previous");
  sb.setSecureBuf(true);
  ScopedAllocatorControl control;
  sb.takeSb(other);
  EXPECT_EQ(0u, control.allocations());
  EXPECT_TRUE(sb.getString() == storage && sb.heapUsage() == capacity && sb.getExtendSize() == 123);
  EXPECT_EQ(std::string(500, 'o'), bytesOf(sb));
  EXPECT_TRUE(other.getSize() == 0 && other.heapUsage() == 0 && other.getExtendSize() == 202);
  EXPECT_STREQ("", other.getString());

  StringBuffer small = bufferOf(std::string("s\0s", 3));
  sb.takeSb(small);
  EXPECT_EQ(std::string("s\0s", 3), bytesOf(sb));
  EXPECT_EQ(0u, sb.heapUsage());
  sb.takeSb(sb);
  EXPECT_EQ(3u, sb.getSize());
}

TEST(AppendInsert, TakeFromDbHandsOverTheBlock) {
  DataBuffer data;
  data.append("hello", 5);
  data.appendChar(0);
  const unsigned char* block = data.getData2();
  StringBuffer sb("old");
  ScopedAllocatorControl control;
  EXPECT_TRUE(sb.takeFromDb(data));
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ("hello", bytesOf(sb));
  EXPECT_EQ(reinterpret_cast<const char*>(block), sb.getString());
  EXPECT_EQ(0u, data.getSize());
  EXPECT_TRUE(sb.appendChar('!'));  // the taken block is an ordinary heap buffer
  EXPECT_STREQ("hello!", sb.getString());

  DataBuffer onlyZero;
  onlyZero.appendChar(0);
  EXPECT_TRUE(sb.takeFromDb(onlyZero));
  EXPECT_TRUE(sb.getSize() == 0 && onlyZero.getSize() == 1);
}

}  // namespace
