#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

namespace {

using std::string;

constexpr unsigned int kMaxIndex = 10000000;
constexpr unsigned int kMaxSetIndex = 1000000;

// countColumns and getNthDelimited over the same records, so that the
// count and the field lookup cannot disagree about the structure.
TEST(DelimitedFields, CountAndGet) {
  struct Row {
    const char* name; string record; char delim; bool quotes, escapes;
    unsigned int columns, index; bool ok; string value;
  };
  const Row rows[] = {
      {"empty buffer", "", ',', false, false, 0, 0, false, ""},
      {"zero first byte", string("\0,x", 3), ',', false, false, 1, 0, true, ""},
      {"zero byte ends the record", string("a,b\0,c", 6), ',', false, false, 2, 2, false, ""},
      {"delimiter at the start", ",a", ',', false, false, 2, 0, true, ""},
      {"delimiter at the end", "a,b,", ',', false, false, 3, 2, true, ""},
      {"no such field", "a,b", ',', false, false, 2, 3, false, ""},
      {"quotes stripped", "a,\"b,c\",d", ',', true, false, 3, 1, true, "b,c"},
      {"no modes keep every byte", "a,\"b,c\",d", ',', false, false, 4, 1, true, "\"b"},
      {"quote inside a word", "ab\"c,d\"e", ',', true, false, 1, 0, true, "abc,de"},
      {"doubled quote yields one", "a,\"x\"\",y\",z", ',', true, false, 3, 1, true, "x\",y"},
      {"unclosed quote runs to the end", "a,\"b,c", ',', true, false, 2, 1, true, "b,c"},
      {"escaping backslash dropped", "a,b\\,c", ',', false, true, 2, 1, true, "b,c"},
      {"escaped quote is content", "a,\\\"b,c", ',', true, true, 3, 1, true, "\"b"},
      {"escape inside quotes", "\"x\\\"y,z\",w", ',', true, true, 2, 0, true, "x\"y,z"},
      {"backslash delimiter loses to escaping", "a\\b\\c", '\\', false, true, 1, 0, true, "abc"},
      {"high-bit delimiter", "a\xFE" "b\xFE" "c", '\xFE', false, false, 3, 1, true, "b"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer record = bufferOf(r.record);
    EXPECT_EQ(r.columns, record.countColumns(r.delim, r.quotes, r.escapes));
    StringBuffer out("left over");
    EXPECT_EQ(r.ok, record.getNthDelimited(r.index, r.delim, r.quotes, r.escapes, out));
    EXPECT_EQ(r.value, bytesOf(out));
  }
}

using Edit = std::function<bool(StringBuffer&)>;
Edit set(unsigned int i, const char* value, bool quotes = false) {
  return [=](StringBuffer& sb) { return sb.setNthDelimited(i, ',', quotes, false, StringBuffer(value)); };
}
Edit remove(unsigned int i, bool quotes = false) {
  return [=](StringBuffer& sb) { return sb.removeNthDelimited(i, ',', quotes, false); };
}
Edit insert(unsigned int i, bool quotes = false, bool escapes = false) {
  return [=](StringBuffer& sb) { return sb.insertNthDelimited(i, ',', quotes, escapes); };
}
Edit change(char to, bool quotes = true, bool escapes = false) {
  return [=](StringBuffer& sb) { return sb.changeDelimiter(';', to, quotes, escapes); };
}

TEST(DelimitedFields, Edits) {
  struct Row { const char* name; string record; Edit edit; bool ok; string expected; };
  const Row rows[] = {
      {"set: missing fields added", "a", set(2, "x"), true, "a,,x"},
      {"set: empty value, empty buffer", "", set(0, ""), true, ","},
      {"set: middle field", "a,b,c", set(1, "x"), true, "a,x,c"},
      {"set: quoted field replaced whole", "\"p,q\",r", set(0, "x", true), true, "x,r"},
      {"set: longer value", "a,b", set(0, "0123456789"), true, "0123456789,b"},
      {"set: value stored as it is", "a,b", set(1, "y,z"), true, "a,y,z"},
      {"set: index limit", "a", set(kMaxSetIndex + 1, "x"), false, "a"},
      {"set: at the limit", "a", set(kMaxSetIndex, "x"), true, "a" + string(kMaxSetIndex, ',') + "x"},
      {"remove: first", "a,b,c", remove(0), true, "b,c"},
      {"remove: middle", "a,b,c", remove(1), true, "a,c"},
      {"remove: last", "a,b,c", remove(2), true, "a,b"},
      {"remove: beyond the end", "a,b,c", remove(3), false, "a,b,c"},
      {"remove: field and trailing delimiter", "abc,", remove(0), true, ""},
      {"remove: quoted field", "\"a,b\",c", remove(0, true), true, "c"},
      {"remove: empty buffer", "", remove(0), false, ""},
      {"insert: in front", "a,b,c", insert(0), true, ",a,b,c"},
      {"insert: before field 1", "a,b,c", insert(1), true, "a,,b,c"},
      {"insert: short record gets one field", "a", insert(7), true, "a,"},
      {"insert: index limit", "a", insert(kMaxIndex + 1), false, "a"},
      {"insert: at the limit", "a", insert(kMaxIndex), true, "a,"},
      {"insert: after an escaped delimiter", "a\\,b,c", insert(1, false, true), true, "a\\,b,,c"},
      {"change: field quoted", "a;b,c;d", change(','), true, "a,\"b,c\",d"},
      {"change: first and last quoted", "x,y;z,w", change(','), true, "\"x,y\",\"z,w\""},
      {"change: nothing to quote", "a;b;c", change(','), true, "a,b,c"},
      {"change: already quoted", "a;\"b,c\";d", change(','), true, "a,\"b,c\",d"},
      {"change: escaped new delimiter", "a;b\\,c", change(',', false, true), true, "a,b\\,c"},
      {"change: escaped old delimiter", "a\\;b;c", change(',', false, true), true, "a\\;b,c"},
      {"change: same delimiter", "a;b", change(';'), true, "a;b"},
      {"change: empty buffer", "", change(','), false, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.record);
    EXPECT_EQ(r.ok, r.edit(sb));
    EXPECT_EQ(r.expected, bytesOf(sb));
  }
}

TEST(DelimitedFields, IndexLimitsOnLongRecords) {
  StringBuffer big;
  ASSERT_TRUE(big.appendCharN(',', kMaxIndex));
  ASSERT_TRUE(big.appendChar('x'));
  StringBuffer out;
  EXPECT_TRUE(big.getNthDelimited(kMaxIndex, ',', false, false, out));
  EXPECT_EQ("x", bytesOf(out));
  EXPECT_FALSE(big.getNthDelimited(kMaxIndex + 1, ',', false, false, out));
  EXPECT_FALSE(big.removeNthDelimited(kMaxIndex + 1, ',', false, false));
  EXPECT_TRUE(big.removeNthDelimited(kMaxIndex, ',', false, false));
  EXPECT_EQ(kMaxIndex - 1, big.getSize());
}

TEST(DelimitedFields, SetNthDelimitedTail) {
  // Tails of up to 400 bytes are saved without allocating; a longer one is
  // copied to the heap, and when that fails nothing changes.
  for (unsigned int tail : {400u, 401u}) {
    SCOPED_TRACE(tail);
    const string record = "a," + string(tail - 1, 't');
    StringBuffer sb = bufferOf(record);
    ScopedAllocatorControl control;
    control.failAbove(400);
    EXPECT_EQ(tail == 400, sb.setNthDelimited(0, ',', false, false, StringBuffer("b")));
    EXPECT_EQ(tail == 400 ? "b," + string(tail - 1, 't') : record, bytesOf(sb));
  }
  StringBuffer secure = bufferOf("a," + string(499, 's'));
  secure.setSecureBuf(true);
  ReleaseWatcher watcher(500);
  EXPECT_TRUE(secure.setNthDelimited(0, ',', false, false, StringBuffer("b")));
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_FALSE(watcher.sawContent());
}

TEST(DelimitedFields, ChangeDelimiterQuotesOnlyTheFirst1000Fields) {
  StringBuffer sb;
  for (int i = 0; i < 999; ++i) sb.append("a;");
  sb.append("p,q;p,q");  // fields 999 and 1000
  ASSERT_TRUE(sb.changeDelimiter(';', ',', true, false));
  const string result = bytesOf(sb);
  EXPECT_EQ("a,\"p,q\",p,q", result.substr(result.size() - 11));
}

TEST(DelimitedFields, ChangeDelimiterAllocation) {
  string record;
  for (int i = 0; i < 40; ++i) record += "abc;";
  StringBuffer sb = bufferOf(record);
  const char* storage = sb.getString();
  {
    ScopedAllocatorControl control;
    ASSERT_TRUE(sb.changeDelimiter(';', ',', true, true));
    EXPECT_EQ(0u, control.allocations());
  }
  EXPECT_EQ(storage, sb.getString());
  // Every field holds a 'c' and needs quotes now; without storage for the
  // rebuilt record nothing changes.
  const string before = bytesOf(sb);
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.changeDelimiter(',', 'c', true, true));
  EXPECT_EQ(before, bytesOf(sb));
}

}  // namespace
