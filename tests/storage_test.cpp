#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

struct GrowthStep {
  unsigned int lengthAfterAppend;
  unsigned int capacity;
  unsigned int extendSize;
};

TEST(Storage, NewBufferIsEmptyInline) {
  StringBuffer sb;
  EXPECT_EQ(0u, sb.getSize());
  EXPECT_STREQ("", sb.getString());
  EXPECT_EQ(0u, sb.heapUsage());
  EXPECT_EQ(202u, sb.getExtendSize());
  EXPECT_TRUE(sb.isValidObject());
  EXPECT_EQ(sizeof(StringBuffer), sb.totalMemoryUsage());
}

TEST(Storage, ExpectNumBytesGrowsGeometricallyByteByByte) {
  // Every capacity change seen while appending single bytes.
  const GrowthStep expected[] = {
      {82, 285, 202}, {285, 488, 244}, {488, 733, 366}, {733, 1100, 550}, {1100, 1651, 825},
  };
  std::vector<GrowthStep> seen;
  StringBuffer sb;
  unsigned int capacity = 0;
  for (int i = 0; i < 1200; ++i) {
    ASSERT_TRUE(sb.appendChar('x'));
    if (sb.heapUsage() != capacity) {
      capacity = sb.heapUsage();
      seen.push_back({sb.getSize(), capacity, sb.getExtendSize()});
    }
  }
  ASSERT_EQ(std::size(expected), seen.size());
  for (size_t i = 0; i < seen.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(expected[i].lengthAfterAppend, seen[i].lengthAfterAppend);
    EXPECT_EQ(expected[i].capacity, seen[i].capacity);
    EXPECT_EQ(expected[i].extendSize, seen[i].extendSize);
  }
}

TEST(Storage, ExtendSizeAdaptsUpToItsCap) {
  struct Row {
    const char* name;
    unsigned int extendSize, request, capacity, extendAfter;
  };
  // Each row starts from a heap buffer of 100 bytes holding 90.
  const Row rows[] = {
      {"halved below the cap", 300000, 200, 300291, 150145},
      {"capped once capacity reaches 1000002", 499999, 500012, 1000102, 500000},
      {"a reserve set above the cap is kept", 600000, 1000, 601091, 600000},
      {"zero reserve allocates exactly the need", 0, 100, 191, 95},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb;
    sb.setExtendSize(9);
    ASSERT_TRUE(sb.expectNumBytes(90));
    ASSERT_EQ(100u, sb.heapUsage());
    sb.appendCharN('a', 90);
    sb.setExtendSize(r.extendSize);
    ASSERT_TRUE(sb.expectNumBytes(r.request));
    EXPECT_EQ(r.capacity, sb.heapUsage());
    EXPECT_EQ(r.extendAfter, sb.getExtendSize());
    EXPECT_EQ(std::string(90, 'a'), sb.getString());
  }
}

TEST(Storage, GrowthBeyond32BitsIsRefused) {
  StringBuffer sb("abc");
  EXPECT_FALSE(sb.expectNumBytes(0xFFFFFFFFu));
  EXPECT_FALSE(sb.expectNumBytes(0xFFFFFFF0u));  // the reserve would wrap
  EXPECT_STREQ("abc", sb.getString());
  EXPECT_EQ(0u, sb.heapUsage());
}

// Every growing operation of the storage and append families, run against a
// full inline buffer and a full heap buffer with the next allocation failing.
TEST(Storage, FailedGrowthLeavesContentUnchanged) {
  DataBuffer data;
  data.append("data", 4);
  StringBuffer other("other");
  using Op = std::function<bool(StringBuffer&)>;
  const std::pair<const char*, Op> ops[] = {
      {"expectNumBytes", [](StringBuffer& sb) { return sb.expectNumBytes(5); }},
      {"append(text)", [](StringBuffer& sb) { return sb.append("xy"); }},
      {"appendN", [](StringBuffer& sb) { return sb.appendN("x\0y", 3); }},
      {"append(buffer)", [&](StringBuffer& sb) { return sb.append(other); }},
      {"append(DataBuffer)", [&](StringBuffer& sb) { return sb.append(data); }},
      {"appendChar", [](StringBuffer& sb) { return sb.appendChar('x'); }},
      {"appendUChar", [](StringBuffer& sb) { return sb.appendUChar(0xFF); }},
      {"appendChar2", [](StringBuffer& sb) { return sb.appendChar2('x', 'y'); }},
      {"appendChar3", [](StringBuffer& sb) { return sb.appendChar3('x', 'y', 'z'); }},
      {"appendCharN", [](StringBuffer& sb) { return sb.appendCharN('x', 7); }},
      {"appendLineEnding", [](StringBuffer& sb) { return sb.appendLineEnding(); }},
      {"append2", [](StringBuffer& sb) { return sb.append2("x", "y"); }},
      {"append3", [](StringBuffer& sb) { return sb.append3("x", "y", "z"); }},
      {"appendMinSize(text)", [](StringBuffer& sb) { return sb.appendMinSize("xy"); }},
      {"appendMinSize(buffer)", [&](StringBuffer& sb) { return sb.appendMinSize(other); }},
      {"appendMaxN", [](StringBuffer& sb) { return sb.appendMaxN("xyz", 2); }},
      {"prepend(text)", [](StringBuffer& sb) { return sb.prepend("xy"); }},
      {"prepend(char)", [](StringBuffer& sb) { return sb.prepend('x'); }},
      {"prependN", [](StringBuffer& sb) { return sb.prependN("x\0y", 3); }},
      {"insertAt", [&](StringBuffer& sb) { return sb.insertAt(other, 3); }},
      {"insertCharAt", [](StringBuffer& sb) { return sb.insertCharAt('x', 3); }},
  };
  for (bool onHeap : {false, true}) {
    for (const auto& [name, op] : ops) {
      SCOPED_TRACE(std::string(name) + (onHeap ? " on heap" : " inline"));
      StringBuffer sb;
      if (onHeap) {
        sb.setExtendSize(0);
        sb.appendCharN('h', 100);  // capacity 101: full
        sb.setExtendSize(202);
      } else {
        sb.appendCharN('i', 81);  // inline buffer full
      }
      const std::string before = bytesOf(sb);
      const unsigned int capacity = sb.heapUsage();
      ScopedAllocatorControl control;
      control.failNth(1);
      EXPECT_FALSE(op(sb));
      EXPECT_EQ(before, bytesOf(sb));
      EXPECT_EQ(capacity, sb.heapUsage());
    }
  }
  // Setting a buffer from its own content needs a copy, and that may fail.
  StringBuffer sb;
  sb.appendCharN('h', 100);
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.setString(sb.getString() + 1));
  EXPECT_EQ(std::string(100, 'h'), bytesOf(sb));
}

TEST(Storage, ReleasedStorageIsWipedExactlyWhenSecure) {
  struct Row {
    const char* name;
    bool secure;
    std::function<void(std::optional<StringBuffer>&)> action;
    bool wiped;
  };
  const Row rows[] = {
      {"clear", true, [](auto& sb) { sb->clear(); }, true},
      {"strongClear", true, [](auto& sb) { sb->strongClear(); }, true},
      {"growth move", true, [](auto& sb) { sb->expectNumBytes(1000); }, true},
      {"minimize to inline", true, [](auto& sb) { sb->shorten(70); sb->minimizeMemoryUsage(); }, true},
      {"minimize to a smaller block", true,
       [](auto& sb) { sb->setExtendSize(1000); sb->appendCharN('s', 500); sb->minimizeMemoryUsage(); }, true},
      {"takeSb into it", true, [](auto& sb) { StringBuffer other("o"); sb->takeSb(other); }, true},
      {"operator=", true, [](auto& sb) { StringBuffer other("o"); *sb = other; }, true},
      {"destructor", true, [](auto& sb) { sb.reset(); }, true},
      {"secureClear wipes regardless", false, [](auto& sb) { sb->secureClear(); }, true},
      {"clear of a plain buffer", false, [](auto& sb) { sb->clear(); }, false},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    std::optional<StringBuffer> sb(std::in_place);
    sb->setSecureBuf(r.secure);
    sb->appendCharN('s', 100);
    ScopedAllocatorControl control;
    ReleaseWatcher watcher(sb->getSize());
    r.action(sb);
    EXPECT_GE(watcher.releases(), 1u);
    EXPECT_EQ(!r.wiped, watcher.sawContent());
  }
}

TEST(Storage, WeakClearKeepsStorageAndDoesNotWipe) {
  StringBuffer sb;
  sb.setSecureBuf(true);
  sb.appendCharN('w', 100);
  sb.setExtendSize(7);
  const unsigned int capacity = sb.heapUsage();
  const char* storage = sb.getString();
  sb.weakClear();
  EXPECT_EQ(0u, sb.getSize());
  EXPECT_EQ(capacity, sb.heapUsage());
  EXPECT_EQ(storage, sb.getString());
  EXPECT_EQ('w', storage[1]);  // reused, not wiped
  EXPECT_EQ(202u, sb.getExtendSize());
  sb.clear();
  EXPECT_EQ(0u, sb.heapUsage());
}

TEST(Storage, MinimizeMemoryUsage) {
  struct Row {
    unsigned int length, capacityAfter;
  };
  const Row rows[] = {{900, 1000}, {744, 1000}, {743, 744}, {700, 701}, {82, 83}, {81, 0}, {0, 0}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.length);
    StringBuffer sb;
    sb.setExtendSize(0);
    ASSERT_TRUE(sb.expectNumBytes(999));
    ASSERT_EQ(1000u, sb.heapUsage());
    sb.appendCharN('m', r.length);
    sb.minimizeMemoryUsage();
    EXPECT_EQ(r.capacityAfter, sb.heapUsage());
    EXPECT_EQ(std::string(r.length, 'm'), bytesOf(sb));
    EXPECT_EQ(0u, sb.getExtendSize());
  }
  StringBuffer sb;
  sb.setExtendSize(0);
  sb.expectNumBytes(999);
  sb.appendCharN('m', 500);
  ScopedAllocatorControl control;
  control.failNth(1);
  sb.minimizeMemoryUsage();
  EXPECT_EQ(1000u, sb.heapUsage());
  EXPECT_EQ(std::string(500, 'm'), bytesOf(sb));
}

TEST(Storage, SetString) {
  StringBuffer sb("0123456789");
  EXPECT_TRUE(sb.setString(sb.getString() + 5));
  EXPECT_STREQ("56789", sb.getString());
  EXPECT_TRUE(sb.setString(static_cast<const char*>(nullptr)));
  EXPECT_EQ(0u, sb.getSize());
  sb.appendCharN('x', 300);
  const unsigned int capacity = sb.heapUsage();
  sb.setExtendSize(9);
  EXPECT_TRUE(sb.setString("short"));
  EXPECT_EQ(capacity, sb.heapUsage());
  EXPECT_EQ(202u, sb.getExtendSize());
  EXPECT_TRUE(sb.setString(""));
  EXPECT_EQ(0u, sb.getSize());
  StringBuffer other = bufferOf(std::string("a\0b", 3));
  EXPECT_TRUE(sb.setString(other));
  EXPECT_EQ(std::string("a\0b", 3), bytesOf(sb));
  EXPECT_TRUE(sb.setString(sb));
  sb = "assigned";
  EXPECT_STREQ("assigned", sb.getString());
}

TEST(Storage, AppendNCountsInnerButNotTrailingZeroBytes) {
  struct Row {
    const char* name;
    std::string start, bytes, expected;
  };
  const Row rows[] = {
      {"trailing zeros dropped", "", std::string("a\0\0\0", 4), "a"},
      {"inner zero kept", "", std::string("a\0b", 3), std::string("a\0b", 3)},
      {"single zero adds nothing", "x", std::string("\0", 1), "x"},
      {"earlier trailing zero dropped too", std::string("x\0", 2), std::string("\0", 1), "x"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.start);
    EXPECT_TRUE(sb.appendN(r.bytes.data(), static_cast<unsigned int>(r.bytes.size())));
    EXPECT_EQ(r.expected, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
  StringBuffer sb("keep");
  EXPECT_TRUE(sb.appendN(nullptr, 5));
  EXPECT_TRUE(sb.append(static_cast<const char*>(nullptr)));
  EXPECT_STREQ("keep", sb.getString());
}

TEST(Storage, AppendBufferRefusesItselfAndCopiesZeroBytes) {
  StringBuffer sb("abc");
  EXPECT_FALSE(sb.append(sb));
  EXPECT_STREQ("abc", sb.getString());
  const StringBuffer& alias = sb;
  sb = alias;
  EXPECT_STREQ("abc", sb.getString());
  StringBuffer source = bufferOf(std::string("x\0y", 3));
  EXPECT_TRUE(sb.append(source));
  EXPECT_EQ(std::string("abcx\0y", 6), bytesOf(sb));
}

TEST(Storage, CopyingReservesForAnEmptyTarget) {
  struct Row {
    unsigned int length, capacity;
  };
  const Row rows[] = {{80, 0}, {81, 285}, {300, 504}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.length);
    StringBuffer source;
    source.setSecureBuf(true);
    source.appendCharN('c', r.length);
    StringBuffer copy(source);
    EXPECT_EQ(r.capacity, copy.heapUsage());
    EXPECT_EQ(bytesOf(source), bytesOf(copy));
    StringBuffer assigned("previous");
    assigned = source;
    EXPECT_EQ(bytesOf(source), bytesOf(assigned));
  }
}

}  // namespace
