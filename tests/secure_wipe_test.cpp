// The secure flag, proven through the allocator's release observer: every
// block an operation releases (the buffer's own storage when it moves,
// shrinks, is cleared or dies, and every temporary holding a copy of the
// content) reaches the allocator as zeros. Each row also runs without the
// flag and must then release content, so no row passes by releasing nothing.
#include <gtest/gtest.h>

#include <string>

#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/StringBufferArray.h"
#include "test_support.h"

namespace {

using std::string;

// Sensitive bytes with the structure the rows look for; long enough to live
// on the heap and to need a heap copy for any saved tail (over 400 bytes).
// Operations that only cut or compact in place release nothing and have no
// row here.
const string kSecret = "user=alice;pass=[s3cr3t]{x}/*c*/cat,a,b,c\r\nline2\r\n" + string(900, 'S') + "/end";

struct Lists {
  StringBufferArray list;
  ExtPtrArray tokens;
  StringBuffer out;
};

// The buffer is reached through a pointer so that one row can destroy it.
using Op = void (*)(StringBuffer*& sb, Lists& l);
struct Row {
  const char* name;
  Op op;
};

LogNull gLog;
const string kMore(300, 'M');

#define ROW(name, body) {name, [](StringBuffer*& sb, Lists& l) { (void)l; body; }}
const Row kRows[] = {
    ROW("growth moves the content", sb->append(kMore.c_str())),
    ROW("clear", sb->clear()),
    ROW("strongClear", sb->strongClear()),
    ROW("minimizeMemoryUsage", {
      sb->chopAt(20);
      sb->minimizeMemoryUsage();
    }),
    ROW("destructor", {
      delete sb;
      sb = nullptr;
    }),
    ROW("takeSb releases the old storage", {
      StringBuffer other("replacement");
      sb->takeSb(other);
    }),
    ROW("replaceAllOccurances", sb->replaceAllOccurances("S", "T")),
    ROW("replaceAllOccurancesNoCase", sb->replaceAllOccurancesNoCase("s", "T")),
    ROW("replaceFirstOccurance", sb->replaceFirstOccurance("alice", "bob", false)),
    ROW("replaceLastOccurance", sb->replaceLastOccurance("a", "b")),
    ROW("replaceAllBetween", sb->replaceAllBetween("[", "]", "x", false)),
    ROW("replaceAllOccurancesBetween", sb->replaceAllOccurancesBetween("{", "}", "x", "y")),
    ROW("removeDelimited", sb->removeDelimited("/*", "*/", true, false)),
    ROW("removeDelimitedIfContains", sb->removeDelimitedIfContains("/*", "*/", "c", true, false)),
    ROW("replaceAllWordOccurrencesUtf8", sb->replaceAllWordOccurrencesUtf8("cat", "dog", gLog)),
    ROW("replaceAllCidOccurrences", sb->replaceAllCidOccurrences("line2", "line3")),
    ROW("insertAt", sb->insertAt(StringBuffer("ins"), 5)),
    ROW("insertCharAt", sb->insertCharAt('!', 5)),
    ROW("split", sb->split(l.list, ';', false, false)),
    ROW("splitIntoLines", sb->splitIntoLines(l.list, 0)),
    ROW("splitUsingBoundary", {
      StringBuffer boundary("\r\n");
      sb->splitUsingBoundary(boundary, l.list, 0, false);
    }),
    ROW("tokenize", sb->tokenize(l.tokens, nullptr)),  // three tokens: the list never grows
    ROW("setNthDelimited", sb->setNthDelimited(0, ';', false, false, StringBuffer("who"))),
    ROW("changeDelimiter", sb->changeDelimiter(';', ',', true, false)),
    ROW("captureLine", sb->captureLine("fresh", false, false)),
};

// Releases seen while the row runs, and whether one still held content.
struct Seen {
  unsigned releases;
  bool content;
};

Seen runRow(const Row& row, bool secure) {
  Lists lists;  // outlives the watcher: the lists' own slots are no content
  auto* sb = new StringBuffer;
  sb->setSecureBuf(secure);
  sb->append(kSecret.c_str());
  Seen seen{};
  {
    ReleaseWatcher watcher(8);
    row.op(sb, lists);
    seen = {watcher.releases(), watcher.sawContent()};
  }
  delete sb;
  return seen;
}

TEST(SecureWipe, EveryReleaseOfContentIsWiped) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const Seen plain = runRow(row, false);
    EXPECT_TRUE(plain.content) << "without the flag this row releases no content, so it proves nothing";
    const Seen secure = runRow(row, true);
    EXPECT_GT(secure.releases, 0u);
    EXPECT_FALSE(secure.content) << "a block reached the allocator holding content";
  }
}

TEST(SecureWipe, SecureClearWipesWithoutTheFlag) {
  StringBuffer sb(kSecret.c_str());
  ReleaseWatcher watcher(8);
  sb.secureClear();
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_FALSE(watcher.sawContent());
}

}  // namespace
