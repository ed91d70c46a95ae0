#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "test_support.h"

namespace {

struct Row {
  std::string before, after;
};

template <size_t N>
void runRows(const Row (&rows)[N], void (StringBuffer::*op)()) {
  for (const Row& r : rows) {
    SCOPED_TRACE(r.before);
    StringBuffer sb = bufferOf(r.before);
    (sb.*op)();
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

}  // namespace

// One row per line of the plural rules, in their order, plus the places where
// the first matching rule hides a later one (the rules know no exceptions and
// only lower-case endings).
TEST(Inflection, Pluralize) {
  const Row rows[] = {
      {"", ""}, {"glass", "glass"}, {"box", "boxes"}, {"quiz", "quizes"}, {"church", "churches"},
      {"dish", "dishes"}, {"month", "months"}, {"h", "hs"}, {"knife", "knives"}, {"safe", "saves"},
      {"table", "tables"}, {"e", "es"}, {"leaf", "leaves"}, {"roof", "rooves"}, {"f", "ves"}, {"day", "days"},
      {"guy", "guys"}, {"city", "cities"}, {"y", "ys"}, {"cat", "cats"}, {"BOX", "BOXs"}, {"BUS", "BUSs"},
      {"caf\xE9", "caf\xE9s"}, {std::string(100, 'a') + "y", std::string(100, 'a') + "ys"},
  };
  runRows(rows, &StringBuffer::pluralize);
}

TEST(Inflection, Unpluralize) {
  const Row rows[] = {
      {"", ""}, {"cat", "cat"}, {"ALWAYS", "ALWAYS"}, {"s", ""}, {"1990s", "1990s"}, {"gas", "gas"},
      {"this", "this"}, {"photos", "photos"}, {"bus", "bus"}, {"es", "e"}, {"yes", "ye"}, {"ass", "as"},
      {"glass", "glass"}, {"always", "always"}, {"Always", "Always"}, {"days", "day"}, {"ways", "way"},
      {"maps", "map"}, {"dress", "dress"}, {"trees", "tree"}, {"churches", "church"}, {"ohms", "ohm"},
      {"kiss", "kiss"}, {"cities", "city"}, {"lids", "lid"}, {"shoes", "shoes"}, {"boss", "boss"},
      {"books", "book"}, {"fuss", "fuss"}, {"clues", "clue"}, {"sleeves", "sleeve"}, {"olives", "olive"},
      {"knives", "knive"}, {"groves", "grove"}, {"leaves", "leaf"}, {"wolves", "wolf"}, {"oves", "of"},
      {"mavrs", "mavr"}, {"boxes", "box"}, {"xxxs", "xxx"}, {"prizes", "prize"}, {"quizzes", "quizz"},
      {"jazzs", "jazz"}, {"cards", "card"}, {"lamps", "lamp"},
  };
  runRows(rows, &StringBuffer::unpluralize);
}

// Words start after TAB, LF, space and hyphen only; the first byte counts as
// a word start even when it is no letter; a zero byte ends the text.
TEST(Inflection, ToProperCase) {
  const Row rows[] = {
      {"", ""}, {"hello big-world", "Hello Big-World"}, {"a\tb\nc-d e", "A\tB\nC-D E"},
      {"one,two", "One,two"}, {"(hello)", "(hello)"}, {" x", " X"}, {"-a", "-A"}, {"a - \t b", "A - \t B"},
      {"a\rb", "A\rb"}, {"mcDonald", "McDonald"}, {"\xE9t\xE9 \xFF", "\xC9t\xE9 \xDF"},
      {"\x80 \xDF \xC9", "\x80 \xDF \xC9"}, {std::string("a b\0c d", 7), std::string("A B\0c d", 7)},
  };
  runRows(rows, &StringBuffer::toProperCase);
  // Every byte as a word's first: only a..z and 224..255 change.
  for (unsigned b = 1; b < 256; ++b) {
    if (b == '\t' || b == '\n' || b == ' ' || b == '-') continue;
    StringBuffer sb = bufferOf(std::string("x ") + static_cast<char>(b));
    sb.toProperCase();
    const unsigned expected = (b >= 'a' && b <= 'z') || b >= 224 ? b - 32 : b;
    EXPECT_EQ(expected, static_cast<unsigned char>(sb.getString()[2])) << b;
  }
}

// A word whose plural needs more room than it has keeps its singular;
// unpluralizing only shortens: nothing is allocated, the removed bytes are zeroed.
TEST(Inflection, Storage) {
  const std::string word = std::string(80, 'k') + "nife";
  StringBuffer sb;
  sb.setExtendSize(0);
  ASSERT_TRUE(sb.append(word.c_str()));  // exactly 85 bytes: no room for the extra one
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    sb.pluralize();
    EXPECT_EQ(word, bytesOf(sb));
  }
  sb.pluralize();
  EXPECT_EQ(std::string(80, 'k') + "nives", bytesOf(sb));

  StringBuffer cities = bufferOf(std::string(90, 'c') + "ities");
  ScopedAllocatorControl control;
  cities.unpluralize();
  EXPECT_EQ(std::string(90, 'c') + "ity", bytesOf(cities));
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ(0, std::memcmp(cities.getString() + cities.getSize(), "\0\0\0", 3));
}
