// StringMap: a hash map from zero-terminated names to text values, filled by
// a caller and read by template expansion (StringBuffer::variableSubstitute).
// Names are compared byte for byte (case matters). Every block it holds is
// wiped before it is released, since values are often credentials.
#pragma once

#include <cstdint>

class StringBuffer;

class StringMap {
 public:
  StringMap() = default;
  ~StringMap();
  StringMap(const StringMap&) = delete;
  StringMap& operator=(const StringMap&) = delete;

  // Sets name's value, replacing any earlier one; null name or value counts
  // as "". False, with the map unchanged, when memory runs out.
  bool set(const char* name, const char* value);
  // Removes name; false when it was not there.
  bool remove(const char* name);
  // True when name is present; value's content is then replaced by name's
  // value. False when name is absent (value untouched) or when value cannot
  // grow to hold it (value then empty).
  bool lookup(const char* name, StringBuffer& value) const;
  bool contains(const char* name) const;
  // Number of names held.
  unsigned int count() const { return m_count; }
  // Removes every name and gives back all storage.
  void clear();

 private:
  struct Entry;

  // Slot of name: where it is, or the empty slot where it would go.
  uint32_t slotOf(const char* name, uint32_t nameLength, uint64_t hash) const;
  bool growTo(uint32_t slotCount);
  static void releaseEntry(Entry* entry);

  Entry** m_slots = nullptr;
  uint32_t m_slotCount = 0;  // a power of two, or 0 before the first set
  uint32_t m_count = 0;
};
