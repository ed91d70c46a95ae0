#include <gtest/gtest.h>

#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

TEST(WordSearch, IsCidCharOverAllBytes) {
  const std::string punctuation = "!%&-./:;?@_";
  for (unsigned b = 0; b < 256; ++b) {
    const bool expected = (b >= '0' && b <= '9') || ((b | 32) >= 'a' && (b | 32) <= 'z') ||
                          (b != 0 && punctuation.find(static_cast<char>(b)) != std::string::npos) ||
                          (b >= 192 && b != 215 && b != 247);
    EXPECT_EQ(expected, StringBuffer::isCidChar(static_cast<char>(b))) << b;
  }
}

TEST(WordSearch, FindCidOnly) {
  struct Row { const char* name; const char* text; const char* cid; long at; };
  const Row rows[] = {
      {"longer id skipped", "src=\"cid:part10\" src=\"cid:part1\"", "cid:part1", 22},
      {"colon is an id byte", "cid:part1", "part1", -1},
      {"angle brackets bound", "<part1>", "part1", 1},
      {"Latin-1 letter glues", "part1\xE9", "part1", -1},
      {"multiplication sign bounds", "part1\xD7", "part1", 0},
      {"overlapping candidates judged in the whole text", "baa", "aa", -1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const char* got = StringBuffer::findCidOnly(r.text, r.cid);
    EXPECT_EQ(r.at, got != nullptr ? got - r.text : -1);
  }
}

TEST(WordSearch, FindWordOnlyUtf8) {
  struct Row { const char* name; const char* text; const char* word; long at; };
  const Row rows[] = {
      {"space", "hello world", "world", 6},
      {"glued", "helloworld", "world", -1},
      {"underscore bounds", "snake_case", "case", 6},
      {"inside a UTF-8 letter", "\xC3\xBC" "ber", "ber", -1},
      {"no-break space", "a\xC2\xA0word", "word", 3},
      {"em dash both sides", "\xE2\x80\x94word\xE2\x80\x94", "word", 3},
      {"U+203F ends the block", "word\xE2\x80\xBF", "word", 0},
      {"U+2040 is a letter", "word\xE2\x81\x80", "word", -1},
      {"U+00A1 is a letter", "\xC2\xA1word", "word", -1},
      {"digit glues", "word2 word", "word", 6},
  };
  LogNull log;
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const char* got = StringBuffer::findWordOnlyUtf8(r.text, r.word, log);
    EXPECT_EQ(r.at, got != nullptr ? got - r.text : -1);
  }
  EXPECT_STREQ("", log.getText());
}

TEST(WordSearch, ReplaceAll) {
  LogNull log;
  StringBuffer words("cat catalog cat.");
  EXPECT_EQ(2u, words.replaceAllWordOccurrencesUtf8("cat", "dog", log));
  EXPECT_EQ("dog catalog dog.", bytesOf(words));
  StringBuffer ids("<cid:a1><cid:a10>");
  EXPECT_EQ(1u, ids.replaceAllCidOccurrences("cid:a1", "X"));
  EXPECT_EQ("<X><cid:a10>", bytesOf(ids));
  const std::string inside = std::string("cid:a10 cid:a12\0cid:a1", 22);
  StringBuffer none = bufferOf(inside);
  EXPECT_EQ(0u, none.replaceAllCidOccurrences("cid:a1", "X")) << "only inside longer ids, or behind a zero byte";
  EXPECT_EQ(inside, bytesOf(none));
}
