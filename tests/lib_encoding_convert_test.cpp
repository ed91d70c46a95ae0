#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/_tvEncodingConvert.h"

namespace {

using std::string;

struct Result {
  bool ok;
  string bytes;
};

Result convert(int from, int to, const string& in, const string& prefill = "") {
  _tvEncodingConvert conv;
  LogNull log;
  DataBuffer out;
  out.append(prefill.data(), static_cast<unsigned>(prefill.size()));
  const bool ok = conv.EncConvert(from, to, reinterpret_cast<const unsigned char*>(in.data()),
                                  static_cast<unsigned>(in.size()), out, log);
  return {ok, string(reinterpret_cast<const char*>(out.getData2()), out.getSize())};
}

// One character each code page holds at a byte of its own: a code-page
// number wired to the wrong iconv name fails its row.
struct Anchor {
  int codePage;
  string utf8;
  string bytes;
};
const Anchor kAnchors[] = {
    {437, "\xC3\xA9", "\x82"},           {737, "\xCE\x91", "\x80"},           {775, "\xC4\x86", "\x80"},
    {850, "\xC3\x98", "\x9D"},           {852, "\xC5\x91", "\x8B"},           {855, "\xD1\x92", "\x80"},
    {857, "\xC4\xB1", "\x8D"},           {858, "\xE2\x82\xAC", "\xD5"},       {860, "\xC3\xA3", "\x84"},
    {861, "\xC3\x90", "\x8B"},           {862, "\xD7\x90", "\x80"},           {863, "\xC3\x82", "\x84"},
    {864, "\xD9\xA0", "\xB0"},           {865, "\xC3\xB8", "\x9B"},           {866, "\xD0\x90", "\x80"},
    {869, "\xCE\x86", "\x86"},           {874, "\xE0\xB8\xBF", "\xDF"},       {932, "\xE3\x81\x82", "\x82\xA0"},
    {936, "\xE4\xB8\xAD", "\xD6\xD0"},   {949, "\xED\x95\x9C", "\xC7\xD1"},   {950, "\xE4\xB8\xAD", "\xA4\xA4"},
    {1200, "A\xE2\x82\xAC", string("A\0\xAC\x20", 4)},
    {1201, "A\xE2\x82\xAC", string("\0A\x20\xAC", 4)},
    {1250, "\xC5\x9A", "\x8C"},          {1251, "\xD0\x82", "\x80"},          {1252, "\xE2\x82\xAC", "\x80"},
    {1253, "\xCE\x86", "\xA2"},          {1254, "\xC4\x9E", "\xD0"},          {1255, "\xD7\x90", "\xE0"},
    {1256, "\xD9\xBE", "\x81"},          {1257, "\xC4\x84", "\xC0"},          {1258, "\xE2\x82\xAB", "\xFE"},
    {1361, "A", "A"},                    {10000, "\xC3\x84", "\x80"},         {10007, "\xD0\x90", "\x80"},
    {12000, "A", string("A\0\0\0", 4)},  {12001, "A", string("\0\0\0A", 4)}, {20127, "A~", "A~"},
    {20866, "\xD1\x8E", "\xC0"},         {20932, "\xE3\x81\x82", "\xA4\xA2"}, {20936, "\xE4\xB8\xAD", "\xD6\xD0"},
    {21866, "\xD1\x94", "\xA4"},         {28591, "\xC3\xA9", "\xE9"},         {28592, "\xC4\x84", "\xA1"},
    {28593, "\xC4\xA6", "\xA1"},         {28594, "\xC4\x84", "\xA1"},         {28595, "\xD0\x81", "\xA1"},
    {28596, "\xD8\x8C", "\xAC"},         {28597, "\xCE\x91", "\xC1"},         {28598, "\xD7\x90", "\xE0"},
    {28599, "\xC4\x9E", "\xD0"},         {28603, "\xC4\x84", "\xC0"},         {28605, "\xE2\x82\xAC", "\xA4"},
    {50220, "\xE3\x81\x82", "\x1B$B$\"\x1B(B"},                              {51932, "\xE3\x81\x82", "\xA4\xA2"},
    {51936, "\xE4\xB8\xAD", "\xD6\xD0"}, {51949, "\xED\x95\x9C", "\xC7\xD1"}, {54936, "\xE4\xB8\xAD", "\xD6\xD0"},
    {65000, "\xC3\xA9", "+AOk-"},        {65001, "\xC3\xA9", "\xC3\xA9"},
};

TEST(LibEncodingConvert, EveryCodePageBothWays) {
  for (const Anchor& a : kAnchors) {
    SCOPED_TRACE(a.codePage);
    EXPECT_TRUE(_tvEncodingConvert::isKnownCodePage(a.codePage));
    // Pages whose anchor is plain ASCII, or that encode ASCII in their own
    // way, are checked on the anchor alone.
    const bool alone = a.codePage == 1361 || a.codePage == 20127 || a.codePage == 65000;
    const string text = alone ? a.utf8 : "Az09 " + a.utf8 + " end";
    const string bytes = alone ? a.bytes : "";
    const Result there = convert(65001, a.codePage, text);
    EXPECT_TRUE(there.ok);
    if (!bytes.empty()) {
      EXPECT_EQ(bytes, there.bytes);
    }
    if (there.bytes.find(a.bytes) == string::npos) ADD_FAILURE() << "anchor bytes missing";
    const Result back = convert(a.codePage, 65001, there.bytes);
    EXPECT_TRUE(back.ok);
    EXPECT_EQ(text, back.bytes);
  }
}

// Every byte of every single-byte page: those with a character come back
// from UTF-8 as they were; in 125x pages that is all 256 of them.
TEST(LibEncodingConvert, SingleBytePagesRoundTripEveryByte) {
  const int pages[] = {437,  737,  775,  850,  852,   855,   857,   858,   860,   861,   862,   863,   864,
                       865,  866,  869,  874,  1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,  10000,
                       10007, 20866, 21866, 28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605};
  for (int page : pages) {
    SCOPED_TRACE(page);
    string all;
    for (int b = 0; b < 256; ++b) {
      const Result one = convert(page, 65001, string(1, static_cast<char>(b)));
      if (one.ok) all += static_cast<char>(b);
    }
    if (page >= 1250 && page <= 1257) {
      EXPECT_EQ(256u, all.size());
    }
    const Result utf8 = convert(page, 65001, all);
    EXPECT_TRUE(utf8.ok);
    const Result back = convert(65001, page, utf8.bytes);
    EXPECT_TRUE(back.ok);
    EXPECT_EQ(all, back.bytes);
  }
}

// Losses give false and a substitute but go on; bytes a Windows page leaves
// unassigned keep their value both ways; byte order marks are dropped only
// when they match the page and stand first.
TEST(LibEncodingConvert, EdgeConversions) {
  struct Row { const char* name; int from, to; string in, want; bool ok; };
  const Row rows[] = {
      {"euro has no Latin-1 byte", 65001, 28591, "a\xE2\x82\xAC" "b", "a?b", false},
      {"bad UTF-8 to an 8-bit page", 65001, 1252, "a\xFF" "b", "a?b", false},
      {"bad UTF-8 to UTF-16", 65001, 1200, "\xC0\x80", string("\xFD\xFF\xFD\xFF", 4), false},
      {"bad UTF-8 to UTF-8", 65001, 65001, "\xE2\x82", "\xE2\x82", true},  // same page: copied
      {"byte above 127 in US-ASCII", 20127, 65001, "a\xE9", "a\xEF\xBF\xBD", false},
      {"cut-off double byte", 932, 65001, "A\x82", "A\xEF\xBF\xBD", false},
      {"bad double byte goes on", 51932, 65001, "\xA4\xA2\xFF" "b", "\xE3\x81\x82\xEF\xBF\xBD" "b", false},
      {"unpaired surrogate in UTF-16", 1200, 65001, string("\x00\xD8" "A\0", 4), "\xEF\xBF\xBD" "A", false},
      {"lone low surrogate, big-endian", 1201, 65001, string("\xDC\x00", 2), "\xEF\xBF\xBD", false},
      {"low surrogates never pair", 1200, 65001, string("\x00\xDC\x00\xDC", 4), "\xEF\xBF\xBD\xEF\xBF\xBD", false},
      {"no 8-bit page has a byte beyond U+FFFF", 65001, 1252, "a\xF0\x9F\x98\x80", "a?", false},
      {"surrogate in UTF-32", 12000, 65001, string("\x00\xD8\0\0", 4), "\xEF\xBF\xBD", false},
      {"loss on both halves", 20127, 28591, "\xE9" "a", "?a", false},
      {"kana has no 1252 byte", 932, 1252, "\x82\xA0" "x", "?x", false},
      {"shifted target goes back to ASCII for ?", 65001, 50220, "\xE3\x81\x82\xE2\x82\xAC",
       "\x1B$B$\"\x1B(B?", false},
      {"Cyrillic to Greek", 1251, 1253, "\xC0" "a", "?a", false},
      {"1252 unassigned bytes", 1252, 65001, "\x81\x8D\x8F\x90\x9D", "\xC2\x81\xC2\x8D\xC2\x8F\xC2\x90\xC2\x9D", true},
      {"1252 unassigned byte back", 65001, 1252, "\xC2\x81", "\x81", true},
      {"1253 unassigned byte", 1253, 65001, "\xAA", "\xC2\xAA", true},
      {"1253 unassigned byte back", 65001, 1253, "\xC2\xAA", "\xAA", true},
      {"1258 unassigned byte", 1258, 65001, "a\x8A", "a\xC2\x8A", true},
      {"1258 unassigned byte back", 65001, 1258, "a\xC2\x8A", "a\x8A", true},
      {"1258 writes base letter and tone mark", 65001, 1258, "\xE1\xBA\xA5", "\xE2\xEC", true},
      {"1258 reads them as one", 1258, 65001, "a\xEC", "\xC3\xA1", true},
      {"other pages have no unassigned rule", 28596, 65001, "\xA1", "\xEF\xBF\xBD", false},
      {"little-endian mark dropped", 1200, 65001, string("\xFF\xFEH\0i\0", 6), "Hi", true},
      {"big-endian mark dropped", 1201, 65001, string("\xFE\xFF\0H\0i", 6), "Hi", true},
      {"mark of the other order is text", 1200, 65001, string("\xFE\xFFH\0", 4), "\xEF\xBF\xBEH", true},
      {"mark only at the start", 1200, 65001, string("H\0\xFF\xFE", 4), "H\xEF\xBB\xBF", true},
      {"pair, big-endian", 1201, 65001, string("\xD8\x3D\xDE\x00", 4), "\xF0\x9F\x98\x80", true},
      {"pair to UTF-16LE", 65001, 1200, "\xF0\x9F\x98\x80", string("\x3D\xD8\x00\xDE", 4), true},
      {"to UTF-32BE", 65001, 12001, "\xF0\x9F\x98\x80", string("\0\x01\xF6\x00", 4), true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const Result res = convert(r.from, r.to, r.in);
    EXPECT_EQ(r.ok, res.ok);
    EXPECT_EQ(r.want, res.bytes);
  }
}

TEST(LibEncodingConvert, UnknownCodePageConvertsNothing) {
  for (const auto& pair : {std::pair<int, int>{65001, 12345}, {1, 65001}, {0, 1252}, {-1, -1}}) {
    const Result res = convert(pair.first, pair.second, "abc", "kept");
    EXPECT_FALSE(res.ok);
    EXPECT_EQ("kept", res.bytes);
  }
}

TEST(LibEncodingConvert, LongTextCrossesBlocksAndAppends) {
  string text;
  for (int i = 0; i < 70000; ++i) text += (i % 7 == 0) ? "\xE9\x80" : "abcdefgh";
  const Result utf8 = convert(1252, 65001, text, "x");
  ASSERT_TRUE(utf8.ok);
  EXPECT_EQ('x', utf8.bytes[0]);
  const Result back = convert(65001, 1252, utf8.bytes.substr(1));
  EXPECT_TRUE(back.ok);
  EXPECT_TRUE(back.bytes == text);
  // The same through iconv, which is fed in pieces of its own.
  const Result gb = convert(1252, 54936, text);
  EXPECT_TRUE(gb.ok);
  EXPECT_TRUE(convert(54936, 1252, gb.bytes).bytes == text);
}

TEST(LibEncodingConvert, AnsiAndOemSides) {
  LogNull log;
  _tvEncodingConvert conv;
  DataBuffer out;
  conv.AnsiToMultiByte(65001, "\xE9", 1, out, log);  // ANSI is 1252 by default
  conv.OemToMultiByte(65001, "\x82", 1, out, log);   // OEM is 437 by default
  conv.MultiByteToOem(65001, reinterpret_cast<const unsigned char*>("\xC3\xA9"), 2, out, log);
  conv.MultiByteToAnsi(437, reinterpret_cast<const unsigned char*>("\x82"), 1, out, log);
  EXPECT_EQ("\xC3\xA9\xC3\xA9\x82\xE9", string(reinterpret_cast<const char*>(out.getData2()), out.getSize()));
  EXPECT_TRUE(conv.AnsiToMultiByte(65001, "x", -5, out, log));  // a negative count converts nothing
}

// Descriptors are cached per thread and tables built once: threads that
// start converting together must neither share a descriptor nor race on
// building a table.
TEST(LibEncodingConvert, ThreadsConvertAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> good(4, 0);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &good] {
      for (int i = 0; i < 50; ++i) {
        const Result a = convert(65001, 932, "\xE3\x81\x82");
        const Result b = convert(855, 65001, "\x80");
        if (a.bytes == "\x82\xA0" && b.bytes == "\xD1\x92") ++good[t];
      }
    });
  for (auto& th : threads) th.join();
  for (int g : good) EXPECT_EQ(50, g);
}

TEST(LibEncodingConvert, CharsetNames) {
  struct Row { const char* name; int codePage; };
  const Row rows[] = {
      {"utf-8", 65001},      {"UTF-8", 65001},       {"iso-8859-1", 28591},   {"ISO-8859-15", 28605},
      {"iso-8859-13", 28603}, {"windows-1252", 1252}, {"Windows-1251", 1251},  {"cp1250", 1250},
      {"shift_jis", 932},    {"gb2312", 936},        {"iso-2022-jp", 50220},  {"ibm850", 850},
      {"us-ascii", 20127},   {"koi8-r", 20866},      {"big5", 950},           {"euc-kr", 51949},
      {"iso-8859-12", 0},    {"windows-9999", 0},    {"klingon", 0},          {"", 0},
      {"cp", 0},             {"iso-8859-", 0},
  };
  for (const Row& r : rows)
    EXPECT_EQ(r.codePage, _tvEncodingConvert::codePageFromCharsetName(r.name, static_cast<unsigned>(std::strlen(r.name))))
        << r.name;
}

}  // namespace
