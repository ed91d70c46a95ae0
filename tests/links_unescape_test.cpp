#include <gtest/gtest.h>

#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

namespace {

using std::string;

string link(const string& address) { return "<a href=\"" + address + "\">" + address + "</a>"; }

TEST(LinksUnescape, AutoLinkUrls2) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"comma and full stop belong to the address", "see http://x.org/a, then.",
       "see " + link("http://x.org/a,") + " then."},
      {"closing parenthesis ends it", "(https://x.org/p)", "(" + link("https://x.org/p") + ")"},
      {"capital scheme kept", "HTTPS://X.org", link("HTTPS://X.org")},
      {"every terminator", "http://a\tb http://c\nd http://e\rf http://g<h http://i>j http://k[l http://m]n "
                           "http://o{p http://q}r",
       link("http://a") + "\tb " + link("http://c") + "\nd " + link("http://e") + "\rf " + link("http://g") +
           "<h " + link("http://i") + ">j " + link("http://k") + "[l " + link("http://m") + "]n " +
           link("http://o") + "{p " + link("http://q") + "}r"},
      {"no word boundary needed, quotes inside", "xhttp://a\"b'c", "x" + link("http://a\"b'c")},
      {"address at the very end", "go http://", "go " + link("http://")},
      {"adjacent addresses", "http://a)http://b", link("http://a") + ")" + link("http://b")},
      {"scheme without slashes or ftp", "http:/x https:x ftp://y htt", "http:/x https:x ftp://y htt"},
      {"stops at a zero byte", string("http://a\0 b", 11), link("http://a")},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer unused("untouched");
    StringBuffer text = bufferOf(r.in);
    unused.autoLinkUrls2(text);
    EXPECT_EQ(r.want, bytesOf(text));
    EXPECT_EQ("untouched", bytesOf(unused));
  }
}

TEST(LinksUnescape, AutoLinkUrls) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"head and anchors left alone",
       "<html><head><link href=\"http://h/\"></head><BODY>see http://b/ or <a href=\"http://a/\">http://a/</a> "
       "and https://c/</body>",
       "<html><head><link href=\"http://h/\"></head><BODY>see " + link("http://b/") +
           " or <a href=\"http://a/\">http://a/</a> and " + link("https://c/") + "</body>"},
      {"no body: everything outside anchors", "http://x <ABBR>http://y</A> http://z",
       link("http://x") + " <ABBR>http://y</A> " + link("http://z")},
      {"unclosed anchor copied to the end", "http://x <a>http://y", link("http://x") + " <a>http://y"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.in);
    sb.autoLinkUrls();
    EXPECT_EQ(r.want, bytesOf(sb));
  }
}

// A rendering of a revocation list: a header long enough that the first
// reason marker lies beyond 256 bytes, then the given entries and a trailer.
string entry(const string& serial, bool reason, const string& tail = "<enumerated>1</enumerated>") {
  string e = "<sequence><int>" + serial + "</int><utctime>230101000000Z";
  if (!reason) return e + "</utctime></sequence>";
  return e + "</utctime><sequence><sequence><oid>2.5.29.21</oid><octets>" + tail +
         "</octets></sequence></sequence></sequence>";
}
const string kHead = "<sequence><sequence>" + string(260, 'h');
const string kTail = "</sequence><sequence>tail</sequence>";

TEST(LinksUnescape, RemoveCrlEntries) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"entry without extensions stays, reason-coded run goes",
       kHead + entry("01", false) + entry("02", true) + entry("03", true) + kTail,
       kHead + entry("01", false) + kTail},
      {"run stops at an entry not right behind the last end",
       kHead + entry("02", true) + "<x/>" + entry("03", true) + kTail, kHead + "<x/>" + entry("03", true) + kTail},
      {"an entry without extensions inside the run goes with it",
       kHead + entry("02", true) + entry("04", false) + entry("05", true) + kTail, kHead + kTail},
      {"one-digit serial: the nearest possible start", kHead + entry("7", true) + kTail, kHead + kTail},
      {"entry start too far before the marker",
       kHead + "<sequence><int>" + string(240, '1') + "</int><utctime>230101000000Z" +
           "</utctime><sequence><sequence><oid>2.5.29.21</oid><octets>x</octets></sequence></sequence></sequence>",
       ""},
      {"marker within the first 256 bytes", entry("02", true) + string(300, 'x'), ""},
      {"no entry end after the marker",
       kHead + "<sequence><int>02</int><utctime>230101000000Z</utctime><sequence><sequence><oid>2.5.29.21</oid>"
               "<octets>x",
       ""},
      {"another first extension", kHead + "<sequence><int>02</int><utctime>230101000000Z</utctime><sequence>"
                                          "<sequence><oid>2.5.29.24</oid><octets>x</octets></sequence></sequence>"
                                          "</sequence>",
       ""},
  };
  LogNull log;
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.in);
    ScopedAllocatorControl control;
    sb.removeCrlEntries(log);
    const string& want = r.want.empty() ? r.in : r.want;  // "" marks "unchanged"
    EXPECT_EQ(want, bytesOf(sb));
    EXPECT_STREQ(want.c_str(), sb.getString());  // the zero byte after the cut
    EXPECT_EQ(0u, control.allocations());
  }
  // Only one run per call.
  StringBuffer twice = bufferOf(kHead + entry("02", true) + "<x/>" + entry("03", true) + kTail);
  twice.removeCrlEntries(log);
  twice.removeCrlEntries(log);
  EXPECT_EQ(kHead + "<x/>" + kTail, bytesOf(twice));
}

// Both return the new length.
TEST(LinksUnescape, MarkdownUnescapeAndUnescape) {
  struct Row { bool markdown; string in, want; };
  const Row rows[] = {
      {true, "\\*a\\* \\q \\\\ \\", "*a* \\q \\ \\"}, {true, "\\\\\\*", "\\*"},
      {true, string("\\\0\\#", 4), string("\\\0#", 3)}, {true, "", ""}, {true, "a\\*bc", "a*bc"},
      {false, "a\\nb\\\\c\\", "anb\\c"}, {false, string("\\\0x", 3), string("\0x", 2)}, {false, "", ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::PrintToString(r.in));
    StringBuffer sb = bufferOf(r.in);
    EXPECT_EQ(r.want.size(), r.markdown ? sb.markdown_unescape() : sb.unescape());
    EXPECT_EQ(r.want, bytesOf(sb));
  }
  // Every byte after a backslash: only ASCII punctuation loses its backslash.
  for (int b = 1; b < 256; ++b) {
    const bool punctuation = (b >= 0x21 && b <= 0x2F) || (b >= 0x3A && b <= 0x40) || (b >= 0x5B && b <= 0x60) ||
                             (b >= 0x7B && b <= 0x7E);
    StringBuffer sb = bufferOf(string("\\") + static_cast<char>(b));
    sb.markdown_unescape();
    EXPECT_EQ(punctuation ? 1u : 2u, sb.getSize()) << b;
  }
}

}  // namespace
