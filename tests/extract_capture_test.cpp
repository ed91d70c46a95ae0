#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "test_support.h"

TEST(ExtractCapture, Extraction) {
  struct Row { const char* name; std::function<bool(StringBuffer&, StringBuffer&)> op; const char* content; bool result; const char* out; const char* after; };
  const auto attr = [](bool unquote, const char* name) {  // true when the name buffer, "stale" before, gets name
    return [=](StringBuffer& s, StringBuffer& o) { StringBuffer got("stale"); s.splitAttrValue(got, o, unquote); return bytesOf(got) == name; };
  };
  const Row rows[] = {  // out starts as "out:" to tell appending from emptying; after is nullptr when unchanged
      {"between", [](StringBuffer& s, StringBuffer& o) { return s.getBetween("(", ")", o); }, "a(b)c", true, "out:b", nullptr},
      {"between, unclosed", [](StringBuffer& s, StringBuffer& o) { return s.getBetween("(", ")", o); }, "a(bc", false, "out:", nullptr},
      {"delimited", [](StringBuffer& s, StringBuffer& o) { s.getDelimited("[", "]", false, o); return true; }, "x[y]z", true, "out:y", nullptr},
      {"delimited, markers", [](StringBuffer& s, StringBuffer& o) { s.getDelimited("[", "]", true, o); return true; }, "x[y]z", true, "out:[y]", nullptr},
      {"delimited, one marker for both", [](StringBuffer& s, StringBuffer& o) { s.getDelimited("|", "|", true, o); return true; }, "a|b|c", true, "out:|b|", nullptr},
      {"before, consume", [](StringBuffer& s, StringBuffer& o) { return s.getBefore(":", true, o); }, "key:value", true, "out:key", "value"},
      {"before, absent", [](StringBuffer& s, StringBuffer& o) { return s.getBefore("#", true, o); }, "key:value", false, "out:key:value", ""},
      {"after final", [](StringBuffer& s, StringBuffer& o) { return s.getAfterFinal("/", true, o); }, "a/b/c", true, "out:c", "a/b"},
      {"after final, absent", [](StringBuffer& s, StringBuffer& o) { return s.getAfterFinal("#", false, o); }, "a/b", false, "out:a/b", nullptr},
      {"separate", [](StringBuffer& s, StringBuffer& o) { return s.separate('=', o, o); }, "=x", true, "out:x", nullptr},
      {"pop, absent", [](StringBuffer& s, StringBuffer& o) { return s.pop('#', o); }, "a=b", false, "out:", nullptr},
      {"separate, absent", [](StringBuffer& s, StringBuffer& o) { return s.separate('#', o, o); }, "a=b", false, "out:", nullptr},
      {"pop 8-bit", [](StringBuffer& s, StringBuffer& o) { return s.pop('\xE9', o); }, "a\xE9" "b\xE9" "c", true, "out:c", "a\xE9" "b"},
      {"into itself", [](StringBuffer& s, StringBuffer& o) { return s.getBefore(":", true, s) || s.getAfterFinal(":", true, s) ||
          s.pop(':', s) || s.separate(':', s, o) || s.separate(':', o, s); }, "k:v", false, "out:", nullptr},
      {"pop adds no zero byte", [](StringBuffer& s, StringBuffer&) { StringBuffer o = bufferOf(std::string("x\0", 2));
          return s.pop('=', o) && bytesOf(o) == std::string("x\0", 2); }, "a=", true, "out:", "a"},
      {"named value", [](StringBuffer& s, StringBuffer& o) { return s.getNamedValue(" charset\t", o); }, "text/plain; charset=utf-8; format=flowed", true, "utf-8", nullptr},
      {"named value inside a name", [](StringBuffer& s, StringBuffer& o) { return s.getNamedValue("id", o); }, "uid=5;id=7", true, "5", nullptr},
      {"named value keeps spaces", [](StringBuffer& s, StringBuffer& o) { return s.getNamedValue("a", o); }, "a= 1 ;b=2", true, " 1 ", nullptr},
      {"null name", [](StringBuffer& s, StringBuffer& o) { return s.getNamedValue(nullptr, o); }, "x=1;y", true, "1", nullptr},
      {"attr unquoted", attr(true, "n"), " n = \"a b\" ", true, "a b", nullptr},
      {"attr quotes kept", attr(false, "n"), " n = \"a b\" ", true, "\"a b\"", nullptr},
      {"attr without value", attr(true, "lonely"), " lonely\t", true, "", nullptr},
      {"attr without name", attr(true, ""), "=x", true, "x", nullptr},
      {"copyUntil", [](StringBuffer& s, StringBuffer& o) { unsigned n = 9; return s.copyUntil("c", 1, n, o) && n == 1; }, "abc", true, "out:b", nullptr},
      {"copyUntil from the length", [](StringBuffer& s, StringBuffer& o) { unsigned n = 9; return s.copyUntil("c", 3, n, o) || s.copyUntil(nullptr, 0, n, o) || n != 0; }, "abc", false, "out:", nullptr},
      {"capture from null", [](StringBuffer& s, StringBuffer&) { return s.captureDecimal(nullptr) == 0; }, "old", true, "out:", nullptr},
      {"captureLine from its own content", [](StringBuffer& s, StringBuffer&) { return s.captureLine(s.getString() + 1, false, false) == 4; }, "xline\r\n", true, "out:", "line"},
      {"captureLine keeps VT and FF", [](StringBuffer& s, StringBuffer&) { return s.captureLine("\v\fa\rb", false, false) == 3; }, "old", true, "out:", "\v\fa"},
      {"captureLine replaces", [](StringBuffer& s, StringBuffer&) { return s.captureLine("  AbC\r\nnext", true, true) == 5; }, "old", true, "out:", "abc"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb(r.content), out("out:");
    EXPECT_EQ(r.result, r.op(sb, out));
    EXPECT_EQ(r.out, bytesOf(out));
    EXPECT_EQ(r.after != nullptr ? r.after : r.content, bytesOf(sb));
  }
}

TEST(ExtractCapture, CaptureClassesOverAllBytes) {
  const std::string digits = "0123456789", ws = "\t\n\r ", letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  struct Row { const char* name; unsigned (StringBuffer::*op)(const char*); std::string members; bool complement; };
  const Row rows[] = {
      {"decimal", &StringBuffer::captureDecimal, digits, false}, {"ws", &StringBuffer::captureWS, ws, false},
      {"hex", &StringBuffer::captureHex, digits + "ABCDEFabcdef", false}, {"nonws", &StringBuffer::captureNonWS, ws, true},
      {"identifier", &StringBuffer::captureIdentifier, letters + digits + "_", false}, {"alpha", &StringBuffer::captureAlpha, letters, false},
      {"alphanum", &StringBuffer::captureAlphaNum, letters + digits, false},
  };
  for (const Row& r : rows) {
    for (unsigned b = 1; b < 256; ++b) {
      SCOPED_TRACE(std::string(r.name) + " byte " + std::to_string(b));
      const std::string s(2, static_cast<char>(b)), taken = (r.members.find(s[0]) != std::string::npos) != r.complement ? s : "";
      StringBuffer sb("pre");
      EXPECT_EQ(taken.size(), (sb.*r.op)(s.c_str()));
      EXPECT_EQ("pre" + taken, bytesOf(sb)) << "captures append";
    }
  }
}
