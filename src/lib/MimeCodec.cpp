// Base64 encoding and decoding, table-driven both ways; the output grows once.
#include "lib/MimeCodec.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include "core/StringBuffer.h"
#include "core/internal/tail_writer.h"
#include "lib/DataBuffer.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Decoder classes beside the six-bit values 0..63.
constexpr uint8_t kSpace = 64;
constexpr uint8_t kPad = 65;
constexpr uint8_t kBad = 66;

constexpr std::array<uint8_t, 256> decodeTable() {
  std::array<uint8_t, 256> t{};
  for (auto& v : t) v = kBad;
  for (uint8_t i = 0; i < 64; ++i) t[static_cast<unsigned char>(kAlphabet[i])] = i;
  t['\t'] = t['\n'] = t['\r'] = t[' '] = kSpace;
  t['='] = kPad;
  return t;
}
constexpr auto kDecode = decodeTable();

// Holds whole groups of 3 decoded bytes.
constexpr unsigned kDecodeChunk = 768;

// The two characters of every 12-bit value, so a group of three bytes costs
// two lookups.
constexpr auto kPairs = [] {
  std::array<char, 8192> t{};
  for (unsigned v = 0; v < 4096; ++v) {
    t[2 * v] = kAlphabet[v >> 6];
    t[2 * v + 1] = kAlphabet[v & 63];
  }
  return t;
}();

void encodeGroup(const unsigned char* in, char* out) {
  const uint32_t v = uint32_t(in[0]) << 16 | uint32_t(in[1]) << 8 | in[2];
  out[0] = kAlphabet[v >> 18];
  out[1] = kAlphabet[(v >> 12) & 63];
  out[2] = kAlphabet[(v >> 6) & 63];
  out[3] = kAlphabet[v & 63];
}

// Collects decoded bytes and appends them to out a chunk at a time; out has
// room for all of them already, so the appends cannot fail.
class ByteSink {
 public:
  explicit ByteSink(DataBuffer& out) : m_out(out) {}
  ~ByteSink() { flush(); }
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  // The bytes of `count` symbols (2, 3 or 4) accumulated in acc.
  void put(uint32_t acc, int count) {
    if (m_used + 3 > kDecodeChunk) flush();
    if (count == 4) {
      m_chunk[m_used++] = static_cast<unsigned char>(acc >> 16);
      m_chunk[m_used++] = static_cast<unsigned char>(acc >> 8);
      m_chunk[m_used++] = static_cast<unsigned char>(acc);
    } else if (count == 3) {
      m_chunk[m_used++] = static_cast<unsigned char>(acc >> 10);
      m_chunk[m_used++] = static_cast<unsigned char>(acc >> 2);
    } else if (count == 2) {
      m_chunk[m_used++] = static_cast<unsigned char>(acc >> 4);
    }
  }

 private:
  void flush() {
    m_out.append(m_chunk, m_used);
    m_used = 0;
  }

  DataBuffer& m_out;
  unsigned char m_chunk[kDecodeChunk];
  unsigned m_used = 0;
};

// After padding only white space and more padding may follow.
bool onlyPaddingLeft(const unsigned char* p, const unsigned char* end) {
  for (; p != end; ++p)
    if (kDecode[*p] != kSpace && kDecode[*p] != kPad) return false;
  return true;
}

}  // namespace

bool MimeCodec::encodeBase64(const void* data, unsigned int n, StringBuffer& out) {
  if (data == nullptr || n == 0) return true;
  const uint64_t total = (uint64_t(n) + 2) / 3 * 4;
  // Input taken from out's own content moves when out grows: reserve first,
  // then read it where it went.
  const char* own = out.getString();
  const auto* source = static_cast<const char*>(data);
  const bool inside = !std::less<const char*>()(source, own) && std::less<const char*>()(source, own + out.getSize());
  const ptrdiff_t offset = inside ? source - own : 0;
  if (total >= UINT32_MAX) return false;
  // The whole text goes straight into out's storage, grown once; the input
  // read from out's own content lies before it and is never overwritten.
  char* w = StringBufferTail::reserve(out, static_cast<uint32_t>(total));
  if (w == nullptr) return false;
  const auto* in = reinterpret_cast<const unsigned char*>(inside ? out.getString() + offset : source);
  for (; n >= 3; in += 3, n -= 3, w += 4) {
    const uint32_t v = uint32_t(in[0]) << 16 | uint32_t(in[1]) << 8 | in[2];
    std::memcpy(w, &kPairs[2 * (v >> 12)], 2);
    std::memcpy(w + 2, &kPairs[2 * (v & 0xFFF)], 2);
  }
  if (n != 0) {
    const unsigned char tail[3] = {in[0], n == 2 ? in[1] : static_cast<unsigned char>(0), 0};
    encodeGroup(tail, w);
    w[3] = '=';
    if (n == 1) w[2] = '=';
  }
  StringBufferTail::commit(out, static_cast<uint32_t>(total));
  return true;
}

bool MimeCodec::decodeBase64(const char* text, unsigned int n, DataBuffer& out) {
  if (text == nullptr || n == 0) return true;
  // Text taken from out's own block moves when out grows: reserve first,
  // then read it where it went. The bytes decoded land behind the content,
  // so text inside the content is never overwritten while it is read.
  const unsigned char* own = out.getData2();
  const auto* source = reinterpret_cast<const unsigned char*>(text);
  const std::less<const unsigned char*> below;
  const bool inside = out.getBufSize() != 0 && !below(source, own) && below(source, own + out.getBufSize());
  const ptrdiff_t offset = inside ? source - own : 0;
  // Every 4 characters give at most 3 bytes; reserving that once means the
  // sink's appends never allocate and a failure appends nothing.
  if (!out.ensureBuffer(n / 4 * 3 + 2)) return false;
  const unsigned char* p = inside ? out.getData2() + offset : source;
  const unsigned char* const end = p + n;
  ByteSink sink(out);
  uint32_t acc = 0;
  int count = 0;
  while (p != end) {
    // Whole groups of four plain symbols take the short road.
    if (count == 0 && end - p >= 4) {
      const uint8_t a = kDecode[p[0]], b = kDecode[p[1]], c = kDecode[p[2]], d = kDecode[p[3]];
      if ((a | b | c | d) < 64) {
        sink.put(uint32_t(a) << 18 | uint32_t(b) << 12 | uint32_t(c) << 6 | d, 4);
        p += 4;
        continue;
      }
    }
    const uint8_t v = kDecode[*p++];
    if (v == kSpace) continue;
    if (v == kPad) {
      sink.put(acc, count);
      return count >= 2 && onlyPaddingLeft(p, end);
    }
    if (v == kBad) {
      sink.put(acc, count);
      return false;
    }
    acc = acc << 6 | v;
    if (++count == 4) {
      sink.put(acc, 4);
      acc = 0;
      count = 0;
    }
  }
  sink.put(acc, count);
  return count != 1;
}
