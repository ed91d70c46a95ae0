// StringPair: a key and a value, both copied in; elements of attribute lists.
#pragma once

#include "core/StringBuffer.h"
#include "lib/TarvexObject.h"

class StringPair : public TarvexObject {
 public:
  // Copies both texts; null is "". A text that cannot be copied for lack of
  // memory reads as "" (a constructor has no way to report it).
  StringPair(const char* key, const char* value) : m_key(key), m_value(value) {}

  const char* getKey() const { return m_key.getString(); }
  const char* getValue() const { return m_value.getString(); }

 private:
  StringBuffer m_key;
  StringBuffer m_value;
};
