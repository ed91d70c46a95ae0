// The name-to-value map behind template expansion: open addressing with
// linear probing, each entry one allocator block holding its name and value.
#include "lib/StringMap.h"

#include <cstring>
#include <new>

#include "core/StringBuffer.h"
#include "lib/ByteAllocator.h"

// Header of an entry block; the name and the value follow it, each with its
// terminating zero.
struct StringMap::Entry {
  uint64_t hash;
  uint32_t nameLength;
  uint32_t valueLength;
  uint32_t blockSize;

  const char* name() const { return reinterpret_cast<const char*>(this + 1); }
  const char* value() const { return name() + nameLength + 1; }
};

namespace {

constexpr uint32_t kFirstSlotCount = 16;

// FNV-1a: names are short, and a byte-at-a-time hash of a few bytes costs
// less than setting up a wider one.
uint64_t hashOf(const char* s, uint32_t n) {
  uint64_t h = 14695981039346656037ull;
  for (uint32_t i = 0; i < n; ++i) {
    h ^= static_cast<unsigned char>(s[i]);
    h *= 1099511628211ull;
  }
  return h;
}

// Slot arrays are zeroed too: the pointers they hold say where the values
// lived.
template <typename Slot>
void releaseSlots(Slot* slots, uint32_t n) {
  if (slots == nullptr) return;
  std::memset(static_cast<void*>(slots), 0, n * sizeof(Slot));
  ByteAllocator::release(reinterpret_cast<unsigned char*>(slots), n * sizeof(Slot));
}

uint32_t lengthOf(const char* s) { return s != nullptr ? static_cast<uint32_t>(std::strlen(s)) : 0; }

}  // namespace

StringMap::~StringMap() { clear(); }

void StringMap::releaseEntry(Entry* entry) {
  const uint32_t size = entry->blockSize;
  auto* block = reinterpret_cast<unsigned char*>(entry);
  volatile unsigned char* wipe = block;
  for (uint32_t i = 0; i < size; ++i) wipe[i] = 0;
  ByteAllocator::release(block, size);
}

uint32_t StringMap::slotOf(const char* name, uint32_t nameLength, uint64_t hash) const {
  const uint32_t mask = m_slotCount - 1;
  for (uint32_t i = static_cast<uint32_t>(hash) & mask;; i = (i + 1) & mask) {
    const Entry* e = m_slots[i];
    if (e == nullptr) return i;
    if (e->hash == hash && e->nameLength == nameLength && std::memcmp(e->name(), name, nameLength) == 0) return i;
  }
}

bool StringMap::growTo(uint32_t slotCount) {
  unsigned char* block = ByteAllocator::allocate(slotCount * sizeof(Entry*));
  if (block == nullptr) return false;
  auto** slots = reinterpret_cast<Entry**>(block);
  for (uint32_t i = 0; i < slotCount; ++i) new (block + i * sizeof(Entry*)) Entry*(nullptr);
  const uint32_t mask = slotCount - 1;
  for (uint32_t i = 0; i < m_slotCount; ++i) {
    Entry* e = m_slots[i];
    if (e == nullptr) continue;
    uint32_t j = static_cast<uint32_t>(e->hash) & mask;
    while (slots[j] != nullptr) j = (j + 1) & mask;
    slots[j] = e;
  }
  releaseSlots(m_slots, m_slotCount);
  m_slots = slots;
  m_slotCount = slotCount;
  return true;
}

bool StringMap::set(const char* name, const char* value) {
  const uint32_t nameLength = lengthOf(name);
  const uint32_t valueLength = lengthOf(value);
  const uint64_t size = sizeof(Entry) + uint64_t(nameLength) + valueLength + 2;
  if (size > UINT32_MAX) return false;
  // Kept at most three quarters full, so probe runs stay short.
  if (uint64_t(m_count + 1) * 4 > uint64_t(m_slotCount) * 3) {
    if (m_slotCount > (1u << 30) || !growTo(m_slotCount == 0 ? kFirstSlotCount : m_slotCount * 2)) return false;
  }
  unsigned char* block = ByteAllocator::allocate(static_cast<uint32_t>(size));
  if (block == nullptr) return false;
  const uint64_t hash = hashOf(name, nameLength);
  auto* entry = new (block) Entry{hash, nameLength, valueLength, static_cast<uint32_t>(size)};
  char* text = reinterpret_cast<char*>(entry + 1);
  if (nameLength != 0) std::memcpy(text, name, nameLength);
  text[nameLength] = 0;
  if (valueLength != 0) std::memcpy(text + nameLength + 1, value, valueLength);
  text[nameLength + 1 + valueLength] = 0;

  const uint32_t slot = slotOf(entry->name(), nameLength, hash);
  if (m_slots[slot] != nullptr) {
    releaseEntry(m_slots[slot]);
  } else {
    ++m_count;
  }
  m_slots[slot] = entry;
  return true;
}

bool StringMap::remove(const char* name) {
  if (m_count == 0) return false;
  const uint32_t nameLength = lengthOf(name);
  uint32_t hole = slotOf(name != nullptr ? name : "", nameLength, hashOf(name, nameLength));
  if (m_slots[hole] == nullptr) return false;
  releaseEntry(m_slots[hole]);
  --m_count;
  // Pull later entries of the probe run back into the hole, so that lookups
  // never stop early at a gap and no tombstones pile up.
  const uint32_t mask = m_slotCount - 1;
  for (uint32_t k = (hole + 1) & mask; m_slots[k] != nullptr; k = (k + 1) & mask) {
    const uint32_t home = static_cast<uint32_t>(m_slots[k]->hash) & mask;
    if (((k - home) & mask) >= ((k - hole) & mask)) {
      m_slots[hole] = m_slots[k];
      hole = k;
    }
  }
  m_slots[hole] = nullptr;
  return true;
}

bool StringMap::lookup(const char* name, StringBuffer& value) const {
  if (m_count == 0) return false;
  const uint32_t nameLength = lengthOf(name);
  const Entry* e = m_slots[slotOf(name != nullptr ? name : "", nameLength, hashOf(name, nameLength))];
  if (e == nullptr) return false;
  value.weakClear();
  return value.appendN(e->value(), e->valueLength);
}

bool StringMap::contains(const char* name) const {
  if (m_count == 0) return false;
  const uint32_t nameLength = lengthOf(name);
  return m_slots[slotOf(name != nullptr ? name : "", nameLength, hashOf(name, nameLength))] != nullptr;
}

void StringMap::clear() {
  for (uint32_t i = 0; i < m_slotCount; ++i)
    if (m_slots[i] != nullptr) releaseEntry(m_slots[i]);
  releaseSlots(m_slots, m_slotCount);
  m_slots = nullptr;
  m_slotCount = 0;
  m_count = 0;
}
