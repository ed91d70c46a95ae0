#include <gtest/gtest.h>

#include <string>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/Psdk.h"
#include "test_support.h"

namespace {

using std::string;

string bytesOf(const DataBuffer& d) { return string(reinterpret_cast<const char*>(d.getData2()), d.getSize()); }

TEST(CodePages, ConvertEncoding) {
  struct Row { const char* name; string content; int from, to; string want; bool ok, converts; };
  const Row rows[] = {
      {"same page", "\xE9", 1252, 1252, "\xE9", true, false},
      {"from 0", "\xE9", 0, 65001, "\xE9", true, false},
      {"to 0", "\xE9", 1252, 0, "\xE9", true, false},
      {"empty content", "", 1252, 65001, "", true, false},
      {"ASCII to UTF-8, not examined", "\xE9", 20127, 65001, "\xE9", true, false},
      {"ASCII to Latin-9", "\xE9", 20127, 28605, "\xE9", true, false},
      {"ASCII to 1258", "\xE9", 20127, 1258, "\xE9", true, false},
      {"ASCII to OEM converts", "\xE9", 20127, 437, "?", false, true},
      {"ASCII to an unknown page converts", "abc", 20127, 1259, "", false, true},
      {"7-bit OEM to UTF-8", "abc", 437, 65001, "abc", true, false},
      {"7-bit OEM past a word", "abcdefghijk", 437, 65001, "abcdefghijk", true, false},
      {"7-bit OEM to Latin-1", "abc", 437, 28591, "abc", true, false},
      {"OEM e acute to UTF-8", "a\x82", 437, 65001, "a\xC3\xA9", true, true},
      {"OEM e acute to 1252", "a\x82", 437, 1252, "a\xE9", true, true},
      {"7-bit OEM to 1251 converts", "abc", 437, 1251, "abc", true, true},
      {"1252 to UTF-8", "caf\xE9 \x80", 1252, 65001, "caf\xC3\xA9 \xE2\x82\xAC", true, true},
      {"OEM high byte inside the first eight", "abcdef\x82gh", 437, 65001, "abcdef\xC3\xA9gh", true, true},
      // appendN drops trailing zero bytes, so UTF-16 text loses its last one.
      {"UTF-8 to UTF-16", "A\xC3\xA9", 65001, 1200, string("A\0\xE9", 3), true, true},
      {"loss gives false, keeps the rest", "a\xE2\x82\xAC", 65001, 28591, "a?", false, true},
      {"unknown page empties", "abc", 65001, 4242, "", false, true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.content);
    LogNull log;
    ScopedAllocatorControl control;
    EXPECT_EQ(r.ok, sb.convertEncoding(r.from, r.to, log));
    EXPECT_EQ(r.want, bytesOf(sb));
    // A short-cut never reaches the converter, so nothing is allocated.
    if (!r.converts) {
      EXPECT_EQ(0u, control.allocations());
    }
  }
}

TEST(CodePages, ConvertEncoding2) {
  LogNull log;
  StringBuffer sb("caf\xE9");
  StringBuffer out(">");
  EXPECT_TRUE(sb.convertEncoding2(1252, 65001, out, log));
  EXPECT_TRUE(sb.convertEncoding2(1252, 65001, out, log));
  EXPECT_EQ(">caf\xC3\xA9" "caf\xC3\xA9", bytesOf(out));
  EXPECT_EQ("caf\xE9", bytesOf(sb));
  // Short-cuts append the content unchanged; a failure appends nothing.
  StringBuffer ascii("x\xE9");
  StringBuffer out2;
  EXPECT_TRUE(ascii.convertEncoding2(20127, 65001, out2, log));
  EXPECT_TRUE(ascii.convertEncoding2(7, 7, out2, log));
  EXPECT_TRUE(ascii.convertEncoding2(0, 65001, out2, log));
  EXPECT_FALSE(ascii.convertEncoding2(65001, 28591, out2, log));
  EXPECT_FALSE(ascii.convertEncoding2(65001, 4242, out2, log));
  EXPECT_EQ("x\xE9x\xE9x\xE9", bytesOf(out2));
  StringBuffer empty;
  EXPECT_TRUE(empty.convertEncoding2(65001, 4242, out2, log));
  EXPECT_EQ(6u, out2.getSize());
}

TEST(CodePages, InPlaceConversions) {
  LogNull log;
  struct Row { const char* name; void (*op)(StringBuffer&); string in, want; };
  const Row rows[] = {
      {"cvAnsiToUtf8", [](StringBuffer& sb) { LogNull l; sb.cvAnsiToUtf8(l); }, "caf\xE9\x80", "caf\xC3\xA9\xE2\x82\xAC"},
      {"cvAnsiToUtf8, empty", [](StringBuffer& sb) { LogNull l; sb.cvAnsiToUtf8(l); }, "", ""},
      {"cvUtf8ToAnsi", [](StringBuffer& sb) { sb.cvUtf8ToAnsi(); }, "caf\xC3\xA9\xE2\x82\xAC", "caf\xE9\x80"},
      {"cvUtf8ToAnsi, no 1252 form", [](StringBuffer& sb) { sb.cvUtf8ToAnsi(); }, "\xE4\xB8\xAD!", "?!"},
      {"convertToAnsi", [](StringBuffer& sb) { sb.convertToAnsi(437); }, "\x82", "\xE9"},
      {"convertFromAnsi", [](StringBuffer& sb) { sb.convertFromAnsi(437); }, "\xE9", "\x82"},
      {"convertToOem", [](StringBuffer& sb) { sb.convertToOem(1252); }, "\xE9", "\x82"},
      {"convertFromOem", [](StringBuffer& sb) { sb.convertFromOem(65001); }, "\x82", "\xC3\xA9"},
      {"unknown page leaves nothing", [](StringBuffer& sb) { sb.convertFromOem(4242); }, "abc", ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.in);
    r.op(sb);
    EXPECT_EQ(r.want, bytesOf(sb));
  }
  // The ANSI code page is the application's choice.
  Psdk::setAnsiCodePage(1251);
  StringBuffer cyr("\xC0");
  cyr.cvAnsiToUtf8(log);
  Psdk::setAnsiCodePage(0);
  EXPECT_EQ("\xD0\x90", bytesOf(cyr));
}

TEST(CodePages, ToUnicode) {
  DataBuffer out;
  out.append("old", 3);
  StringBuffer("\xE9").cvAnsiToUnicode(out);
  EXPECT_EQ(string("\xE9\0", 2), bytesOf(out));
  StringBuffer("\xE2\x82\xAC").cvUtf8ToUnicode(out);
  EXPECT_EQ(string("\xAC\x20", 2), bytesOf(out));
  StringBuffer().cvUtf8ToUnicode(out);
  EXPECT_EQ(0u, out.getSize());
  out.append("old", 3);
  StringBuffer().cvAnsiToUnicode(out);
  EXPECT_EQ(0u, out.getSize());
}

TEST(CodePages, AppendNullTerminatedUtf16AsUtf8) {
  StringBuffer sb("x");
  EXPECT_TRUE(sb.appendNullTerminatedUtf16AsUtf8(nullptr));
  const unsigned short empty[] = {0};
  EXPECT_TRUE(sb.appendNullTerminatedUtf16AsUtf8(empty));
  const unsigned short ab[] = {'A', 'b', 0, 'z', 0};
  EXPECT_TRUE(sb.appendNullTerminatedUtf16AsUtf8(ab));
  const unsigned short wide[] = {0xE9, 0x20AC, 0xD83D, 0xDE00, 0xDC00, 0};
  EXPECT_TRUE(sb.appendNullTerminatedUtf16AsUtf8(wide));
  EXPECT_EQ("xAb\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD", bytesOf(sb));
}

// The validator itself is proven in the UTF tests; here zero bytes count as text.
TEST(CodePages, ByteChecks) {
  EXPECT_TRUE(StringBuffer().isValidUtf8() && bufferOf(string("a\0\xC3\xA9", 4)).isValidUtf8());
  EXPECT_FALSE(bufferOf("\xC0\xAF").isValidUtf8() || bufferOf("\xED\xA0\x80").isValidUtf8());
  auto listed = [](int b) {
    return b == 129 || b == 131 || (b >= 133 && b <= 140) || (b >= 164 && b <= 168) || (b >= 170 && b <= 173) ||
           (b >= 175 && b <= 191);
  };
  unsigned int eight = 7, improbable = 7;
  for (int b = 0; b < 256; ++b) {
    bufferOf(string(1, static_cast<char>(b))).countImprobableAnsiChars(eight, improbable);
    EXPECT_EQ(b >= 128 ? 1u : 0u, eight) << b;
    EXPECT_EQ(listed(b) ? 1u : 0u, improbable) << b;
  }
  bufferOf("a\xE9\xB0\x80").countImprobableAnsiChars(eight, improbable);
  EXPECT_EQ(3u, eight);
  EXPECT_EQ(1u, improbable);
  bufferOf(string(37, 'a') + "\xB0" + string(9, '\0') + "\xE9").countImprobableAnsiChars(eight, improbable);
  EXPECT_EQ(2u, eight);
  EXPECT_EQ(1u, improbable);
}

// Watches released blocks for a run of "aa", in every form the test text
// takes (1252, UTF-8, UTF-16, Shift_JIS). Blocks that were reserved and
// never written are not content, whatever filler the allocator left in them.
class TextWatcher {
 public:
  TextWatcher() { ByteAllocator::TestControl::setReleaseObserver(&TextWatcher::observe, this); }
  ~TextWatcher() { ByteAllocator::TestControl::setReleaseObserver(nullptr, nullptr); }
  TextWatcher(const TextWatcher&) = delete;
  TextWatcher& operator=(const TextWatcher&) = delete;
  unsigned int releases() const { return m_releases; }
  bool sawContent() const { return m_sawContent; }

 private:
  static void observe(const unsigned char* block, uint32_t size, void* context) {
    auto* self = static_cast<TextWatcher*>(context);
    ++self->m_releases;
    for (uint32_t i = 0; i + 2 < size; ++i)
      if (block[i] == 'a' && (block[i + 1] == 'a' || (block[i + 1] == 0 && block[i + 2] == 'a')))
        self->m_sawContent = true;
  }
  unsigned int m_releases = 0;
  bool m_sawContent = false;
};

// Nothing the conversions release may still hold the text of a secure
// buffer: not the old content, not the scratch output, not the pivot.
TEST(CodePages, SecureTemporariesAreWiped) {
  const string latin = string(150, 'a') + "\xE9\x80";
  struct Row { const char* name; void (*op)(StringBuffer&); };
  const Row rows[] = {
      {"cvAnsiToUtf8", [](StringBuffer& sb) { LogNull l; sb.cvAnsiToUtf8(l); }},
      {"convertEncoding to UTF-16", [](StringBuffer& sb) { LogNull l; sb.convertEncoding(1252, 1200, l); }},
      {"convertEncoding through the pivot", [](StringBuffer& sb) { LogNull l; sb.convertEncoding(1252, 932, l); }},
      {"convertFromAnsi", [](StringBuffer& sb) { sb.convertFromAnsi(65001); }},
      {"convertToOem", [](StringBuffer& sb) { sb.convertToOem(1252); }},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    TextWatcher watcher;
    {
      StringBuffer sb;
      sb.setSecureBuf(true);
      sb.append(latin.c_str());
      r.op(sb);
    }
    EXPECT_GT(watcher.releases(), 0u);
    EXPECT_FALSE(watcher.sawContent());
  }
}

// The scratch buffer cannot grow: convertEncoding ends with empty content and
// false, convertEncoding2 leaves both buffers as they were.
TEST(CodePages, FailedAllocation) {
  LogNull log;
  StringBuffer sb("caf\xE9"), src("caf\xE9"), out("keep");
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(sb.convertEncoding(1252, 65001, log));
  control.failNth(1);
  EXPECT_FALSE(src.convertEncoding2(1252, 65001, out, log));
  EXPECT_EQ("", bytesOf(sb));
  EXPECT_EQ("keep", bytesOf(out));
  EXPECT_EQ("caf\xE9", bytesOf(src));
}

}  // namespace
