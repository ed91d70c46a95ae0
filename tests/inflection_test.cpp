#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "test_support.h"

namespace {

struct Row {
  const char* why;
  std::string before;
  std::string after;
};

void runRows(const Row* begin, const Row* end, void (StringBuffer::*op)()) {
  for (const Row* r = begin; r != end; ++r) {
    SCOPED_TRACE(r->why);
    StringBuffer sb = bufferOf(r->before);
    (sb.*op)();
    EXPECT_EQ(r->after, bytesOf(sb));
  }
}

}  // namespace

// One row per line of the plural rules, in their order, plus the places where
// the first matching rule hides a later one.
TEST(Inflection, Pluralize) {
  const Row rows[] = {
      {"empty", "", ""},
      {"ends in s", "glass", "glass"},
      {"ends in x", "box", "boxes"},
      {"ends in z", "quiz", "quizes"},
      {"ch", "church", "churches"},
      {"sh", "dish", "dishes"},
      {"other h", "month", "months"},
      {"lone h", "h", "hs"},
      {"fe", "knife", "knives"},
      {"fe knows no exceptions", "safe", "saves"},
      {"other e", "table", "tables"},
      {"lone e", "e", "es"},
      {"f", "leaf", "leaves"},
      {"f knows no exceptions", "roof", "rooves"},
      {"lone f", "f", "ves"},
      {"vowel y", "day", "days"},
      {"u y", "guy", "guys"},
      {"consonant y", "city", "cities"},
      {"lone y", "y", "ys"},
      {"default", "cat", "cats"},
      {"upper-case endings take the default", "BOX", "BOXs"},
      {"upper-case S too", "BUS", "BUSs"},
      {"Latin-1 byte", "caf\xE9", "caf\xE9s"},
      {"long word on the heap", std::string(100, 'a') + "y", std::string(100, 'a') + "ys"},
  };
  runRows(std::begin(rows), std::end(rows), &StringBuffer::pluralize);
}

TEST(Inflection, Unpluralize) {
  const Row rows[] = {
      {"empty", "", ""},
      {"no s", "cat", "cat"},
      {"upper-case S", "ALWAYS", "ALWAYS"},
      {"lone s", "s", ""},
      {"digit before s", "1990s", "1990s"},
      {"as", "gas", "gas"},
      {"is", "this", "this"},
      {"os", "photos", "photos"},
      {"us", "bus", "bus"},
      {"two bytes", "es", "e"},
      {"three bytes", "yes", "ye"},
      {"three bytes, ss", "ass", "as"},
      {"ass", "glass", "glass"},
      {"always", "always", "always"},
      {"Always ignores case", "Always", "Always"},
      {"other ays", "days", "day"},
      {"ways", "ways", "way"},
      {"other a", "maps", "map"},
      {"ess", "dress", "dress"},
      {"other e", "trees", "tree"},
      {"hes", "churches", "church"},
      {"other h", "ohms", "ohm"},
      {"iss", "kiss", "kiss"},
      {"ies", "cities", "city"},
      {"other i", "lids", "lid"},
      {"oes", "shoes", "shoes"},
      {"oss", "boss", "boss"},
      {"other o", "books", "book"},
      {"uss", "fuss", "fuss"},
      {"other u", "clues", "clue"},
      {"eeves keeps ve", "sleeves", "sleeve"},
      {"ives keeps ve", "olives", "olive"},
      {"knives keeps ve", "knives", "knive"},
      {"oves keeps ve", "groves", "grove"},
      {"eaves to f", "leaves", "leaf"},
      {"lves to f", "wolves", "wolf"},
      {"four-byte ves to f whatever p3", "oves", "of"},
      {"other v", "mavrs", "mavr"},
      {"xes", "boxes", "box"},
      {"other x", "xxxs", "xxx"},
      {"izes", "prizes", "prize"},
      {"zzes", "quizzes", "quizz"},
      {"other z", "jazzs", "jazz"},
      {"any other p2", "cards", "card"},
      {"lamps", "lamps", "lamp"},
  };
  runRows(std::begin(rows), std::end(rows), &StringBuffer::unpluralize);
}

TEST(Inflection, ToProperCase) {
  const Row rows[] = {
      {"empty", "", ""},
      {"words and hyphens", "hello big-world", "Hello Big-World"},
      {"every separator", "a\tb\nc-d e", "A\tB\nC-D E"},
      {"punctuation is no separator", "one,two", "One,two"},
      {"first byte spent on a bracket", "(hello)", "(hello)"},
      {"leading separator", " x", " X"},
      {"leading hyphen", "-a", "-A"},
      {"runs of separators", "a - \t b", "A - \t B"},
      {"CR is no separator", "a\rb", "A\rb"},
      {"other letters stay", "mcDonald", "McDonald"},
      {"Latin-1 lower", "\xE9t\xE9 \xFF", "\xC9t\xE9 \xDF"},
      {"bytes 128..223 stay", "\x80 \xDF \xC9", "\x80 \xDF \xC9"},
      {"stops at a zero byte", std::string("a b\0c d", 7), std::string("A B\0c d", 7)},
  };
  runRows(std::begin(rows), std::end(rows), &StringBuffer::toProperCase);
}

// Over every byte as the first byte of a word: only a..z and 224..255 change.
TEST(Inflection, ToProperCaseOverAllBytes) {
  for (unsigned b = 1; b < 256; ++b) {
    if (b == '\t' || b == '\n' || b == ' ' || b == '-') continue;
    SCOPED_TRACE(b);
    const char c = static_cast<char>(b);
    StringBuffer sb = bufferOf(std::string("x ") + c);
    sb.toProperCase();
    const unsigned expected = (b >= 'a' && b <= 'z') || b >= 224 ? b - 32 : b;
    EXPECT_EQ(expected, static_cast<unsigned char>(sb.getString()[2]));
  }
}

// A word whose plural needs more room than it has keeps its singular.
TEST(Inflection, PluralizeWithoutMemoryLeavesTheWord) {
  const std::string word = std::string(80, 'k') + "nife";
  StringBuffer sb;
  sb.setExtendSize(0);
  ASSERT_TRUE(sb.append(word.c_str()));  // exactly 85 bytes: no room for the extra one
  ScopedAllocatorControl control;
  control.failNth(1);
  sb.pluralize();
  EXPECT_EQ(word, bytesOf(sb));
  sb.pluralize();
  EXPECT_EQ(std::string(80, 'k') + "nives", bytesOf(sb));
}

// Unpluralizing only shortens: the removed bytes are zeroed and nothing is allocated.
TEST(Inflection, UnpluralizeShortensInPlace) {
  StringBuffer sb = bufferOf(std::string(90, 'c') + "ities");
  ScopedAllocatorControl control;
  sb.unpluralize();
  EXPECT_EQ(std::string(90, 'c') + "ity", bytesOf(sb));
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ(0, std::memcmp(sb.getString() + sb.getSize(), "\0\0\0", 3));
}
