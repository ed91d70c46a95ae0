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

TEST(Factories, CreateNewSB) {
  std::unique_ptr<StringBuffer, void (*)(StringBuffer*)> exact(nullptr, &StringBuffer::deleteSb);

  StringBuffer* plain = StringBuffer::createNewSB();
  ASSERT_NE(nullptr, plain);
  EXPECT_EQ(202u, plain->getExtendSize());
  StringBuffer::deleteSb(plain);

  StringBuffer* noReserve = StringBuffer::createNewSB(0u);
  ASSERT_NE(nullptr, noReserve);
  noReserve->appendCharN('a', 100);
  EXPECT_EQ(101u, noReserve->heapUsage());
  StringBuffer::deleteSb(noReserve);

  StringBuffer* text = StringBuffer::createNewSB("text");
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("text", text->getString());
  StringBuffer::deleteSb(text);

  exact.reset(StringBuffer::createNewSB_exact("a\0\0", 3));
  ASSERT_NE(nullptr, exact);
  EXPECT_EQ(1u, exact->getSize());
  exact.reset(StringBuffer::createNewSB_exact(std::string(81, 'e').c_str(), 81));
  EXPECT_EQ(81u + 204u, exact->heapUsage());
  StringBuffer::deleteSb(nullptr);
}

TEST(Factories, CopyHasNoReserve) {
  struct Row {
    unsigned int length, capacity;
  };
  const Row rows[] = {{300, 301}, {81, 0}, {0, 0}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.length);
    StringBuffer source;
    source.appendCharN('s', r.length);
    StringBuffer* copy = StringBuffer::createNewSB(source);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(r.capacity, copy->heapUsage());
    EXPECT_EQ(202u, copy->getExtendSize());
    EXPECT_EQ(bytesOf(source), bytesOf(*copy));
    StringBuffer::deleteSb(copy);
  }
}

TEST(Factories, FailedFactoriesReturnNullWithoutLeaking) {
  StringBuffer source;
  source.appendCharN('s', 300);
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_EQ(nullptr, StringBuffer::createNewSB(std::string(100, 'x').c_str()));
  control.failNth(1);
  EXPECT_EQ(nullptr, StringBuffer::createNewSB(source));
  control.failAbove(100);
  EXPECT_EQ(nullptr, StringBuffer::createNewSB_exact(source.getString(), 300));
  EXPECT_EQ(nullptr, source.createCopy());
  unsigned int length = 0;
  EXPECT_EQ(nullptr, source.copyString(&length));
  EXPECT_EQ(300u, length);
}

TEST(Factories, Copies) {
  StringBuffer sb = bufferOf(std::string("he\0lo", 5));
  OwnedArray copy(sb.createCopy());
  EXPECT_EQ(0, std::memcmp("he\0lo", copy.get(), 6));
  unsigned int length = 0;
  OwnedArray counted(sb.copyString(&length));
  EXPECT_EQ(5u, length);
  EXPECT_EQ(0, std::memcmp("he\0lo", counted.get(), 6));
  StringBuffer empty;
  OwnedArray one(empty.copyString(nullptr));
  EXPECT_EQ(0, one.get()[0]);
}

TEST(Factories, CopyToBufferTruncates) {
  struct Row {
    unsigned int dstSize, copied;
    const char* expected;
  };
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
  EXPECT_EQ(5u, length);
  EXPECT_STREQ("hello", small.get());
  EXPECT_EQ(0u, inlineSb.getSize());

  StringBuffer heapSb;
  heapSb.appendCharN('h', 300);
  heapSb.setExtendSize(5);
  const char* storage = heapSb.getString();
  unsigned int capacity = 0;
  OwnedArray big(heapSb.extractString2(length, capacity));
  EXPECT_EQ(storage, big.get());
  EXPECT_EQ(300u, length);
  EXPECT_EQ(503u, capacity);
  EXPECT_EQ(0u, heapSb.heapUsage());
  EXPECT_EQ(202u, heapSb.getExtendSize());
  EXPECT_TRUE(heapSb.append("usable"));
  EXPECT_STREQ("usable", heapSb.getString());

  ScopedAllocatorControl control;
  control.failNth(1);
  capacity = 1234;
  EXPECT_EQ(nullptr, heapSb.extractString2(length, capacity));
  EXPECT_EQ(6u, length);
  EXPECT_EQ(1234u, capacity);
  EXPECT_STREQ("usable", heapSb.getString());
}

TEST(Factories, LogSbMemUsageWritesCapacityLengthAndContent) {
  LogBase log;
  StringBuffer sb;
  sb.appendCharN('q', 90);
  sb.logSbMemUsage(log);
  const std::string text = log.getText();
  EXPECT_NE(std::string::npos, text.find("sbMemUsage")) << text;
  EXPECT_NE(std::string::npos, text.find("capacity: 293")) << text;
  EXPECT_NE(std::string::npos, text.find("length: 90")) << text;
  EXPECT_NE(std::string::npos, text.find(std::string(90, 'q')));
  LogNull quiet;
  sb.logSbMemUsage(quiet);
}

}  // namespace
