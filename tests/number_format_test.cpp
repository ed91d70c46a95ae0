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

TEST(NumberFormat, HexDumps) {
  // The layout written out once by hand, so that the reference is checked too.
  StringBuffer zeros;
  EXPECT_TRUE(zeros.appendHexData(std::vector<unsigned char>(17).data(), 17));
  EXPECT_STREQ("0000 0000 0000 0000 0000 0000 0000 0000\n00", zeros.getString());
  // Line and group edges, then the chunks: 51 bytes end a 128-character chunk
  // exactly, 52 and 53 straddle one; 85 bytes of three characters fill 255.
  for (unsigned int n : {1u, 2u, 15u, 16u, 17u, 48u, 51u, 52u, 53u, 85u, 86u, 1000u}) {
    SCOPED_TRACE(n);
    const auto bytes = someBytes(n);
    std::string noSpace, withSpace;
    for (unsigned char b : bytes) noSpace += hex2(b), withSpace += " " + hex2(b);
    StringBuffer dump("> "), a, b, c;
    EXPECT_TRUE(dump.appendHexData(bytes.data(), n));
    EXPECT_TRUE(a.appendHexDataNoWS(bytes.data(), n, false) && b.appendHexDataNoWS(bytes.data(), n, true));
    c.appendSmallDataAsSpacedHexString(bytes.data(), n);
    EXPECT_EQ("> " + referenceDump(bytes), bytesOf(dump));
    EXPECT_EQ(noSpace, bytesOf(a));
    EXPECT_EQ(withSpace, bytesOf(b));
    EXPECT_EQ(withSpace.substr(1) + " ", bytesOf(c));
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
  StringBuffer sb(full.c_str()), dump;
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

// The dumps write straight into the storage chunk by chunk; a byte whose
// text crosses a chunk edge must come out whole, and the growth must be that
// of the chunked appends (same capacity as appending the text in chunks).
TEST(NumberFormat, HexDumpsAcrossChunkEdges) {
  auto hexOf = [](unsigned char b) {
    const char* d = "0123456789ABCDEF";
    return std::string{d[b >> 4], d[b & 15]};
  };
  for (unsigned n : {1u, 15u, 16u, 17u, 42u, 43u, 85u, 86u, 300u, 1000u}) {
    std::vector<unsigned char> data(n);
    for (unsigned i = 0; i < n; ++i) data[i] = static_cast<unsigned char>(i * 37 + 11);
    std::string lines, plain, spaced;
    for (unsigned i = 0; i < n; ++i) {
      lines += hexOf(data[i]);
      if (i % 16 == 15) lines += '\n';
      else if (i % 2 == 1) lines += ' ';
      plain += hexOf(data[i]);
      spaced += " " + hexOf(data[i]);
    }
    auto chunked = [](const std::string& text, unsigned chunk) {
      StringBuffer sb;
      for (size_t at = 0; at < text.size(); at += chunk) sb.appendN(text.data() + at, unsigned(std::min<size_t>(chunk, text.size() - at)));
      return sb.heapUsage();
    };
    StringBuffer a, b, c;
    EXPECT_TRUE(a.appendHexData(data.data(), n));
    EXPECT_TRUE(b.appendHexDataNoWS(data.data(), n, false));
    EXPECT_TRUE(c.appendHexDataNoWS(data.data(), n, true));
    EXPECT_EQ(lines, a.getString()) << n;
    EXPECT_EQ(plain, b.getString()) << n;
    EXPECT_EQ(spaced, c.getString()) << n;
    EXPECT_EQ(chunked(lines, 128), a.heapUsage()) << n;
    EXPECT_EQ(chunked(plain, 255), b.heapUsage()) << n;
  }
}

TEST(NumberFormat, FailedDumpChunkKeepsEarlierChunks) {
  std::vector<unsigned char> data(400, 0xAB);
  StringBuffer sb;
  ScopedAllocatorControl control;
  control.failNth(2);  // the first chunk moves to the heap, the second cannot grow
  EXPECT_FALSE(sb.appendHexDataNoWS(data.data(), 400, false));
  std::string first;
  for (int i = 0; i < 128; ++i) first += "AB";
  first.resize(255);
  EXPECT_EQ(first, sb.getString()) << "the text of the byte cut by the chunk edge ends the content";
}
