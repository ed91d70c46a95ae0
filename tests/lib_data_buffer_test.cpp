#include <gtest/gtest.h>

#include <string>

#include "lib/ByteAllocator.h"
#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

std::string contentOf(const DataBuffer& db) {
  return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

void fill(DataBuffer& db, const std::string& bytes) { ASSERT_TRUE(db.append(bytes.data(), bytes.size())); }

TEST(DataBuffer, FailedGrowthLeavesContentUnchanged) {
  DataBuffer db;
  fill(db, "abc");
  while (db.getSize() < db.getBufSize()) ASSERT_TRUE(db.appendChar('x'));
  const std::string before = contentOf(db);
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(db.append("yz", 2));
  control.failNth(1);
  EXPECT_FALSE(db.appendChar('y'));
  control.failNth(1);
  EXPECT_FALSE(db.ensureBuffer(1000));
  EXPECT_EQ(before, contentOf(db));
  ASSERT_TRUE(db.ensureBuffer(100)) << "the next allocation works again";
  const uint64_t allocations = control.allocations();
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(db.appendChar('y'));
  EXPECT_EQ(allocations, control.allocations()) << "room was reserved";
}

TEST(DataBuffer, AppendOfItsOwnBytesSurvivesGrowth) {
  DataBuffer db;
  fill(db, "0123456789abcdef");
  std::string expected = contentOf(db);
  for (int i = 0; i < 4; ++i) {
    expected += expected;
    ASSERT_TRUE(db.append(db.getData2(), db.getSize()));
  }
  EXPECT_EQ(expected, contentOf(db));
}

TEST(DataBuffer, AppendEncodedById) {
  struct Row { const char* name; const char* text; int id; bool ok; std::string bytes; };
  const Row rows[] = {
      {"hex either case", "00ff7FaB", 3, true, std::string("\x00\xff\x7f\xab", 4)},
      {"null text", nullptr, 3, true, ""},
      {"non-hex pair stops, prefix kept", "4142zz43", 3, false, "AB"},
      {"odd trailing digit stops", "41424", 3, false, "AB"},
      {"white space is not hex", "41 42", 3, false, "A"},
      {"base64", "QUJD", 1, true, "ABC"},
      {"base64 stops at garbage", "QU*D", 1, false, "A"},
      {"unknown id appends nothing", "4142", 7, false, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    DataBuffer db;
    fill(db, "<");
    EXPECT_EQ(r.ok, db.appendEncodedById(r.text, r.id));
    EXPECT_EQ("<" + r.bytes, contentOf(db));
  }
}

TEST(DataBuffer, InPlaceReshaping) {
  // Input, after byteSwap21, after prepForSbTake (which ends in one counted zero).
  const std::string rows[][3] = {
      {"", "", std::string(1, '\0')},
      {"abc", "bac", std::string("bac\0", 4)},
      {std::string("\0x\1y", 4), std::string("x\0y\1", 4), std::string("x\0y\1\0", 5)},
      {std::string("ba\0", 3), std::string("ab\0", 3), std::string("ab\0", 3)}};
  for (const auto& r : rows) {
    DataBuffer db;
    fill(db, r[0]);
    db.byteSwap21();
    EXPECT_EQ(r[1], contentOf(db));
    ASSERT_TRUE(db.prepForSbTake());
    EXPECT_EQ(r[2], contentOf(db));
  }
}

TEST(DataBuffer, HandOverGivesTheBlockAway) {
  DataBuffer db;
  fill(db, "hello");
  while (db.getSize() < db.getBufSize()) ASSERT_TRUE(db.appendChar('!'));
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(db.prepForSbTake()) << "a full block needs room for the zero";
  ASSERT_TRUE(db.prepForSbTake());
  unsigned char* block = db.getData2();
  const unsigned int capacity = db.getBufSize();
  db.dropData();
  EXPECT_EQ(0u, db.getSize());
  EXPECT_EQ(0u, db.getBufSize());
  EXPECT_NE(block, db.getData2());
  ByteAllocator::release(block, capacity);  // the new owner's job; ASan reports a leak otherwise

  DataBuffer text;
  fill(text, std::string(200, 'q'));
  StringBuffer sb;
  ASSERT_TRUE(sb.takeFromDb(text));
  EXPECT_EQ(std::string(200, 'q'), bytesOf(sb));
  EXPECT_EQ(0u, text.getSize());
}

}  // namespace
