#include <gtest/gtest.h>

#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

TEST(WordSearch, IsCidCharOverAllBytes) {
  for (unsigned b = 0; b < 256; ++b) {
    const bool expected = (b >= '0' && b <= '9') || ((b | 32) >= 'a' && (b | 32) <= 'z') ||
                          (b != 0 && std::string("!%&-./:;?@_").find(static_cast<char>(b)) != std::string::npos) ||
                          (b >= 192 && b != 215 && b != 247);
    EXPECT_EQ(expected, StringBuffer::isCidChar(static_cast<char>(b))) << b;
  }
}

TEST(WordSearch, FindAndReplaceWholeIdsAndWords) {
  struct Row { const char* name; bool cid; const char* text; const char* needle; long at; };
  const Row rows[] = {
      {"longer id skipped", true, "src=\"cid:part10\" src=\"cid:part1\"", "cid:part1", 22},
      {"colon is an id byte", true, "cid:part1", "part1", -1},
      {"angle brackets bound", true, "<part1>", "part1", 1},
      {"Latin-1 letter glues", true, "part1\xE9", "part1", -1},
      {"multiplication sign bounds", true, "part1\xD7", "part1", 0},
      {"overlapping candidates judged in the whole text", true, "baa", "aa", -1},
      {"glued", false, "helloworld", "world", -1},
      {"underscore bounds", false, "snake_case", "case", 6},
      {"inside a UTF-8 letter", false, "\xC3\xBC" "ber", "ber", -1},
      {"inside a UTF-8 letter, later", false, "x\xC3\xBC" "ber", "ber", -1},
      {"U+3001 is a letter", false, "\xE3\x80\x81word", "word", -1},
      {"no-break space after", false, "word\xC2\xA0", "word", 0},
      {"id behind a control byte", true, "\x01part1", "part1", 1}, {"one-byte id", true, "a b", "b", 2},
      {"null text", false, nullptr, "word", -1}, {"empty word", false, "abc", "", -1},
      {"no-break space", false, "a\xC2\xA0word", "word", 3},
      {"em dash both sides", false, "\xE2\x80\x94word\xE2\x80\x94", "word", 3},
      {"U+203F ends the block", false, "word\xE2\x80\xBF", "word", 0},
      {"U+2040 is a letter", false, "word\xE2\x81\x80", "word", -1},
      {"U+00A1 is a letter", false, "\xC2\xA1word", "word", -1},
      {"digit glues", false, "word2 word", "word", 6},
      {"U+0080 before is a letter", false, "\xC2\x80word", "word", -1},
      {"continuation byte behind glues", false, "word\x80", "word", -1},
      {"retry starts inside a letter", false, "\xC3\xA9\xC3\xA9", "\xC3\xA9", 2},
      {"look-back stops at the retry", false, "\xC3\xA9x\xC2\xA0\xC3\xA9", "\xC3\xA9", 5},
  };
  LogNull log;
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const char* got = r.cid ? StringBuffer::findCidOnly(r.text, r.needle) : StringBuffer::findWordOnlyUtf8(r.text, r.needle, log);
    EXPECT_EQ(r.at, got != nullptr ? got - r.text : -1);
  }
  StringBuffer words("cat catalog cat.");
  EXPECT_EQ(2u, words.replaceAllWordOccurrencesUtf8("cat", "dog", log));
  EXPECT_EQ("dog catalog dog.", bytesOf(words));
  StringBuffer accents("\xC3\xA9\xC3\xA9");
  EXPECT_EQ(1u, accents.replaceAllWordOccurrencesUtf8("\xC3\xA9", "e", log));
  EXPECT_EQ("\xC3\xA9" "e", bytesOf(accents));
  // Nothing replaced must leave every byte: no empty rebuild taken over.
  StringBuffer kept("cid:a10 cat2");
  EXPECT_EQ(0u, kept.replaceAllWordOccurrencesUtf8("", "x", log));
  EXPECT_EQ(0u, kept.replaceAllWordOccurrencesUtf8("cat", "x", log));
  EXPECT_EQ(0u, kept.replaceAllCidOccurrences("cid:a1", "x"));
  EXPECT_EQ("cid:a10 cat2", bytesOf(kept));
  StringBuffer ids = bufferOf(std::string("cid:a10 <cid:a1> cid:a12\0cid:a1", 31));
  EXPECT_EQ(1u, ids.replaceAllCidOccurrences("cid:a1", "X")) << "not inside longer ids, nor behind a zero byte";
  EXPECT_EQ("cid:a10 <X> cid:a12", bytesOf(ids)) << "like every text rewrite, ends at the zero byte";
}
