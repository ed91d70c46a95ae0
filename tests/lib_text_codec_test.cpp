#include <gtest/gtest.h>

#include <string>

#include "lib/TextCodec.h"
#include "test_support.h"

namespace {

std::string encoded(const std::string& bytes) {
  StringBuffer sb = bufferOf(bytes);
  TextCodec::encode(sb);
  return bytesOf(sb);
}

std::string decoded(const std::string& bytes) {
  StringBuffer sb = bufferOf(bytes);
  TextCodec::decode(sb);
  return bytesOf(sb);
}

// Every byte value at every position of every length up to 300, both ways round.
TEST(TextCodec, InverseBothWaysForAnyBytes) {
  for (unsigned length = 0; length <= 300; ++length) {
    for (unsigned first = 0; first < 256; first += length == 0 ? 256 : 37) {
      std::string bytes(length, '\0');
      for (unsigned i = 0; i < length; ++i) bytes[i] = static_cast<char>((first + i * 7) & 0xFF);
      SCOPED_TRACE(testing::Message() << "length " << length << " first " << first);
      ASSERT_EQ(length, encoded(bytes).size());
      ASSERT_EQ(bytes, decoded(encoded(bytes)));
      ASSERT_EQ(bytes, encoded(decoded(bytes)));
    }
  }
}

TEST(TextCodec, KeepsPrintableTextPrintableAndLeavesTheRest) {
  std::string all;
  for (int round = 0; round < 3; ++round)
    for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  const std::string out = encoded(all);
  for (size_t i = 0; i < all.size(); ++i) {
    const auto in = static_cast<unsigned char>(all[i]);
    const auto got = static_cast<unsigned char>(out[i]);
    const bool ring = in >= 32 && in <= 126 && in != '"' && in != '\\';
    if (ring)
      EXPECT_TRUE(got >= 32 && got <= 126 && got != '"' && got != '\\') << i;
    else
      EXPECT_EQ(in, got) << i;
  }
}

// Stored forms must stay readable: these outputs may never change.
TEST(TextCodec, FixedOutputs) {
  const char* rows[][2] = {
      {"", ""},
      {"abc", "fx,"},
      {"a\"b\\c\n", "f\"+\\N\n"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(r[1], encoded(r[0])) << r[0];
    EXPECT_EQ(r[0], decoded(r[1])) << r[1];
  }
  // Both directions work in place.
  StringBuffer sb = bufferOf(std::string(500, 'q'));
  ScopedAllocatorControl control;
  TextCodec::encode(sb);
  TextCodec::decode(sb);
  EXPECT_EQ(0u, control.allocations());
}

}  // namespace
