#include <gtest/gtest.h>

#include <cstring>
#include <random>
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

// Runs f once per vector unit the CPU has (0: the scalar walk, 1: AVX2,
// 2: AVX-512), with isValidUtf8 capped to it.
template <class F>
void forEachUnit(F f) {
  for (int unit = 0; unit <= 2; ++unit) {
    if (_tvUtf::capVectorUnitForTests(unit) == unit) {
      SCOPED_TRACE(unit);
      f(unit);
    }
  }
  _tvUtf::capVectorUnitForTests(2);
}

// What the exhaustive checks below cannot reach: four-byte tails, runs of
// ASCII, characters cut at a vector block's edge with ASCII behind them.
TEST(LibUtf, IsValidUtf8) {
  struct Row { const char* name; string text; bool ok; };
  const Row rows[] = {
      {"highest code point", "\xF4\x8F\xBF\xBF", true},
      {"bad fourth byte", "\xF0\x9F\x98" "A", false},
      {"fault behind the word loop", string(40, 'a') + "\xFF", false},
      {"fault right behind a 32-byte ASCII stretch", string(32, 'a') + "\xFF" + string(8, 'a'), false},
      {"fault inside a 32-byte block", string(20, 'a') + "\xC3" + string(20, 'a'), false},
      {"character at a word edge", string(7, 'a') + "\xC3\xA9" + string(30, 'b'), true},
      {"cut at 64, ASCII block after", string(62, 'a') + "\xF0\x9F" + string(200, 'a'), false},
      {"cut at 128, ASCII block after", string(126, 'a') + "\xE2\x82" + string(200, 'a'), false},
      {"whole at 128, ASCII block after", string(126, 'a') + "\xE2\x82\xAC" + string(200, 'a'), true},
      {"cut at the very end", string(127, 'a') + "\xC3", false},
      {"fault after two kilobytes", string(2100, 'a') + "\xC3\xA9\xA9" + string(100, 'a'), false},
  };
  forEachUnit([&](int) {
    for (const Row& r : rows) {
      SCOPED_TRACE(r.name);
      EXPECT_EQ(r.ok, valid(r.text));
      EXPECT_EQ(r.ok, valid(r.text, _tvUtf::kAcceptSurrogates));
    }
  });
  EXPECT_FALSE(_tvUtf::isValidUtf8(nullptr, 3, 0));
  EXPECT_TRUE(_tvUtf::isValidUtf8(nullptr, 0, 0));
}

// Every sequence of one to three bytes, alone and framed in ASCII at a
// position that walks through every lane and block edge (a first byte
// below 80 only for the two-byte pairs behind it), judged against the plain
// rule by every unit; four bytes are sampled by lead, second and third byte.
TEST(LibUtf, IsValidUtf8AgreesWithReference) {
  unsigned char b[4];
  unsigned char frame[130];
  std::memset(frame, 'a', sizeof frame);
  const unsigned char thirds[] = {0x80, 0xBF, 0x41, 0xC2};
  for (int unit = 0; unit <= 2; ++unit) {
    if (_tvUtf::capVectorUnitForTests(unit) != unit) break;
    // The frame: 62 to 64 bytes for AVX2 (the tail alone or one step), 128 to
    // 130 for AVX-512 (one step, then a tail of up to two bytes).
    const auto framed = [&](const unsigned char* seq, unsigned len, uint32_t v, unsigned flags) {
      const unsigned n = (unit == 1 ? 62 : 128) + v % 3, pos = (v * 5) % (n - 3);
      std::memcpy(frame + pos, seq, len);
      const bool ok = _tvUtf::isValidUtf8(frame, n, flags);
      std::memset(frame + pos, 'a', len);
      return ok;
    };
    for (uint32_t v = 0; v < (1u << 24); ++v) {
      b[0] = static_cast<unsigned char>(v >> 16);
      b[1] = static_cast<unsigned char>(v >> 8);
      b[2] = static_cast<unsigned char>(v);
      const bool strict = referenceValid(b, 3), lenient = referenceValid(b, 3, true);
      if (unit == 0) {
        if (_tvUtf::isValidUtf8(b, 3, 0) != strict) FAIL() << std::hex << v;
        if (_tvUtf::isValidUtf8(b, 3, _tvUtf::kAcceptSurrogates) != lenient) FAIL() << std::hex << v;
        if (v < (1u << 16) && _tvUtf::isValidUtf8(b + 1, 2, 0) != referenceValid(b + 1, 2)) FAIL() << std::hex << v;
        continue;
      }
      if (b[0] < 0x80 && v >= (1u << 16)) continue;
      if (framed(b, 3, v, 0) != strict) FAIL() << "unit " << unit << " " << std::hex << v;
      // The surrogate table differs only where a byte E0..EF leads a pair.
      if (((b[0] >> 4) == 0xE || (b[1] >> 4) == 0xE) && framed(b, 3, v, _tvUtf::kAcceptSurrogates) != lenient)
        FAIL() << "unit " << unit << " surrogates pass " << std::hex << v;
    }
    for (uint32_t v = 0; v < (1u << 16) * 4; ++v) {
      b[0] = static_cast<unsigned char>(v >> 10);
      b[1] = static_cast<unsigned char>(v >> 2);
      b[2] = thirds[v & 3];
      b[3] = 0x80;
      const bool strict = referenceValid(b, 4);
      if ((unit == 0 ? _tvUtf::isValidUtf8(b, 4, 0) : framed(b, 4, v, 0)) != strict)
        FAIL() << "unit " << unit << " " << std::hex << v;
    }
  }
  _tvUtf::capVectorUnitForTests(2);
}

// Random text (dense in multi-byte characters, sparse, and with lone
// surrogates), damaged at every position in turn and cut at every length:
// every unit gives the plain rule's answer, with and without the flag.
TEST(LibUtf, IsValidUtf8VectorPathsAgree) {
  std::mt19937 rng(8);
  const unsigned char bad[] = {0x00, 'a', 0x80, 0xBF, 0xC0, 0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xF5, 0xFF};
  const auto check = [](const string& t) {
    const auto* p = reinterpret_cast<const unsigned char*>(t.data());
    const bool strict = referenceValid(p, t.size()), lenient = referenceValid(p, t.size(), true);
    bool same = true;
    forEachUnit([&](int) {
      same = same && valid(t) == strict && valid(t, _tvUtf::kAcceptSurrogates) == lenient;
    });
    return same;
  };
  struct Shape { const char* name; size_t size; unsigned asciiIn40; bool surrogates; };
  for (const Shape& shape : {Shape{"dense", 700, 8, false}, Shape{"sparse", 2300, 39, false},
                             Shape{"surrogates", 500, 8, true}}) {
    SCOPED_TRACE(shape.name);
    string text;
    while (text.size() < shape.size) {
      uint32_t cp = rng() % 40 < shape.asciiIn40 ? 'a' + rng() % 26 : rng() % 0x110000;
      if (cp >= 0xD800 && cp <= 0xDFFF && !shape.surrogates) cp = 0xE9;
      if (shape.surrogates && rng() % 8 == 0) cp = 0xD800 + rng() % 0x800;
      char out[4];
      unsigned int n = 0;
      _tvUtf::codePointToUtf8(cp, out, n);
      text.append(out, n);
    }
    for (size_t n = 0; n <= text.size(); ++n)
      if (!check(text.substr(0, n))) FAIL() << "cut at " << n;
    for (size_t i = 0; i < text.size(); ++i) {
      string damaged = text;
      for (const unsigned char c : bad) {
        if (i >= 256 && c != bad[i % sizeof bad]) continue;
        damaged[i] = static_cast<char>(c);
        if (!check(damaged)) FAIL() << "byte " << i << " set to " << std::hex << int(c);
      }
    }
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
    if (r.cp == 0xD800) continue;  // decoding refuses a surrogate
    const auto* bytes = reinterpret_cast<const unsigned char*>(out);
    uint32_t back = 0;
    EXPECT_EQ(n, _tvUtf::decodeUtf8(bytes, bytes + n, back)) << std::hex << r.cp;
    EXPECT_EQ(r.cp > 0x10FFFF ? 0xFFFDu : r.cp, back);
  }
  // A byte that leads nothing, or past U+10FFFF (F4 90), decodes as one bad byte.
  for (const unsigned char* bad : {reinterpret_cast<const unsigned char*>("\xF4\x90\x80\x80"),
                                   reinterpret_cast<const unsigned char*>("\xFF\x80\x80\x80")}) {
    uint32_t cp = 0;
    EXPECT_EQ(1u, _tvUtf::decodeUtf8(bad, bad + 4, cp));
    EXPECT_EQ(_tvUtf::kInvalid, cp);
  }
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
