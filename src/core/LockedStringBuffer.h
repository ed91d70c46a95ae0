// LockedStringBuffer: a StringBuffer that several threads may share. Each
// operation holds the wrapper's lock for exactly one call on the owned
// buffer. No operation hands out a pointer into the storage: text leaves only
// by being appended to the caller's own buffer.
#pragma once

#include <cstdint>

#include "core/StringBuffer.h"
#include "lib/TarvexCritSec.h"
#include "lib/TarvexObject.h"

class LockedStringBuffer : public TarvexCritSec, public TarvexObject {
 public:
  LockedStringBuffer() = default;
  // Waits for an operation still running in another thread, then releases
  // the buffer (wiped when secure).
  ~LockedStringBuffer() override;

  // Replaces the content with other's.
  bool setString(const StringBuffer& other);
  // Replaces the content with s.
  bool setString(const char* s);
  // Appends the content to out (out is not emptied first).
  bool getString(StringBuffer& out);
  // The same as getString(out).
  bool toSb(StringBuffer& out);
  // Empties the buffer and frees its storage.
  void clear();
  // Appends s up to its terminating zero.
  bool append(const char* s);
  // Appends other's content.
  bool append(const StringBuffer& other);
  // Appends n bytes as they are.
  bool appendN(const char* p, unsigned int n);
  // Appends the decimal form of value.
  bool append(int value);
  // Appends the decimal form of value.
  bool append(unsigned int value);
  // Appends the decimal form of a 64-bit value.
  bool appendInt64(int64_t value);
  // Removes n bytes from the end.
  void shorten(unsigned int n);
  // Number of content bytes, read under the lock.
  unsigned int getSize();
  // Text equality with s.
  bool equals(const char* s);
  // Whether the content ends with s.
  bool endsWith(const char* s);
  // Removes TAB, LF, CR and space from both ends.
  void trim2();

 private:
  StringBuffer m_sb;
};
