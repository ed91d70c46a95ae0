#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

// Simple references the rewrites are checked against on generated texts.
std::string crlfReference(const std::string& s, unsigned& changed) {
  std::string out;
  changed = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\r' && i + 1 < s.size() && s[i + 1] == '\n') {
      out += "\r\n";
      ++i;
    } else if (s[i] == '\r' || s[i] == '\n') {
      out += "\r\n";
      ++changed;
    } else {
      out += s[i];
    }
  }
  return out;
}

std::string unindentReference(const std::string& s) {
  std::string out;
  bool lineStart = true;
  for (char c : s) {
    if (c == '\r' || c == '\n') {
      lineStart = true;
    } else if (lineStart && (c == ' ' || c == '\t')) {
      continue;
    } else {
      lineStart = false;
    }
    out += c;
  }
  return out;
}

unsigned longestReference(const std::string& s) {
  unsigned longest = 0, current = 0;
  for (char c : s) {
    if (c == '\r' || c == '\n') {
      current = 0;
    } else if (++current > longest) {
      longest = current;
    }
  }
  return longest;
}

std::string trimInsideReference(const std::string& s) {
  std::string out;
  for (char c : s) {
    const bool white = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (white && !out.empty() && out.back() == ' ') continue;
    out += white ? ' ' : c;
  }
  return out;
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

std::string utf8(std::initializer_list<char32_t> cps) {
  std::string s;
  for (char32_t cp : cps) {
    if (cp < 0x80) {
      s += static_cast<char>(cp);
    } else if (cp < 0x800) {
      s += static_cast<char>(0xC0 | (cp >> 6));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      s += static_cast<char>(0xE0 | (cp >> 12));
      s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      s += static_cast<char>(0xF0 | (cp >> 18));
      s += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return s;
}

}  // namespace

TEST(LineLayout, ToCRLF) {
  struct Row { const char* why; std::string before; unsigned changed; std::string after; };
  const Row rows[] = {
      {"empty", "", 0, ""},
      {"already CR LF", "a\r\nb", 0, "a\r\nb"},
      {"lone LF and lone CR", "a\nb\rc", 2, "a\r\nb\r\nc"},
      {"two LF", "\n\n", 2, "\r\n\r\n"},
      {"CR before a pair", "\r\r\n", 1, "\r\n\r\n"},
      {"LF CR is two lone endings", "\n\r", 2, "\r\n\r\n"},
      {"lone CR at the end", "a\r", 1, "a\r\n"},
      {"zero bytes are content", std::string("a\0\nb\0", 5), 1, std::string("a\0\r\nb\0", 6)},
      {"line longer than the staging area", std::string(700, 'x') + "\n", 1, std::string(700, 'x') + "\r\n"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_EQ(r.changed, sb.toCRLF());
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

// Against the references over generated texts: every chunk boundary meets a
// CR, an LF and a split pair somewhere; zero bytes ride along.
TEST(LineLayout, RewritesMatchReferences) {
  for (const std::string& text : generatedTexts()) {
    SCOPED_TRACE("length " + std::to_string(text.size()));
    unsigned changed = 0;
    const std::string crlf = crlfReference(text, changed);
    StringBuffer sb = bufferOf(text);
    EXPECT_EQ(changed, sb.toCRLF());
    EXPECT_EQ(crlf, bytesOf(sb));

    StringBuffer un = bufferOf(text);
    EXPECT_EQ(unindentReference(text).size(), un.unindent());
    EXPECT_EQ(unindentReference(text), bytesOf(un));

    StringBuffer measured = bufferOf(text);
    EXPECT_EQ(longestReference(text), measured.longestLineLength());

    StringBuffer inside = bufferOf(text);
    const std::string trimmed = trimInsideReference(text);
    EXPECT_EQ(text.size() - trimmed.size(), inside.trimInsideSpaces());
    EXPECT_EQ(trimmed, bytesOf(inside));
  }
}

TEST(LineLayout, ToCRLFAllocatesOnlyWhenItChangesSomething) {
  StringBuffer done = bufferOf(std::string(300, 'a') + "\r\n" + std::string(300, 'b'));
  {
    ScopedAllocatorControl control;
    EXPECT_EQ(0u, done.toCRLF());
    EXPECT_EQ(0u, control.allocations());
  }
  const std::string text = std::string(300, 'a') + "\n" + std::string(300, 'b');
  StringBuffer sb = bufferOf(text);
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_EQ(0u, sb.toCRLF()) << "no memory: nothing changed";
  EXPECT_EQ(text, bytesOf(sb));
}

TEST(LineLayout, SmallRewrites) {
  struct Row { const char* why; std::function<unsigned(StringBuffer&)> op; std::string before; unsigned result; std::string after; };
  const auto toLF = [](StringBuffer& s) { return s.toLF(); };
  const auto indent = [](char c, unsigned n) { return [c, n](StringBuffer& s) { s.indent(c, n); return 0u; }; };
  const auto unindent = [](StringBuffer& s) { return s.unindent(); };
  const auto longest = [](StringBuffer& s) { return s.longestLineLength(); };
  const auto fws = [](StringBuffer& s) { return s.removeFws(); };
  const auto inside = [](StringBuffer& s) { return s.trimInsideSpaces(); };
  const auto fileName = [](StringBuffer& s) { return s.removeInvalidFilenameChars(); };
  const Row rows[] = {
      {"toLF keeps lone CR", toLF, "a\r\nb\rc", 1, "a\nb\rc"},
      {"toLF on CR CR LF", toLF, "\r\r\n", 1, "\r\n"},
      {"indent every line, trailing indent", indent(' ', 2), "a\nb\n", 0, "  a\n  b\n  "},
      {"indent one line", indent('\t', 1), "x", 0, "\tx"},
      {"indent an empty content", indent('>', 2), "", 0, ">>"},
      {"indent 0", indent(' ', 0), "a\nb", 0, "a\nb"},
      {"indent with a zero byte", indent('\0', 3), "a\nb", 0, "a\nb"},
      {"indent past the repeat limit", indent(' ', 12582913), "a\nb", 0, "a\nb"},
      {"indent keeps CR", indent('.', 1), "a\r\nb", 0, ".a\r\n.b"},
      {"indent reads lines as text", indent('.', 1), std::string("a\nb\0c\nd", 7), 0, ".a\n.b"},
      {"indent of one line keeps all bytes", indent('.', 1), std::string("a\0b", 3), 0, std::string(".a\0b", 4)},
      {"indent long lines", indent('-', 3), std::string(300, 'x') + "\n" + std::string(300, 'y'), 0,
       "---" + std::string(300, 'x') + "\n---" + std::string(300, 'y')},
      {"unindent", unindent, "  a\n\t b\r\n  c", 6, "a\nb\r\nc"},
      {"unindent empty", unindent, "", 0, ""},
      {"unindent blanks only", unindent, "   ", 0, ""},
      {"unindent keeps inner blanks", unindent, " a  b\n ", 5, "a  b\n"},
      {"longest CR LF lines", longest, "ab\r\ncd\r\nef\r\n", 2, "ab\r\ncd\r\nef\r\n"},
      {"longest first line", longest, "abc\nd\n", 3, "abc\nd\n"},
      {"longest of one LF", longest, "\n", 0, "\n"},
      {"longest counts the unended last line", longest, "abcdef", 6, "abcdef"},
      {"longest last line wins", longest, "ab\ncdef", 4, "ab\ncdef"},
      {"longest counts zero bytes", longest, std::string("a\0b\n", 4), 3, std::string("a\0b\n", 4)},
      {"removeFws", fws, " a b\r\n", 2, "ab"},
      {"removeFws keeps other controls", fws, "\va\f", 3, "\va\f"},
      {"trimInsideSpaces", inside, "a \t\r\n b  ", 5, "a b "},
      {"trimInsideSpaces nothing to do", inside, "abc", 0, "abc"},
      {"trimInsideSpaces keeps one at each end", inside, "\n\nx\t\t", 2, " x "},
      {"file name bytes", fileName, "a*b<c>?d|e\\f", 7, "abcde/f"},
      {"file name path", fileName, "C:\\tmp\\x?.txt", 12, "C:/tmp/x.txt"},
      {"file name keeps quote and colon", fileName, "\"a:b\"", 5, "\"a:b\""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_EQ(r.result, r.op(sb));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(LineLayout, IndentWithoutMemoryLeavesTheText) {
  const std::string text = std::string(100, 'a') + "\n" + std::string(100, 'b');
  StringBuffer sb = bufferOf(text);
  ScopedAllocatorControl control;
  control.failNth(1);
  sb.indent(' ', 4);
  EXPECT_EQ(text, bytesOf(sb));
  EXPECT_EQ(1u, control.allocations()) << "the rebuild is sized once";
}

TEST(LineLayout, ToAlphaNumUsAsciiOverAllBytes) {
  std::string all;
  for (unsigned b = 0; b < 256; ++b) all += static_cast<char>(b);
  StringBuffer sb = bufferOf(all);
  sb.toAlphaNumUsAscii();
  ASSERT_EQ(256u, sb.getSize());
  for (unsigned b = 0; b < 256; ++b) {
    SCOPED_TRACE(b);
    const unsigned low = b & 0x7F;
    const bool alnum = std::isalnum(static_cast<int>(low)) != 0;
    EXPECT_EQ(alnum ? static_cast<char>(low) : '0', sb.getString()[b]);
  }
  StringBuffer sample("a-b c!");
  sample.toAlphaNumUsAscii();
  EXPECT_STREQ("a0b0c0", sample.getString());
}

TEST(LineLayout, StripDirectory) {
  struct Row { const char* why; std::string before; std::string after; };
  const Row rows[] = {
      {"mixed separators", "dir/sub\\file.txt", "file.txt"},
      {"no separator", "file.txt", "file.txt"},
      {"trailing separator", "a/b/", ""},
      {"separator only", "/", ""},
      {"separator beyond the first 2048 bytes", std::string(2048, 'a') + "/b", std::string(2048, 'a') + "/b"},
      {"only the first 2048 bytes are kept", std::string(2000, 'a') + "/" + std::string(100, 'b'), std::string(47, 'b')},
      {"a zero byte ends the text", std::string("a\0/b", 4), std::string("a\0/b", 4)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    sb.stripDirectory();
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

// Every row with and without the variation selector behind it: a row that
// has its own selector form swallows the selector, the others leave it.
TEST(LineLayout, ReplaceEmoji) {
  struct Row { char32_t from; std::string to; bool selectorRow; };
  const std::string check = utf8({0x2713}), bullet = utf8({0x25CF});
  const Row rows[] = {
      {0x2705, check, false},           {0x27A1, utf8({0x2192}), true}, {0x2B05, utf8({0x2190}), true},
      {0x2B06, utf8({0x2191}), true},   {0x2B07, utf8({0x2193}), true}, {0x2194, utf8({0x2194}), true},
      {0x2195, utf8({0x2195}), true},   {0x21A9, utf8({0x21A9}), true}, {0x21AA, utf8({0x21AA}), true},
      {0x2714, check, true},            {0x274C, utf8({0x2717}), false}, {0x2716, utf8({0x00D7}), true},
      {0x2B50, utf8({0x2605}), false},  {0x2764, utf8({0x2665}), true}, {0x1F535, bullet, false},
      {0x26AA, utf8({0x25CB}), false},  {0x1F534, bullet, false},       {0x26AB, bullet, false},
      {0x1F538, utf8({0x25C6}), false}, {0x1F539, utf8({0x25C7}), false}, {0x1F532, utf8({0x25A1}), false},
      {0x1F533, utf8({0x25A0}), false}, {0x1F53A, utf8({0x25B2}), false}, {0x1F53B, utf8({0x25BC}), false},
      {0x25B6, utf8({0x25BA}), true},   {0x25C0, utf8({0x25C4}), true}, {0x2757, "!", false},
      {0x2755, "!", false},             {0x2753, "?", false},            {0x2754, "?", false},
      {0x2049, "?!", true},             {0x203C, "!!", true},
  };
  const std::string selector = utf8({0xFE0F});
  for (const Row& r : rows) {
    SCOPED_TRACE(std::to_string(static_cast<unsigned long>(r.from)));
    const std::string emoji = utf8({r.from});
    StringBuffer bare = bufferOf("a" + emoji + "b");
    bare.replace_emoji();
    EXPECT_EQ("a" + r.to + "b", bytesOf(bare));
    StringBuffer selected = bufferOf(emoji + selector + emoji);
    selected.replace_emoji();
    EXPECT_EQ(r.to + (r.selectorRow ? "" : selector) + r.to, bytesOf(selected));
  }
}

TEST(LineLayout, ReplaceEmojiEdges) {
  struct Row { const char* why; std::string before; std::string after; };
  const std::string arrow = utf8({0x2192});
  const Row rows[] = {
      {"empty", "", ""},
      {"three bytes shorter", utf8({0x27A1, 0xFE0F}) + "x", arrow + "x"},
      {"lone lead byte at the end", "x\xE2", "x\xE2"},
      {"cut sequence at the end", "x\xE2\x9E", "x\xE2\x9E"},
      {"cut four-byte sequence", "\xF0\x9F\x94", "\xF0\x9F\x94"},
      {"cut selector stays", utf8({0x27A1}) + "\xEF\xB8", arrow + "\xEF\xB8"},
      {"other E2 text stays", utf8({0x2014, 0x2026}), utf8({0x2014, 0x2026})},
      {"other F0 text stays", utf8({0x1F600}), utf8({0x1F600})},
      {"zero bytes ride along", std::string("\0", 1) + utf8({0x2705}) + std::string("\0", 1),
       std::string("\0", 1) + utf8({0x2713}) + std::string("\0", 1)},
      {"many on the heap", std::string(100, '.') + utf8({0x1F534, 0x2B50, 0x2049, 0xFE0F}),
       std::string(100, '.') + utf8({0x25CF, 0x2605}) + "?!"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    ScopedAllocatorControl control;
    sb.replace_emoji();
    EXPECT_EQ(r.after, bytesOf(sb));
    EXPECT_EQ(0u, control.allocations());
  }
}

// On a secure buffer no released block may still hold text: not the ones
// the rebuilds let go of, and not the bytes an in-place rewrite vacated. The
// in-place rows run on a block sized exactly to the text, so all of it is
// watched; the rebuilt ones watch the part every released block has filled.
TEST(LineLayout, SecureBuffersLeaveNothingBehind) {
  struct Row { const char* why; std::function<void(StringBuffer&)> op; unsigned watched; };
  constexpr unsigned kAll = 1 << 16;
  const Row rows[] = {
      {"toCRLF", [](StringBuffer& s) { s.toCRLF(); }, 250},
      {"indent", [](StringBuffer& s) { s.indent(' ', 3); }, 250},
      {"toLF", [](StringBuffer& s) { s.toLF(); }, kAll},
      {"unindent", [](StringBuffer& s) { s.unindent(); }, kAll},
      {"removeFws", [](StringBuffer& s) { s.removeFws(); }, kAll},
      {"trimInsideSpaces", [](StringBuffer& s) { s.trimInsideSpaces(); }, kAll},
      {"removeInvalidFilenameChars", [](StringBuffer& s) { s.removeInvalidFilenameChars(); }, kAll},
      {"stripDirectory", [](StringBuffer& s) { s.stripDirectory(); }, kAll},
      {"replace_emoji", [](StringBuffer& s) { s.replace_emoji(); }, kAll},
  };
  std::string text;
  for (int i = 0; i < 40; ++i) text += "  secret line\r\n\tmore\n*|?\\" + utf8({0x27A1, 0xFE0F}) + "/x  ";
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    ReleaseWatcher watcher(r.watched);
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
