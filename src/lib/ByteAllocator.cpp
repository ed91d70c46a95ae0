// The byte-array allocator and its test-only fault injection and release observer.
#include "lib/ByteAllocator.h"

#include <atomic>
#include <new>

namespace {

// One flag guards the slow path, so an unused control costs a single load.
std::atomic<bool> gControlArmed{false};
std::atomic<bool> gCounting{false};
std::atomic<uint64_t> gAllocationCount{0};
std::atomic<uint32_t> gFailCountdown{0};
std::atomic<uint32_t> gFailAbove{0};
std::atomic<ByteAllocator::TestControl::ReleaseObserver> gObserver{nullptr};
std::atomic<void*> gObserverContext{nullptr};

void rearm() noexcept {
  const bool armed = gCounting.load(std::memory_order_relaxed) ||
                     gFailCountdown.load(std::memory_order_relaxed) != 0 ||
                     gFailAbove.load(std::memory_order_relaxed) != 0 ||
                     gObserver.load(std::memory_order_relaxed) != nullptr;
  gControlArmed.store(armed, std::memory_order_relaxed);
}

bool injectedFailure(uint32_t n) noexcept {
  const uint32_t above = gFailAbove.load(std::memory_order_relaxed);
  if (above != 0 && n > above) return true;
  uint32_t countdown = gFailCountdown.load(std::memory_order_relaxed);
  while (countdown != 0) {
    if (gFailCountdown.compare_exchange_weak(countdown, countdown - 1, std::memory_order_relaxed)) {
      if (countdown == 1) {
        rearm();
        return true;
      }
      return false;
    }
  }
  return false;
}

}  // namespace

unsigned char* ByteAllocator::allocate(uint32_t n) noexcept {
  if (gControlArmed.load(std::memory_order_relaxed)) {
    if (gCounting.load(std::memory_order_relaxed)) gAllocationCount.fetch_add(1, std::memory_order_relaxed);
    if (injectedFailure(n)) return nullptr;
  }
  // Allocated as char so that blocks handed to callers as char* (extracted
  // strings, copies) are released with a matching array delete.
  return reinterpret_cast<unsigned char*>(new (std::nothrow) char[n == 0 ? 1 : n]);
}

bool ByteAllocator::admitObject(uint32_t n) noexcept {
  if (!gControlArmed.load(std::memory_order_relaxed)) return true;
  if (gCounting.load(std::memory_order_relaxed)) gAllocationCount.fetch_add(1, std::memory_order_relaxed);
  return !injectedFailure(n);
}

void ByteAllocator::release(unsigned char* block, uint32_t size) noexcept {
  if (block == nullptr) return;
  if (gControlArmed.load(std::memory_order_relaxed)) {
    if (TestControl::ReleaseObserver observer = gObserver.load(std::memory_order_relaxed))
      observer(block, size, gObserverContext.load(std::memory_order_relaxed));
  }
  delete[] reinterpret_cast<char*>(block);
}

void ByteAllocator::TestControl::failNthAllocation(uint32_t n) noexcept {
  gFailCountdown.store(n, std::memory_order_relaxed);
  rearm();
}

void ByteAllocator::TestControl::failAllocationsAbove(uint32_t size) noexcept {
  gFailAbove.store(size, std::memory_order_relaxed);
  rearm();
}

void ByteAllocator::TestControl::setReleaseObserver(ReleaseObserver observer, void* context) noexcept {
  gObserverContext.store(context, std::memory_order_relaxed);
  gObserver.store(observer, std::memory_order_relaxed);
  rearm();
}

void ByteAllocator::TestControl::countAllocations(bool on) noexcept {
  gCounting.store(on, std::memory_order_relaxed);
  rearm();
}

uint64_t ByteAllocator::TestControl::allocationCount() noexcept {
  return gAllocationCount.load(std::memory_order_relaxed);
}

void ByteAllocator::TestControl::reset() noexcept {
  gFailCountdown.store(0, std::memory_order_relaxed);
  gFailAbove.store(0, std::memory_order_relaxed);
  gObserver.store(nullptr, std::memory_order_relaxed);
  gObserverContext.store(nullptr, std::memory_order_relaxed);
  gCounting.store(false, std::memory_order_relaxed);
  gAllocationCount.store(0, std::memory_order_relaxed);
  rearm();
}
