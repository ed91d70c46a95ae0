// The secure flag, proven through the allocator's release observer: every
// block an operation releases (the buffer's own storage when it moves,
// shrinks, is cleared or dies, and every temporary holding a copy of the
// content) reaches the allocator as zeros. Each row also runs without the
// flag and must then release content, so no row passes by releasing nothing.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/StringBufferArray.h"
#include "lib/StringMap.h"
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
  const string* content = &kSecret;
};

LogNull gLog;
const string kMore(300, 'M');
// For the text families: markup, references, headers, a Latin-1 byte and
// an ISO-2022-JP segment, no white space outside the header lines.
const string kMarkup = "<p>user&\"alice\"=s3cr3t</p>\r\nAuthorization: Basic c2VjcmV0\r\nCookie: id=s3cr3t\r\n"
                       "%SB_WIPE_VAR%{$name}\xE9\x1B$B$3$s\x1B(Bhttp://x.y/s3cr3t" + string(900, 'S') + "\n/end";
const string kMarkupPlain = kMarkup.substr(0, kMarkup.find('\x1B')) + string(900, 'P');
const string kObfuscated = [] {
  StringBuffer sb(kSecret.c_str());
  sb.obfus();
  return bytesOf(sb);
}();
const string kEncodedWords = "Subject: =?utf-8?Q?s3cr3t_=C3=A9?= =?utf-8?B?c2VjcmV0?=" + string(900, 'S');
const string kFile = testing::TempDir() + "secure_wipe_load.txt";
const string kWideFile = testing::TempDir() + "secure_wipe_wide.txt";

#define ROW(name, body) {name, [](StringBuffer*& sb, Lists& l) { (void)l; body; }}
#define ROW_ON(content, name, body) {name, [](StringBuffer*& sb, Lists& l) { (void)l; body; }, &content}
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
    ROW_ON(kMarkup, "replaceXMLSpecial", sb->replaceXMLSpecial()),
    ROW_ON(kMarkup, "replaceHTMLSpecial", sb->replaceHTMLSpecial()),
    ROW_ON(kMarkup, "encodePreDefinedXmlEntities", sb->encodePreDefinedXmlEntities(0)),
    ROW_ON(kMarkup, "encodeXMLSpecial", sb->encodeXMLSpecial(gLog)),
    ROW_ON(kMarkup, "jsonEscape", sb->jsonEscape()),
    ROW_ON(kMarkup, "autoLinkUrls", sb->autoLinkUrls()),
    ROW_ON(kMarkup, "awsNormalizeUriUtf8", sb->awsNormalizeUriUtf8(gLog)),
    ROW_ON(kMarkup, "awsNormalizeQueryStringPart", sb->awsNormalizeQueryStringPart(false, gLog)),
    ROW_ON(kMarkup, "awsNormalizeQueryParams", sb->awsNormalizeQueryParams()),
    ROW_ON(kMarkup, "nonAwsNormalizePath", sb->nonAwsNormalizePath()),
    ROW_ON(kMarkup, "mwsNormalizeQueryParams", sb->mwsNormalizeQueryParams()),
    ROW_ON(kMarkup, "nonAwsNormalizeQueryParamValue", sb->nonAwsNormalizeQueryParamValue(gLog)),
    ROW_ON(kMarkup, "nonAwsNormalizeAllQueryParams", sb->nonAwsNormalizeAllQueryParams()),
    ROW_ON(kMarkup, "convertEncoding", sb->convertEncoding(1252, 65001, gLog)),
    ROW_ON(kMarkup, "convertEncoding2", sb->convertEncoding2(1252, 65001, l.out, gLog)),
    ROW_ON(kMarkup, "cvUtf8ToAnsi", sb->cvUtf8ToAnsi()),
    ROW_ON(kMarkup, "convertToOem", sb->convertToOem(65001)),
    ROW_ON(kMarkup, "convertFromOem", sb->convertFromOem(65001)),
    ROW_ON(kEncodedWords, "qbDecode", sb->qbDecode(gLog)),
    ROW_ON(kMarkup, "iso2022Replace and Restore", {
      sb->iso2022Replace(l.list);
      sb->iso2022Restore(l.list);
    }),
    ROW_ON(kMarkup, "variableSubstitute", {
      StringMap map;
      map.set("name", "value");
      sb->variableSubstitute(map, 22);
    }),
    ROW_ON(kMarkup, "envReplace", sb->envReplace()),
    ROW_ON(kMarkup, "replaceCharUtf8", sb->replaceCharUtf8('s', 'z')),
    ROW_ON(kMarkup, "toCRLF", sb->toCRLF()),
    ROW_ON(kMarkup, "indent", sb->indent(' ', 2)),
    ROW_ON(kMarkupPlain, "redactHeaderValues", StringBuffer::redactHeaderValues(*sb, gLog)),
    ROW_ON(kMarkupPlain, "redactAllHeaderValues", StringBuffer::redactAllHeaderValues(*sb, gLog)),
    ROW("obfus", sb->obfus()),
    ROW_ON(kObfuscated, "unobfus", sb->unobfus()),
    ROW("appendObfus", sb->appendObfus(kObfuscated.c_str())),
    // The byte-order mark's scratch holds the whole file.
    ROW("loadFileUtf8 (UTF-8 mark)", sb->loadFileUtf8(kFile.c_str(), nullptr)),
    ROW("loadFileUtf8 (UTF-16 mark)", sb->loadFileUtf8(kWideFile.c_str(), nullptr)),
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
  for (const char c : *row.content) sb->appendChar(c);
  Seen seen{};
  {
    ReleaseWatcher watcher(8);
    row.op(sb, lists);
    // Pieces of a secure buffer are secure too: they die wiped. Taking them
    // out one by one leaves the lists' slots, which are no content, alone.
    for (ExtPtrArray* list : {static_cast<ExtPtrArray*>(&lists.list), &lists.tokens})
      while (list->getSize() != 0) TarvexObject::deleteObject(list->removeAt(list->getSize() - 1));
    seen = {watcher.releases(), watcher.sawContent()};
  }
  delete sb;
  return seen;
}

TEST(SecureWipe, EveryReleaseOfContentIsWiped) {
  setenv("SB_WIPE_VAR", "env-secret", 1);
  std::ofstream(kFile, std::ios::binary) << "\xEF\xBB\xBF" << "file secret " << string(2000, 'F');
  string wide = "\xFF\xFE";
  for (const char c : "file secret " + string(2000, 'W')) wide += string(1, c) + '\0';
  std::ofstream(kWideFile, std::ios::binary) << wide;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    // Secure first: a block the plain run frees unwiped and a reserve of the
    // secure run then receives must not count against the flag.
    const Seen secure = runRow(row, true);
    const Seen plain = runRow(row, false);
    EXPECT_TRUE(plain.content) << "without the flag this row releases no content, so it proves nothing";
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
