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
  const std::pair<const char*, const char*> rows[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"}, {"\xfb\xff", "+/8="}};
  for (const auto& r : rows) EXPECT_EQ(r.second, encode(r.first));
}

TEST(MimeCodec, RoundTripsEveryByteAndLength) {
  // Four runs of consecutive bytes cover all 256 values; 5000 crosses chunks.
  for (unsigned length = 0; length <= 71; ++length) {
    const unsigned size = length == 71 ? 5000 : length;
    for (unsigned start = 0; start < 256; start += 64) {
      std::string bytes;
      for (unsigned i = 0; i < size; ++i) bytes += static_cast<char>((start + i) & 0xFF);
      const std::string text = encode(bytes);
      ASSERT_EQ((size + 2) / 3 * 4, text.size());
      ASSERT_EQ(bytes, decode(text, true)) << "length " << size;
    }
  }
}

TEST(MimeCodec, DecodeEdgeInput) {
  struct Row { const char* name; std::string text; bool ok; std::string bytes; };
  const Row rows[] = {
      {"white space anywhere", " Zm9v\r\nYm\tFy \n", true, "foobar"},
      {"unpadded tail", "Zm9vYg", true, "foob"},
      {"extra padding, then white space", "Zm8==\r\n", true, "fo"},
      {"garbage stops, prefix kept", "Zm9v*YmFy", false, "foo"},
      {"zero byte is garbage", std::string("Zm9v\0Zg==", 9), false, "foo"},
      {"lone trailing character", "Zm9vY", false, "foo"},
      {"data after padding", "Zg==Zm8=", false, "f"},
      {"padding with one character", "Zm9vY===", false, "foo"},
      {"padding first", "=Zm9v", false, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(r.bytes, decode(r.text, r.ok));
  }
  DataBuffer out;
  EXPECT_TRUE(MimeCodec::decodeBase64(nullptr, 5, out));
  EXPECT_EQ(0u, out.getSize());
}

TEST(MimeCodec, FailedGrowthChangesNothing) {
  const std::string bytes(300, 'x');
  StringBuffer text("keep");
  DataBuffer data;
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(MimeCodec::encodeBase64(bytes.data(), bytes.size(), text));
  EXPECT_EQ("keep", bytesOf(text));
  control.failNth(1);
  EXPECT_FALSE(MimeCodec::decodeBase64("Zm9v", 4, data));
  EXPECT_EQ(0u, data.getSize());
}

}  // namespace
