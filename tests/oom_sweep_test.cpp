// Every operation that can allocate is run with its 1st, 2nd, ... allocation
// failing in turn, from a content held inline and from one already on the
// heap. After each failed run the buffers are intact (LeakSanitizer checks
// the rest in the sanitizer run) and hold either what they held before or
// the complete result: a failure never leaves half an edit, a list only
// whole elements, and an operation that reports success did all of it.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/StringBufferArray.h"
#include "lib/StringMap.h"
#include "lib/StringPair.h"
#include "test_support.h"

namespace {

using std::string;

struct Env {
  StringBuffer sb;
  // Two bytes short of the inline limit, so any extraction into it grows.
  StringBuffer out{"<-------------------------------------------------------------------------------"};
  StringBufferArray list;
  DataBuffer data;
  string side;  // bytes handed out as plain arrays, kept out of the allocator's sight
  StringMap map;
};

struct State {
  long result = 0;
  string sb, out, data, side;
  std::vector<string> list;
  bool operator==(const State& o) const {
    return sb == o.sb && out == o.out && data == o.data && side == o.side && list == o.list;
  }
};

void checkBuffer(StringBuffer& sb) {
  ASSERT_TRUE(sb.isValidObject());
  ASSERT_EQ(0, sb.getString()[sb.getSize()]);
  ASSERT_TRUE(sb.heapUsage() == 0 ? sb.getSize() <= 81 : sb.getSize() < sb.heapUsage());
}

State snapshot(Env& e, long result) {
  State s;
  s.result = result;
  s.sb = bytesOf(e.sb);
  s.out = bytesOf(e.out);
  s.side = e.side;
  s.data.assign(reinterpret_cast<const char*>(e.data.getData2()), e.data.getSize());
  for (int i = 0; i < e.list.getSize(); ++i) {
    StringBuffer* piece = e.list.sbAt(i);
    if (piece == nullptr) {
      ADD_FAILURE() << "list element " << i << " is not a buffer";
      continue;
    }
    checkBuffer(*piece);
    s.list.push_back(bytesOf(*piece));
  }
  return s;
}

using Op = long (*)(Env&);
struct Row {
  const char* name;
  string content;  // the inline start; the heap start repeats it past 100 bytes
  Op op;
  // The contract lets the steps done before the failure stand (appends in
  // sequence, a clear first, unchecked appends): only the invariants and
  // whole list elements are checked.
  bool steps = false;
  // A third outcome the contract documents for a failure (the content emptied).
  bool mayEmpty = false;
  // Brings the environment to the operation's starting point, uncounted.
  Op prepare = nullptr;
  // Run after the operation, uncounted, where its result is random.
  Op settle = nullptr;
};

const char kLong[] =
    "a text longer than the inline buffer holds, so that appending it always has to grow the storage";
LogNull gLog;
const string gTextFile = testing::TempDir() + "oom_sweep_text.txt";
const string gWideFile = testing::TempDir() + "oom_sweep_wide.txt";
const string gSaveFile = testing::TempDir() + "oom_sweep_save.txt";

#define OP(body) [](Env& e) -> long { return static_cast<long>(body); }
#define VOID_OP(body) [](Env& e) -> long { body; return 0; }
const Row kRows[] = {
    // Storage and appends
    {"append", "abc", OP(e.sb.append(kLong))},
    {"appendN", "abc", OP(e.sb.appendN(kLong, sizeof kLong - 1))},
    {"appendMinSize", "abc", OP(e.sb.appendMinSize(kLong))},
    {"appendMaxN", "abc", OP(e.sb.appendMaxN(kLong, 90))},
    {"append2", "abc", OP(e.sb.append2("x", kLong)), true},
    {"append(StringBuffer)", "abc", OP(e.sb.append(StringBuffer(kLong)))},
    {"appendCharN", "abc", OP(e.sb.appendCharN('z', 200))},
    {"prepend", "abc", OP(e.sb.prepend(kLong))},
    {"prependN", "abc", OP(e.sb.prependN(kLong, sizeof kLong - 1))},
    {"insertAt", "abcdef", OP(e.sb.insertAt(StringBuffer(kLong), 3))},
    {"insertCharAt", "abcdef", OP(e.sb.insertCharAt('!', 3))},
    {"setString", "abc", OP(e.sb.setString(kLong)), true},
    {"expectNumBytes", "abc", OP(e.sb.expectNumBytes(500))},
    {"createCopy", "abc", [](Env& e) -> long {
       char* copy = e.sb.createCopy();
       if (copy != nullptr) e.side = copy;
       delete[] copy;
       return copy != nullptr;
     }},
    {"extractString", "abc", [](Env& e) -> long {
       unsigned int n = 0;
       char* block = e.sb.extractString(&n);
       if (block != nullptr) e.side.assign(block, n);
       delete[] block;
       return block != nullptr;
     }},
    {"createNewSB(s)", "abc", [](Env& e) -> long {
       StringBuffer* sb = StringBuffer::createNewSB(kLong);
       if (sb != nullptr) e.list.appendPtr(sb);
       return sb != nullptr;
     }},
    {"createNewSB(other)", "abc", [](Env& e) -> long {
       StringBuffer* sb = StringBuffer::createNewSB(e.sb);
       if (sb != nullptr) e.list.appendPtr(sb);
       return sb != nullptr;
     }},
    // Number formatting
    {"appendInt64", "abc", OP(e.sb.appendInt64(INT64_MIN))},
    {"appendHexData", "abc", OP(e.sb.appendHexData(reinterpret_cast<const unsigned char*>(kLong), 60))},
    {"appendHexDataNoWS", "abc", OP(e.sb.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(kLong), 60, true))},
    {"appendBase64", "abc", OP(e.sb.appendBase64(reinterpret_cast<const unsigned char*>(kLong), 90))},
    {"append_s", "abc", OP(e.sb.append_s("[%s]", kLong))},
    {"appendNameIntValue", "abc", OP(e.sb.appendNameIntValue(kLong, -5))},
    {"hexStringToBinary", "00ff7fab", OP(e.sb.hexStringToBinary(e.data))},
    {"canonicalizeHexString", "abc", VOID_OP(e.sb.canonicalizeHexString())},
    // Replace and remove
    {"replaceAllOccurances", "a-b-c-", OP(e.sb.replaceAllOccurances("-", kLong))},
    {"replaceAllOccurancesNoCase", "a-B-c-", OP(e.sb.replaceAllOccurancesNoCase("b", kLong))},
    {"replaceFirstOccurance", "a-b-c-", OP(e.sb.replaceFirstOccurance("b", kLong, false))},
    {"replaceLastOccurance", "a-b-c-", OP(e.sb.replaceLastOccurance("b", kLong))},
    {"replaceAfterFinal", "a/b/c", OP(e.sb.replaceAfterFinal("/", kLong))},
    {"replaceAllBetween", "a[b]c[d]", OP(e.sb.replaceAllBetween("[", "]", kLong, false))},
    {"replaceAllOccurancesBetween", "a{aa}a{a}", OP(e.sb.replaceAllOccurancesBetween("{", "}", "a", kLong))},
    {"removeDelimited", "a/*x*/b/*y*/c", OP(e.sb.removeDelimited("/*", "*/", true, false))},
    {"removeDelimitedIfContains", "<a>1<k>2", OP(e.sb.removeDelimitedIfContains("<", ">", "k", true, false))},
    {"replaceAllCidOccurrences", "cid:a1 cid:a10", OP(e.sb.replaceAllCidOccurrences("cid:a1", kLong))},
    {"replaceAllWordOccurrencesUtf8", "cat catalog cat.", OP(e.sb.replaceAllWordOccurrencesUtf8("cat", kLong, gLog))},
    // Extraction
    {"getBetween", "a[bcd]e", OP(e.sb.getBetween("[", "]", e.out))},
    {"getDelimited", "a[bcd]e", VOID_OP(e.sb.getDelimited("[", "]", true, e.out))},
    {"getBefore", "key=value", OP(e.sb.getBefore("=", true, e.out))},
    {"getAfterFinal", "a/b/c", OP(e.sb.getAfterFinal("/", true, e.out))},
    {"getNamedValue", "x=1; name=value; y=2", OP(e.sb.getNamedValue("name", e.out))},
    {"separate", "left:right", OP(e.sb.separate(':', e.out, e.out)), true},
    {"pop", "a/b/c", OP(e.sb.pop('/', e.out))},
    {"captureLine", "abc", OP(e.sb.captureLine(kLong, true, true)), true},
    {"captureNonWS", "abc", OP(e.sb.captureNonWS(kLong))},
    // Fields
    {"getNthDelimited", "a,\"b,c\",d", OP(e.sb.getNthDelimited(1, ',', true, false, e.out))},
    {"setNthDelimited", "a,b,c", OP(e.sb.setNthDelimited(5, ',', true, false, StringBuffer(kLong))), true},
    {"removeNthDelimited", "a,b,c", OP(e.sb.removeNthDelimited(1, ',', true, false))},
    {"insertNthDelimited", "a,b,c", OP(e.sb.insertNthDelimited(1, ',', true, false))},
    {"changeDelimiter", "a,b;c,d", OP(e.sb.changeDelimiter(',', ';', true, false))},
    // Lists
    {"split", "a,b,,c,", OP(e.sb.split(e.list, ',', true, false))},
    {"splitAndTrim", "a,b,,c,", OP(e.sb.splitAndTrim(e.list, ',', false, false))},
    {"splitUpToN", "a,b,c,d", OP(e.sb.splitUpToN(e.list, 3, ',', false, false))},
    {"splitByLineEndings", "a\r\nb\n\nc\r", OP(e.sb.splitByLineEndings(e.list, false, false))},
    {"split2", "a;b,c", OP(e.sb.split2(e.list, ";,", false, false))},
    {"splitIntoLines", "a\r\nb\rc\n", OP(e.sb.splitIntoLines(e.list, 0))},
    {"splitUsingBoundary", "aXXbXXc", [](Env& e) -> long {
       StringBuffer boundary("XX");
       return e.sb.splitUsingBoundary(boundary, e.list, 0, false);
     }},
    {"tokenize", "int x=f(a, b);", VOID_OP(e.sb.tokenize(e.list, "=(),;"))},
    {"tokenizeCPP", "x==1 ; y", VOID_OP(e.sb.tokenizeCPP(e.list))},
    // Codecs
    {"encodeBase64", "abc", OP(MimeCodec::encodeBase64(kLong, 90, e.sb))},
    {"decodeBase64", "QUJDRA==", OP(MimeCodec::decodeBase64(e.sb.getString(), e.sb.getSize(), e.data))},
    {"appendEncodedById", "41424344", OP(e.data.appendEncodedById(e.sb.getString(), DataBuffer::kEncodingHex))},
    // Code pages, decoders, ISO-2022
    {"convertEncoding", "caf\xe9 na\xefve", OP(e.sb.convertEncoding(1252, 65001, gLog)), true},
    {"convertEncoding2", "caf\xc3\xa9", OP(e.sb.convertEncoding2(65001, 1252, e.out, gLog))},
    {"cvAnsiToUtf8", "caf\xe9", VOID_OP(e.sb.cvAnsiToUtf8(gLog)), true},
    {"cvUtf8ToAnsi", "caf\xc3\xa9", VOID_OP(e.sb.cvUtf8ToAnsi()), true},
    {"convertFromOem", "caf\x82", VOID_OP(e.sb.convertFromOem(65001)), true},
    {"cvUtf8ToUnicode", "caf\xc3\xa9", VOID_OP(e.sb.cvUtf8ToUnicode(e.data))},
    {"appendNullTerminatedUtf16AsUtf8", "abc", [](Env& e) -> long {
       const unsigned short wide[] = {'x', 0xE9, 0xD83D, 0xDE00, 'y', 0};
       return e.sb.appendNullTerminatedUtf16AsUtf8(wide);
     }},
    {"decode", "SGVsbG8sIHdvcmxkIQ==", OP(e.sb.decode("base64", e.data, gLog))},
    {"decode_in_place", "48656c6c6f", OP(e.sb.decode_in_place(3, gLog))},
    {"qbDecode", "a =?utf-8?B?Y2Fmw6k=?= b =?iso-8859-1?Q?caf=E9?= ", OP(e.sb.qbDecode(gLog)), true},
    {"iso2022Replace", "a\x1b$B$3$s\x1b(Bb\x1b$B$K\x1b(B", VOID_OP(e.sb.iso2022Replace(e.list)), true},
    // Escapers, decoders and emitters
    {"replaceXMLSpecial", "a<b>&c", OP(e.sb.replaceXMLSpecial())},
    {"replaceHTMLSpecial", "a<b>&\"c", OP(e.sb.replaceHTMLSpecial())},
    {"encodePreDefinedXmlEntities", "a<b>&c&#65;", OP(e.sb.encodePreDefinedXmlEntities(1)), false, true},
    {"encodeXMLSpecial", "a<b>&c&amp;&copy;", OP(e.sb.encodeXMLSpecial(gLog))},
    {"decodeXMLSpecial", "&lt;a&gt;&amp;", OP(e.sb.decodeXMLSpecial())},
    {"decodeHTMLSpecial", "&lt;a&gt;&amp;&quot;", OP(e.sb.decodeHTMLSpecial())},
    {"decodePreDefinedXmlEntities", "&lt;a&gt;&amp;&apos;", OP(e.sb.decodePreDefinedXmlEntities(0))},
    {"appendXml", "abc", VOID_OP(e.sb.appendXml("x<y>&\"z' and a tail long enough to force the growth of the buffer past its inline part"))},
    {"appendXml(CDATA)", "abc", VOID_OP(e.sb.appendXml("x\ty ]]> and a longer tail to force growth of the buffer"))},
    {"appendXmlNoCdataN", "abc", VOID_OP(e.sb.appendXmlNoCdataN(kLong, 90))},
    {"appendAndXmlEntityEncode", "abc", OP(e.sb.appendAndXmlEntityEncode("<a>&<b> and more text to grow it past the inline buffer", 0))},
    {"appendXml(element)", "abc", [](Env& e) -> long {
       ExtPtrArray attributes;
       attributes.appendPtr(new StringPair("name", "value"));
       return e.sb.appendXml("element", attributes, kLong);
     }, true},
    {"simpleXml", "abc", [](Env& e) -> long {
       const char* names[] = {"a", "b"};
       const char* values[] = {"1", kLong};
       return e.sb.simpleXml("tag", "content", 2, names, values, gLog);
     }, true},
    {"appendNameValue", "abc", OP(e.sb.appendNameValue("name", kLong))},
    {"jsonEscape", "a\"b\\c\n\x01", OP(e.sb.jsonEscape())},
    {"appendJsonMember", "abc", OP(e.sb.appendJsonMember(true, "name", kLong)), true},
    {"jsonDecode", "a\\n\\u00e9\\ud83d\\ude00", OP(StringBuffer::jsonDecode(e.sb.getString(), e.sb.getSize(), e.out))},
    {"autoLinkUrls", "<body>see http://a.b/c now</body>", VOID_OP(e.sb.autoLinkUrls()), true},
    {"autoLinkUrls2", "abc", [](Env& e) -> long {
       StringBuffer text("go to https://example.com/x and http://b.c now");
       e.sb.autoLinkUrls2(text);
       e.side = bytesOf(text);
       return 0;
     }, true},
    // Canonicalizers
    {"awsNormalizeUriUtf8", "/a b/\xc3\xa9/%zz", OP(e.sb.awsNormalizeUriUtf8(gLog))},
    {"awsNormalizeQueryStringPart", "a b/c%2", OP(e.sb.awsNormalizeQueryStringPart(true, gLog))},
    {"awsNormalizeQueryParams", "a=b c&d=\xc3\xa9", OP(e.sb.awsNormalizeQueryParams())},
    {"nonAwsNormalizePath", "/a b/[c]", OP(e.sb.nonAwsNormalizePath())},
    {"mwsNormalizeQueryParams", "a b%20c", OP(e.sb.mwsNormalizeQueryParams())},
    {"nonAwsNormalizeQueryParamValue", "a b#c", OP(e.sb.nonAwsNormalizeQueryParamValue(gLog))},
    {"nonAwsNormalizeAllQueryParams", "a=b c&d=#", OP(e.sb.nonAwsNormalizeAllQueryParams())},
    // Obfuscation and literals
    {"scramble", "secret text", VOID_OP(e.sb.scramble())},
    {"obfus", "secret text", VOID_OP(e.sb.obfus()), true},
    {"unobfus", "secret text", VOID_OP(e.sb.unobfus()), true, false, VOID_OP(e.sb.obfus())},
    {"setString_x", "abc", OP(e.sb.setString_x(kLong)), true},
    {"saltedScramble", "secret text", OP(e.sb.saltedScramble()), false, false, nullptr, OP(e.sb.saltedUnscramble())},
    {"saltedUnscramble", "secret text", OP(e.sb.saltedUnscramble()), false, false, OP(e.sb.saltedScramble())},
    {"append_lsc", "abc", OP(e.sb.append_lsc("some scrambled literal text that is long enough to grow the buffer"))},
    {"appendObfus", "abc", OP(e.sb.appendObfus("b2JmdXNjYXRlZCB0ZXh0"))},
    // Inflection, substitution, layout
    {"pluralize", "city", VOID_OP(e.sb.pluralize())},
    {"variableSubstitute", "Hi {$name}, from {$p.host}! {$missing}.", OP(e.sb.variableSubstitute(e.map, 22)), true,
     false, OP(e.map.set("name", kLong) && e.map.set("host", "ex\"ample"))},
    {"envReplace", "long=%SB_OOM_SWEEP_LONG% none=%SB_NO_SUCH_VAR%;", VOID_OP(e.sb.envReplace()), true},
    {"toCRLF", "a\nb\rc\r\nd\n", OP(e.sb.toCRLF())},
    {"indent", "a\nb\nc\n", VOID_OP(e.sb.indent(' ', 4))},
    {"replace_emoji", "ok \xe2\x9c\x85 \xe2\x9d\xa4\xef\xb8\x8f!", VOID_OP(e.sb.replace_emoji())},
    // Files and redaction
    {"loadFileUtf8", "abc", OP(e.sb.loadFileUtf8(gTextFile.c_str(), &gLog))},
    {"loadFileUtf8(UTF-16)", "abc", OP(e.sb.loadFileUtf8(gWideFile.c_str(), &gLog))},
    {"createFromFileUtf8", "abc", [](Env& e) -> long {
       StringBuffer* sb = StringBuffer::createFromFileUtf8(gTextFile.c_str(), &gLog);
       if (sb != nullptr) e.list.appendPtr(sb);
       return sb != nullptr;
     }},
    {"saveToFileUtf8", "saved content", [](Env& e) -> long {
       const bool ok = e.sb.saveToFileUtf8(gSaveFile.c_str(), &gLog);
       // Reading it back may fail too; then side stays as it was.
       StringBuffer back;
       if (ok && back.loadFileUtf8(gSaveFile.c_str(), nullptr)) e.side = bytesOf(back);
       return ok;
     }},
    {"redactHeaderValues", "GET / HTTP/1.1\r\nAuthorization: Basic dXNlcjpwYXNz\r\nCookie: a=b\r\n\r\n",
     VOID_OP(StringBuffer::redactHeaderValues(e.sb, gLog)), true},
    {"redactAllHeaderValues", "Authorization: Bearer abc\r\nx-api-key: k\nCookie: c\r\n",
     OP(StringBuffer::redactAllHeaderValues(e.sb, gLog))},
};

// A fresh environment: the content inline, or repeated onto the heap.
void setUp(Env& e, const Row& row, bool heap) {
  string bytes = row.content;
  while (heap && bytes.size() <= 100) bytes += row.content;
  for (char c : bytes) ASSERT_TRUE(e.sb.appendChar(c));
  if (row.prepare != nullptr) row.prepare(e);
  ASSERT_EQ(heap, e.sb.heapUsage() != 0);
}

TEST(OomSweep, EveryAllocationFailsInTurn) {
  setenv("SB_OOM_SWEEP_LONG", kLong, 1);
  {
    std::ofstream(gTextFile, std::ios::binary) << "\xEF\xBB\xBFloaded text, long enough to need the heap: " << kLong;
    std::ofstream(gWideFile, std::ios::binary) << string("\xFF\xFEh\0i\0 \0\xE9\0", 10);
  }
  unsigned operations = 0, points = 0;
  for (const Row& row : kRows) {
    unsigned rowPoints[2] = {0, 0};
    for (int heap = 0; heap < 2; ++heap) {
      SCOPED_TRACE(string(row.name) + (heap ? " (heap)" : " (inline)"));
      Env reference;
      setUp(reference, row, heap != 0);
      const State before = snapshot(reference, 0);
      const long result = row.op(reference);
      if (row.settle != nullptr) row.settle(reference);
      const State done = snapshot(reference, result);
      for (uint32_t n = 1; n < 1000; ++n) {
        Env e;
        setUp(e, row, heap != 0);
        long result = 0;
        uint64_t attempts = 0;
        {
          ScopedAllocatorControl control;
          control.failNth(n);
          result = row.op(e);
          attempts = control.allocations();
        }
        if (row.settle != nullptr) row.settle(e);
        checkBuffer(e.sb);
        checkBuffer(e.out);
        const State got = snapshot(e, result);
        if (attempts < n) {  // the nth allocation never came: the operation completed
          EXPECT_TRUE(got == done) << "completed without a failure point, yet the result differs";
          EXPECT_EQ(done.result, got.result);
          break;
        }
        ++rowPoints[heap];
        SCOPED_TRACE("allocation " + std::to_string(n) + " failed");
        ASSERT_LE(got.list.size(), done.list.size());
        EXPECT_TRUE(std::equal(got.list.begin(), got.list.end(), done.list.begin())) << "a partial element";
        if (row.steps) continue;
        EXPECT_TRUE(got.sb == before.sb || got.sb == done.sb || (row.mayEmpty && got.sb.empty()))
            << "half an edit: " << got.sb;
        EXPECT_TRUE(got.out == before.out || got.out == done.out) << "half an output: " << got.out;
        EXPECT_TRUE(got.data == before.data || got.data == done.data) << "half the bytes";
        EXPECT_TRUE(got.side == before.side || got.side == done.side);
        if (got.result == done.result && done.result != 0 && !(got == before)) {
          EXPECT_TRUE(got == done) << "reported success without the whole result";
        }
      }
    }
    ++operations;
    points += rowPoints[0] + rowPoints[1];
    std::printf("  %-30s failure points: %u inline, %u heap\n", row.name, rowPoints[0], rowPoints[1]);
  }
  std::printf("out-of-memory sweep: %u operations, %u failure points\n", operations, points);
}

}  // namespace
