#include <gtest/gtest.h>

#include "lib/ByteAllocator.h"
#include "lib/StringBufferArray.h"
#include "lib/StringPair.h"
#include "test_support.h"

namespace {

// Counts live instances, so that ownership mistakes show up as numbers.
struct Tracked : TarvexObject {
  static inline int live = 0;
  Tracked() { ++live; }
  ~Tracked() override { --live; }
};

TEST(ExtPtrArray, OwnsAndDeletesItsElements) {
  auto* array = new ExtPtrArray;
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(array->appendPtr(new Tracked)) << "failed growth deletes the object (counted below)";
  EXPECT_FALSE(array->appendPtr(nullptr));
  const uint64_t allocated = control.allocations();
  ReleaseWatcher watcher(0);
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(array->appendPtr(new Tracked));
  const TarvexObject* second = array->elementAt(1);
  TarvexObject::deleteObject(array->removeAt(0));
  EXPECT_EQ(second, array->elementAt(0)) << "the rest moved up";
  EXPECT_EQ(19, array->getSize());
  for (int i : {-1, 19, 1000}) EXPECT_TRUE(array->elementAt(i) == nullptr && array->removeAt(i) == nullptr) << i;
  array->removeAll();
  EXPECT_EQ(0, Tracked::live);
  ASSERT_TRUE(array->appendPtr(new Tracked)) << "usable after removeAll";
  TarvexObject::deleteObject(array);
  EXPECT_EQ(0, Tracked::live) << "the destructor deletes the elements";
  EXPECT_EQ(control.allocations() - allocated, watcher.releases()) << "every slot block is given back";
}

TEST(StringBufferArray, SbAtChecksRangeAndKind) {
  StringBufferArray list;
  ASSERT_TRUE(list.appendPtr(new StringBuffer("one")) && list.appendPtr(new Tracked));
  EXPECT_EQ(list.elementAt(0), list.sbAt(0));
  EXPECT_EQ(nullptr, list.sbAt(1)) << "not a StringBuffer";
  for (int i : {-1, 2}) EXPECT_EQ(nullptr, list.sbAt(i)) << i;
}

TEST(StringPair, KeepsItsOwnCopies) {
  char key[] = "name";
  StringPair pair(key, nullptr);
  key[0] = 'X';
  EXPECT_STREQ("name", pair.getKey());
  EXPECT_STREQ("", pair.getValue());
}

}  // namespace
