#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

using namespace std::string_literals;

#define EDIT(call) [&](StringBuffer& sb) { return sb.call; }

TEST(Storage, ExpectNumBytesGrowsGeometricallyByteByByte) {
  // Length, capacity and extend size at every capacity change seen while
  // appending single bytes.
  using Step = std::array<unsigned int, 3>;
  const std::vector<Step> expected = {
      {82, 285, 202}, {285, 488, 244}, {488, 733, 366}, {733, 1100, 550}, {1100, 1651, 825}};
  std::vector<Step> seen;
  StringBuffer sb;  // a new buffer: empty, inline, extend size 202
  EXPECT_TRUE(sb.getSize() == 0 && sb.heapUsage() == 0 && sb.isValidObject() && sb.getString()[0] == 0);
  EXPECT_TRUE(sb.getExtendSize() == 202 && sb.totalMemoryUsage() == sizeof(StringBuffer));
  for (int i = 0; i < 1200; ++i) {
    ASSERT_TRUE(sb.appendChar('x'));
    if (sb.heapUsage() != (seen.empty() ? 0 : seen.back()[1]))
      seen.push_back({sb.getSize(), sb.heapUsage(), sb.getExtendSize()});
  }
  EXPECT_EQ(expected, seen);
}

TEST(Storage, ExtendSizeAdaptsUpToItsCap) {
  struct Row { const char* name; unsigned int extendSize, request, capacity, extendAfter; };
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
  EXPECT_TRUE(bytesOf(sb) == "abc" && sb.heapUsage() == 0);
}

// A row named after the call it makes.
#define OP(call) {#call, [&](StringBuffer& sb) { return sb.call; }}

// Every growing operation of the storage and append families, run against a
// full inline buffer and a full heap buffer with the next allocation failing.
TEST(Storage, FailedGrowthLeavesContentUnchanged) {
  DataBuffer data;
  data.append("data", 4);
  StringBuffer other("other");
  const std::string long200(200, 'n');
  using Op = std::function<bool(StringBuffer&)>;
  const std::pair<const char*, Op> ops[] = {
      OP(expectNumBytes(5)), OP(append("xy")), OP(appendN("x\0y", 3)), OP(append(other)), OP(append(data)),
      OP(appendChar('x')), OP(appendUChar(0xFF)), OP(appendChar2('x', 'y')), OP(appendChar3('x', 'y', 'z')),
      OP(appendCharN('x', 7)), OP(appendLineEnding()), OP(append2("x", "y")), OP(append3("x", "y", "z")),
      OP(appendMinSize("xy")), OP(appendMinSize(other)), OP(appendMaxN("xyz", 2)), OP(prepend("xy")),
      OP(prepend('x')), OP(prependN("x\0y", 3)), OP(insertAt(other, 3)), OP(insertCharAt('x', 3)),
      OP(setString(std::string_view(long200))), OP(append(std::string_view(long200))),
  };
#undef OP
  for (bool onHeap : {false, true}) {
    for (const auto& [name, op] : ops) {
      SCOPED_TRACE(std::string(name) + (onHeap ? " on heap" : " inline"));
      StringBuffer sb;
      sb.setExtendSize(0);
      sb.appendCharN('f', onHeap ? 100 : 81);  // a full heap buffer of 101 bytes, or a full inline buffer
      sb.setExtendSize(202);
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

// The releases the cross-room wipe sweep does not make: a shrink into a
// smaller heap block, an assignment over secure content, and a copy, which
// takes the flag with it. A plain buffer shows that the watcher notices.
TEST(Storage, ReleasedStorageIsWipedExactlyWhenSecure) {
  struct Row { const char* name; bool secure; void (*action)(StringBuffer&); };
  const Row rows[] = {
      {"minimize to a smaller block", true,
       [](StringBuffer& sb) { sb.setExtendSize(1000); sb.appendCharN('s', 500); sb.minimizeMemoryUsage(); }},
      {"operator=", true, [](StringBuffer& sb) { StringBuffer other("o"); sb = other; }},
      {"a copy takes the secure flag", true, [](StringBuffer& sb) { StringBuffer copy(sb); copy.clear(); }},
      {"clear of a plain buffer", false, [](StringBuffer& sb) { sb.clear(); }},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb;
    sb.setSecureBuf(r.secure);
    sb.appendCharN('s', 100);
    ReleaseWatcher watcher(sb.getSize());
    r.action(sb);
    EXPECT_GE(watcher.releases(), 1u);
    EXPECT_EQ(!r.secure, watcher.sawContent());
  }
}

// setString and weakClear keep the heap block, unwiped even when secure, and
// reset the reserve; clear lets the block go.
TEST(Storage, ClearsKeepOrReleaseTheBlock) {
  StringBuffer sb;
  sb.setSecureBuf(true);
  sb.appendCharN('w', 300);
  const unsigned int capacity = sb.heapUsage();
  const char* storage = sb.getString();
  sb.setExtendSize(7);
  EXPECT_TRUE(sb.setString("short"));
  EXPECT_TRUE(sb.getString() == storage && sb.heapUsage() == capacity && sb.getExtendSize() == 202);
  sb.setExtendSize(7);
  sb.weakClear();
  EXPECT_TRUE(sb.getSize() == 0 && sb.heapUsage() == capacity && sb.getString() == storage);
  EXPECT_EQ('h', storage[1]);  // reused, not wiped
  EXPECT_EQ(202u, sb.getExtendSize());
  sb.setExtendSize(7);
  sb.clear();
  EXPECT_TRUE(sb.heapUsage() == 0 && sb.getExtendSize() == 202);
}

TEST(Storage, MinimizeMemoryUsage) {
  struct Row { unsigned int length, capacityAfter; bool allocationFails; };
  // Each row starts from a heap buffer of 1000 bytes.
  const Row rows[] = {{900, 1000, false}, {744, 1000, false}, {743, 744, false}, {700, 701, false},
                      {82, 83, false},    {81, 0, false},      {0, 0, false},     {500, 1000, true}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.length);
    StringBuffer sb;
    sb.setExtendSize(0);
    ASSERT_TRUE(sb.expectNumBytes(999));
    sb.appendCharN('m', r.length);
    ScopedAllocatorControl control;
    if (r.allocationFails) control.failNth(1);
    sb.minimizeMemoryUsage();
    EXPECT_EQ(r.capacityAfter, sb.heapUsage());
    EXPECT_EQ(std::string(r.length, 'm'), bytesOf(sb));
    EXPECT_EQ(0u, sb.getExtendSize());
  }
}

// Sets, assignments and the primitive appends: appendN does not count
// trailing zero bytes, inner ones it does.
TEST(Storage, SetAndAppend) {
  struct Row { const char* name; std::string start; std::function<bool(StringBuffer&)> edit; bool result;
               std::string expected; };
  const StringBuffer zeroed = bufferOf("a\0b"s);
  const Row rows[] = {
      {"setString from its own tail", "0123456789", EDIT(setString(sb.getString() + 5)), true, "56789"},
      {"setString null", "abc", EDIT(setString(static_cast<const char*>(nullptr))), true, ""},
      {"setString empty", "abc", EDIT(setString("")), true, ""},
      {"setString buffer keeps zero bytes", "abc", EDIT(setString(zeroed)), true, "a\0b"s},
      {"setString itself", "a\0b"s, EDIT(setString(sb)), true, "a\0b"s},
      {"assign text", "abc", EDIT(operator=("assigned").getSize() == 8), true, "assigned"},
      {"assign itself", "abc", EDIT(operator=(sb).getSize() == 3), true, "abc"},
      {"append itself is refused", "abc", EDIT(append(sb)), false, "abc"},
      {"append buffer copies zero bytes", "abc", EDIT(append(zeroed)), true, "abca\0b"s},
      {"appendN drops trailing zeros", "", EDIT(appendN("a\0\0\0", 4)), true, "a"},
      {"appendN keeps an inner zero", "", EDIT(appendN("a\0b", 3)), true, "a\0b"s},
      {"appendN of a single zero adds nothing", "x", EDIT(appendN("\0", 1)), true, "x"},
      {"appendN drops an earlier trailing zero too", "x\0"s, EDIT(appendN("\0", 1)), true, "x"},
      {"appendN null", "keep", EDIT(appendN(nullptr, 5)), true, "keep"},
      {"append null", "keep", EDIT(append(static_cast<const char*>(nullptr))), true, "keep"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.start);
    EXPECT_EQ(r.result, r.edit(sb));
    EXPECT_EQ(r.expected, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
}
#undef EDIT

TEST(Storage, CopyingReservesForAnEmptyTarget) {
  struct Row { unsigned int length, capacity; };
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
