#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

std::vector<unsigned char> someBytes(unsigned int n) {
  std::vector<unsigned char> bytes(n);
  for (unsigned int i = 0; i < n; ++i) bytes[i] = static_cast<unsigned char>(i * 37 + 5);
  return bytes;
}

std::string hex2(unsigned char b) { return {"0123456789ABCDEF"[b >> 4], "0123456789ABCDEF"[b & 15]}; }

// The dump layout written out plainly, to compare the chunked writer against.
std::string referenceDump(const std::vector<unsigned char>& bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) text += hex2(bytes[i]) + (i % 16 == 15 ? "\n" : i % 2 ? " " : "");
  return text;
}

TEST(NumberFormat, DecimalForms) {
  StringBuffer sb;
  for (int v : {0, -1, INT_MAX, INT_MIN}) sb.append(v), sb.append(" ");
  sb.append(UINT_MAX);
  for (int64_t v : {INT64_MAX, INT64_MIN}) sb.append(" "), sb.appendInt64(v);
  EXPECT_STREQ("0 -1 2147483647 -2147483648 4294967295 9223372036854775807 -9223372036854775808", sb.getString());
}

TEST(NumberFormat, AppendIntAndAppendHex) {
  struct IntRow { int value, minDigits; std::string expected; };
  const IntRow ints[] = {{7, 3, "007"}, {-5, 3, "-005"}, {12345, 2, "12345"}, {0, 0, "0"}, {0, -4, "0"},
                         {INT_MIN, 12, "-002147483648"}, {1, 30, std::string(29, '0') + "1"}};  // wider than 24
  for (const IntRow& r : ints) {
    StringBuffer sb;
    sb.appendInt(r.value, r.minDigits);
    EXPECT_EQ(r.expected, bytesOf(sb));
  }
  struct HexRow { unsigned int value; bool lower; unsigned int width; const char* expected; };
  const HexRow hexes[] = {{255, true, 4, "00ff"}, {255, false, 3, "FF"}, {10, false, 8, "0000000A"},
                          {0, true, 0, "0"}, {0xDEADBEEF, true, 2, "deadbeef"}};
  for (const HexRow& r : hexes) {
    StringBuffer sb;
    EXPECT_TRUE(sb.appendHex(r.value, r.lower, r.width));
    EXPECT_STREQ(r.expected, sb.getString());
  }
}

TEST(NumberFormat, AppendHexDataLayout) {
  // How each size ends, written out independently of the reference.
  struct End { unsigned int n; size_t size; std::string tail; };
  const End ends[] = {{1, 2, "00"}, {2, 5, "00 "}, {15, 37, "00 00"}, {16, 40, "00\n"}, {17, 42, "00\n00"},
                      {48, 120, "00\n"}};
  for (const End& e : ends) {
    StringBuffer dump;
    EXPECT_TRUE(dump.appendHexData(std::vector<unsigned char>(e.n).data(), e.n));
    const std::string text = bytesOf(dump);
    EXPECT_EQ(e.size, text.size()) << e.n;
    EXPECT_EQ(e.tail, text.substr(text.size() - e.tail.size())) << e.n;
  }
  // Across the 128-character chunks: 51 bytes end a chunk exactly, 52 and 53 straddle one.
  for (unsigned int n : {3u, 51u, 52u, 53u, 103u, 1000u}) {
    const auto bytes = someBytes(n);
    StringBuffer dump("> ");
    EXPECT_TRUE(dump.appendHexData(bytes.data(), n));
    EXPECT_EQ("> " + referenceDump(bytes), bytesOf(dump)) << n;
  }
}

TEST(NumberFormat, SingleLineDumps) {
  // 85 bytes of three characters fill one 255-character chunk exactly.
  for (unsigned int n : {2u, 85u, 86u, 128u, 600u}) {
    const auto bytes = someBytes(n);
    std::string noSpace, withSpace;
    for (unsigned char b : bytes) noSpace += hex2(b), withSpace += " " + hex2(b);
    StringBuffer a, b, c;
    EXPECT_TRUE(a.appendHexDataNoWS(bytes.data(), n, false));
    EXPECT_TRUE(b.appendHexDataNoWS(bytes.data(), n, true));
    c.appendSmallDataAsSpacedHexString(bytes.data(), n);
    EXPECT_EQ(noSpace, bytesOf(a)) << n;
    EXPECT_EQ(withSpace, bytesOf(b)) << n;
    EXPECT_EQ(withSpace.substr(1) + " ", bytesOf(c)) << n;
  }
}

TEST(NumberFormat, Failures) {
  const std::string full(81, 'a');
  StringBuffer sb(full.c_str());
  {
    // A number that cannot grow the buffer leaves it as it was.
    ScopedAllocatorControl control;
    control.failAbove(1);
    EXPECT_FALSE(sb.append(-1) || sb.appendInt64(7) || sb.append_d("%d", 5));
    sb.appendInt(-3, 4);  // all or nothing
    EXPECT_TRUE(sb.appendHexData(nullptr, 5) && sb.appendHexDataNoWS(someBytes(1).data(), 0, true));
    EXPECT_EQ(full, bytesOf(sb));
  }
  // A dump keeps the chunks appended before the failure and tries no more.
  const auto bytes = someBytes(1000);
  sb.clear();
  ScopedAllocatorControl control;
  control.failNth(2);
  EXPECT_FALSE(sb.appendHexData(bytes.data(), 1000));
  EXPECT_EQ(0u, sb.getSize() % 128);
  EXPECT_EQ(referenceDump(bytes).substr(0, sb.getSize()), bytesOf(sb));
  EXPECT_EQ(2u, control.allocations());
}

TEST(NumberFormat, TemplatesAndBase64) {
  struct Row { const char* pattern; const char* s; const char* expected; };
  const Row rows[] = {{"Hello %s!", "World", ">Hello World!"}, {"a %s b %s", "X", ">a X b %s"},
                      {"a %s", nullptr, ">a %s"}, {"a %S", "X", ">a %S"}, {nullptr, "X", ">"}};
  for (const Row& r : rows) {
    StringBuffer sb(">");
    EXPECT_TRUE(sb.append_s(r.pattern, r.s));
    EXPECT_STREQ(r.expected, sb.getString());
  }
  StringBuffer sb;
  const unsigned char man[] = {'M', 'a', 'n', 'M'};
  EXPECT_TRUE(sb.append_d("count=%d", -3));
  EXPECT_TRUE(sb.append_d(" %s %d", INT_MIN));
  EXPECT_TRUE(sb.appendNameIntValue(" port", 443));
  EXPECT_TRUE(sb.appendBase64(man, 4));
  EXPECT_STREQ("count=-3 %s -2147483648 port=443TWFuTQ==", sb.getString());
}

}  // namespace
