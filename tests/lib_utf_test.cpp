#include <gtest/gtest.h>

#include <string>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/_tvUtf.h"

namespace {

using std::string;

bool valid(const string& s, unsigned int flags = 0) {
  return _tvUtf::isValidUtf8(reinterpret_cast<const unsigned char*>(s.data()), static_cast<unsigned>(s.size()), flags);
}

string bytes(const DataBuffer& d) { return string(reinterpret_cast<const char*>(d.getData2()), d.getSize()); }

// The rule written out plainly: decode, then refuse what RFC 3629 refuses
// (surrogates only without the flag that accepts them).
bool referenceValid(const unsigned char* p, size_t n, bool surrogates = false) {
  size_t i = 0;
  while (i < n) {
    const unsigned char c = p[i];
    size_t len;
    uint32_t cp;
    if (c < 0x80) { len = 1; cp = c; }
    else if ((c & 0xE0) == 0xC0) { len = 2; cp = c & 0x1F; }
    else if ((c & 0xF0) == 0xE0) { len = 3; cp = c & 0x0F; }
    else if ((c & 0xF8) == 0xF0) { len = 4; cp = c & 0x07; }
    else return false;
    if (i + len > n) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return false;
      cp = cp << 6 | (p[i + k] & 0x3F);
    }
    const uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < least[len] || cp > 0x10FFFF || (!surrogates && cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += len;
  }
  return true;
}

// What the exhaustive check below cannot reach: four-byte tails and the
// paths taken over longer runs of ASCII.
TEST(LibUtf, IsValidUtf8) {
  struct Row { const char* name; string text; bool ok; };
  const Row rows[] = {
      {"highest code point", "\xF4\x8F\xBF\xBF", true},
      {"bad fourth byte", "\xF0\x9F\x98" "A", false},
      {"fault behind the word loop", string(40, 'a') + "\xFF", false},
      {"fault right behind a 32-byte ASCII stretch", string(32, 'a') + "\xFF" + string(8, 'a'), false},
      {"fault inside a 32-byte block", string(20, 'a') + "\xC3" + string(20, 'a'), false},
      {"character at a word edge", string(7, 'a') + "\xC3\xA9" + string(30, 'b'), true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(r.ok, valid(r.text));
    EXPECT_EQ(r.ok, valid(r.text, _tvUtf::kAcceptSurrogates));
  }
  EXPECT_FALSE(_tvUtf::isValidUtf8(nullptr, 3, 0));
  EXPECT_TRUE(_tvUtf::isValidUtf8(nullptr, 0, 0));
}

// Every sequence of one to three bytes, with and without the surrogate flag,
// judged against the plain rule; four bytes are sampled by lead byte and
// second byte.
TEST(LibUtf, IsValidUtf8AgreesWithReference) {
  unsigned char b[4];
  for (uint32_t v = 0; v < (1u << 24); ++v) {
    b[0] = static_cast<unsigned char>(v >> 16);
    b[1] = static_cast<unsigned char>(v >> 8);
    b[2] = static_cast<unsigned char>(v);
    if (_tvUtf::isValidUtf8(b, 3, 0) != referenceValid(b, 3)) FAIL() << std::hex << v;
    if (_tvUtf::isValidUtf8(b, 3, _tvUtf::kAcceptSurrogates) != referenceValid(b, 3, true)) FAIL() << std::hex << v;
    // The same three bytes across the edge of an eight-byte step.
    unsigned char framed[16] = {'a', 'a', 'a', 'a', 'a', 'a', b[0], b[1], b[2], 'a', 'a', 'a', 'a', 'a', 'a', 'a'};
    if (_tvUtf::isValidUtf8(framed, 16, 0) != referenceValid(b, 3)) FAIL() << "framed " << std::hex << v;
    if (v < (1u << 16) && _tvUtf::isValidUtf8(b + 1, 2, 0) != referenceValid(b + 1, 2)) FAIL() << std::hex << v;
  }
  for (uint32_t v = 0; v < (1u << 16); ++v) {
    b[0] = static_cast<unsigned char>(v >> 8);
    b[1] = static_cast<unsigned char>(v);
    b[2] = b[3] = 0x80;
    if (_tvUtf::isValidUtf8(b, 4, 0) != referenceValid(b, 4)) FAIL() << std::hex << v;
  }
}

TEST(LibUtf, CodePointToUtf8) {
  struct Row { unsigned int cp; string want; };
  const Row rows[] = {
      {0x41, "A"}, {0xE9, "\xC3\xA9"}, {0x7FF, "\xDF\xBF"}, {0x20AC, "\xE2\x82\xAC"},
      {0xD800, "\xED\xA0\x80"},  // a lone surrogate keeps its three-byte form
      {0x1F600, "\xF0\x9F\x98\x80"}, {0x10FFFF, "\xF4\x8F\xBF\xBF"},
      {0x110000, "\xEF\xBF\xBD"},
  };
  for (const Row& r : rows) {
    char out[4];
    unsigned int n = 99;
    _tvUtf::codePointToUtf8(r.cp, out, n);
    EXPECT_EQ(r.want, string(out, n)) << std::hex << r.cp;
  }
  // A byte that leads nothing, or past U+10FFFF (F4 90), decodes as one bad byte.
  for (const unsigned char* bad : {reinterpret_cast<const unsigned char*>("\xF4\x90\x80\x80"),
                                   reinterpret_cast<const unsigned char*>("\xFF\x80\x80\x80")}) {
    uint32_t cp = 0;
    EXPECT_EQ(1u, _tvUtf::decodeUtf8(bad, bad + 4, cp));
    EXPECT_EQ(_tvUtf::kInvalid, cp);
  }
  const auto* grin = reinterpret_cast<const unsigned char*>("\xF0\x9F\x98\x81");
  uint32_t cp = 0;
  EXPECT_EQ(4u, _tvUtf::decodeUtf8(grin, grin + 4, cp));
  EXPECT_EQ(0x1F601u, cp);
}

TEST(LibUtf, Utf16ThroughCodePoints) {
  struct Row { const char* name; string utf16le; string utf8; bool exact; };
  const Row rows[] = {
      {"BMP", string("A\0\xE9\0", 4), "A\xC3\xA9", true},
      {"surrogate pair", string("\x3D\xD8\x00\xDE", 4), "\xF0\x9F\x98\x80", true},
      {"lone high surrogate", string("\x3D\xD8" "A\0", 4), "\xEF\xBF\xBD" "A", false},
      {"lone low surrogate", string("\x00\xDE", 2), "\xEF\xBF\xBD", false},
      {"low surrogates never pair", string("\x00\xDC\x00\xDC", 4), "\xEF\xBF\xBD\xEF\xBF\xBD", false},
      {"high surrogate twice", string("\x3D\xD8\x3D\xD8\x00\xDE", 6), "\xEF\xBF\xBD\xF0\x9F\x98\x80", false},
      {"odd last byte", string("A\0B", 3), "A\xEF\xBF\xBD", false},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    LogNull log;
    DataBuffer in, points, out;
    in.append(r.utf16le.data(), static_cast<unsigned>(r.utf16le.size()));
    EXPECT_EQ(r.exact, _tvUtf::utf16ToCodePoints(in, points, log));
    EXPECT_TRUE(_tvUtf::codePointsToUtf8(points, out, log));
    EXPECT_EQ(r.utf8, bytes(out));
  }
  // Code points that UTF-8 cannot carry.
  LogNull log;
  DataBuffer points, out;
  points.append("\x00\xD8\x00\x00\x00\x00\x11\x00" "A\0\0\0" "\x01", 13);
  EXPECT_FALSE(_tvUtf::codePointsToUtf8(points, out, log));
  EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD" "A\xEF\xBF\xBD", bytes(out));
}

}  // namespace
