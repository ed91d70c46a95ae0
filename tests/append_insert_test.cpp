#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

using Edit = std::function<bool(StringBuffer&)>;

struct EditRow {
  const char* name;
  std::string start;
  Edit edit;
  bool result;
  std::string expected;
};

void runEdits(const EditRow* rows, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const EditRow& r = rows[i];
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.start);
    EXPECT_EQ(r.result, r.edit(sb));
    EXPECT_EQ(r.expected, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
}

bool done(const std::function<void(StringBuffer&)>& f, StringBuffer& sb) {
  f(sb);
  return true;
}

TEST(AppendInsert, Appends) {
  DataBuffer data;
  data.append("d\0d", 3);
  const EditRow rows[] = {
      {"appendChar counts a zero byte", "a", [](StringBuffer& sb) { return sb.appendChar('\0'); }, true,
       std::string("a\0", 2)},
      {"appendUChar high byte", "", [](StringBuffer& sb) { return sb.appendUChar(0xFE); }, true, "\xFE"},
      {"appendChar3 in order", "", [](StringBuffer& sb) { return sb.appendChar3('1', '2', '3'); }, true, "123"},
      {"appendCharN at its limit", "", [](StringBuffer& sb) { return sb.appendCharN('z', 12582912); }, true,
       std::string(12582912, 'z')},
      {"appendCharN past its limit appends nothing", "a",
       [](StringBuffer& sb) { return sb.appendCharN('z', 12582913); }, true, "a"},
      {"append3 stops at nothing for null", "", [](StringBuffer& sb) { return sb.append3("a", nullptr, "c"); },
       true, "ac"},
      {"appendLineEnding", "a", [](StringBuffer& sb) { return sb.appendLineEnding(); }, true, "a\n"},
      {"append DataBuffer keeps inner zero", "", [&](StringBuffer& sb) { return sb.append(data); }, true,
       std::string("d\0d", 3)},
      {"appendMaxN cuts", "", [](StringBuffer& sb) { return sb.appendMaxN("abcdef", 3); }, true, "abc"},
      {"appendMaxN shorter text", "", [](StringBuffer& sb) { return sb.appendMaxN("abc", 10); }, true, "abc"},
      {"appendMaxN exact length", "", [](StringBuffer& sb) { return sb.appendMaxN("abc", 3); }, true, "abc"},
      {"appendMaxN zero max", "x", [](StringBuffer& sb) { return sb.appendMaxN("abc", 0); }, true, "x"},
  };
  runEdits(rows, std::size(rows));
}

TEST(AppendInsert, PrependsAndInserts) {
  StringBuffer twelve("12");
  const EditRow rows[] = {
      {"prepend text", "cd", [](StringBuffer& sb) { return sb.prepend("ab"); }, true, "abcd"},
      {"prepend onto empty", "", [](StringBuffer& sb) { return sb.prepend("ab"); }, true, "ab"},
      {"prepend char", "bc", [](StringBuffer& sb) { return sb.prepend('a'); }, true, "abc"},
      {"prependN with zero bytes", "c", [](StringBuffer& sb) { return sb.prependN("a\0b", 3); }, true,
       std::string("a\0bc", 4)},
      {"prependN onto empty drops trailing zeros", "", [](StringBuffer& sb) { return sb.prependN("a\0", 2); },
       true, "a"},
      {"insertCharAt middle", "abcd", [](StringBuffer& sb) { return sb.insertCharAt('X', 2); }, true, "abXcd"},
      {"insertCharAt front", "abcd", [](StringBuffer& sb) { return sb.insertCharAt('X', 0); }, true, "Xabcd"},
      {"insertCharAt at length", "abcd", [](StringBuffer& sb) { return sb.insertCharAt('X', 4); }, true,
       "abcdX"},
      {"insertCharAt past the end", "abcd", [](StringBuffer& sb) { return sb.insertCharAt('X', 99); }, true,
       "abcdX"},
      {"insertAt middle", "abc", [&](StringBuffer& sb) { return sb.insertAt(twelve, 1); }, true, "a12bc"},
      {"insertAt front", "abc", [&](StringBuffer& sb) { return sb.insertAt(twelve, 0); }, true, "12abc"},
      {"insertAt past the end", "abc", [&](StringBuffer& sb) { return sb.insertAt(twelve, 7); }, true, "abc12"},
      {"insertAt itself is refused", "abc", [](StringBuffer& sb) { return sb.insertAt(sb, 1); }, false, "abc"},
  };
  runEdits(rows, std::size(rows));
}

TEST(AppendInsert, Cuts) {
  const EditRow rows[] = {
      {"removeChunk middle", "abcde", [](StringBuffer& sb) { return done([](StringBuffer& b) { b.removeChunk(1, 2); }, sb); },
       true, "ade"},
      {"removeChunk running past the end", "abcde",
       [](StringBuffer& sb) { return done([](StringBuffer& b) { b.removeChunk(3, 3); }, sb); }, true, "abcde"},
      {"removeChunk at the length", "abcde",
       [](StringBuffer& sb) { return done([](StringBuffer& b) { b.removeChunk(5, 0); }, sb); }, true, "abcde"},
      {"removeChunk up to the end", "abcde",
       [](StringBuffer& sb) { return done([](StringBuffer& b) { b.removeChunk(3, 2); }, sb); }, true, "abc"},
      {"shorten past the start", "abc", [](StringBuffer& sb) { return done([](StringBuffer& b) { b.shorten(10); }, sb); },
       true, ""},
      {"rollback cuts", "abcde", [](StringBuffer& sb) { return sb.rollback(2) == 2; }, true, "ab"},
      {"rollback beyond keeps", "abcde", [](StringBuffer& sb) { return sb.rollback(9) == 5; }, true, "abcde"},
      {"chopAt", "abcdef", [](StringBuffer& sb) { return done([](StringBuffer& b) { b.chopAt(3); }, sb); }, true,
       "abc"},
      {"chopAt beyond", "abc", [](StringBuffer& sb) { return done([](StringBuffer& b) { b.chopAt(3); }, sb); }, true,
       "abc"},
  };
  runEdits(rows, std::size(rows));
}

TEST(AppendInsert, ShortenZeroesWhatItRemoves) {
  StringBuffer sb("abcdef");
  const char* storage = sb.getString();
  sb.shorten(3);
  EXPECT_EQ(std::string(4, '\0'), std::string(storage + 3, 4));
  sb.appendChar('x');
  sb.chopAt(1);
  EXPECT_EQ('c', storage[2]);  // chopAt leaves the bytes beyond alone
}

TEST(AppendInsert, AppendMinSizeAddsNoReserve) {
  StringBuffer sb;
  sb.appendCharN('a', 60);
  EXPECT_TRUE(sb.appendMinSize(std::string(30, 'b').c_str()));
  EXPECT_EQ(91u, sb.heapUsage());
  EXPECT_EQ(202u, sb.getExtendSize());

  StringBuffer other;
  other.appendCharN('c', 40);
  StringBuffer target;
  target.appendCharN('t', 60);
  EXPECT_TRUE(target.appendMinSize(other));
  EXPECT_EQ(101u, target.heapUsage());
  EXPECT_FALSE(target.appendMinSize(target));

  ScopedAllocatorControl control;
  control.failNth(1);
  target.setExtendSize(77);
  EXPECT_FALSE(target.appendMinSize(std::string(30, 'x').c_str()));
  EXPECT_EQ(77u, target.getExtendSize());
}

TEST(AppendInsert, TakeSbMovesHeapStorageWithoutCopying) {
  StringBuffer other;
  other.appendCharN('o', 500);
  const char* storage = other.getString();
  const unsigned int capacity = other.heapUsage();
  StringBuffer sb("previous");
  sb.setSecureBuf(true);
  ScopedAllocatorControl control;
  sb.takeSb(other);
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ(storage, sb.getString());
  EXPECT_EQ(capacity, sb.heapUsage());
  EXPECT_EQ(500u, sb.getSize());
  EXPECT_EQ(0u, other.getSize());
  EXPECT_EQ(0u, other.heapUsage());
  EXPECT_EQ(202u, other.getExtendSize());
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
  EXPECT_STREQ("hello", sb.getString());
  EXPECT_EQ(5u, sb.getSize());
  EXPECT_EQ(reinterpret_cast<const char*>(block), sb.getString());
  EXPECT_EQ(0u, data.getSize());
  EXPECT_TRUE(sb.appendChar('!'));  // the taken block is an ordinary heap buffer
  EXPECT_STREQ("hello!", sb.getString());

  DataBuffer onlyZero;
  onlyZero.appendChar(0);
  EXPECT_TRUE(sb.takeFromDb(onlyZero));
  EXPECT_EQ(0u, sb.getSize());
  EXPECT_EQ(1u, onlyZero.getSize());
}

}  // namespace
