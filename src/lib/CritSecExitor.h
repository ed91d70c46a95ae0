// Scoped hold of a TarvexCritSec: entered on construction, left on
// destruction, so that every way out of a scope releases the lock.
#pragma once

#include "lib/TarvexCritSec.h"

class CritSecExitor {
 public:
  // A null critical section guards nothing.
  explicit CritSecExitor(TarvexCritSec* cs) : m_cs(cs) {
    if (m_cs != nullptr) m_cs->enterCriticalSection();
  }
  ~CritSecExitor() {
    if (m_cs != nullptr) m_cs->leaveCriticalSection();
  }
  CritSecExitor(const CritSecExitor&) = delete;
  CritSecExitor& operator=(const CritSecExitor&) = delete;

 private:
  TarvexCritSec* m_cs;
};
