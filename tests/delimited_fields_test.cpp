#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace {

using std::string;

constexpr unsigned int kMaxIndex = 10000000;
constexpr unsigned int kMaxSetIndex = 1000000;

// Count and lookup over the same records, so that they cannot disagree.
TEST(DelimitedFields, CountAndGet) {
  struct Row { const char* name; string record; bool q, e; unsigned int columns, index; bool ok; string value; };
  const Row rows[] = {
      {"empty buffer", "", false, false, 0, 0, false, ""},
      {"zero first byte", string("\0,x", 3), false, false, 1, 0, true, ""},
      {"zero byte ends the record", string("a,b\0,c", 6), false, false, 2, 2, false, ""},
      {"delimiter at the start", ",a", false, false, 2, 0, true, ""},
      {"delimiter at the end", "a,b,", false, false, 3, 2, true, ""},
      {"quotes stripped", "a,\"b,c\",d", true, false, 3, 1, true, "b,c"},
      {"quote inside a word", "ab\"c,d\"e", true, false, 1, 0, true, "abc,de"},
      {"doubled quote yields one", "a,\"x\"\",y\",z", true, false, 3, 1, true, "x\",y"},
      {"unclosed quote runs to the end", "a,\"b,c", true, false, 2, 1, true, "b,c"},
      {"escaping backslash dropped", "a,b\\,c", false, true, 2, 1, true, "b,c"},
      {"escaped quote is content", "a,\\\"b,c", true, true, 3, 1, true, "\"b"},
      {"escape inside quotes", "\"x\\\"y,z\",w", true, true, 2, 0, true, "x\"y,z"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer record = bufferOf(r.record);
    EXPECT_EQ(r.columns, record.countColumns(',', r.q, r.e));
    StringBuffer out("left over");
    EXPECT_EQ(r.ok, record.getNthDelimited(r.index, ',', r.q, r.e, out));
    EXPECT_EQ(r.value, bytesOf(out));
  }
}

// Delimiters above 0x7F compare as plain byte values, never as signed chars.
TEST(DelimitedFields, HighBitDelimiters) {
  for (const char delimiter : {'\xA6', '\xFE'}) {
    SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(delimiter)));
    StringBuffer record = bufferOf(string("a") + delimiter + "b\xA5" + delimiter + "c");
    EXPECT_EQ(3u, record.countColumns(delimiter, false, false));
    StringBuffer out;
    EXPECT_TRUE(record.getNthDelimited(1, delimiter, false, false, out));
    EXPECT_EQ("b\xA5", bytesOf(out));
  }
}

enum Op { Set, Remove, Insert, Change };

// Set, remove and insert work on ',' records; Change turns ';' into v[0].
TEST(DelimitedFields, Edits) {
  struct Row { const char* name; Op op; string record; unsigned int at; const char* v; bool q, e, ok; string want; };
  const Row rows[] = {
      {"set: missing fields added", Set, "a", 2, "x", false, false, true, "a,,x"},
      {"set: empty value, empty buffer", Set, "", 0, "", false, false, true, ","},
      {"set: a later field of an empty buffer", Set, "", 2, "x", false, false, true, ",,x"},
      {"set: value stored as it is", Set, "a,b,c", 1, "y,z", false, false, true, "a,y,z,c"},
      {"set: beyond the limit", Set, "a", kMaxSetIndex + 1, "x", false, false, false, "a"},
      {"set: at the limit", Set, "a", kMaxSetIndex, "x", false, false, true, "a" + string(kMaxSetIndex, ',') + "x"},
      {"remove: first", Remove, "a,b,c", 0, "", false, false, true, "b,c"},
      {"remove: middle", Remove, "a,b,c", 1, "", false, false, true, "a,c"},
      {"remove: last", Remove, "a,b,c", 2, "", false, false, true, "a,b"},
      {"remove: beyond the end", Remove, "a,b,c", 3, "", false, false, false, "a,b,c"},
      {"remove: quoted field", Remove, "\"a,b\",c", 0, "", true, false, true, "c"},
      {"insert: in front", Insert, "a,b,c", 0, "", false, false, true, ",a,b,c"},
      {"insert: beyond the limit", Insert, "a", kMaxIndex + 1, "", false, false, false, "a"},
      {"insert: short record gets one field", Insert, "a", kMaxIndex, "", false, false, true, "a,"},
      {"insert: after an escaped delimiter", Insert, "a\\,b,c", 1, "", false, true, true, "a\\,b,,c"},
      {"change: first and last quoted", Change, "x,y;b;z,w", 0, ",", true, false, true, "\"x,y\",b,\"z,w\""},
      {"change: already quoted", Change, "a;\"b,c\";d", 0, ",", true, false, true, "a,\"b,c\",d"},
      {"change: escaped new delimiter", Change, "a;b\\,c", 0, ",", false, true, true, "a,b\\,c"},
      {"change: escaped old delimiter", Change, "a\\;b;c", 0, ",", false, true, true, "a\\;b,c"},
      {"change: empty buffer", Change, "", 0, ",", true, false, false, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.record);
    const bool ok = r.op == Set      ? sb.setNthDelimited(r.at, ',', r.q, r.e, StringBuffer(r.v))
                    : r.op == Remove ? sb.removeNthDelimited(r.at, ',', r.q, r.e)
                    : r.op == Insert ? sb.insertNthDelimited(r.at, ',', r.q, r.e)
                                     : sb.changeDelimiter(';', *r.v, r.q, r.e);
    EXPECT_EQ(r.ok, ok);
    EXPECT_EQ(r.want, bytesOf(sb));
  }
}

TEST(DelimitedFields, IndexLimitsOnLongRecords) {
  StringBuffer big, out;
  ASSERT_TRUE(big.appendCharN(',', kMaxIndex) && big.appendChar('x'));
  EXPECT_TRUE(big.getNthDelimited(kMaxIndex, ',', false, false, out));
  EXPECT_EQ("x", bytesOf(out));
  EXPECT_FALSE(big.getNthDelimited(kMaxIndex + 1, ',', false, false, out) ||
               big.removeNthDelimited(kMaxIndex + 1, ',', false, false));
  EXPECT_TRUE(big.removeNthDelimited(kMaxIndex, ',', false, false));
  EXPECT_EQ(kMaxIndex - 1, big.getSize());
}

TEST(DelimitedFields, SetNthDelimitedTail) {
  // A tail of 400 bytes is saved without allocating; 401 go to the heap.
  for (unsigned int tail : {400u, 401u}) {
    const string record = "a," + string(tail - 1, 't');
    StringBuffer sb = bufferOf(record);
    ScopedAllocatorControl control;
    control.failAbove(400);
    EXPECT_EQ(tail == 400, sb.setNthDelimited(0, ',', false, false, StringBuffer("b"))) << tail;
    EXPECT_EQ(tail == 400 ? "b," + string(tail - 1, 't') : record, bytesOf(sb)) << tail;
  }
}

// Short tails move in place: every field of a record set to shorter, equal
// and longer values matches a plain rebuild, and the bytes given up at the
// end of the storage are left zero.
TEST(DelimitedFields, SetNthDelimitedMatchesRebuild) {
  const string record = "alpha,bb,gamma";
  const std::vector<string> fields = {"alpha", "bb", "gamma"};
  for (bool quotes : {false, true})
    for (unsigned int at = 0; at < 3; ++at)
      for (const string value : {"", "x", "bb", "12345", "a much longer value"}) {
        std::vector<string> f = fields;
        f[at] = value;
        const string want = f[0] + "," + f[1] + "," + f[2];
        StringBuffer sb = bufferOf(record);
        ASSERT_TRUE(sb.setNthDelimited(at, ',', quotes, false, StringBuffer(value.c_str())));
        EXPECT_EQ(want, bytesOf(sb)) << at << " " << value;
        for (size_t i = want.size(); i <= record.size(); ++i) EXPECT_EQ(0, sb.getString()[i]) << i;
      }
  StringBuffer zero = bufferOf(string("a,b\0c,d", 7));
  ASSERT_TRUE(zero.setNthDelimited(0, ',', false, false, StringBuffer("xyz")));
  EXPECT_EQ(string("xyz,b\0c,d", 9), bytesOf(zero));
}

TEST(DelimitedFields, ChangeDelimiter) {
  // Only the first 1000 fields are ever wrapped in quotes: field 999 is, 1000 is not.
  StringBuffer many;
  for (int i = 0; i < 999; ++i) many.append("a;");
  many.append("p,q;p,q");
  ASSERT_TRUE(many.changeDelimiter(';', ',', true, false));
  EXPECT_EQ("a,\"p,q\",p,q", bytesOf(many).substr(many.getSize() - 11));
  // Nothing to quote: swapped in place, no allocation; a failed rebuild changes nothing.
  string record, swapped;
  for (int i = 0; i < 40; ++i) record += "abc;", swapped += "abc,";
  StringBuffer sb = bufferOf(record);
  const char* storage = sb.getString();
  ScopedAllocatorControl control;
  control.failNth(1);
  ASSERT_TRUE(sb.changeDelimiter(';', ',', true, true));
  EXPECT_EQ(0u, control.allocations());
  EXPECT_EQ(swapped, bytesOf(sb));
  EXPECT_EQ(storage, sb.getString());
  EXPECT_FALSE(sb.changeDelimiter(',', 'c', true, true));  // every field holds a 'c'
  EXPECT_EQ(swapped, bytesOf(sb));
}

}  // namespace

// Plain records (no quote or escape mode) are read sixteen bytes at a time;
// with no quote or backslash in them, the scanner of quote mode must agree
// field for field, across block edges and up to a zero byte.
TEST(DelimitedFields, PlainRecordsAgreeWithScanner) {
  string wide;
  for (int i = 0; i < 40; ++i) wide += string(i % 7, char('a' + i % 26)) + ",";
  const string records[] = {wide, wide + "end", wide.substr(0, 37) + string(1, '\0') + ",x,y", ",,,", "a", "\xA6|b"};
  for (const string& r : records) {
    const StringBuffer sb = bufferOf(r);
    EXPECT_EQ(StringBuffer(sb).countColumns(',', true, false), StringBuffer(sb).countColumns(',', false, false));
    for (unsigned i = 0; i < 45; ++i) {
      StringBuffer plain, scanned;
      EXPECT_EQ(sb.getNthDelimited(i, ',', true, false, scanned), sb.getNthDelimited(i, ',', false, false, plain)) << i;
      EXPECT_EQ(bytesOf(scanned), bytesOf(plain)) << i;
      StringBuffer set1 = sb, set2 = sb, rm1 = sb, rm2 = sb, in1 = sb, in2 = sb;
      EXPECT_EQ(set1.setNthDelimited(i, ',', true, false, StringBuffer("v")), set2.setNthDelimited(i, ',', false, false, StringBuffer("v")));
      EXPECT_EQ(rm1.removeNthDelimited(i, ',', true, false), rm2.removeNthDelimited(i, ',', false, false));
      EXPECT_EQ(in1.insertNthDelimited(i, ',', true, false), in2.insertNthDelimited(i, ',', false, false));
      EXPECT_EQ(bytesOf(set1) + "|" + bytesOf(rm1) + "|" + bytesOf(in1), bytesOf(set2) + "|" + bytesOf(rm2) + "|" + bytesOf(in2)) << i;
    }
  }
}
