// Platform facts: the ANSI and OEM code pages the application chose, and a
// monotonic tick count.
#include "lib/Psdk.h"

#include <atomic>
#include <chrono>

namespace {

constexpr int kDefaultAnsiCodePage = 1252;
constexpr int kDefaultOemCodePage = 437;

// Atomics, so that an application that sets a code page while another thread
// converts text is not a data race; the value itself is meant to be set once.
std::atomic<int> g_ansiCodePage{kDefaultAnsiCodePage};
std::atomic<int> g_oemCodePage{kDefaultOemCodePage};

}  // namespace

int Psdk::getAnsiCodePage() { return g_ansiCodePage.load(std::memory_order_relaxed); }

int Psdk::getOemCodePage() { return g_oemCodePage.load(std::memory_order_relaxed); }

void Psdk::setAnsiCodePage(int codePage) {
  g_ansiCodePage.store(codePage > 0 ? codePage : kDefaultAnsiCodePage, std::memory_order_relaxed);
}

void Psdk::setOemCodePage(int codePage) {
  g_oemCodePage.store(codePage > 0 ? codePage : kDefaultOemCodePage, std::memory_order_relaxed);
}

uint32_t Psdk::getTickCount() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
