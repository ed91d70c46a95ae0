// ExtPtrArray: an array of heap objects that it owns. Elements are destroyed
// with TarvexObject::deleteObject when they are removed by removeAll or when
// the array dies.
#pragma once

#include <cstdint>

#include "lib/TarvexObject.h"

class ExtPtrArray : public TarvexObject {
 public:
  ExtPtrArray() = default;
  // Deletes every element.
  ~ExtPtrArray() override;
  // Not copyable: two arrays cannot own the same elements.
  ExtPtrArray(const ExtPtrArray&) = delete;
  ExtPtrArray& operator=(const ExtPtrArray&) = delete;

  // Appends obj and takes ownership of it. Null is refused (false). When the
  // array cannot grow, obj is deleted at once and the result is false, so
  // the caller never has anything left to free.
  bool appendPtr(TarvexObject* obj);
  // Number of elements.
  int getSize() const { return static_cast<int>(m_size); }
  // Element i, or null when i is out of range.
  TarvexObject* elementAt(int i) const {
    return i < 0 || static_cast<uint32_t>(i) >= m_size ? nullptr : m_items[i];
  }
  // Takes element i out and hands it to the caller, who then owns it; the
  // elements behind it move up. Null when i is out of range.
  TarvexObject* removeAt(int i);
  // Deletes every element and frees the slots.
  void removeAll();

 private:
  bool grow();

  TarvexObject** m_items = nullptr;
  uint32_t m_size = 0;
  uint32_t m_capacity = 0;
};
