// The lock-guarded wrapper: every operation is one call on the owned buffer
// made while holding the wrapper's critical section.
#include "core/LockedStringBuffer.h"

#include "lib/CritSecExitor.h"

LockedStringBuffer::~LockedStringBuffer() {
  // Entering once and leaving at once lets a thread that is still inside an
  // operation finish before the buffer goes away.
  CritSecExitor drain(this);
}

bool LockedStringBuffer::setString(const StringBuffer& other) {
  CritSecExitor lock(this);
  return m_sb.setString(other);
}

bool LockedStringBuffer::setString(const char* s) {
  CritSecExitor lock(this);
  return m_sb.setString(s);
}

bool LockedStringBuffer::getString(StringBuffer& out) {
  CritSecExitor lock(this);
  return out.append(m_sb);
}

bool LockedStringBuffer::toSb(StringBuffer& out) {
  CritSecExitor lock(this);
  return out.append(m_sb);
}

void LockedStringBuffer::clear() {
  CritSecExitor lock(this);
  m_sb.clear();
}

bool LockedStringBuffer::append(const char* s) {
  CritSecExitor lock(this);
  return m_sb.append(s);
}

bool LockedStringBuffer::append(const StringBuffer& other) {
  CritSecExitor lock(this);
  return m_sb.append(other);
}

bool LockedStringBuffer::appendN(const char* p, unsigned int n) {
  CritSecExitor lock(this);
  return m_sb.appendN(p, n);
}

bool LockedStringBuffer::append(int value) {
  CritSecExitor lock(this);
  return m_sb.append(value);
}

bool LockedStringBuffer::append(unsigned int value) {
  CritSecExitor lock(this);
  return m_sb.append(value);
}

bool LockedStringBuffer::appendInt64(int64_t value) {
  CritSecExitor lock(this);
  return m_sb.appendInt64(value);
}

void LockedStringBuffer::shorten(unsigned int n) {
  CritSecExitor lock(this);
  m_sb.shorten(n);
}

unsigned int LockedStringBuffer::getSize() {
  CritSecExitor lock(this);
  return m_sb.getSize();
}

bool LockedStringBuffer::equals(const char* s) {
  CritSecExitor lock(this);
  return m_sb.equals(s);
}

bool LockedStringBuffer::endsWith(const char* s) {
  CritSecExitor lock(this);
  return m_sb.endsWith(s);
}

void LockedStringBuffer::trim2() {
  CritSecExitor lock(this);
  m_sb.trim2();
}
