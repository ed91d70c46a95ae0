#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

namespace {

struct ArrayDelete {
  void operator()(char* p) const { delete[] p; }
};
using OwnedArray = std::unique_ptr<char, ArrayDelete>;

using Owned = std::unique_ptr<StringBuffer, void (*)(StringBuffer*)>;
Owned own(StringBuffer* sb) { return Owned(sb, &StringBuffer::deleteSb); }

TEST(Factories, CreateNewSB) {
  struct Row { const char* name; Owned sb; std::string bytes; unsigned int capacity; };
  StringBuffer grown = bufferOf(std::string(300, 's'));
  Row rows[] = {
      {"empty", own(StringBuffer::createNewSB()), "", 0},
      {"text", own(StringBuffer::createNewSB("text")), "text", 0},
      {"exact drops trailing zeros", own(StringBuffer::createNewSB_exact("a\0\0", 3)), "a", 0},
      {"exact reserves for 82 bytes", own(StringBuffer::createNewSB_exact(grown.getString(), 81)),
       std::string(81, 's'), 81 + 204},
      {"copy without reserve", own(StringBuffer::createNewSB(grown)), std::string(300, 's'), 301},
      {"copy of 81 bytes stays inline", own(StringBuffer::createNewSB(bufferOf(std::string(81, 'c')))),
       std::string(81, 'c'), 0},
      {"copy of nothing", own(StringBuffer::createNewSB(StringBuffer())), "", 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    ASSERT_NE(nullptr, r.sb);
    EXPECT_EQ(r.bytes, bytesOf(*r.sb));
    EXPECT_EQ(r.capacity, r.sb->heapUsage());
    EXPECT_EQ(202u, r.sb->getExtendSize());
  }
  Owned noReserve = own(StringBuffer::createNewSB(0u));
  noReserve->appendCharN('a', 100);
  EXPECT_EQ(101u, noReserve->heapUsage());
  StringBuffer::deleteSb(nullptr);
}

TEST(Factories, FailedFactoriesReturnNullWithoutLeaking) {
  StringBuffer source;
  source.appendCharN('s', 300);
  ScopedAllocatorControl control;  // createNewSB itself goes through the out-of-memory sweep
  control.failAbove(100);
  EXPECT_EQ(nullptr, StringBuffer::createNewSB_exact(source.getString(), 300));
  EXPECT_EQ(nullptr, source.createCopy());
  unsigned int length = 0;
  EXPECT_EQ(nullptr, source.copyString(&length));
  EXPECT_EQ(300u, length);
}

TEST(Factories, Copies) {
  const std::string text = std::string("he\0lo", 5) + std::string(35, 'x');
  StringBuffer sb = bufferOf(text);
  // Blocks of the copies' size freed full of bytes, for the copies to reuse:
  // each copy must write its own terminating zero.
  {
    OwnedArray a(new char[41]), b(new char[41]);
    std::memset(a.get(), 'Z', 41), std::memset(b.get(), 'Z', 41);
  }
  unsigned int length = 0;
  OwnedArray copy(sb.createCopy()), counted(sb.copyString(&length)), one(StringBuffer().copyString(nullptr));
  EXPECT_EQ(0, std::memcmp(text.c_str(), copy.get(), 41));
  EXPECT_EQ(0, std::memcmp(text.c_str(), counted.get(), 41));
  EXPECT_TRUE(length == 40 && one.get()[0] == 0);
}

TEST(Factories, CopyToBufferTruncates) {
  struct Row { unsigned int dstSize, copied; const char* expected; };
  const Row rows[] = {{4, 3, "hel"}, {1, 0, ""}, {6, 5, "hello"}, {50, 5, "hello"}};
  StringBuffer sb("hello");
  for (const Row& r : rows) {
    SCOPED_TRACE(r.dstSize);
    char dst[64];
    std::memset(dst, 'Z', sizeof dst);
    EXPECT_EQ(r.copied, sb.copyToBuffer(dst, r.dstSize));
    EXPECT_STREQ(r.expected, dst);
  }
  EXPECT_EQ(0u, sb.copyToBuffer(nullptr, 10));
  char untouched = 'Z';
  EXPECT_EQ(0u, sb.copyToBuffer(&untouched, 0));
  EXPECT_EQ('Z', untouched);
}

TEST(Factories, ExtractStringGivesTheStorageAway) {
  StringBuffer inlineSb("hello");
  unsigned int length = 0;
  OwnedArray small(inlineSb.extractString(&length));
  EXPECT_STREQ("hello", small.get());
  EXPECT_TRUE(length == 5 && inlineSb.getSize() == 0);
  unsigned int capacity = 0;
  OwnedArray exact(StringBuffer("abc").extractString2(length, capacity));
  EXPECT_TRUE(length == 3 && capacity == 4) << "an inline content goes out in a block of its size";
  StringBuffer heapSb;
  heapSb.appendCharN('h', 300);
  heapSb.setExtendSize(5);
  const char* storage = heapSb.getString();
  OwnedArray big(heapSb.extractString2(length, capacity));
  EXPECT_EQ(storage, big.get());
  EXPECT_TRUE(length == 300 && capacity == 503);
  EXPECT_TRUE(heapSb.heapUsage() == 0 && heapSb.getExtendSize() == 202);
  EXPECT_TRUE(heapSb.append("usable"));

  ScopedAllocatorControl control;
  control.failNth(1);
  capacity = 1234;
  EXPECT_EQ(nullptr, heapSb.extractString2(length, capacity));
  EXPECT_TRUE(length == 6 && capacity == 1234);
  EXPECT_STREQ("usable", heapSb.getString());
}

// The tags' wording is ours to choose; the three values are the promise.
TEST(Factories, LogSbMemUsageWritesCapacityLengthAndContent) {
  LogBase log;
  StringBuffer sb;
  sb.appendCharN('q', 90);
  sb.logSbMemUsage(log);
  const std::string text = log.getText();
  for (const std::string& value : {std::string(": 293\n"), std::string(": 90\n"), ": " + std::string(90, 'q') + "\n"})
    EXPECT_NE(std::string::npos, text.find(value)) << value;
}

}  // namespace
