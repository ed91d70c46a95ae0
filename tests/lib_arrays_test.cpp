#include <gtest/gtest.h>

#include "lib/ByteAllocator.h"
#include "lib/StringBufferArray.h"
#include "lib/StringPair.h"

namespace {

// Counts live instances, so that ownership mistakes show up as numbers.
struct Tracked : TarvexObject {
  static int live;
  Tracked() { ++live; }
  ~Tracked() override { --live; }
};
int Tracked::live = 0;

TEST(ExtPtrArray, OwnsAndDeletesItsElements) {
  {
    ExtPtrArray array;
    EXPECT_FALSE(array.appendPtr(nullptr));
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(array.appendPtr(new Tracked));
    EXPECT_EQ(20, array.getSize());
    const TarvexObject* second = array.elementAt(1);
    TarvexObject* first = array.removeAt(0);
    EXPECT_EQ(second, array.elementAt(0)) << "the rest moved up";
    EXPECT_EQ(19, array.getSize());
    TarvexObject::deleteObject(first);
    for (int i : {-1, 19, 1000}) EXPECT_EQ(nullptr, array.elementAt(i));
    EXPECT_EQ(nullptr, array.removeAt(19));
    array.removeAll();
    EXPECT_EQ(0, Tracked::live);
    ASSERT_TRUE(array.appendPtr(new Tracked)) << "usable after removeAll";
  }
  EXPECT_EQ(0, Tracked::live);
}

TEST(ExtPtrArray, FailedGrowthDeletesTheObject) {
  ExtPtrArray array;
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(array.appendPtr(new Tracked));
  EXPECT_EQ(0, Tracked::live);
  EXPECT_EQ(0, array.getSize());
}

TEST(StringBufferArray, SbAtChecksRangeAndKind) {
  StringBufferArray list;
  ASSERT_TRUE(list.appendPtr(new StringBuffer("one")));
  ASSERT_TRUE(list.appendPtr(new Tracked));
  ASSERT_NE(nullptr, list.sbAt(0));
  EXPECT_STREQ("one", list.sbAt(0)->getString());
  EXPECT_EQ(nullptr, list.sbAt(1)) << "not a StringBuffer";
  EXPECT_EQ(nullptr, list.sbAt(2));
  EXPECT_EQ(nullptr, list.sbAt(-1));
}

TEST(StringPair, KeepsItsOwnCopies) {
  char key[] = "name";
  StringPair pair(key, nullptr);
  key[0] = 'X';
  EXPECT_STREQ("name", pair.getKey());
  EXPECT_STREQ("", pair.getValue());
}

}  // namespace
