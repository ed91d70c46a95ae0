#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

// The four line rewrites the slow, obvious way, byte by byte, to check the
// chunked ones against on generated texts.
struct Reference {
  std::string crlf, unindented, trimmed;
  unsigned changed = 0, longest = 0;
};

Reference reference(const std::string& s) {
  Reference r;
  bool lineStart = true;
  unsigned line = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    const bool end = c == '\r' || c == '\n', blank = c == ' ' || c == '\t';
    const bool lone = (c == '\r' && s[i + 1] != '\n') || (c == '\n' && (i == 0 || s[i - 1] != '\r'));
    r.changed += lone;
    r.crlf += lone ? "\r\n" : std::string(1, c);
    if (!(lineStart && blank)) r.unindented += c;
    lineStart = end || (lineStart && blank);
    line = end ? 0 : line + 1;
    r.longest = std::max(r.longest, line);
    if (!(end || blank) || r.trimmed.empty() || r.trimmed.back() != ' ') r.trimmed += end || blank ? ' ' : c;
  }
  return r;
}

// Texts of every length up to 600 over a small alphabet rich in line
// endings, so CR LF pairs fall on every staging-chunk boundary.
std::vector<std::string> generatedTexts() {
  std::vector<std::string> texts;
  uint32_t seed = 12345;
  const char alphabet[] = {'a', 'b', ' ', '\t', '\r', '\n', '\0', 'c', 'd', 'e', 'f', 'g'};
  for (unsigned n = 0; n <= 600; ++n) {
    std::string s;
    const unsigned spread = n % 3 == 0 ? 7 : 12;  // some texts are almost all line endings
    for (unsigned i = 0; i < n; ++i) {
      seed = seed * 1103515245u + 12345u;
      s += alphabet[(seed >> 16) % spread];
    }
    texts.push_back(s);
  }
  return texts;
}

std::string utf8(const std::u32string& cps) {
  std::string s;
  for (char32_t c : cps) {
    const int n = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    s += static_cast<char>(n == 0 ? c : ((0xF0u << (3 - n)) & 0xFF) | (c >> (6 * n)));
    for (int k = n - 1; k >= 0; --k) s += static_cast<char>(0x80 | ((c >> (6 * k)) & 0x3F));
  }
  return s;
}

}  // namespace

// Against the references over generated texts: every chunk boundary meets a
// CR, an LF and a split pair somewhere; zero bytes ride along.
TEST(LineLayout, RewritesMatchReferences) {
  for (const std::string& text : generatedTexts()) {
    SCOPED_TRACE("length " + std::to_string(text.size()));
    const Reference want = reference(text);
    StringBuffer crlf = bufferOf(text), un = bufferOf(text), inside = bufferOf(text);
    EXPECT_EQ(want.changed, crlf.toCRLF());
    EXPECT_EQ(want.crlf, bytesOf(crlf));
    EXPECT_EQ(want.unindented.size(), un.unindent());
    EXPECT_EQ(want.unindented, bytesOf(un));
    EXPECT_EQ(want.longest, bufferOf(text).longestLineLength());
    EXPECT_EQ(text.size() - want.trimmed.size(), inside.trimInsideSpaces());
    EXPECT_EQ(want.trimmed, bytesOf(inside));
  }
}

// toCRLF rebuilds only when something changes; indent sizes its rebuild once.
TEST(LineLayout, Storage) {
  StringBuffer done = bufferOf(std::string(300, 'a') + "\r\n" + std::string(300, 'b'));
  {
    ScopedAllocatorControl control;
    EXPECT_EQ(0u, done.toCRLF());
    EXPECT_EQ(0u, control.allocations());
  }
  // A line longer than the staging area, which the generated texts never hold.
  StringBuffer longLine = bufferOf(std::string(700, 'x') + "\n");
  EXPECT_EQ(1u, longLine.toCRLF());
  EXPECT_EQ(std::string(700, 'x') + "\r\n", bytesOf(longLine));

  StringBuffer indented = bufferOf(std::string(300, 'a') + "\n" + std::string(300, 'b'));
  ScopedAllocatorControl control;
  indented.indent(' ', 4);
  EXPECT_EQ(1u, control.allocations());
  EXPECT_EQ("    " + std::string(300, 'a') + "\n    " + std::string(300, 'b'), bytesOf(indented));
}

// The rewrites the generated texts do not check against a reference.
TEST(LineLayout, SmallRewrites) {
  struct Row { const char* why; std::function<unsigned(StringBuffer&)> op; std::string before; unsigned result; std::string after; };
  const auto toLF = [](StringBuffer& s) { return s.toLF(); };
  const auto indent = [](char c, unsigned n) { return [c, n](StringBuffer& s) { s.indent(c, n); return 0u; }; };
  const auto fws = [](StringBuffer& s) { return s.removeFws(); };
  const auto fileName = [](StringBuffer& s) { return s.removeInvalidFilenameChars(); };
  const auto strip = [](StringBuffer& s) { s.stripDirectory(); return 0u; };
  const Row rows[] = {
      {"toLF keeps lone CR", toLF, "a\r\nb\rc", 1, "a\nb\rc"},
      {"toLF on CR CR LF", toLF, "\r\r\n", 1, "\r\n"},
      {"indent every line, trailing indent", indent(' ', 2), "a\nb\n", 0, "  a\n  b\n  "},
      {"indent an empty content", indent('>', 2), "", 0, ">>"},
      {"indent 0", indent(' ', 0), "a\nb", 0, "a\nb"},
      {"indent with a zero byte", indent('\0', 3), "a\nb", 0, "a\nb"},
      {"indent past the repeat limit", indent(' ', 12582913), "a\nb", 0, "a\nb"},
      {"indent keeps CR", indent('.', 1), "a\r\nb", 0, ".a\r\n.b"},
      {"indent reads lines as text", indent('.', 1), std::string("a\nb\0c\nd", 7), 0, ".a\n.b"},
      {"indent of one line keeps all bytes", indent('\t', 1), std::string("a\0b", 3), 0, std::string("\ta\0b", 4)},
      {"indent long lines", indent('-', 3), std::string(300, 'x') + "\n" + std::string(300, 'y'), 0,
       "---" + std::string(300, 'x') + "\n---" + std::string(300, 'y')},
      {"removeFws", fws, " a b\r\n", 2, "ab"},
      {"removeFws keeps other controls", fws, "\va\f", 3, "\va\f"},
      {"file name bytes", fileName, "C:\\tmp\\a*b<c>?d|e.txt", 16, "C:/tmp/abcde.txt"},
      {"file name keeps quote and colon", fileName, "\"a:b\"", 5, "\"a:b\""},
      {"strip mixed separators", strip, "dir/sub\\file.txt", 0, "file.txt"},
      {"strip without separator", strip, "file.txt", 0, "file.txt"},
      {"strip trailing separator", strip, "a/b/", 0, ""},
      {"strip separator beyond 2048 bytes", strip, std::string(2048, 'a') + "/b", 0, std::string(2048, 'a') + "/b"},
      {"strip keeps 2048 bytes", strip, std::string(2000, 'a') + "/" + std::string(100, 'b'), 0, std::string(47, 'b')},
      {"strip stops at a zero byte", strip, std::string("a\0/b", 4), 0, std::string("a\0/b", 4)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(LineLayout, ToAlphaNumUsAsciiOverAllBytes) {
  std::string all;
  for (unsigned b = 0; b < 256; ++b) all += static_cast<char>(b);
  StringBuffer sb = bufferOf(all);
  sb.toAlphaNumUsAscii();
  ASSERT_EQ(256u, sb.getSize());
  for (unsigned b = 0; b < 256; ++b) {
    const unsigned low = b & 0x7F;
    EXPECT_EQ(std::isalnum(static_cast<int>(low)) ? static_cast<char>(low) : '0', sb.getString()[b]) << b;
  }
}

// Every row with and without the variation selector behind it: a row that
// has its own selector form swallows the selector, the others leave it.
TEST(LineLayout, ReplaceEmoji) {
  struct Row { char32_t from; std::u32string to; bool selectorRow; };
  const Row rows[] = {
      {0x2705, U"\u2713", false}, {0x27A1, U"\u2192", true},  {0x2B05, U"\u2190", true},  {0x2B06, U"\u2191", true},
      {0x2B07, U"\u2193", true},  {0x2194, U"\u2194", true},  {0x2195, U"\u2195", true},  {0x21A9, U"\u21A9", true},
      {0x21AA, U"\u21AA", true},  {0x2714, U"\u2713", true},  {0x274C, U"\u2717", false}, {0x2716, U"\u00D7", true},
      {0x2B50, U"\u2605", false}, {0x2764, U"\u2665", true},  {0x1F535, U"\u25CF", false}, {0x26AA, U"\u25CB", false},
      {0x1F534, U"\u25CF", false}, {0x26AB, U"\u25CF", false}, {0x1F538, U"\u25C6", false}, {0x1F539, U"\u25C7", false},
      {0x1F532, U"\u25A1", false}, {0x1F533, U"\u25A0", false}, {0x1F53A, U"\u25B2", false}, {0x1F53B, U"\u25BC", false},
      {0x25B6, U"\u25BA", true},  {0x25C0, U"\u25C4", true},  {0x2757, U"!", false},      {0x2755, U"!", false},
      {0x2753, U"?", false},      {0x2754, U"?", false},      {0x2049, U"?!", true},      {0x203C, U"!!", true},
  };
  const std::string selector = utf8(U"\uFE0F");
  for (const Row& r : rows) {
    SCOPED_TRACE(std::to_string(static_cast<unsigned long>(r.from)));
    const std::string emoji = utf8(std::u32string(1, r.from)), to = utf8(r.to);
    StringBuffer bare = bufferOf("a" + emoji + "b");
    bare.replace_emoji();
    EXPECT_EQ("a" + to + "b", bytesOf(bare));
    StringBuffer selected = bufferOf(emoji + selector + emoji);
    selected.replace_emoji();
    EXPECT_EQ(to + (r.selectorRow ? "" : selector) + to, bytesOf(selected));
  }
}

// Cut sequences and look-alikes stay; the text only ever shrinks in place.
TEST(LineLayout, ReplaceEmojiEdges) {
  struct Row { std::string before, after; };
  const std::string zero(1, '\0');
  const Row rows[] = {
      {"", ""}, {utf8(U"\u27A1\uFE0Fx"), utf8(U"\u2192x")}, {"x\xE2", "x\xE2"}, {"x\xE2\x9E", "x\xE2\x9E"},
      {"\xF0\x9F\x94", "\xF0\x9F\x94"}, {utf8(U"\u27A1") + "\xEF\xB8", utf8(U"\u2192") + "\xEF\xB8"},
      {utf8(U"\u2014\u2026\U0001F600"), utf8(U"\u2014\u2026\U0001F600")},
      {zero + utf8(U"\u2705") + zero, zero + utf8(U"\u2713") + zero},
      {std::string(100, '.') + utf8(U"\U0001F534\u2B50\u2049\uFE0F"), std::string(100, '.') + utf8(U"\u25CF\u2605?!")},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::PrintToString(r.before));
    StringBuffer sb = bufferOf(r.before);
    ScopedAllocatorControl control;
    sb.replace_emoji();
    EXPECT_EQ(r.after, bytesOf(sb));
    EXPECT_EQ(0u, control.allocations());
  }
}

// On a secure buffer an in-place rewrite leaves nothing in the bytes it
// vacated (the rebuilding ones are in the cross-room wipe sweep). The block
// is sized exactly to the text, so all of it is watched.
TEST(LineLayout, SecureBuffersLeaveNothingBehind) {
  struct Row { const char* why; std::function<void(StringBuffer&)> op; };
  const Row rows[] = {
      {"toLF", [](StringBuffer& s) { s.toLF(); }},
      {"unindent", [](StringBuffer& s) { s.unindent(); }},
      {"removeFws", [](StringBuffer& s) { s.removeFws(); }},
      {"trimInsideSpaces", [](StringBuffer& s) { s.trimInsideSpaces(); }},
      {"removeInvalidFilenameChars", [](StringBuffer& s) { s.removeInvalidFilenameChars(); }},
      {"stripDirectory", [](StringBuffer& s) { s.stripDirectory(); }},
      {"replace_emoji", [](StringBuffer& s) { s.replace_emoji(); }},
  };
  std::string text;
  for (int i = 0; i < 40; ++i) text += "  secret line\r\n\tmore\n*|?\\" + utf8(U"\u27A1\uFE0F") + "/x  ";
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    ReleaseWatcher watcher(1 << 16);
    {
      StringBuffer sb;
      sb.setSecureBuf(true);
      sb.setExtendSize(0);
      ASSERT_TRUE(sb.append(text.c_str()));
      r.op(sb);
    }
    EXPECT_GE(watcher.releases(), 1u);
    EXPECT_FALSE(watcher.sawContent());
  }
}
