#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

namespace {

using std::string;

// The eight ways of calling the seven canonicalizers (the AWS query part
// with its "/" flag both ways).
enum Op { kUri, kPart, kPartSlash, kAwsQuery, kPath, kMws, kValue, kAllQuery, kOpCount };
const char* const kOpNames[kOpCount] = {"awsNormalizeUriUtf8", "awsNormalizeQueryStringPart(false)",
                                        "awsNormalizeQueryStringPart(true)", "awsNormalizeQueryParams",
                                        "nonAwsNormalizePath", "mwsNormalizeQueryParams",
                                        "nonAwsNormalizeQueryParamValue", "nonAwsNormalizeAllQueryParams"};

bool run(Op op, StringBuffer& sb, LogBase& log) {
  switch (op) {
    case kUri: return sb.awsNormalizeUriUtf8(log);
    case kPart: return sb.awsNormalizeQueryStringPart(false, log);
    case kPartSlash: return sb.awsNormalizeQueryStringPart(true, log);
    case kAwsQuery: return sb.awsNormalizeQueryParams();
    case kPath: return sb.nonAwsNormalizePath();
    case kMws: return sb.mwsNormalizeQueryParams();
    case kValue: return sb.nonAwsNormalizeQueryParamValue(log);
    default: return sb.nonAwsNormalizeAllQueryParams();
  }
}

string canonical(Op op, const string& in, const char* keywords = "") {
  LogNull log;
  log.optionKeywords.setString(keywords);
  StringBuffer sb = bufferOf(in);
  EXPECT_TRUE(run(op, sb, log));
  return bytesOf(sb);
}

// A second, deliberately naive statement of each operation's rule, spelled
// out from scratch, to check the table-driven encoder against.
struct Rule { string plain; char percent; bool plus; };  // percent: c(opy), e(ncode), h(ex pair)
const string kAlnum = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789~";
const Rule kRules[kOpCount] = {
    {kAlnum + "-._/", 'h', false},           {kAlnum + "-._", 'h', false},
    {kAlnum + "-._/", 'h', false},           {kAlnum + "-._&/=?", 'c', false},
    {kAlnum + "!$'()*+,-./:<=>@_", 'c', false}, {kAlnum + "-._", 'e', false},
    {kAlnum + "!$'()-./:<>?@_", 'h', true},  {kAlnum + "!$&'()-./:<=>?@_", 'c', true},
};

string pct(unsigned char b) {
  static const char hex[] = "0123456789ABCDEF";
  return string{'%', hex[b >> 4], hex[b & 15]};
}

string reference(Op op, const string& in) {
  const Rule& r = kRules[op];
  auto isHex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
  string out;
  for (size_t i = 0; i < in.size(); ++i) {
    const unsigned char b = static_cast<unsigned char>(in[i]);
    if (b >= 0xC0) {
      const size_t trailing = b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
      out += pct(b);
      for (size_t k = 0; k < trailing && i + 1 < in.size(); ++k) out += pct(static_cast<unsigned char>(in[++i]));
    } else if (b == '%') {
      const bool pair = i + 2 < in.size() && isHex(in[i + 1]) && isHex(in[i + 2]);
      out += r.percent == 'c' || (r.percent == 'h' && pair) ? "%" : "%25";
    } else if (b == ' ' && r.plus) {
      out += '+';
    } else if (b != 0 && r.plain.find(static_cast<char>(b)) != string::npos) {
      out += static_cast<char>(b);
    } else {
      out += pct(b);
    }
  }
  return out;
}

TEST(Canonicalize, EveryByteValue) {
  for (int op = 0; op < kOpCount; ++op) {
    SCOPED_TRACE(kOpNames[op]);
    for (int b = 0; b < 256; ++b) {
      SCOPED_TRACE(b);
      // Alone, and between plain letters, so a lead byte meets both the end
      // of the content and a plain byte it swallows.
      const string alone(1, static_cast<char>(b));
      EXPECT_EQ(reference(Op(op), alone), canonical(Op(op), alone));
      const string framed = "a" + alone + "bcdef";
      EXPECT_EQ(reference(Op(op), framed), canonical(Op(op), framed));
    }
  }
}

TEST(Canonicalize, AgreesWithReferenceOnRandomText) {
  // Bytes drawn mostly from the ones with a story: "%", hex digits, space,
  // "+", "/", "=", a zero byte, stray trailing bytes and lead bytes.
  const string alphabet = string("%%%4aF zZ+/=&?*;~.-_\x80\xBF\xC3\xE1\xF0\xFC", 26) + string(1, '\0');
  std::mt19937 rng(7);
  for (int n = 0; n < 3000; ++n) {
    string in;
    for (size_t len = rng() % 12; len > 0; --len) in += alphabet[rng() % alphabet.size()];
    for (int op = 0; op < kOpCount; ++op) {
      SCOPED_TRACE(kOpNames[op]);
      ASSERT_EQ(reference(Op(op), in), canonical(Op(op), in)) << "input bytes: " << testing::PrintToString(in);
    }
  }
}

// A few inputs where the operations part ways, written out, so that the
// reference's byte sets are pinned by hand as well.
TEST(Canonicalize, Examples) {
  struct Row { string in; const char* want[kOpCount]; };
  // Columns: uri, part, part with "/", aws query, path, mws, value, all query.
  const Row rows[] = {
      {"a b+c", {"a%20b%2Bc", "a%20b%2Bc", "a%20b%2Bc", "a%20b%2Bc", "a%20b+c", "a%20b%2Bc", "a+b%2Bc", "a+b%2Bc"}},
      {"x=1&y=2/", {"x%3D1%26y%3D2/", "x%3D1%26y%3D2%2F", "x%3D1%26y%3D2/", "x=1&y=2/", "x=1%26y=2/", "x%3D1%26y%3D2%2F",
                    "x%3D1%26y%3D2/", "x=1&y=2/"}},
      {"*?;~", {"%2A%3F%3B~", "%2A%3F%3B~", "%2A%3F%3B~", "%2A?%3B~", "*%3F%3B~", "%2A%3F%3B~", "%2A?%3B~", "%2A?%3B~"}},
      {"%2f%zz\xC3%41", {"%2f%25zz%C3%2541", "%2f%25zz%C3%2541", "%2f%25zz%C3%2541", "%2f%zz%C3%2541", "%2f%zz%C3%2541",
                         "%252f%25zz%C3%2541", "%2f%25zz%C3%2541", "%2f%zz%C3%2541"}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.in);
    for (int op = 0; op < kOpCount; ++op) EXPECT_EQ(r.want[op], canonical(Op(op), r.in)) << kOpNames[op];
  }
}

TEST(Canonicalize, PercentKeywords) {
  struct Row { const char* keywords; string in; string want; };
  const Row rows[] = {
      {"AlwaysUrlEncodePercent", "/%2F/%", "/%252F/%25"}, {"NoUrlEncodePercent", "%zz% x", "%zz%%20x"},
      {"NoUrlEncodePercent AlwaysUrlEncodePercent", "%41%z", "%41%z"}, {"xxAlwaysUrlEncodePercentyy", "%41", "%2541"},
      {"alwaysurlencodepercent", "%41%z", "%41%25z"},  // keywords are case-sensitive
  };
  for (const Row& r : rows) EXPECT_EQ(r.want, canonical(kUri, r.in, r.keywords)) << r.keywords;
  // Only the URI path reads them.
  for (int op = kPart; op < kOpCount; ++op)
    for (const char* keywords : {"AlwaysUrlEncodePercent", "NoUrlEncodePercent"})
      EXPECT_EQ(canonical(Op(op), "%41%zz"), canonical(Op(op), "%41%zz", keywords)) << kOpNames[op];
}

TEST(Canonicalize, AllocatesOnceOrNotAtAll) {
  const string longPlain(300, 'a');
  struct Row { const char* name; Op op; string in; string want; uint64_t allocations; };
  const Row rows[] = {
      {"nothing to encode", kUri, longPlain, longPlain, 0},
      {"spaces only, value", kValue, "a b " + longPlain, "a+b+" + longPlain, 0},
      {"spaces only, whole query", kAllQuery, "a b&c", "a+b&c", 0},
      {"spaces and an escape", kValue, "a b;", "a+b%3B", 1},
      {"one escape in a long content", kUri, longPlain + "#", longPlain + "%23", 1},
      {"inline content", kMws, "=", "%3D", 1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.in);
    const char* before = sb.getString();
    const unsigned int capacityBefore = sb.heapUsage();
    LogNull log;
    ScopedAllocatorControl control;
    EXPECT_TRUE(run(r.op, sb, log));
    EXPECT_EQ(r.want, bytesOf(sb));
    EXPECT_EQ(r.allocations, control.allocations());
    if (r.allocations == 0) {
      EXPECT_EQ(before, sb.getString());
      EXPECT_EQ(capacityBefore, sb.heapUsage());
    } else {
      // The block holds the result, its zero and three spare bytes.
      EXPECT_EQ(r.want.size() + 4, sb.heapUsage());
    }
  }
}

// A failed allocation leaves the content whole (a later call succeeds); a
// secure buffer's old block is wiped before it goes back.
TEST(Canonicalize, FailedAllocationAndSecureBuffer) {
  const string in = "path with spaces/\xC3\xA9;%zz" + string(100, 'x');
  LogNull log;
  for (int op = 0; op < kOpCount; ++op) {
    SCOPED_TRACE(kOpNames[op]);
    StringBuffer sb = bufferOf(in);
    {
      ScopedAllocatorControl control;
      control.failNth(1);
      EXPECT_FALSE(run(Op(op), sb, log));
      EXPECT_EQ(in, bytesOf(sb));
    }
    sb.setSecureBuf(true);
    ReleaseWatcher watcher(100);
    EXPECT_TRUE(run(Op(op), sb, log));
    EXPECT_EQ(reference(Op(op), in), bytesOf(sb));
    EXPECT_EQ(1u, watcher.releases());
    EXPECT_FALSE(watcher.sawContent());
  }
}

// Canonical URIs and query strings of the published AWS Signature Version 4
// test suite, for the cases where canonicalization is only encoding (no dot
// segments, no sorting). Query rows are single parameters or already sorted.
TEST(Canonicalize, AwsSignatureV4Suite) {
  const string kUnreserved = "-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  struct Row { const char* name; string path; string canonicalPath; };
  const Row paths[] = {
      {"get-vanilla", "/", "/"},
      {"get-space", "/example space/", "/example%20space/"},
      {"get-utf8", "/\xE1\x88\xB4", "/%E1%88%B4"},
      {"get-unreserved", "/" + kUnreserved, "/" + kUnreserved},
      {"already encoded segment", "/example%20space/", "/example%20space/"},
      {"reserved characters", "/a:b@c!d$e'f(g)h*i+j,k;l=m", "/a%3Ab%40c%21d%24e%27f%28g%29h%2Ai%2Bj%2Ck%3Bl%3Dm"},
  };
  for (const Row& r : paths) EXPECT_EQ(r.canonicalPath, canonical(kUri, r.path)) << r.name;
  // Services other than S3 encode the path twice: "%" of the first pass
  // becomes %25 in the second.
  EXPECT_EQ("/documents%2520and%2520settings/",
            canonical(kUri, canonical(kUri, "/documents and settings/"), "AlwaysUrlEncodePercent"));

  struct Param { const char* name; string key, value, canonicalPair; };
  const Param params[] = {
      {"get-vanilla-query-unreserved", kUnreserved, kUnreserved, kUnreserved + "=" + kUnreserved},
      {"get-vanilla-utf8-query", "\xE1\x88\xB4", "bar", "%E1%88%B4=bar"},
      {"empty value", "Param1", "", "Param1="},
      {"reserved bytes in a value", "prefix", "a=b+c d/", "prefix=a%3Db%2Bc%20d%2F"},
  };
  for (const Param& p : params) {
    SCOPED_TRACE(p.name);
    // Name and value encoded one by one, then joined.
    EXPECT_EQ(p.canonicalPair, canonical(kPart, p.key) + "=" + canonical(kPart, p.value));
    // A joined query whose reserved characters are structure only.
    if (p.value.find_first_of("=+ /") == string::npos) {
      EXPECT_EQ(p.canonicalPair, canonical(kAwsQuery, p.key + "=" + p.value));
    }
  }
  EXPECT_EQ("Param1=value1&Param2=value2", canonical(kAwsQuery, "Param1=value1&Param2=value2"));
}

}  // namespace
