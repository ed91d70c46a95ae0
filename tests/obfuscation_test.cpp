#include <gtest/gtest.h>

#include <string>

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

// Any byte, every position class: the round trip proves each reverse table
// one-to-one and undone by its forward table.
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
      const std::string bytes = anyBytes(length, 1) + (length % 3 == 0 ? std::string(length % 4, '\0') : "");
      SCOPED_TRACE(testing::Message() << pair.name << " length " << length);
      StringBuffer sb = bufferOf(bytes);
      (sb.*pair.hide)();
      (sb.*pair.restore)();
      // unobfus ends in appendN, which drops trailing zero bytes; inner ones stay.
      const bool trims = pair.hide == &StringBuffer::obfus;
      ASSERT_EQ(trims ? bytes.substr(0, bytes.find_last_not_of('\0') + 1) : bytes, bytesOf(sb));
    }
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
      // Bytes outside 32..126 stay as they are but still turn the key.
      {&StringBuffer::reverse_x, &StringBuffer::forward_x, "\tA\x80" "B\nC", "\t{\x80" "e\ni"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(r.out, after(r.in, r.op)) << r.in;
    EXPECT_EQ(r.in, after(r.out, r.undo)) << r.out;
  }
}

// Whatever the decoder makes of the unscrambled text, up to where it stops
// (one repeated character, so the order does not matter).
TEST(Obfuscation, UnobfusOfMalformedText) {
  const char* rows[][2] = {{"!!!!", ""}, {"Q", ""}, {"QQQQ", "A\x04\x10"}};
  for (const auto& r : rows) EXPECT_EQ(r[1], after(r[0], &StringBuffer::unobfus)) << r[0];
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
      {"same text", "user: ann\t1", "user: ann\t1", true},
      {"high bytes", "caf\xc3\xa9", "caf\xc3\xa9", true},
      {"s longer", "abc", "abcd", false},
      {"s shorter", "abcd", "abc", false},
      {"last byte differs", "abcd", "abce", false},
      {"first byte differs", "abcd", "xbcd", false},
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

// setString_x hides what it stores; the rows above cover every key phase.
TEST(Obfuscation, SetStringX) {
  const std::string s = "a heap-sized text, so that setting it has to grow: " + std::string(60, '~');
  StringBuffer sb("old");
  ASSERT_TRUE(sb.setString_x(s.c_str()));
  EXPECT_TRUE(sb.equals_x(s.c_str()));
  sb.forward_x();
  EXPECT_EQ(s, bytesOf(sb));
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
