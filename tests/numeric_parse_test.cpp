#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

std::string bytesOf(const DataBuffer& db) {
  return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

TEST(NumericParse, IntegerConversions) {
  struct Row { std::string text; int i; unsigned int u; int64_t i64; };
  const Row rows[] = {
      {"", 0, 0, 0}, {"7", 7, 7, 7}, {"+8", 8, 8, 8}, {"+-8", 0, 0, 0}, {"0x1F", 0, 0, 0}, {std::string("12\0" "34", 5), 12, 12, 12},
      {" \t\r\n-17xyz", -17, 0, -17},  // white space skipped, trailing text ignored, no unsigned negatives
      {"4294967295", INT32_MAX, UINT32_MAX, 4294967295LL}, {"-9223372036854775808", INT32_MIN, 0, INT64_MIN},
      {"99999999999999999999999", INT32_MAX, UINT32_MAX, INT64_MAX}};  // clamped, not wrapped
  for (const Row& r : rows) {
    const StringBuffer sb = bufferOf(r.text);
    EXPECT_EQ(std::make_tuple(r.i, r.u, r.i64), std::make_tuple(sb.intValue(), sb.uintValue(), sb.int64Value()))
        << r.text;
  }
  const double inf = HUGE_VAL;
  struct DoubleRow { const char* text; double expected; };
  const DoubleRow doubles[] = {{"", 0.0}, {" 3.25kg", 3.25}, {"+.5", 0.5}, {"-1e3", -1000.0}, {"1,5", 1.0},
                               {"+-1", 0.0}, {"1e400", inf}, {"-1e400", -inf}, {"1e-400", 0.0},
                               {"0.00000000000000000001e-310", 0.0}, {"12345678901234567890e300", inf}};
  for (const DoubleRow& r : doubles) EXPECT_EQ(r.expected, StringBuffer(r.text).doubleValue()) << r.text;
}

// The 32-bit conversions stop after ten significant digits; the 64-bit one
// reads on. Around the limits, with leading zeros, signs and trailing bytes,
// both must clamp alike.
TEST(NumericParse, IntegerConversionsAgreeAcrossWidths) {
  const std::string prefixes[] = {"", " \t", "+", "-", "000", "-0000000000000"};
  const std::string bodies[] = {"0", "7", "2147483647", "2147483648", "4294967295", "4294967296", "9999999999",
                                "10000000000", "123456789012345678901"};
  const std::string suffixes[] = {"", "x", std::string("\0" "9", 2), "5"};
  for (const std::string& pre : prefixes)
    for (const std::string& body : bodies)
      for (const std::string& post : suffixes) {
        const StringBuffer sb = bufferOf(pre + body + post);
        const int64_t wide = sb.int64Value();
        const int64_t asInt = std::clamp<int64_t>(wide, INT32_MIN, INT32_MAX);
        const int64_t asUint = std::clamp<int64_t>(wide, 0, UINT32_MAX);
        EXPECT_EQ(std::make_pair(asInt, asUint), std::make_pair(int64_t(sb.intValue()), int64_t(sb.uintValue())))
            << pre + body + post;
      }
}

TEST(NumericParse, DetermineIntTypeAtTenDigits) {
  struct Row { const char* text; int expected; };
  const Row rows[] = {
      {"", 0}, {"999999999", 0}, {"0000000001", 0}, {"00000000001", 2}, {"2147483647", 0}, {"2147483648", 1},
      {"4294967295", 1}, {"4294967296", 2}, {"-2147483648", 0}, {"-2147483649", 2}, {"-3000000000", 2}};
  for (const Row& r : rows) EXPECT_EQ(r.expected, StringBuffer(r.text).determineIntType()) << r.text;
}

TEST(NumericParse, HexDecoding) {
  EXPECT_EQ(0u, StringBuffer::hexValueUint32(nullptr));
  EXPECT_EQ(255u, StringBuffer::hexValueUint32("ffx1"));
  EXPECT_EQ(0x23456789u, StringBuffer::hexValueUint32("123456789"));
  struct Row { const char* text; unsigned int n; std::string expected; };
  const Row rows[] = {
      {"0x0a1B", 6, "\x0a\x1b"}, {"a1b", 3, "\x0a\x1b"}, {"0xabc", 5, "\x0a\xbc"}, {"0x", 2, ""}, {"a", 1, "\x0a"},
      {"0x", 3, ""}, {"abcd", 2, "\xab"}, {"abc", 10, "\x0a\xbc"}, {nullptr, 4, ""},  // n beyond the end stops there
      {"0Xab", 4, std::string("\0\xab", 2)}};  // only a lower-case x makes a prefix
  for (const Row& r : rows) {
    DataBuffer out;
    out.appendChar('>');
    EXPECT_TRUE(StringBuffer::hexStringToBinary2(r.text, r.n, out));
    EXPECT_EQ(">" + r.expected, bytesOf(out)) << (r.text ? r.text : "null");
  }

  // 1000 bytes fill two 500-byte chunks; an odd text's lone first nibble shifts every pair.
  for (unsigned int bytes : {0u, 499u, 500u, 501u, 600u}) {
    for (const char* lead : {"", "7"}) {
      std::string text = lead, expected(*lead ? 1 : 0, '\x07');
      for (unsigned int i = 0; i < bytes; ++i) {
        expected += static_cast<char>(i * 37 + 5);
        text += "0123456789abcdef"[((i * 37 + 5) >> 4) & 15], text += "0123456789ABCDEF"[(i * 37 + 5) & 15];
      }
      DataBuffer out;
      EXPECT_TRUE(StringBuffer(text.c_str()).hexStringToBinary(out));
      EXPECT_EQ(expected, bytesOf(out)) << text.size();
    }
  }
  StringBuffer odd("abc"), even("ab");
  odd.canonicalizeHexString(), even.canonicalizeHexString();
  EXPECT_EQ("0abc|ab", bytesOf(odd) + "|" + bytesOf(even));
  ScopedAllocatorControl control;
  control.failNth(1);
  DataBuffer out;
  EXPECT_FALSE(StringBuffer("0a0b").hexStringToBinary(out));
  EXPECT_EQ(0u, out.getSize());
}

// The five value tests as 0/1 flags: decimal, decimal with a point, hex, IP address, Base64.
std::string valueFlags(StringBuffer sb) {  // by value: isDecimalNumber is not const
  std::string f;
  for (bool v : {sb.isDecimalNumber(false), sb.isDecimalNumber(true), sb.isHexidecimal(), sb.isIpAddr(), sb.isBase64()})
    f += v ? '1' : '0';
  return f;
}

TEST(NumericParse, ValueTests) {
  const std::string digits = "0123456789", letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const std::string sets[] = {digits, digits + ".", digits + "abcdefABCDEF", digits + ". \t",
                              digits + letters + "+/=\t\n\r "};
  for (int b = 0; b < 256; ++b) {
    std::string expected;
    for (const std::string& set : sets) expected += b != 0 && set.find(char(b)) != std::string::npos ? '1' : '0';
    EXPECT_EQ(expected, valueFlags(bufferOf(std::string(1, static_cast<char>(b))))) << b;
  }
  const std::pair<std::string, const char*> texts[] = {
      {"", "11111"}, {"3.14", "01010"}, {"1.2.3.4.5", "00010"}, {"QUJD\r\nRA==", "00001"}, {"QQ==QQ", "00000"},
      {"QQ=\n=", "00001"}, {std::string("12\0" "3", 4), "00000"},  // a zero byte inside counts
      {std::string(120, '1') + "x", "00011"}, {std::string(119, '1') + "x", "00001"}};  // IP: first 120 bytes
  for (const auto& [text, expected] : texts) EXPECT_EQ(expected, valueFlags(bufferOf(text))) << text;
}

TEST(NumericParse, BytesByPosition) {
  const StringBuffer abc("abc");
  EXPECT_TRUE(abc.charAt(3) == 0 && abc.pCharAt(3) == abc.getString() + 3 && abc.pCharAt(4) == nullptr);
  EXPECT_TRUE(abc.lastChar() == 'c' && StringBuffer().lastChar() == 0);
}

}  // namespace
