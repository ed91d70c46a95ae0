#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "lib/DataBuffer.h"
#include "test_support.h"

namespace {

std::string bytesOf(const DataBuffer& db) { return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize()); }

TEST(NumericParse, IntegerConversions) {
  struct Row { std::string text; int i; unsigned int u; int64_t i64; };
  const Row rows[] = {
      {"", 0, 0, 0}, {"+8", 8, 8, 8}, {"+-8", 0, 0, 0}, {"0x1F", 0, 0, 0}, {std::string("12\0" "34", 5), 12, 12, 12},
      {" \t\r\n-17xyz", -17, 0, -17},  // white space skipped, trailing text ignored, no unsigned negatives
      {"4294967295", INT32_MAX, UINT32_MAX, 4294967295LL}, {"-9223372036854775808", INT32_MIN, 0, INT64_MIN},
      {"99999999999999999999999", INT32_MAX, UINT32_MAX, INT64_MAX}};  // clamped, not wrapped
  for (const Row& r : rows) {
    const StringBuffer sb = bufferOf(r.text);
    EXPECT_EQ(r.i, sb.intValue()) << r.text;
    EXPECT_EQ(r.u, sb.uintValue()) << r.text;
    EXPECT_EQ(r.i64, sb.int64Value()) << r.text;
  }
  const double inf = HUGE_VAL;
  struct DoubleRow { const char* text; double expected; };
  const DoubleRow doubles[] = {{"", 0.0}, {" 3.25kg", 3.25}, {"+.5", 0.5}, {"-1e3", -1000.0}, {"1,5", 1.0},
                               {"+-1", 0.0}, {"1e400", inf}, {"-1e400", -inf}, {"1e-400", 0.0},
                               {"0.00000000000000000001e-310", 0.0}, {"12345678901234567890e300", inf}};
  for (const DoubleRow& r : doubles) EXPECT_EQ(r.expected, StringBuffer(r.text).doubleValue()) << r.text;
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
      {"0x0a1B", 6, "\x0a\x1b"}, {"a1b", 3, "\x0a\x1b"}, {"0xabc", 5, "\x0a\xbc"}, {"0x", 2, ""},
      {"0x", 3, ""},  // the string ends right after the prefix
      {"a", 1, "\x0a"},
      {"0Xab", 4, std::string("\0\xab", 2)},  // only a lower-case x makes a prefix
      {"abcd", 2, "\xab"}, {"abc", 10, "\x0a\xbc"}, {nullptr, 4, ""}};
  for (const Row& r : rows) {
    DataBuffer out;
    out.appendChar('>');
    EXPECT_TRUE(StringBuffer::hexStringToBinary2(r.text, r.n, out));
    EXPECT_EQ(">" + r.expected, bytesOf(out)) << (r.text ? r.text : "null");
  }
}

TEST(NumericParse, HexStringToBinaryAcrossChunks) {
  // 1000 bytes fill two 500-byte chunks exactly; an odd text starts with a
  // lone nibble that shifts every pair after it.
  for (unsigned int bytes : {499u, 500u, 501u, 600u}) {
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
  odd.canonicalizeHexString();
  even.canonicalizeHexString();
  EXPECT_STREQ("0abc", odd.getString());
  EXPECT_STREQ("ab", even.getString());
  ScopedAllocatorControl control;
  control.failNth(1);
  DataBuffer out;
  EXPECT_FALSE(StringBuffer("0a0b").hexStringToBinary(out));
  EXPECT_EQ(0u, out.getSize());
}

TEST(NumericParse, ValueTestsByteSets) {
  const std::string digits = "0123456789", letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  auto in = [](const std::string& set, int b) { return b != 0 && set.find(static_cast<char>(b)) != std::string::npos; };
  for (int b = 0; b < 256; ++b) {
    const StringBuffer sb = bufferOf(std::string(1, static_cast<char>(b)));
    EXPECT_EQ(in(digits, b), sb.isDecimalNumber(false)) << b;
    EXPECT_EQ(in(digits + ".", b), sb.isDecimalNumber(true)) << b;
    EXPECT_EQ(in(digits + "abcdefABCDEF", b), sb.isHexidecimal()) << b;
    EXPECT_EQ(in(digits + ". \t", b), sb.isIpAddr()) << b;
    EXPECT_EQ(in(digits + letters + "+/=\t\n\r ", b), sb.isBase64()) << b;
  }
}

TEST(NumericParse, ValueTestsOnText) {
  struct Row { std::string text; bool decimal, decimalPoint, base64, ip; };
  const Row rows[] = {
      {"", true, true, true, true}, {"3.14", false, true, false, true}, {"1.2.3.4.5", false, false, false, true},
      {"QUJD\r\nRA==", false, false, true, false}, {"QQ==QQ", false, false, false, false},
      {"QQ=\n=", false, false, true, false},
      {std::string("12\0" "3", 4), false, false, false, false},  // a zero byte inside counts
      {std::string(120, '1') + "x", false, false, true, true},    // beyond the 120-byte window
      {std::string(119, '1') + "x", false, false, true, false}};
  for (const Row& r : rows) {
    const StringBuffer sb = bufferOf(r.text);
    EXPECT_EQ(r.decimal, sb.isDecimalNumber(false)) << r.text;
    EXPECT_EQ(r.decimalPoint, sb.isDecimalNumber(true)) << r.text;
    EXPECT_EQ(r.base64, sb.isBase64()) << r.text;
    EXPECT_EQ(r.ip, sb.isIpAddr()) << r.text;
  }
}

TEST(NumericParse, BytesByPosition) {
  const StringBuffer abc("abc"), empty;
  EXPECT_EQ(0, abc.charAt(3));
  EXPECT_EQ(abc.getString() + 3, abc.pCharAt(3));
  EXPECT_EQ(nullptr, abc.pCharAt(4));
  EXPECT_EQ('c', abc.lastChar());
  EXPECT_EQ(0, empty.lastChar());
}

}  // namespace
