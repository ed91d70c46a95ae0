#include <gtest/gtest.h>

#include <string>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

std::string contentOf(const DataBuffer& db) { return {reinterpret_cast<const char*>(db.getData2()), db.getSize()}; }

void fill(DataBuffer& db, const std::string& bytes) { ASSERT_TRUE(db.append(bytes.data(), bytes.size())); }

TEST(DataBuffer, FailedGrowthLeavesContentUnchanged) {
  DataBuffer db;
  fill(db, "abc");
  while (db.getSize() < db.getBufSize()) ASSERT_TRUE(db.appendChar('x'));
  ScopedAllocatorControl control;
  control.failAbove(1);  // the block is full, so each call below must grow it
  EXPECT_FALSE(db.append("yz", 2));
  EXPECT_FALSE(db.appendChar('y'));
  EXPECT_FALSE(db.ensureBuffer(1000));
  EXPECT_FALSE(db.prepForSbTake()) << "a full block needs room for the zero";
  EXPECT_TRUE(db.ensureBuffer(0) && db.reserveTail(0) != nullptr) << "room for nothing more needs no growth";
  EXPECT_EQ("abc" + std::string(db.getBufSize() - 3, 'x'), contentOf(db));
  control.failAbove(0);
  ASSERT_TRUE(db.ensureBuffer(100));
  EXPECT_GE(db.getBufSize() - db.getSize(), 100u) << "room is reserved";
  // Each switch arms the allocator by itself, with no count running, and
  // reset disarms it.
  using Control = ByteAllocator::TestControl;
  struct Step { void (*arm)(); uint32_t n; bool fails; };
  const Step steps[] = {
      {[] { Control::failNthAllocation(1); }, 1, true},
      {[] { Control::failAllocationsAbove(1); }, 2, true},
      {[] { Control::failAllocationsAbove(1); }, 1, false},
      {[] { Control::failAllocationsAbove(1); }, 0, false},  // a block holds a byte even then
      {[] { Control::failAllocationsAbove(1); Control::reset(); }, 2, false},
  };
  for (const Step& s : steps) {
    Control::reset();
    s.arm();
    unsigned char* block = ByteAllocator::allocate(s.n);
    EXPECT_EQ(s.fails, block == nullptr) << s.n;
    if (block != nullptr) block[0] = 1;
    ByteAllocator::release(block, 1);
  }
  Control::reset();
  ReleaseWatcher watcher(0);
  ByteAllocator::release(ByteAllocator::allocate(1), 1);
  Control::reset();
  ByteAllocator::release(ByteAllocator::allocate(1), 1);
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_EQ(0u, Control::allocationCount()) << "no count after a reset";
}

TEST(DataBuffer, AppendOfItsOwnBytesSurvivesGrowth) {
  DataBuffer db;
  std::string expected = "0123456789abcdef";
  fill(db, expected);
  for (int i = 0; i < 4; ++i, expected += expected) ASSERT_TRUE(db.append(db.getData2(), db.getSize()));
  EXPECT_EQ(expected, contentOf(db));
}

TEST(DataBuffer, AppendEncodedById) {
  struct Row { const char* name; const char* text; int id; bool ok; std::string bytes; };
  const Row rows[] = {
      {"hex either case", "00ff7FaB", 3, true, std::string("\x00\xff\x7f\xab", 4)},
      {"null text", nullptr, 3, true, ""},
      {"non-hex pair stops, prefix kept", "4142zz43", 3, false, "AB"},
      {"one bad digit stops", "414z", 3, false, "A"},
      {"odd trailing digit stops", "41424", 3, false, "AB"},
      {"base64", "QUJD", 1, true, "ABC"},
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

TEST(DataBuffer, DecodesItsOwnBytesWhileGrowing) {
  // The text sits in the block and the block is full, so the decoder's
  // reservation moves it before a byte is read.
  const std::pair<int, std::string> rows[] = {{DataBuffer::kEncodingHex, "41424344"}, {DataBuffer::kEncodingBase64, "QUJD"}};
  for (const auto& [id, text] : rows) {
    SCOPED_TRACE(text);
    DataBuffer db;
    fill(db, text + '\0');
    while (db.getSize() < db.getBufSize()) ASSERT_TRUE(db.appendChar('x'));
    const std::string before = contentOf(db);
    EXPECT_TRUE(db.appendEncodedById(reinterpret_cast<const char*>(db.getData2()), id));
    EXPECT_EQ(before + (id == DataBuffer::kEncodingHex ? "ABCD" : "ABC"), contentOf(db));
  }
}

TEST(DataBuffer, ReshapeAndHandOver) {
  // Input, after byteSwap21, after prepForSbTake (which ends in one counted zero).
  const std::string rows[][3] = {
      {"", "", std::string(1, '\0')}, {"abc", "bac", std::string("bac\0", 4)},
      {std::string("\0x\1y", 4), std::string("x\0y\1", 4), std::string("x\0y\1\0", 5)},
      {std::string("ba\0", 3), std::string("ab\0", 3), std::string("ab\0", 3)}};
  for (const auto& r : rows) {
    DataBuffer db;
    fill(db, r[0]);
    db.byteSwap21();
    EXPECT_EQ(r[1], contentOf(db));
    ASSERT_TRUE(db.prepForSbTake());
    EXPECT_EQ(r[2], contentOf(db));
    unsigned char* block = db.getData2();
    const unsigned int capacity = db.getBufSize();
    db.dropData();
    EXPECT_TRUE(db.getSize() == 0 && db.getBufSize() == 0 && db.getData2() != block);
    ByteAllocator::release(block, capacity);  // dropData only forgets it; ASan reports a leak otherwise
  }
}

}  // namespace
