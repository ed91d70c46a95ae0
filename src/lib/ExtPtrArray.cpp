// ExtPtrArray slots: one block of pointers from ByteAllocator (so tests can
// make growth fail), doubled when full.
#include "lib/ExtPtrArray.h"

#include <algorithm>
#include <new>

#include "lib/ByteAllocator.h"

namespace {

constexpr uint32_t kFirstCapacity = 8;
// Slots are counted as int by callers, and their bytes in 32 bits.
constexpr uint32_t kMaxCapacity = 0x7FFFFFFFu / sizeof(TarvexObject*);

// A block of count null pointers, or null when memory runs out.
TarvexObject** allocSlots(uint32_t count) {
  unsigned char* block = ByteAllocator::allocate(static_cast<uint32_t>(count * sizeof(TarvexObject*)));
  if (block == nullptr) return nullptr;
  auto* slots = reinterpret_cast<TarvexObject**>(block);
  for (uint32_t i = 0; i < count; ++i) ::new (static_cast<void*>(slots + i)) TarvexObject*(nullptr);
  return slots;
}

void releaseSlots(TarvexObject** slots, uint32_t count) {
  ByteAllocator::release(reinterpret_cast<unsigned char*>(slots),
                         static_cast<uint32_t>(count * sizeof(TarvexObject*)));
}

}  // namespace

ExtPtrArray::~ExtPtrArray() {
  removeAll();
}

bool ExtPtrArray::grow() {
  if (m_capacity >= kMaxCapacity) return false;
  const uint32_t capacity = m_capacity == 0 ? kFirstCapacity : std::min(m_capacity * 2, kMaxCapacity);
  TarvexObject** slots = allocSlots(capacity);
  if (slots == nullptr) return false;
  std::copy(m_items, m_items + m_size, slots);
  releaseSlots(m_items, m_capacity);
  m_items = slots;
  m_capacity = capacity;
  return true;
}

bool ExtPtrArray::appendPtr(TarvexObject* obj) {
  if (obj == nullptr) return false;
  if (m_size == m_capacity && !grow()) {
    // Note: the array took the object over with the call, so a failed
    // append must not leak it.
    TarvexObject::deleteObject(obj);
    return false;
  }
  m_items[m_size++] = obj;
  return true;
}

TarvexObject* ExtPtrArray::removeAt(int i) {
  TarvexObject* obj = elementAt(i);
  if (obj == nullptr) return nullptr;
  std::copy(m_items + i + 1, m_items + m_size, m_items + i);
  m_items[--m_size] = nullptr;
  return obj;
}

void ExtPtrArray::removeAll() {
  // Cleared before deleting, so an element's destructor never sees a
  // half-emptied array.
  TarvexObject** items = m_items;
  const uint32_t size = m_size;
  const uint32_t capacity = m_capacity;
  m_items = nullptr;
  m_size = 0;
  m_capacity = 0;
  for (uint32_t i = 0; i < size; ++i) TarvexObject::deleteObject(items[i]);
  releaseSlots(items, capacity);
}
