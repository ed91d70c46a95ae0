#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lib/ExtPtrArray.h"
#include "models.h"
#include "test_support.h"

namespace {

using std::string;
using Tokens = std::vector<string>;

const char* const kCpp = "*;(){}&+=[],!~";

Tokens tokensOf(const ExtPtrArray& list) {
  Tokens out;
  for (int i = 0; i < list.getSize(); ++i) out.push_back(bytesOf(*static_cast<StringBuffer*>(list.elementAt(i))));
  return out;
}

// Quotes and escapes are proven against the model below; these rows hold
// what its alphabet leaves out.
TEST(Tokenizers, TokenizeAndCount) {
  struct Row { const char* name; string content; const char* separators; Tokens expected; unsigned int count; };
  const Row rows[] = {
      {"C-like text", "int x=f(a, b);", kCpp, {"int", "x", "=", "f", "(", "a", ",", "b", ")", ";"}, 5},
      {"two-byte operator is two tokens", "x==1", kCpp, {"x", "=", "=", "1"}, 2},
      {"runs of white space", "  a \t\r\n b  ", nullptr, {"a", "b"}, 2},
      {"only white space, VT is none", " \t\r\n\v", nullptr, {"\v"}, 1},
      {"a control byte is a word", "\x01 b", nullptr, {"\x01", "b"}, 2},
      {"zero byte ends the text", string("a b\0c d", 7), nullptr, {"a", "b"}, 2},
      {"white space wins over a separator", "a b", " ", {"a", "b"}, 2},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const StringBuffer sb = bufferOf(r.content);
    ExtPtrArray list;
    sb.tokenize(list, r.separators);
    EXPECT_EQ(r.expected, tokensOf(list));
    EXPECT_EQ(r.count, sb.tokenCount(r.separators));
  }
}

TEST(Tokenizers, TokensAreAppendedAndShrunk) {
  ExtPtrArray list;
  list.appendPtr(StringBuffer::createNewSB("old"));
  StringBuffer().tokenizeCPP(list);
  bufferOf(string(300, 'x') + "+" + string(2000, 'y')).tokenizeCPP(list);
  ASSERT_EQ(4, list.getSize());
  EXPECT_EQ("old", bytesOf(*static_cast<StringBuffer*>(list.elementAt(0))));
  // Gathered 255 bytes at a time, then shrunk as the splitters do.
  EXPECT_EQ(458u, list.elementAt(1)->heapUsage());
  EXPECT_EQ(2001u, list.elementAt(3)->heapUsage());
}

TEST(Tokenizers, EveryShortTextAgreesWithTheModel) {
  model::forEachString("a \"\\;", 5, [](const string& text) {
    const StringBuffer sb = bufferOf(text);
    ExtPtrArray list;
    sb.tokenize(list, ";");
    ASSERT_EQ(model::tokenize(text, ";"), tokensOf(list)) << text;
    ASSERT_EQ(model::tokenize(text, ";", true).size(), sb.tokenCount(";")) << text;
  });
}

}  // namespace
