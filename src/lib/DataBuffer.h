// DataBuffer: the library's growable byte array. Its block comes from
// ByteAllocator, so a StringBuffer can take it over (takeFromDb) and later
// release it the same way.
#pragma once

#include <cstdint>

class DataBuffer {
 public:
  // Encoding numbers understood by appendEncodedById.
  static constexpr int kEncodingBase64 = 1;
  static constexpr int kEncodingHex = 3;

  DataBuffer() = default;
  // Releases the block, if the buffer still owns one.
  ~DataBuffer();
  // Not copyable: a copy would have to allocate, and a constructor cannot
  // report that it failed. Copy the bytes with append() instead.
  DataBuffer(const DataBuffer&) = delete;
  DataBuffer& operator=(const DataBuffer&) = delete;

  // The first content byte; never null (an empty buffer without a block
  // points at a zero byte inside the object, so memcpy(dst, getData2(), 0)
  // stays well defined).
  const unsigned char* getData2() const { return m_data != nullptr ? m_data : &m_none; }
  unsigned char* getData2() { return m_data != nullptr ? m_data : &m_none; }
  // Number of content bytes.
  unsigned int getSize() const { return m_size; }
  bool isEmpty() const { return m_size == 0; }
  // Size of the allocated block (0 without one); at least getSize().
  unsigned int getBufSize() const { return m_capacity; }
  // For writers that fill the buffer straight from a table: makes room for n
  // more bytes and returns where they go (null when memory runs out). The
  // bytes count as content only once commitTail says how many were written,
  // so a writer that gives up leaves the content as it was.
  unsigned char* reserveTail(unsigned int n);
  // Adds n bytes written behind the content to it; n must not exceed what
  // the last reserveTail made room for.
  void commitTail(unsigned int n) { m_size += n; }
  // When set, the content is overwritten with zeros before its block is
  // released (growth and destruction): for scratch buffers that stage the
  // text of a secure StringBuffer.
  void setSecure(bool secure) { m_secure = secure; }

  // Appends n bytes, which may lie inside this buffer; null data or n == 0
  // appends nothing and succeeds. False when memory runs out.
  bool append(const void* data, unsigned int n);
  // Appends one byte.
  bool appendChar(unsigned char c);
  // Makes room for n more bytes beyond the current content, so that the
  // next appends of up to n bytes in total do not allocate.
  bool ensureBuffer(unsigned int n);
  // Empties the buffer but keeps the block for reuse.
  void clear() { m_size = 0; }

  // Decodes the zero-terminated text and appends the bytes. id 3
  // (kEncodingHex): two hex digits a byte, either case, no white space.
  // id 1 (kEncodingBase64): Base64 as MimeCodec::decodeBase64 reads it.
  // Decoding stops at the first pair that is not two hex digits, at an odd
  // trailing digit, or where the Base64 decoder stops; the bytes before that
  // point are appended and the result is false. Null text is empty (true).
  // An unknown id, or memory running out, appends nothing and returns false.
  bool appendEncodedById(const char* text, int id);
  // Swaps the two bytes of each 16-bit unit; an odd last byte stays.
  void byteSwap21();

  // Readies the block to be taken over: makes sure the content ends with a
  // zero byte that is counted in getSize() (appending one when the buffer is
  // empty or its last byte is not 0). False when that append fails.
  bool prepForSbTake();
  // Forgets the block without releasing it: its new owner releases it with
  // ByteAllocator::release. The buffer is empty afterwards.
  void dropData();

 private:
  // Moves the content to a new block of capacity bytes.
  bool reallocate(uint32_t capacity);
  // Makes room for n more bytes, growing geometrically.
  bool reserveMore(uint32_t n);
  bool appendHex(const char* text, uint32_t length);

  unsigned char* m_data = nullptr;
  uint32_t m_size = 0;
  uint32_t m_capacity = 0;
  // What getData2() points at while there is no block.
  unsigned char m_none = 0;
  bool m_secure = false;
};
