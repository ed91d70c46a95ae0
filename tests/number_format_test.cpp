#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
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

// The capacity the same text reaches when appended chunk by chunk.
unsigned int chunkedCapacity(const std::string& text, unsigned int chunk) {
  StringBuffer sb;
  for (size_t at = 0; at < text.size(); at += chunk)
    sb.appendN(text.data() + at, static_cast<unsigned int>(std::min<size_t>(chunk, text.size() - at)));
  return sb.heapUsage();
}

TEST(NumberFormat, DecimalAndHexForms) {
  StringBuffer sb, padded, hex;
  for (int v : {0, -1, INT_MAX, INT_MIN}) sb.append(v), sb.append(" ");
  sb.append(UINT_MAX);
  for (int64_t v : {INT64_MAX, INT64_MIN}) sb.append(" "), sb.appendInt64(v);
  EXPECT_STREQ("0 -1 2147483647 -2147483648 4294967295 9223372036854775807 -9223372036854775808", sb.getString());
  // Each side of every change in digit count, where the length estimate must flip.
  StringBuffer edges;
  std::string expected;
  for (int64_t p = 1; p <= INT64_MAX / 10; p *= 10)
    for (int64_t v : {p - 1, p, -p}) edges.appendInt64(v), expected += std::to_string(v);
  EXPECT_EQ(expected, bytesOf(edges));
  const std::pair<int, int> ints[] = {{-5, 3}, {12345, 2}, {0, -4}, {INT_MIN, 12}, {1, 30}};  // 30: wider than 24
  for (const auto& [value, digits] : ints) padded.appendInt(value, digits), padded.appendChar('|');
  EXPECT_EQ("-005|12345|0|-002147483648|" + std::string(29, '0') + "1|", bytesOf(padded));
  EXPECT_TRUE(hex.appendHex(255, true, 4) && hex.appendHex(255, false, 3) && hex.appendHex(0, true, 0) &&
              hex.appendHex(0xDEADBEEF, true, 2));
  EXPECT_STREQ("00ffFF0deadbeef", hex.getString());
}

// The dumps write straight into the storage chunk by chunk (128 characters
// for the line layout, 255 for the others): a byte whose text crosses a chunk
// edge must come out whole, and the growth must be that of chunked appends.
TEST(NumberFormat, HexDumps) {
  // The layout written out once by hand, so that the reference is checked too.
  StringBuffer zeros;
  EXPECT_TRUE(zeros.appendHexData(std::vector<unsigned char>(17).data(), 17));
  EXPECT_STREQ("0000 0000 0000 0000 0000 0000 0000 0000\n00", zeros.getString());
  // 51 bytes end a 128-character chunk exactly, 52 and 53 straddle one; 85
  // bytes of three characters fill 255, 42 and 43 of two cross 85.
  for (unsigned int n : {1u, 2u, 15u, 16u, 17u, 42u, 43u, 51u, 52u, 53u, 85u, 86u, 300u, 1000u}) {
    SCOPED_TRACE(n);
    const auto bytes = someBytes(n);
    std::string noSpace, withSpace;
    for (unsigned char b : bytes) noSpace += hex2(b), withSpace += " " + hex2(b);
    StringBuffer dump, a, b, c;
    EXPECT_TRUE(dump.appendHexData(bytes.data(), n));
    EXPECT_TRUE(a.appendHexDataNoWS(bytes.data(), n, false) && b.appendHexDataNoWS(bytes.data(), n, true));
    c.appendSmallDataAsSpacedHexString(bytes.data(), n);
    EXPECT_EQ(referenceDump(bytes), bytesOf(dump));
    EXPECT_EQ(noSpace, bytesOf(a));
    EXPECT_EQ(withSpace, bytesOf(b));
    EXPECT_EQ(withSpace.substr(1) + " ", bytesOf(c));
    EXPECT_EQ(chunkedCapacity(referenceDump(bytes), 128), dump.heapUsage());
    EXPECT_EQ(chunkedCapacity(noSpace, 255), a.heapUsage());
  }
  // A dump of the buffer's own bytes: its growth must not free what it reads.
  const auto own = someBytes(300);
  StringBuffer self = bufferOf(std::string(own.begin(), own.end()));
  EXPECT_TRUE(self.appendHexData(reinterpret_cast<const unsigned char*>(self.getString()), 300));
  EXPECT_EQ(std::string(own.begin(), own.end()) + referenceDump(own), bytesOf(self));
}

TEST(NumberFormat, Failures) {
  // A number that cannot grow a full inline buffer leaves it as it was.
  const std::string full(81, 'a');
  StringBuffer sb(full.c_str()), dump, line;
  {
    ScopedAllocatorControl control;
    control.failAbove(1);
    EXPECT_FALSE(sb.append(-1) || sb.appendInt64(7) || sb.append_d("%d", 5));
    sb.appendInt(-3, 4);  // all or nothing
    EXPECT_TRUE(sb.appendHexData(nullptr, 5) && sb.appendHexDataNoWS(nullptr, 0, true));
    EXPECT_EQ(full, bytesOf(sb));
  }
  // A dump keeps the chunks appended before the failure and tries no more.
  const auto bytes = someBytes(1000);
  ScopedAllocatorControl control;
  control.failNth(2);
  EXPECT_FALSE(dump.appendHexData(bytes.data(), 1000));
  EXPECT_EQ(0u, dump.getSize() % 128);
  EXPECT_EQ(referenceDump(bytes).substr(0, dump.getSize()), bytesOf(dump));
  EXPECT_EQ(2u, control.allocations());
  // The first chunk moves to the heap, the second cannot grow: the text of
  // the byte cut by the chunk edge ends the content.
  control.failNth(2);
  const std::vector<unsigned char> ab(400, 0xAB);
  EXPECT_FALSE(line.appendHexDataNoWS(ab.data(), 400, false));
  std::string first;
  for (int i = 0; i < 128; ++i) first += "AB";
  EXPECT_EQ(first.substr(0, 255), bytesOf(line));
}

TEST(NumberFormat, TemplatesAndBase64) {
  // Only the first lower-case %s is filled; a null value or pattern adds nothing of its own.
  StringBuffer sb;
  const unsigned char man[] = {'M', 'a', 'n', 'M'};
  EXPECT_TRUE(sb.append_s("a %s b %s|", "X") && sb.append_s("%s|", nullptr) && sb.append_s("%S|", "X") &&
              sb.append_s(nullptr, "X"));
  EXPECT_TRUE(sb.append_d("count=%d", -3) && sb.append_d(" %s %d", INT_MIN) && sb.appendNameIntValue(" port", 443) &&
              sb.appendBase64(man, 4));
  EXPECT_STREQ("a X b %s|%s|%S|count=-3 %s -2147483648 port=443TWFuTQ==", sb.getString());
  std::string ms(300, 'M'), expected = ms;
  for (int i = 0; i < 100; ++i) expected += "TU1N";
  StringBuffer self(ms.c_str());  // encoding its own bytes: the growth must not free them
  EXPECT_TRUE(self.appendBase64(reinterpret_cast<const unsigned char*>(self.getString()), 300));
  EXPECT_EQ(expected, bytesOf(self));
}

}  // namespace
