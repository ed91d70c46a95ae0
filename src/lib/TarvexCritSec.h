// The library's critical section: a lock that one thread at a time may hold.
// It is not re-entrant; hold it for a scope with CritSecExitor.
#pragma once

#include <mutex>

class TarvexCritSec {
 public:
  TarvexCritSec() = default;
  TarvexCritSec(const TarvexCritSec&) = delete;
  TarvexCritSec& operator=(const TarvexCritSec&) = delete;
  virtual ~TarvexCritSec() = default;

  // Blocks until the calling thread holds the lock.
  void enterCriticalSection() { m_mutex.lock(); }
  // Releases a lock the calling thread holds.
  void leaveCriticalSection() { m_mutex.unlock(); }

 private:
  std::mutex m_mutex;
};
