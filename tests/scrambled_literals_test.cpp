#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "test_support.h"

namespace {

std::string litScrambled(std::string s) {
  StringBuffer::litScram(&s[0]);
  return s;
}

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

// The literal in the form obfus, or saltedScramble, gives it.
std::string hidden(const std::string& bytes, bool salt = false) {
  StringBuffer sb = bufferOf(bytes);
  if (salt) EXPECT_TRUE(sb.saltedScramble());
  else sb.obfus();
  return bytesOf(sb);
}

// The substitution table itself is proven with the LiteralScrambler; here a
// stored form, the stop at a zero byte and null.
TEST(ScrambledLiterals, LitScram) {
  EXPECT_EQ("lXgmmv-gbGvk", litScrambled("Content-Type"));
  EXPECT_EQ("Content-Type", litScrambled("lXgmmv-gbGvk"));
  StringBuffer::litScram(nullptr);
  char bytes[] = "ab\0cd";
  StringBuffer::litScram(bytes);
  EXPECT_EQ(0, std::memcmp("yz\0cd", bytes, 6)) << "stops at the first zero byte";
}

// Each operation with its restored literal against the plain operation, for
// short literals (local copy) and at the 255/256-byte boundary (buffer copy).
TEST(ScrambledLiterals, LscOperationsMatchThePlainOnes) {
  const std::string text = "Authorization: Basic " + std::string(300, 'q') + " end";
  const struct {
    const char* name;
    bool (StringBuffer::*lsc)(const char*) const;
    bool (StringBuffer::*plain)(const char*) const;
  } ops[] = {
      {"containsSubstring", &StringBuffer::containsSubstring_lsc, &StringBuffer::containsSubstring},
      {"containsSubstringNoCase", &StringBuffer::containsSubstringNoCase_lsc, &StringBuffer::containsSubstringNoCase},
      {"beginsWith", &StringBuffer::beginsWith_lsc, &StringBuffer::beginsWith},
      {"beginsWithIgnoreCase", &StringBuffer::beginsWithIgnoreCase_lsc, &StringBuffer::beginsWithIgnoreCase},
      {"equals", &StringBuffer::equals_lsc, &StringBuffer::equals},
      {"equalsIgnoreCase", &StringBuffer::equalsIgnoreCase_lsc, &StringBuffer::equalsIgnoreCase},
  };
  const std::string literals[] = {
      "", "Authorization", "AUTHORIZATION: basic", "missing", text.substr(0, 255), text.substr(0, 256),
      text.substr(text.size() - 256), "authorization: basic " + std::string(300, 'Q') + " END",
  };
  const StringBuffer sb(text.c_str());
  for (const auto& op : ops) {
    for (const std::string& literal : literals) {
      SCOPED_TRACE(testing::Message() << op.name << " with " << literal.size() << " bytes: " << literal.substr(0, 24));
      const std::string scrambled = litScrambled(literal);
      EXPECT_EQ((sb.*op.plain)(literal.c_str()), (sb.*op.lsc)(scrambled.c_str()));
      EXPECT_EQ(litScrambled(literal), scrambled) << "the argument is not changed";
    }
    EXPECT_FALSE((sb.*op.lsc)(nullptr)) << op.name;
  }
  // The boundary literals must really decide something.
  EXPECT_TRUE(sb.beginsWith_lsc(litScrambled(text.substr(0, 255)).c_str()));
  EXPECT_TRUE(sb.beginsWith_lsc(litScrambled(text.substr(0, 256)).c_str()));
  EXPECT_FALSE(sb.beginsWith_lsc(litScrambled(text.substr(1, 256)).c_str()));
}

TEST(ScrambledLiterals, AppendLsc) {
  for (unsigned length : {0u, 1u, 255u, 256u}) {
    std::string literal;
    for (unsigned i = 0; i < length; ++i) literal += "Ab1 ,./*<+-z9Z"[i % 14];
    StringBuffer sb("x");
    EXPECT_TRUE(sb.append_lsc(litScrambled(literal).c_str()));
    EXPECT_EQ("x" + literal, bytesOf(sb)) << length;
  }
  StringBuffer sb("x");
  EXPECT_FALSE(sb.append_lsc(nullptr));
}

TEST(ScrambledLiterals, WithoutMemory) {
  const std::string literal = litScrambled(std::string(300, 'a'));
  const std::string obfusLiteral = hidden(std::string(200, 'o')), saltedLiteral = hidden(std::string(200, 's'), true);
  StringBuffer sb(std::string(300, 'a').c_str());
  {
    ScopedAllocatorControl control;
    control.failAbove(1);
    EXPECT_FALSE(sb.equals_lsc(literal.c_str())) << "no restored copy, no match";
    EXPECT_FALSE(sb.append_lsc(literal.c_str()) || sb.appendObfus(obfusLiteral.c_str()) ||
                 sb.containsObfuscated(obfusLiteral.c_str()) || sb.appendSaltedLiteral(saltedLiteral.c_str()));
    EXPECT_EQ(300u, sb.getSize());
  }
  {
    // A short literal is copied inline: the unscrambling array is the first allocation.
    const std::string shortLiteral = hidden("short");
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(sb.appendObfus(shortLiteral.c_str()));
  }
  ScopedAllocatorControl control;
  EXPECT_FALSE(sb.equals_lsc(litScrambled(std::string(255, 'a')).c_str()));
  EXPECT_EQ(0u, control.allocations()) << "255 bytes are restored on the stack";
}

TEST(ScrambledLiterals, ObfusLiterals) {
  const struct {
    const char* name;
    std::string plain;
  } rows[] = {
      {"empty", ""},
      {"text", "X-Api-Key"},
      {"inner zero byte", std::string("a\0b", 3)},
      {"long", anyBytes(300, 2).replace(299, 1, "z")},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb("head:");
    EXPECT_TRUE(sb.appendObfus(hidden(r.plain).c_str()));
    EXPECT_EQ("head:" + r.plain, bytesOf(sb));
  }
  StringBuffer sb("say Hello, World! twice");
  EXPECT_TRUE(sb.containsObfuscated(hidden("Hello, World!").c_str()));
  EXPECT_TRUE(sb.containsObfuscated("csVI=vsGkxIG8dSFbQm=")) << "a stored obfus form stays readable";
  EXPECT_FALSE(sb.containsObfuscated(hidden("Goodbye").c_str()));
  EXPECT_FALSE(sb.containsObfuscated(nullptr));
  EXPECT_TRUE(sb.appendObfus(nullptr));
  EXPECT_EQ("say Hello, World! twice", bytesOf(sb));
}

TEST(ScrambledLiterals, SaltedRoundTripsAnyBytes) {
  for (unsigned length = 0; length <= 300; ++length) {
    const std::string bytes = anyBytes(length, 3);
    SCOPED_TRACE(length);
    StringBuffer sb = bufferOf(bytes);
    ASSERT_TRUE(sb.saltedScramble());
    ASSERT_EQ(length + 12, sb.getSize());
    ASSERT_TRUE(sb.saltedUnscramble());
    ASSERT_EQ(bytes, bytesOf(sb));
  }
}

TEST(ScrambledLiterals, SaltedEdges) {
  const std::string salt = hidden("", true);
  ASSERT_EQ(12u, salt.size());
  for (char c : salt) EXPECT_TRUE(c >= 'a' && c <= 'z') << c;

  // Fewer than twelve bytes: all are dropped.
  StringBuffer shortText("abc");
  EXPECT_TRUE(shortText.saltedUnscramble());
  EXPECT_EQ(0u, shortText.getSize());

  // Text that a C++ string literal holds without escapes still does when salted.
  const std::string plain = "Proxy-Authorization: {user} <pass> 100% ~ok";
  for (int round = 0; round < 20; ++round) {
    const std::string salted = hidden(plain, true);
    for (char c : salted) EXPECT_TRUE(c >= 32 && c <= 126 && c != '"' && c != '\\') << salted;
    StringBuffer sb("> ");
    EXPECT_TRUE(sb.appendSaltedLiteral(salted.c_str()));
    EXPECT_EQ("> " + plain, bytesOf(sb));
  }
}

// A salted literal made once must restore the same way in every later version.
TEST(ScrambledLiterals, StoredSaltedLiteral) {
  StringBuffer sb;
  EXPECT_TRUE(sb.appendSaltedLiteral("NUzMkk]\\v'\"lZ\"0'ws|rfng0on*&"));
  EXPECT_EQ("Host: \"x\\y\" *ok*", bytesOf(sb));
}

TEST(ScrambledLiterals, SecureFlagCoversTemporaries) {
  const std::string longLiteral = litScrambled(std::string(400, 'p'));
  const std::string obfusLiteral = hidden(std::string(400, 'p')), saltedLiteral = hidden(std::string(400, 'p'), true);
  const struct {
    const char* name;
    bool (*op)(StringBuffer&, const char*);
    const std::string& literal;
  } rows[] = {
      {"equals_lsc", [](StringBuffer& sb, const char* s) { return sb.equals_lsc(s); }, longLiteral},
      {"append_lsc", [](StringBuffer& sb, const char* s) { return sb.append_lsc(s); }, longLiteral},
      {"appendObfus", [](StringBuffer& sb, const char* s) { return sb.appendObfus(s); }, obfusLiteral},
      {"containsObfuscated", [](StringBuffer& sb, const char* s) { return sb.containsObfuscated(s); }, obfusLiteral},
      {"appendSaltedLiteral", [](StringBuffer& sb, const char* s) { return sb.appendSaltedLiteral(s); },
       saltedLiteral},
  };
  for (const auto& r : rows) {
    for (bool secure : {true, false}) {
      SCOPED_TRACE(testing::Message() << r.name << (secure ? " secure" : " plain"));
      StringBuffer sb;
      sb.setSecureBuf(secure);
      sb.expectNumBytes(2000);  // no growth move of sb itself while watched
      ReleaseWatcher watcher(64);
      r.op(sb, r.literal.c_str());
      EXPECT_GT(watcher.releases(), 0u);
      EXPECT_EQ(!secure, watcher.sawContent());
    }
  }
}

}  // namespace
