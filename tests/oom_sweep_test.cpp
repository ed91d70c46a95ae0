// Every operation that can allocate is run with its 1st, 2nd, ... allocation
// failing in turn, from a content held inline and from one already on the
// heap. After each failed run the buffers are intact (LeakSanitizer checks
// the rest in the sanitizer run) and hold either what they held before or
// the complete result: a failure never leaves half an edit, a list only
// whole elements, and an operation that reports success did all of it.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/StringBufferArray.h"
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
};

const char kLong[] =
    "a text longer than the inline buffer holds, so that appending it always has to grow the storage";
LogNull gLog;

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
};

// A fresh environment: the content inline, or repeated onto the heap.
void setUp(Env& e, const string& content, bool heap) {
  string bytes = content;
  while (heap && bytes.size() <= 100) bytes += content;
  for (char c : bytes) ASSERT_TRUE(e.sb.appendChar(c));
  ASSERT_EQ(heap, e.sb.heapUsage() != 0);
}

TEST(OomSweep, EveryAllocationFailsInTurn) {
  unsigned operations = 0, points = 0;
  for (const Row& row : kRows) {
    unsigned rowPoints[2] = {0, 0};
    for (int heap = 0; heap < 2; ++heap) {
      SCOPED_TRACE(string(row.name) + (heap ? " (heap)" : " (inline)"));
      Env reference;
      setUp(reference, row.content, heap != 0);
      const State before = snapshot(reference, 0);
      const State done = snapshot(reference, row.op(reference));
      for (uint32_t n = 1; n < 1000; ++n) {
        Env e;
        setUp(e, row.content, heap != 0);
        long result = 0;
        uint64_t attempts = 0;
        {
          ScopedAllocatorControl control;
          control.failNth(n);
          result = row.op(e);
          attempts = control.allocations();
        }
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
        EXPECT_TRUE(got.sb == before.sb || got.sb == done.sb) << "half an edit: " << got.sb;
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
