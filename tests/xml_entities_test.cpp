#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "lib/EntityRefChecker.h"
#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/StringPair.h"
#include "test_support.h"

#ifdef SB_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif

namespace {

using std::string;

string entityOf(char c) {
  static const char kBytes[] = "&<>\"'\t\n\r";
  static const char* const kEntities[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#9;", "&#10;", "&#13;"};
  const char* p = c != 0 ? std::strchr(kBytes, c) : nullptr;
  return p != nullptr ? kEntities[p - kBytes] : string(1, c);
}

ExtPtrArray* pairs(std::initializer_list<std::pair<const char*, const char*>> list) {
  auto* a = new ExtPtrArray;
  for (const auto& p : list) a->appendPtr(new StringPair(p.first, p.second));
  return a;
}

// Each escaper's exact subset, over every byte value: a byte outside the
// subset must come through as it is.
TEST(XmlEntities, EscapedSubsetsOverAllBytes) {
  LogNull log;
  enum Op { kReplaceXml, kReplaceHtml, kEncodePre, kEncode, kAppendXml, kNoCdata, kNoCdataN, kEntityEncode,
            kAttribute, kSimpleXml, kOpCount };
  const auto run = [&log](int op, const string& in) {
    StringBuffer sb = bufferOf(op <= kEncode ? in : "");
    switch (op) {
      case kReplaceXml: sb.replaceXMLSpecial(); break;
      case kReplaceHtml: sb.replaceHTMLSpecial(); break;
      case kEncodePre: EXPECT_TRUE(sb.encodePreDefinedXmlEntities(0)); break;
      case kEncode: sb.encodeXMLSpecial(log); break;
      case kAppendXml: sb.appendXml(in.c_str()); break;
      case kNoCdata: sb.appendXmlNoCdata(in.c_str()); break;
      case kNoCdataN: sb.appendXmlNoCdataN(in.c_str(), static_cast<unsigned int>(in.size())); break;
      case kEntityEncode: EXPECT_TRUE(sb.appendAndXmlEntityEncode(in.c_str(), 0)); break;
      case kAttribute: {
        std::unique_ptr<ExtPtrArray> a(pairs({{"k", in.c_str()}}));
        sb.appendXmlOpenTag("t", a.get());
        return bytesOf(sb).substr(6, sb.getSize() - 9);  // between <t k=" and ">\n
      }
      default:
        sb.simpleXml("t", in.c_str(), 0, nullptr, nullptr, log);
        return bytesOf(sb).substr(3, sb.getSize() - 7);  // between <t> and </t>
    }
    return bytesOf(sb);
  };
  const char* const subsets[kOpCount] = {"&<>", "&<>\"", "&<>", "&<>", "&<>\"'", "&<>\"'", "&<>\"'", "&<>",
                                         "&<>\"'\t\n\r", "&<>"};
  for (int op = 0; op < kOpCount; ++op) {
    SCOPED_TRACE("operation " + std::to_string(op));
    for (int b = 1; b < 256; ++b) {
      const char c = static_cast<char>(b);
      if ((c == '\t' || c == '\n') && op == kAppendXml) continue;  // CDATA, below
      const string want = "x" + (std::strchr(subsets[op], c) != nullptr ? entityOf(c) : string(1, c)) + "y";
      EXPECT_EQ(want, run(op, "x" + string(1, c) + "y")) << "byte " << b;
    }
  }
}

// The counts: encodeXMLSpecial's replacements, replaceXMLSpecial's ">"
// (its last pass), replaceHTMLSpecial's quotes, 1 for encodePreDefined's
// true; the decoders never allocate.
TEST(XmlEntities, RewritesInPlace) {
  LogNull log;
  enum Op { kEncode, kReplaceXml, kReplaceHtml, kEncodePre, kDecodePre, kHtml, kXml };
  const auto run = [&log](Op op, unsigned int start, StringBuffer& sb) -> unsigned int {
    switch (op) {
      case kEncode: return sb.encodeXMLSpecial(log);
      case kReplaceXml: return sb.replaceXMLSpecial();
      case kReplaceHtml: return sb.replaceHTMLSpecial();
      case kEncodePre: return sb.encodePreDefinedXmlEntities(start) ? 1 : 0;
      case kDecodePre: return sb.decodePreDefinedXmlEntities(start);
      case kHtml: return sb.decodeHTMLSpecial() ? 1 : 0;
      default: return sb.decodeXMLSpecial();
    }
  };
  struct Row { const char* name; Op op; unsigned int start; string in, want; unsigned int n; };
  const Row rows[] = {
      {"known, named and numeric references kept", kEncode, 0, "&lt;&gt;&amp;&quot;&eacute;&#169;&#xA9;&AMP;",
       "&lt;&gt;&amp;&quot;&eacute;&#169;&#xA9;&AMP;", 0},
      {"unknown or unclosed names, < and > escaped", kEncode, 0, "&Amp; &bogus; &eacute a<b>c",
       "&amp;Amp; &amp;bogus; &amp;eacute a&lt;b&gt;c", 5},
      {"encode empty", kEncode, 0, "", "", 0},
      {"replace, entities included", kReplaceXml, 0, "a<b>c&d>", "a&lt;b&gt;c&amp;d&gt;", 2},
      {"replace without >", kReplaceXml, 0, "&", "&amp;", 0},
      {"replace html", kReplaceHtml, 0, "\"&amp;\"", "&quot;&amp;amp;&quot;", 2},
      {"nothing before a zero byte: left whole", kReplaceHtml, 0, string("a\0<", 3), string("a\0<", 3), 0},
      {"numeric references kept, named and incomplete ones escaped", kEncodePre, 0,
       "a<b & c &#169; &#xA9; &#X1f; &amp; &#; &#12 &#1a; &#x",
       "a&lt;b &amp; c &#169; &#xA9; &#X1f; &amp;amp; &amp;#; &amp;#12 &amp;#1a; &amp;#x", 1},
      {"bytes before start untouched", kEncodePre, 3, "<x>&<y>", "<x>&amp;&lt;y&gt;", 1},
      {"zero bytes are content", kEncodePre, 0, string("<\0>", 3), string("&lt;\0&gt;", 9), 1},
      {"start past the end", kEncodePre, 5, "<", "<", 1},
      {"predefined, all five and no second pass", kDecodePre, 0, "&lt;a&gt; &amp;lt; &apos;&quot; &#65; &AMP;",
       "<a> &lt; '\" &#65; &AMP;", 5},
      {"predefined from an offset", kDecodePre, 4, "&lt;&lt;", "&lt;<", 1},
      {"predefined stops at a zero byte", kDecodePre, 0, string("&lt;\0&gt;", 9), "<", 1},
      {"predefined, entity cut by the end", kDecodePre, 0, "a&quot", "a&quot", 0},
      {"html leaves &apos;", kHtml, 0, "&apos;&quot;", "&apos;\"", 1},
      {"html, &amp;lt; once", kHtml, 0, "&amp;lt;", "&lt;", 1},
      {"html, nothing", kHtml, 0, "a&b", "a&b", 0},
      {"xml, &amp; last", kXml, 0, "a&amp;gt;b", "a&gt;b", 1},
      {"xml, three kinds", kXml, 0, "&lt;&gt;&amp;&quot;", "<>&&quot;", 3},
      {"xml, upper case names stay", kXml, 0, "&LT;", "&LT;", 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.in);
    ScopedAllocatorControl control;
    EXPECT_EQ(r.n, run(r.op, r.start, sb));
    EXPECT_EQ(r.want, bytesOf(sb));
    if (r.op >= kDecodePre) {
      EXPECT_EQ(0u, control.allocations());
    }
  }
  // encodePreDefinedXmlEntities: nothing to escape, no allocation; no room
  // for the rebuilt text, false and the content as it was.
  StringBuffer plain = bufferOf(string(100, 'a') + "&#65;");
  ScopedAllocatorControl control;
  EXPECT_TRUE(plain.encodePreDefinedXmlEntities(0));
  EXPECT_EQ(0u, control.allocations());
  StringBuffer failing = bufferOf(string(90, 'a') + "<");
  control.failNth(1);
  EXPECT_FALSE(failing.encodePreDefinedXmlEntities(0));
  EXPECT_EQ(string(90, 'a') + "<", bytesOf(failing));
}

TEST(XmlEntities, AppendText) {
  enum Op { kXml, kNoCdataN, kEntityEncode };
  struct Row { const char* name; Op op; const char* in; unsigned int n; string want; };
  const Row rows[] = {
      {"entities", kXml, "x<'y'", 0, "x&lt;&apos;y&apos;"},
      {"TAB gives CDATA", kXml, "a\t<&", 0, "<![CDATA[a\t<&]]>"},
      {"]]> splits the section", kXml, "a\n]]>b]]>", 0, "<![CDATA[a\n]]]]><![CDATA[>b]]]]><![CDATA[>]]>"},
      {"]]> without TAB or LF is escaped", kXml, "]]>", 0, "]]&gt;"},
      {"null", kXml, nullptr, 0, ""},
      {"counted bytes only", kNoCdataN, "a<b", 2, "a&lt;"},
      {"no bytes", kNoCdataN, "<<<", 0, ""},
      {"entity encode, counted bytes only", kEntityEncode, "a&bc", 3, "a&amp;b"},
      {"entity encode stops at a zero byte", kEntityEncode, "<\0>", 3, "&lt;"},
      {"entity encode, null", kEntityEncode, nullptr, 4, ""},
      {"entity encode, empty", kEntityEncode, "", 0, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb("-");
    switch (r.op) {
      case kXml: sb.appendXml(r.in); break;
      case kNoCdataN: sb.appendXmlNoCdataN(r.in, r.n); break;
      default: EXPECT_TRUE(sb.appendAndXmlEntityEncode(r.in, r.n));
    }
    EXPECT_EQ("-" + r.want, bytesOf(sb));
  }
  // Text taken from the buffer itself while it moves to the heap.
  StringBuffer self = bufferOf(string(60, '<'));
  self.appendXml(self.getString());
  string want(60, '<');
  for (int i = 0; i < 60; ++i) want += "&lt;";
  EXPECT_EQ(want, bytesOf(self));

  // appendAndXmlEntityEncode reserves the worst case up front: a failing
  // growth changes nothing.
  StringBuffer failing("x");
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(failing.appendAndXmlEntityEncode("abcdefghijklmnopq", 0));
  EXPECT_EQ("x", bytesOf(failing));
}

// Output goes out in chunks of at least 250 bytes: failing the second growth
// shows where the first chunk ended.
TEST(XmlEntities, AppendXmlNoCdataChunks) {
  struct Row { const char* name; string in; unsigned int firstChunk; };
  const Row rows[] = {
      {"plain run", string(600, 'a'), 250},
      {"entity pushes past 250", string(249, 'a') + "&" + string(100, 'b'), 254},
      {"staged bytes then a long run", "<" + string(600, 'c'), 250},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb;
    sb.setExtendSize(0);
    ScopedAllocatorControl control;
    control.failNth(2);
    sb.appendXmlNoCdata(r.in.c_str());
    EXPECT_EQ(r.firstChunk, sb.getSize());
  }
  // Without failures the whole text arrives.
  StringBuffer whole;
  whole.appendXmlNoCdata(("<" + string(600, 'c') + ">").c_str());
  EXPECT_EQ("&lt;" + string(600, 'c') + "&gt;", bytesOf(whole));
}

TEST(XmlEntities, Tags) {
  LogNull log;
  std::unique_ptr<ExtPtrArray> lang(pairs({{"lang", "en"}}));
  std::unique_ptr<ExtPtrArray> none(pairs({}));
  struct Row { const char* name; std::function<bool(StringBuffer&)> op; string want; };
  const Row rows[] = {
      {"open tag", [&](StringBuffer& sb) { return sb.appendXmlOpenTag("doc", lang.get()); }, "<doc lang=\"en\">\n"},
      {"open tag, null list", [&](StringBuffer& sb) { return sb.appendXmlOpenTag("doc", nullptr); }, "<doc>\n"},
      {"open tag, empty list", [&](StringBuffer& sb) { return sb.appendXmlOpenTag("doc", none.get()); }, "<doc>\n"},
      {"close tag", [&](StringBuffer& sb) { return sb.appendXmlCloseTag("doc"); }, "</doc>\n"},
      {"element", [&](StringBuffer& sb) { return sb.appendXml("p", *none, "1<2"); }, "<p>1&lt;2</p>\n"},
      {"element with CDATA and attribute",
       [&](StringBuffer& sb) { return sb.appendXml("p", *lang, "a\nb"); },
       "<p lang=\"en\"><![CDATA[a\nb]]></p>\n"},
      {"simpleXml self-closing",
       [&](StringBuffer& sb) {
         const char* names[] = {"k", nullptr};
         const char* values[] = {"v", "skipped"};
         return sb.simpleXml("a", "", 2, names, values, log);
       },
       "<a k=\"v\" />"},
      {"simpleXml content, references kept",
       [&](StringBuffer& sb) { return sb.simpleXml("a", "1<2 &amp; &eacute; & x", 0, nullptr, nullptr, log); },
       "<a>1&lt;2 &amp; &eacute; &amp; x</a>"},
      {"name and value", [](StringBuffer& sb) { return sb.appendNameValue("n", "say \"hi\""); }, "n=\"say \\\"hi\\\"\""},
      {"name and null value", [](StringBuffer& sb) { return sb.appendNameValue("n", nullptr); }, "n=\"\""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb;
    EXPECT_TRUE(r.op(sb));
    EXPECT_EQ(r.want, bytesOf(sb));
    // All or nothing: with growth failing, nothing at all is written.
    StringBuffer full = bufferOf(string(81, '.'));
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(r.op(full));
    EXPECT_EQ(string(81, '.'), bytesOf(full));
  }
}

TEST(XmlEntities, SecureTemporaries) {
  LogNull log;
  using Op = std::function<void(StringBuffer&)>;
  // The in-place rewrites are watched with every other operation in the secure-wipe sweep.
  const Op ops[] = {
      [](StringBuffer& sb) { sb.appendXmlNoCdata(sb.getString()); },
      [&log](StringBuffer& sb) { sb.simpleXml("t", sb.getString(), 0, nullptr, nullptr, log); },
  };
  for (size_t i = 0; i < std::size(ops); ++i) {
    SCOPED_TRACE(i);
    StringBuffer sb = bufferOf(string(600, 's') + "<&>\"");
    sb.setSecureBuf(true);
    ReleaseWatcher watcher(150);
    ops[i](sb);
    EXPECT_GE(watcher.releases(), 1u);
    EXPECT_FALSE(watcher.sawContent());
    EXPECT_NE(string::npos, bytesOf(sb).find(string(600, 's') + "&lt;&amp;&gt;", 604)) << "read after the move";
  }
}

TEST(EntityRefChecker, StartsWithEntityRef) {
  LogNull log;
  struct Row { const char* text; bool want; };
  const Row rows[] = {
      {"&amp;", true}, {"&AMP;x", true}, {"&AElig;", true}, {"&zwnj;", true}, {"&eacute;", true},
      {"&CounterClockwiseContourIntegral;", true}, {"&Amp;", false}, {"&eacute", false}, {"&;", false},
      {"&CounterClockwiseContourIntegralX;", false}, {"&#65;", true}, {"&#x1f;", true}, {"&#X1F;", true},
      {"&#;", false}, {"&#x;", false}, {"&#12", false}, {"&#1a;", false}, {"amp;", false}, {"", false},
      {"&am p;", false}, {"&zz;", false}, {"&a;", false},
  };
  for (const Row& r : rows) EXPECT_EQ(r.want, EntityRefChecker::startsWithEntityRef(r.text, log)) << r.text;
  EXPECT_FALSE(EntityRefChecker::startsWithEntityRef(nullptr, log));
}

#ifdef SB_HAVE_LIBXML2
struct XmlDoc {
  explicit XmlDoc(const string& text)
      : doc(xmlReadMemory(text.data(), static_cast<int>(text.size()), "t.xml", nullptr, XML_PARSE_NONET)) {}
  ~XmlDoc() { xmlFreeDoc(doc); }
  xmlNode* root() const { return xmlDocGetRootElement(doc); }
  xmlDoc* doc;
};

string contentOf(xmlNode* node) {
  xmlChar* text = xmlNodeGetContent(node);
  string s = text != nullptr ? reinterpret_cast<const char*>(text) : "";
  xmlFree(text);
  return s;
}
#endif

// Every text emitter's output must read back through a real parser as the
// text it was given: escaped text and CDATA sections, split ones included.
// (Attribute values are entity-escaped byte by byte, pinned above.)
TEST(XmlEntities, OutputParsesAsXml) {
#ifndef SB_HAVE_LIBXML2
  GTEST_SKIP() << "libxml2 not found at configure time";
#else
  const string hard = "a<b>&c\"d'e\tf\ng\r\nh]]>i";
  const string text[] = {"1 < 2 & \"3\" > 'x'", "tab\there", "line\nbreak ]]> end", "]]>", hard};
  for (const string& t : text) {
    SCOPED_TRACE(t);
    const std::function<void(StringBuffer&)> emitters[] = {
        [&](StringBuffer& sb) { sb.appendXml(t.c_str()); },
        [&](StringBuffer& sb) { sb.appendXmlNoCdata(t.c_str()); },
        [&](StringBuffer& sb) { sb.appendXmlNoCdataN(t.c_str(), static_cast<unsigned int>(t.size())); },
    };
    for (const auto& emit : emitters) {
      StringBuffer sb("<r>");
      emit(sb);
      sb.append("</r>");
      XmlDoc doc(bytesOf(sb));
      ASSERT_NE(nullptr, doc.doc) << bytesOf(sb);
      // A parser turns CR LF into LF in text; entity-encoded text keeps CR only as "&#13;".
      string want = t;
      for (size_t p; (p = want.find('\r')) != string::npos;) want.erase(p, 1);
      string got = contentOf(doc.root());
      for (size_t p; (p = got.find('\r')) != string::npos;) got.erase(p, 1);
      EXPECT_EQ(want, got) << bytesOf(sb);
    }
  }
#endif
}

}  // namespace
