#include <gtest/gtest.h>

#include <string>

#include "lib/Digest128.h"

namespace {

std::string hexDigest(const std::string& message) {
  unsigned char out[Digest128::kSize];
  Digest128::compute(reinterpret_cast<const unsigned char*>(message.data()), static_cast<unsigned>(message.size()),
                     out);
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char b : out) {
    hex += kHex[b >> 4];
    hex += kHex[b & 15];
  }
  return hex;
}

TEST(Digest128, Rfc1321TestSuite) {
  const char* rows[][2] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& r : rows) EXPECT_EQ(r[1], hexDigest(r[0])) << r[0];
}

// The padding needs one block up to 55 bytes of rest and two from 56 on;
// whole blocks are read straight from the input.
TEST(Digest128, PaddingBoundaries) {
  const struct {
    unsigned length;
    const char* digest;
  } rows[] = {
      {55, "ef1772b6dff9a122358552954ad0df65"},  {56, "3b0c8ac703f828b04c6c197006d17218"},
      {64, "014842d480b571495a4a0363793f7367"},  {119, "8a7bd0732ed6a28ce75f6dabc90e1613"},
      {1000, "cabe45dcc9ae5b66ba86600cca6b8ba8"}, {10000, "0d0c9c4db6953fee9e03f528cafd7d3e"},
  };
  for (const auto& r : rows) EXPECT_EQ(r.digest, hexDigest(std::string(r.length, 'a'))) << r.length;
}

}  // namespace
