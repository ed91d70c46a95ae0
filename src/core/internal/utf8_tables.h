// UTF-8 lead-byte facts shared by the escapers and canonicalizers.
#pragma once

#include <array>
#include <cstdint>

namespace sb_internal {

// For each byte, the number of bytes that follow it when it leads a UTF-8
// sequence, as the Unicode reference converter (ConvertUTF) tabulates it:
// 0 below 0xC0, 1 for 0xC0..0xDF, 2 for 0xE0..0xEF, 3 for 0xF0..0xF7,
// 4 for 0xF8..0xFB and 5 for 0xFC..0xFF. Bytes below 0xC0 lead nothing, so
// callers that copy "a lead byte and its trailers as one unit" treat a table
// value of 0 as a lone byte.
constexpr std::array<uint8_t, 256> kTrailingBytesForUtf8 = [] {
  std::array<uint8_t, 256> t{};
  for (int b = 0xC0; b <= 0xFF; ++b) t[b] = b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
  return t;
}();

}  // namespace sb_internal
