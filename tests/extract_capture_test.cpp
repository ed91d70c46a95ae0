#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

TEST(ExtractCapture, Extraction) {
  struct Row {
    const char* name;
    std::function<bool(StringBuffer&, StringBuffer&)> op;
    const char* content;
    bool result;
    const char* out;    // appended behind "out:"
    const char* after;  // the object afterwards
  };
  const Row rows[] = {
      {"between", [](StringBuffer& s, StringBuffer& o) { return s.getBetween("(", ")", o); }, "a(b)c", true, "b", "a(b)c"},
      {"between, unclosed", [](StringBuffer& s, StringBuffer& o) { return s.getBetween("(", ")", o); }, "a(bc", false, "", "a(bc"},
      {"delimited", [](StringBuffer& s, StringBuffer& o) { s.getDelimited("[", "]", false, o); return true; }, "x[y]z", true, "y", "x[y]z"},
      {"delimited, markers", [](StringBuffer& s, StringBuffer& o) { s.getDelimited("[", "]", true, o); return true; }, "x[y]z", true, "[y]", "x[y]z"},
      {"before, consume", [](StringBuffer& s, StringBuffer& o) { return s.getBefore(":", true, o); }, "key:value", true, "key", "value"},
      {"before, absent", [](StringBuffer& s, StringBuffer& o) { return s.getBefore("#", true, o); }, "key:value", false, "key:value", ""},
      {"after final", [](StringBuffer& s, StringBuffer& o) { return s.getAfterFinal("/", true, o); }, "a/b/c", true, "c", "a/b"},
      {"after final, absent", [](StringBuffer& s, StringBuffer& o) { return s.getAfterFinal("#", false, o); }, "a/b", false, "a/b", "a/b"},
      {"separate", [](StringBuffer& s, StringBuffer& o) { return s.separate('=', o, o); }, "=x", true, "x", "=x"},
      {"pop 8-bit", [](StringBuffer& s, StringBuffer& o) { return s.pop('\xE9', o); }, "a\xE9" "b\xE9" "c", true, "c", "a\xE9" "b"},
      {"into itself", [](StringBuffer& s, StringBuffer&) { return s.getBefore(":", true, s); }, "k:v", false, "", "k:v"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb(r.content), out("out:");
    EXPECT_EQ(r.result, r.op(sb, out));
    EXPECT_EQ(std::string("out:") + r.out, bytesOf(out)) << "outputs are appended to";
    EXPECT_EQ(r.after, bytesOf(sb));
  }
  unsigned offset = 9;
  StringBuffer sb("abc"), out;
  EXPECT_FALSE(sb.copyUntil("c", 3, offset, out) || offset != 0) << "start at the length";
  EXPECT_TRUE(sb.copyUntil("c", 1, offset, out) && offset == 1 && sb.getSize() == 3);
}

TEST(ExtractCapture, NamedValuesAndAttributes) {
  struct Row { const char* content; const char* name; bool found; const char* value; };
  const Row rows[] = {
      {"text/plain; charset=utf-8; format=flowed", " charset\t", true, "utf-8"},
      {"uid=5;id=7", "id", true, "5"},
      {"a= 1 ;b=2", "a", true, " 1 "},
      {"x=1;y", nullptr, true, "1"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.content);
    StringBuffer sb(r.content), value("stale");
    EXPECT_EQ(r.found, sb.getNamedValue(r.name, value));
    EXPECT_EQ(r.value, bytesOf(value)) << "the value is emptied first";
  }
  struct Attr { const char* content; bool unquote; const char* name; const char* value; };
  const Attr attrs[] = {
      {" n = \"a b\" ", true, "n", "a b"}, {" n = \"a b\" ", false, "n", "\"a b\""},
      {" lonely\t", true, "lonely", ""},   {"=x", true, "", "x"},
  };
  for (const Attr& a : attrs) {
    SCOPED_TRACE(a.content);
    StringBuffer name("stale"), value("stale");
    StringBuffer(a.content).splitAttrValue(name, value, a.unquote);
    EXPECT_EQ(a.name, bytesOf(name));
    EXPECT_EQ(a.value, bytesOf(value));
  }
}

TEST(ExtractCapture, CaptureClassesOverAllBytes) {
  const std::string digits = "0123456789", ws = "\t\n\r ",
                    letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  struct Row { const char* name; unsigned (StringBuffer::*op)(const char*); std::string members; bool complement; };
  const Row rows[] = {
      {"decimal", &StringBuffer::captureDecimal, digits, false}, {"ws", &StringBuffer::captureWS, ws, false},
      {"hex", &StringBuffer::captureHex, digits + "ABCDEFabcdef", false}, {"nonws", &StringBuffer::captureNonWS, ws, true},
      {"identifier", &StringBuffer::captureIdentifier, letters + digits + "_", false},
      {"alpha", &StringBuffer::captureAlpha, letters, false}, {"alphanum", &StringBuffer::captureAlphaNum, letters + digits, false},
  };
  for (const Row& r : rows) {
    for (unsigned b = 1; b < 256; ++b) {
      SCOPED_TRACE(std::string(r.name) + " byte " + std::to_string(b));
      const std::string s(2, static_cast<char>(b));
      StringBuffer sb("pre");
      const bool in = (r.members.find(static_cast<char>(b)) != std::string::npos) != r.complement;
      EXPECT_EQ(in ? 2u : 0u, (sb.*r.op)(s.c_str()));
      EXPECT_EQ(in ? "pre" + s : "pre", bytesOf(sb));
    }
  }
  StringBuffer sb("old");
  EXPECT_EQ(0u, sb.captureDecimal(nullptr));
  EXPECT_EQ(5u, sb.captureLine("  AbC\r\nnext", true, true));
  EXPECT_EQ("abc", bytesOf(sb)) << "captureLine replaces the content";
}
