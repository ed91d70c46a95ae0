#include <gtest/gtest.h>

#include <string>

#include "lib/DataBuffer.h"
#include "lib/MimeCodec.h"
#include "test_support.h"

namespace {

std::string encode(const std::string& bytes) {
  StringBuffer out;
  EXPECT_TRUE(MimeCodec::encodeBase64(bytes.data(), bytes.size(), out));
  return bytesOf(out);
}

std::string decode(const std::string& text, bool expectedOk) {
  DataBuffer out;
  EXPECT_EQ(expectedOk, MimeCodec::decodeBase64(text.data(), text.size(), out));
  return std::string(reinterpret_cast<const char*>(out.getData2()), out.getSize());
}

TEST(MimeCodec, EncodeKnownVectors) {
  const char* rows[][2] = {{"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xfb\xef\xff", "++//"}};
  for (const auto& r : rows) EXPECT_EQ(r[1], encode(r[0]));
}

TEST(MimeCodec, RoundTripsEveryByteAndLength) {
  // Lengths 0..70 meet every tail; 5000 bytes cross chunks and put each byte value at each offset mod 3.
  for (unsigned size = 0; size <= 5000; size = size == 70 ? 5000 : size + 1) {
    std::string bytes;
    for (unsigned i = 0; i < size; ++i) bytes += static_cast<char>((size + i) & 0xFF);
    const std::string text = encode(bytes);
    ASSERT_EQ((size + 2) / 3 * 4, text.size()) << "no line breaks, always padded";
    ASSERT_EQ(bytes, decode(text, true)) << "length " << size;
  }
}

TEST(MimeCodec, DecodeEdgeInput) {
  struct Row { const char* name; std::string text; bool ok; std::string bytes; };
  const Row rows[] = {
      {"white space anywhere", " Zm9v\r\nYm\tFy \n", true, "foobar"}, {"extra padding", "Zm8==\r\n", true, "fo"},
      {"unpadded tail", "Zm9vYg", true, "foob"}, {"lone trailing character", "Zm9vY", false, "foo"},
      {"garbage stops", "Zm9v*YmFy", false, "foo"}, {"zero byte stops", std::string("Zm9v\0Zg==", 9), false, "foo"},
      {"data after padding", "Zg==Zm8=", false, "f"}, {"padding after one character", "Zm9vY===", false, "foo"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(r.bytes, decode(r.text, r.ok));
  }
  DataBuffer out;
  EXPECT_TRUE(MimeCodec::decodeBase64(nullptr, 5, out) && out.getSize() == 0) << "null text decodes to nothing";
}

TEST(MimeCodec, FailedGrowthChangesNothing) {
  StringBuffer text("keep");
  DataBuffer data;
  ScopedAllocatorControl control;
  control.failAbove(1);
  EXPECT_FALSE(MimeCodec::encodeBase64(std::string(300, 'x').data(), 300, text));
  EXPECT_FALSE(MimeCodec::decodeBase64("Zm9v", 4, data));
  EXPECT_EQ("keep", bytesOf(text));
  EXPECT_EQ(0u, data.getSize());
}

}  // namespace
