// The library's byte-array allocator: every heap buffer of a StringBuffer or
// DataBuffer comes from here and is released with array delete.
#pragma once

#include <cstdint>

class ByteAllocator {
 public:
  // n bytes (at least one), or null when memory runs out. Never throws.
  static unsigned char* allocate(uint32_t n) noexcept;
  // Array delete of a block from allocate(); size is what the owner believes
  // the block holds and is only passed to the release observer. Null is fine.
  static void release(unsigned char* block, uint32_t size) noexcept;
  // Asked before the library makes a heap object of n bytes with nothrow
  // new (the factories' buffers): false when the test switch fails this
  // allocation, which it counts like a block. Always true otherwise.
  static bool admitObject(uint32_t n) noexcept;

  // Test-only control. Everything here is off by default and then costs one
  // relaxed atomic load per call.
  class TestControl {
   public:
    using ReleaseObserver = void (*)(const unsigned char* block, uint32_t size, void* context);
    // The nth following allocation (1 = the next one) returns null; 0 disarms.
    static void failNthAllocation(uint32_t n) noexcept;
    // Every allocation of more than size bytes returns null; 0 disarms.
    static void failAllocationsAbove(uint32_t size) noexcept;
    // Called with each block just before it is deleted; null removes it.
    static void setReleaseObserver(ReleaseObserver observer, void* context) noexcept;
    // Counts allocation attempts while on.
    static void countAllocations(bool on) noexcept;
    // Number of allocations attempted while counting, since the last reset.
    static uint64_t allocationCount() noexcept;
    // Disarms every switch and zeroes the counter.
    static void reset() noexcept;
  };
};

// Scoped fault injection for tests: counts allocations while it lives, arms
// the switches it is asked to, and disarms everything when it goes out of
// scope, so one failing test cannot poison the next.
class ScopedAllocatorControl {
 public:
  ScopedAllocatorControl() {
    ByteAllocator::TestControl::reset();
    ByteAllocator::TestControl::countAllocations(true);
  }
  ~ScopedAllocatorControl() { ByteAllocator::TestControl::reset(); }
  ScopedAllocatorControl(const ScopedAllocatorControl&) = delete;
  ScopedAllocatorControl& operator=(const ScopedAllocatorControl&) = delete;
  void failNth(uint32_t n) { ByteAllocator::TestControl::failNthAllocation(n); }
  void failAbove(uint32_t size) { ByteAllocator::TestControl::failAllocationsAbove(size); }
  uint64_t allocations() const { return ByteAllocator::TestControl::allocationCount(); }
};
