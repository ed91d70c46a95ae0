#include <gtest/gtest.h>

#include <string>

#include "lib/StringMap.h"
#include "test_support.h"

namespace {

std::string valueOf(const StringMap& map, const std::string& name) {
  StringBuffer value("untouched");
  return map.lookup(name.c_str(), value) ? bytesOf(value) : "<absent>";
}

}  // namespace

TEST(LibStringMap, SetLookupRemove) {
  StringMap map;
  EXPECT_EQ("<absent>", valueOf(map, "a")) << "empty map";
  EXPECT_FALSE(map.remove("a"));
  ASSERT_TRUE(map.set("a", "1"));
  ASSERT_TRUE(map.set("A", "upper"));
  ASSERT_TRUE(map.set(nullptr, "null name is the empty name"));
  ASSERT_TRUE(map.set("n", nullptr));
  EXPECT_EQ(4u, map.count());
  EXPECT_EQ("1", valueOf(map, "a"));
  EXPECT_EQ("upper", valueOf(map, "A")) << "case matters";
  EXPECT_EQ("null name is the empty name", valueOf(map, ""));
  EXPECT_EQ("", valueOf(map, "n"));
  ASSERT_TRUE(map.set("a", std::string(500, 'x').c_str()));
  EXPECT_EQ(4u, map.count()) << "a second set replaces";
  EXPECT_EQ(std::string(500, 'x'), valueOf(map, "a"));
  StringBuffer value("kept");
  EXPECT_FALSE(map.lookup("zz", value));
  EXPECT_STREQ("kept", value.getString()) << "an absent name leaves value alone";
  EXPECT_TRUE(map.remove("a"));
  EXPECT_FALSE(map.contains("a"));
  EXPECT_TRUE(map.contains("A"));
  EXPECT_EQ(3u, map.count());
  map.clear();
  EXPECT_EQ(0u, map.count());
  EXPECT_FALSE(map.contains(""));
  ASSERT_TRUE(map.set("again", "ok"));
  EXPECT_EQ("ok", valueOf(map, "again"));
}

// Many names through growth, then every other one removed: the probe runs
// must stay intact for the rest (a lost entry or a stale one shows here).
TEST(LibStringMap, ManyNamesAndRemovals) {
  StringMap map;
  const unsigned n = 3000;
  for (unsigned i = 0; i < n; ++i) ASSERT_TRUE(map.set(("k" + std::to_string(i)).c_str(), std::to_string(i * 7).c_str()));
  EXPECT_EQ(n, map.count());
  for (unsigned i = 0; i < n; i += 2) ASSERT_TRUE(map.remove(("k" + std::to_string(i)).c_str()));
  EXPECT_EQ(n / 2, map.count());
  for (unsigned i = 0; i < n; ++i) {
    const std::string name = "k" + std::to_string(i);
    EXPECT_EQ(i % 2 == 0 ? "<absent>" : std::to_string(i * 7), valueOf(map, name)) << name;
  }
  for (unsigned i = 0; i < n; i += 2) ASSERT_TRUE(map.set(("k" + std::to_string(i)).c_str(), "back"));
  EXPECT_EQ(n, map.count());
  EXPECT_EQ("back", valueOf(map, "k0"));
}

TEST(LibStringMap, FailedAllocationsLeaveTheMapAsItWas) {
  StringMap map;
  ASSERT_TRUE(map.set("a", "1"));
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(map.set("a", "2")) << "the new entry cannot be made";
    EXPECT_TRUE(map.set("b", "2")) << "only the one allocation fails";
  }
  EXPECT_EQ("1", valueOf(map, "a"));
  // Growth of the slot table fails: the thirteenth name needs a bigger table.
  for (unsigned i = 0; i < 10; ++i) ASSERT_TRUE(map.set(std::to_string(i).c_str(), "x"));
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(map.set("eleven", "x"));
  EXPECT_FALSE(map.contains("eleven"));
  EXPECT_EQ(12u, map.count());
  EXPECT_EQ("1", valueOf(map, "a"));
}

TEST(LibStringMap, EveryBlockIsWipedAndGivenBack) {
  ScopedAllocatorControl control;
  ReleaseWatcher watcher(1 << 12);
  {
    StringMap map;
    for (unsigned i = 0; i < 40; ++i) ASSERT_TRUE(map.set(("name" + std::to_string(i)).c_str(), "secret"));
    ASSERT_TRUE(map.set("name1", "replaced"));
    ASSERT_TRUE(map.remove("name2"));
  }
  EXPECT_GE(watcher.releases(), 40u);
  EXPECT_EQ(control.allocations(), watcher.releases()) << "nothing kept back";
  EXPECT_FALSE(watcher.sawContent());
}
