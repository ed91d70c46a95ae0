#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "core/LockedStringBuffer.h"
#include "lib/CritSecExitor.h"
#include "test_support.h"

namespace {

TEST(LockedStringBuffer, ForwardsEachOperation) {
  LockedStringBuffer locked;
  StringBuffer out("x");
  const StringBuffer other(" -");
  EXPECT_TRUE(locked.setString("abc") && locked.getString(out) && locked.toSb(out));
  EXPECT_STREQ("xabcabc", out.getString());  // appended to, not replaced
  EXPECT_TRUE(locked.append(other) && locked.append(-5) && locked.append(7u) && locked.appendInt64(-9000000000LL) &&
              locked.appendN("z\0\0", 3) && locked.append(" \t\r\n"));
  EXPECT_EQ(24u, locked.getSize());
  locked.trim2();
  locked.shorten(1);
  EXPECT_TRUE(locked.equals("abc --57-9000000000") && locked.endsWith("000") && !locked.endsWith("z"));
  EXPECT_TRUE(locked.setString(other) && locked.equals(" -"));
  locked.clear();
  EXPECT_EQ(0u, locked.getSize());
}

TEST(LockedStringBuffer, ConcurrentAppendsKeepEveryByte) {
  constexpr int kThreads = 4, kRounds = 200;
  LockedStringBuffer locked;
  const StringBuffer pair("cc");
  std::atomic<bool> writing{true}, tornRead{false};
  // Every forwarded append adds exactly two bytes, so a reader that ever sees
  // an odd size has seen half of an operation.
  std::thread reader([&] {
    while (writing) {
      StringBuffer copy;
      locked.getString(copy);
      if (locked.getSize() % 2 != 0 || copy.getSize() % 2 != 0) tornRead = true;
    }
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t)
    writers.emplace_back([&locked, &pair] {
      for (int i = 0; i < kRounds; ++i)
        locked.append("aa") && locked.appendN("bb", 2) && locked.append(pair) && locked.append(10) &&
            locked.append(11u) && locked.appendInt64(12);
    });
  for (std::thread& w : writers) w.join();
  writing = false;
  reader.join();

  EXPECT_FALSE(tornRead);
  EXPECT_EQ(12u * kThreads * kRounds, locked.getSize());
  // Each two-byte piece lands whole: no operation is split by another.
  StringBuffer all;
  locked.getString(all);
  const std::string text = bytesOf(all);
  for (size_t i = 0; i < text.size(); i += 2)
    ASSERT_NE(std::string::npos, std::string("aa bb cc 10 11 12").find(text.substr(i, 2))) << i;
}

TEST(LockedStringBuffer, DestructionWaitsForOperationInFlight) {
  auto* locked = new LockedStringBuffer;
  locked->append(std::string(500, 'q').c_str());
  std::promise<void> holding;
  std::atomic<bool> left{false};
  // Stands in for an operation running in another thread: it holds the
  // wrapper's lock for a while, then leaves.
  std::thread inFlight([&] {
    CritSecExitor lock(locked);
    holding.set_value();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    left = true;
  });
  holding.get_future().wait();
  TarvexObject::deleteObject(locked);  // through the second base
  EXPECT_TRUE(left);
  inFlight.join();
}

}  // namespace
