// DataBuffer storage: one ByteAllocator block that grows geometrically, and
// the decoders that append into it.
#include "lib/DataBuffer.h"

#include <array>
#include <cstring>
#include <functional>

#include "lib/ByteAllocator.h"
#include "lib/MimeCodec.h"

namespace {

constexpr uint32_t kMinCapacity = 16;
constexpr uint8_t kNotHex = 0xFF;

// Value of each hex digit, either case; kNotHex for every other byte.
constexpr std::array<uint8_t, 256> hexValues() {
  std::array<uint8_t, 256> t{};
  for (auto& v : t) v = kNotHex;
  for (int i = 0; i < 10; ++i) t['0' + i] = static_cast<uint8_t>(i);
  for (int i = 0; i < 6; ++i) {
    t['a' + i] = static_cast<uint8_t>(10 + i);
    t['A' + i] = static_cast<uint8_t>(10 + i);
  }
  return t;
}
constexpr auto kHexValue = hexValues();

// Whether p points into [block, block + size): compared with std::less,
// which orders unrelated pointers without undefined behaviour.
bool pointsInto(const void* p, const unsigned char* block, uint32_t size) {
  const auto* q = static_cast<const unsigned char*>(p);
  std::less<const unsigned char*> before;
  return block != nullptr && !before(q, block) && before(q, block + size);
}

}  // namespace

// A secure block is wiped whole: bytes past the size (left by clear or by a
// shorter refill) may still hold what the buffer held before.
DataBuffer::~DataBuffer() {
  if (m_secure && m_data != nullptr) std::memset(m_data, 0, m_capacity);
  ByteAllocator::release(m_data, m_capacity);
}

bool DataBuffer::reallocate(uint32_t capacity) {
  unsigned char* block = ByteAllocator::allocate(capacity);
  if (block == nullptr) return false;
  if (m_size != 0) std::memcpy(block, m_data, m_size);
  if (m_secure && m_data != nullptr) std::memset(m_data, 0, m_capacity);
  ByteAllocator::release(m_data, m_capacity);
  m_data = block;
  m_capacity = capacity;
  return true;
}

bool DataBuffer::reserveMore(uint32_t n) {
  const uint64_t need = uint64_t(m_size) + n;
  if (need <= m_capacity) return true;
  if (need > UINT32_MAX) return false;
  // Half again what is needed keeps long runs of small appends linear.
  uint64_t capacity = need + need / 2;
  if (capacity < kMinCapacity) capacity = kMinCapacity;
  if (capacity > UINT32_MAX) capacity = UINT32_MAX;
  return reallocate(static_cast<uint32_t>(capacity));
}

bool DataBuffer::append(const void* data, unsigned int n) {
  if (data == nullptr || n == 0) return true;
  // Growth frees the old block, so a source inside it is found again by
  // its offset afterwards.
  const bool inside = pointsInto(data, m_data, m_capacity);
  const size_t offset = inside ? static_cast<const unsigned char*>(data) - m_data : 0;
  if (!reserveMore(n)) return false;
  const void* src = inside ? m_data + offset : data;
  std::memmove(m_data + m_size, src, n);
  m_size += n;
  return true;
}

bool DataBuffer::appendChar(unsigned char c) {
  if (!reserveMore(1)) return false;
  m_data[m_size++] = c;
  return true;
}

bool DataBuffer::ensureBuffer(unsigned int n) {
  const uint64_t need = uint64_t(m_size) + n;
  if (need <= m_capacity) return true;
  if (need > UINT32_MAX) return false;
  return reallocate(static_cast<uint32_t>(need));
}

unsigned char* DataBuffer::reserveTail(unsigned int n) {
  const uint64_t need = uint64_t(m_size) + n;
  if (need > m_capacity) {
    if (need > UINT32_MAX) return nullptr;
    // Exact for a first fill; half again the old block when producers keep
    // appending to one buffer, so that a loop of them stays linear.
    uint64_t capacity = uint64_t(m_capacity) + m_capacity / 2;
    if (capacity < need) capacity = need;
    if (capacity > UINT32_MAX) capacity = UINT32_MAX;
    if (!reallocate(static_cast<uint32_t>(capacity))) return nullptr;
  }
  // A request for nothing still gets a valid pointer (getData2 never is null).
  return getData2() + m_size;
}

bool DataBuffer::appendHex(const char* text, uint32_t length) {
  // As in append: text from this buffer's own block is found again by its
  // offset once the growth has moved the block.
  const bool inside = pointsInto(text, m_data, m_capacity);
  const size_t offset = inside ? reinterpret_cast<const unsigned char*>(text) - m_data : 0;
  if (!ensureBuffer(length / 2)) return false;
  const auto* p = inside ? m_data + offset : reinterpret_cast<const unsigned char*>(text);
  const unsigned char* end = p + length;
  for (; end - p >= 2; p += 2) {
    const uint8_t hi = kHexValue[p[0]];
    const uint8_t lo = kHexValue[p[1]];
    if (hi == kNotHex || lo == kNotHex) return false;
    m_data[m_size++] = static_cast<unsigned char>(hi << 4 | lo);
  }
  // Note: an odd trailing digit is reported, not guessed at.
  return p == end;
}

bool DataBuffer::appendEncodedById(const char* text, int id) {
  if (id != kEncodingHex && id != kEncodingBase64) return false;
  const size_t length = text != nullptr ? std::strlen(text) : 0;
  if (length == 0) return true;
  if (length > UINT32_MAX) return false;
  const auto n = static_cast<uint32_t>(length);
  return id == kEncodingHex ? appendHex(text, n) : MimeCodec::decodeBase64(text, n, *this);
}

void DataBuffer::byteSwap21() {
  for (uint32_t i = 0; i + 1 < m_size; i += 2) {
    const unsigned char first = m_data[i];
    m_data[i] = m_data[i + 1];
    m_data[i + 1] = first;
  }
}

bool DataBuffer::prepForSbTake() {
  if (m_size != 0 && m_data[m_size - 1] == 0) return true;
  return appendChar(0);
}

void DataBuffer::dropData() {
  m_data = nullptr;
  m_size = 0;
  m_capacity = 0;
}
