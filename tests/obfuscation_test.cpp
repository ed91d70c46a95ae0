#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "lib/DataBuffer.h"
#include "lib/MimeCodec.h"
#include "protect/internal/substitution_tables.h"
#include "test_support.h"

namespace {

// Any bytes, zero bytes included, different for each length and seed.
std::string anyBytes(unsigned length, unsigned seed) {
  std::string s(length, '\0');
  uint32_t x = seed * 2654435761u + length;
  for (char& c : s) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 23);
  }
  return s;
}

std::string after(const std::string& bytes, void (StringBuffer::*op)()) {
  StringBuffer sb = bufferOf(bytes);
  (sb.*op)();
  return bytesOf(sb);
}

bool isPrintable(unsigned c) { return c >= 32 && c <= 126; }

TEST(Obfuscation, TablesArePairedPermutations) {
  for (unsigned k = 0; k < 4; ++k) {
    SCOPED_TRACE(k);
    const unsigned char* reverse = sb_internal::kReverseTables[k];
    const unsigned char* forward = sb_internal::kForwardTables[k];
    for (unsigned c = 32; c <= 126; ++c) {
      ASSERT_TRUE(isPrintable(reverse[c - 32])) << c;
      ASSERT_TRUE(isPrintable(forward[c - 32])) << c;
      EXPECT_EQ(c, forward[reverse[c - 32] - 32]) << c;
      EXPECT_EQ(c, reverse[forward[c - 32] - 32]) << c;
      // Only the two characters that need escapes in source code stay put.
      EXPECT_EQ(c == '"' || c == '\\', reverse[c - 32] == c) << c;
    }
  }
}

TEST(Obfuscation, RoundTripsAnyBytes) {
  const struct {
    const char* name;
    void (StringBuffer::*hide)();
    void (StringBuffer::*restore)();
  } pairs[] = {
      {"scramble", &StringBuffer::scramble, &StringBuffer::unscramble},
      {"obfus", &StringBuffer::obfus, &StringBuffer::unobfus},
      {"reverse_x", &StringBuffer::reverse_x, &StringBuffer::forward_x},
  };
  for (const auto& pair : pairs) {
    for (unsigned length = 0; length <= 300; ++length) {
      std::string bytes = anyBytes(length, 1);
      // appendN drops trailing zero bytes, so unobfus cannot give them back.
      if (pair.hide == &StringBuffer::obfus && length != 0 && bytes.back() == '\0') bytes.back() = 'z';
      SCOPED_TRACE(testing::Message() << pair.name << " length " << length);
      StringBuffer sb = bufferOf(bytes);
      (sb.*pair.hide)();
      (sb.*pair.restore)();
      ASSERT_EQ(bytes, bytesOf(sb));
    }
  }
}

TEST(Obfuscation, ScrambleOnlyReorders) {
  for (unsigned length : {0u, 1u, 2u, 3u, 81u, 82u, 257u, 1000u}) {
    std::string bytes = anyBytes(length, 2);
    std::string scrambled = after(bytes, &StringBuffer::scramble);
    if (length < 2) {
      EXPECT_EQ(bytes, scrambled);
    }
    std::sort(bytes.begin(), bytes.end());
    std::sort(scrambled.begin(), scrambled.end());
    EXPECT_EQ(bytes, scrambled) << length;
  }
}

// Stored forms must stay readable: a change of the digest, the key schedule
// or a table shows up here.
TEST(Obfuscation, FixedOutputs) {
  const struct {
    void (StringBuffer::*op)();
    void (StringBuffer::*undo)();
    const char* in;
    const char* out;
  } rows[] = {
      {&StringBuffer::scramble, &StringBuffer::unscramble, "ab", "ab"},
      {&StringBuffer::scramble, &StringBuffer::unscramble, "abcdef", "aecdbf"},
      {&StringBuffer::scramble, &StringBuffer::unscramble, "Hello, World!", "ll,Wle!H droo"},
      {&StringBuffer::scramble, &StringBuffer::unscramble, "0123456789", "0364152879"},
      {&StringBuffer::obfus, &StringBuffer::unobfus, "secret", "V2c0mcVj"},
      {&StringBuffer::obfus, &StringBuffer::unobfus, "Hello, World!", "csVI=vsGkxIG8dSFbQm="},
      {&StringBuffer::reverse_x, &StringBuffer::forward_x, "Hello", ";74Zf"},
      {&StringBuffer::reverse_x, &StringBuffer::forward_x, "password 1", "0##T(sa?CG"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(r.out, after(r.in, r.op)) << r.in;
    EXPECT_EQ(r.in, after(r.out, r.undo)) << r.out;
  }
}

TEST(Obfuscation, ObfusIsPrintableBase64) {
  EXPECT_EQ("", after("", &StringBuffer::obfus));
  const std::string out = after(anyBytes(300, 3), &StringBuffer::obfus);
  EXPECT_EQ(400u, out.size());
  for (char c : out) EXPECT_TRUE(std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '/' || c == '=') << c;
}

TEST(Obfuscation, UnobfusKeepsInnerZeroBytesOnly) {
  StringBuffer sb = bufferOf(std::string("a\0b\0\0", 5));
  sb.obfus();
  sb.unobfus();
  EXPECT_EQ(std::string("a\0b", 3), bytesOf(sb)) << "the closing appendN drops trailing zero bytes";
}

TEST(Obfuscation, UnobfusOfMalformedText) {
  const struct {
    const char* name;
    std::string in;
  } rows[] = {
      {"not Base64 at all", "!!!!"},
      {"Base64 letters, wrong order", "QUJD"},
      {"one character", "Q"},
      {"zero bytes and high bytes", std::string("AB\0\xff=C", 6)},
      {"long garbage", anyBytes(500, 4)},
  };
  // Whatever the decoder makes of the unscrambled text, and nothing else.
  for (const auto& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer text = bufferOf(r.in);
    text.unscramble();
    DataBuffer decoded;
    MimeCodec::decodeBase64(text.getString(), text.getSize(), decoded);
    std::string expected(reinterpret_cast<const char*>(decoded.getData2()), decoded.getSize());
    while (!expected.empty() && expected.back() == '\0') expected.pop_back();
    EXPECT_EQ(expected, after(r.in, &StringBuffer::unobfus));
  }
}

TEST(Obfuscation, ReverseXLeavesOtherBytesButCountsThem) {
  const std::string hidden = after(std::string("\tA\x80" "B\nC", 6), &StringBuffer::reverse_x);
  const std::string expected = {'\t', static_cast<char>(sb_internal::_reverse2['A' - 32]), '\x80',
                                static_cast<char>(sb_internal::_reverse4['B' - 32]), '\n',
                                static_cast<char>(sb_internal::_reverse2['C' - 32])};
  EXPECT_EQ(expected, hidden);
}

TEST(Obfuscation, EqualsX) {
  const struct {
    const char* name;
    std::string content;  // plain text, hidden with reverse_x before the test
    const char* s;
    bool expected;
  } rows[] = {
      {"null equals empty", "", nullptr, true},
      {"null differs from text", "a", nullptr, false},
      {"empty equals empty", "", "", true},
      {"same text", "user: ann\t1", "user: ann\t1", true},
      {"high bytes", "caf\xc3\xa9", "caf\xc3\xa9", true},
      {"s longer", "abc", "abcd", false},
      {"s shorter", "abcd", "abc", false},
      {"one byte differs", "abcd", "abce", false},
      {"content ends at its zero byte", std::string("abc\0xyz", 7), "abc", true},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    sb.reverse_x();
    EXPECT_EQ(r.expected, sb.equals_x(r.s));
  }
  StringBuffer plain("abcd");
  EXPECT_FALSE(plain.equals_x("abcd")) << "the content is compared with the hidden form";
}

TEST(Obfuscation, SetStringXThenEqualsX) {
  for (unsigned length = 0; length <= 300; ++length) {
    std::string s = anyBytes(length, 5);
    std::replace(s.begin(), s.end(), '\0', '\x01');
    StringBuffer sb;
    ASSERT_TRUE(sb.setString_x(s.c_str()));
    ASSERT_TRUE(sb.equals_x(s.c_str())) << length;
    if (length != 0) {
      EXPECT_FALSE(sb.equals_x(s.substr(1).c_str())) << length;
    }
    sb.forward_x();
    ASSERT_EQ(s, bytesOf(sb));
  }
  StringBuffer sb("old");
  EXPECT_TRUE(sb.setString_x(nullptr));
  EXPECT_EQ(0u, sb.getSize());
}

TEST(Obfuscation, FailedAllocationLeavesContent) {
  const std::string bytes = anyBytes(200, 6);
  for (auto op : {&StringBuffer::scramble, &StringBuffer::unscramble}) {
    StringBuffer sb = bufferOf(bytes);
    ScopedAllocatorControl control;
    control.failNth(1);
    (sb.*op)();
    EXPECT_EQ(bytes, bytesOf(sb));
  }
  // Every allocation fails: obfus cannot make its Base64 text and ends empty.
  StringBuffer sb = bufferOf(bytes);
  ScopedAllocatorControl control;
  control.failAbove(1);
  sb.obfus();
  EXPECT_EQ(0u, sb.getSize());
}

// Each operation on a secure buffer frees only zeroed blocks; the same
// operation on an ordinary buffer shows that the watcher would notice.
TEST(Obfuscation, SecureFlagCoversTemporaries) {
  const std::string bytes = anyBytes(400, 7).replace(0, 1, "x");
  StringBuffer obfuscated = bufferOf(bytes);
  obfuscated.obfus();
  const struct {
    const char* name;
    void (StringBuffer::*op)();
    std::string content;
  } rows[] = {
      {"scramble", &StringBuffer::scramble, bytes},
      {"unscramble", &StringBuffer::unscramble, bytes},
      {"obfus", &StringBuffer::obfus, bytes},
      {"unobfus", &StringBuffer::unobfus, bytesOf(obfuscated)},
  };
  for (const auto& r : rows) {
    for (bool secure : {true, false}) {
      SCOPED_TRACE(testing::Message() << r.name << (secure ? " secure" : " plain"));
      StringBuffer sb = bufferOf(r.content);
      sb.setSecureBuf(secure);
      ReleaseWatcher watcher(64);
      (sb.*r.op)();
      EXPECT_GT(watcher.releases(), 0u);
      EXPECT_EQ(!secure, watcher.sawContent());
    }
  }
}

}  // namespace
