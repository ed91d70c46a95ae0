#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "lib/DataBuffer.h"
#include "lib/StringBufferArray.h"
#include "test_support.h"

namespace {

using namespace std::string_literals;
using Alphabet = StringBuffer::Base64Alphabet;
using Space = StringBuffer::WhiteSpace;
using Plus = StringBuffer::PlusSign;

std::string dataOf(const DataBuffer& d) {
  return std::string(reinterpret_cast<const char*>(d.getData2()), d.getSize());
}

std::string sampleBytes(size_t n, unsigned seed) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 131 + seed * 7 + (i >> 3)) & 0xFF);
  return s;
}

TEST(Extensions, StringViewInterop) {
  const std::string bytes = "a\0b\0"s;
  StringBuffer built(bytes);
  EXPECT_EQ(bytes, bytesOf(built)) << "trailing zero bytes are counted";
  EXPECT_EQ(bytes, std::string(built.view()));
  EXPECT_EQ(bytes, std::string(built.begin(), built.end()));

  // A literal still takes the zero-terminated forms; a view takes every byte.
  StringBuffer sb("x");
  EXPECT_TRUE(sb.append("y\0z") && sb.append(std::string_view("1\0"s)));
  EXPECT_EQ("xy1\0"s, bytesOf(sb));
  StringBuffer copy;
  EXPECT_TRUE(copy.setString(sb) && copy.setString("q"));
  EXPECT_EQ("q", bytesOf(copy));

  StringBuffer big(std::string(300, 'k') + "tail");
  const unsigned int capacity = big.heapUsage();
  EXPECT_TRUE(big.setString(big.view().substr(296)));
  EXPECT_EQ("kkkktail", bytesOf(big)) << "a view of the buffer's own content";
  EXPECT_EQ(capacity, big.heapUsage()) << "setString keeps the heap buffer";
  EXPECT_TRUE(big.append(big.view()));
  EXPECT_EQ("kkkktailkkkktail", bytesOf(big));
  EXPECT_TRUE(big.setString(std::string_view()));
  EXPECT_EQ(0u, big.getSize());

  for (char& c : sb) c = static_cast<char>(c == 'x' ? 'X' : c);
  std::ostringstream os;
  os << sb << '|';
  EXPECT_EQ("Xy1\0|"s, os.str());
}

TEST(Extensions, ComparisonsAndHash) {
  struct Row { const char* name; std::string a, b; bool equal, less; };
  const Row rows[] = {
      {"equal", "abc", "abc", true, false},
      {"both empty", "", "", true, false},
      {"zero byte inside decides", "a\0b"s, "a\0c"s, false, true},
      {"prefix is smaller", "a", "a\0"s, false, true},
      {"bytes are unsigned", "a", "\x80", false, true},
      {"longer but smaller", "ab", "b", false, true},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const StringBuffer a = bufferOf(r.a), b = bufferOf(r.b);
    const std::string_view av(r.a), bv(r.b);
    EXPECT_EQ(r.equal, a == b);
    EXPECT_EQ(r.equal, a == bv && av == b);
    EXPECT_EQ(!r.equal, a != b && a != bv && av != b);
    EXPECT_EQ(r.less, a < b);
    EXPECT_EQ(r.less, a < bv && av < b);
    EXPECT_FALSE(b < a && a < b);
    if (r.equal) {
      EXPECT_EQ(std::hash<StringBuffer>()(a), std::hash<StringBuffer>()(b));
      EXPECT_EQ(std::hash<std::string_view>()(av), std::hash<StringBuffer>()(a));
    }
  }
  // A C string ends at its zero byte; a null one is "".
  const StringBuffer withZero = bufferOf("a\0b"s), empty;
  const char* none = nullptr;
  EXPECT_TRUE(withZero != "a" && "a" != withZero && "a" < withZero && !(withZero < "a"));
  EXPECT_TRUE(empty == none && none == empty && !(empty < none) && empty < "a");
  EXPECT_TRUE(StringBuffer("b") == "b" && "a" < StringBuffer("b"));

  std::unordered_set<StringBuffer> set;
  set.insert(bufferOf("k\0k"s));
  EXPECT_EQ(1u, set.count(StringBuffer(std::string_view("k\0k"s))));
  EXPECT_EQ(0u, set.count(StringBuffer("k")));
}

// Every decoder row runs both ways: appended behind a prefix in a DataBuffer,
// and in place. Malformed text must leave both exactly as they were.
struct DecodeRow { const char* name; std::string text; bool ok; std::string bytes; };

template <typename IntoData, typename InPlace>
void runDecodes(const std::vector<DecodeRow>& rows, IntoData intoData, InPlace inPlace) {
  for (const DecodeRow& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.text);
    DataBuffer out;
    out.append("pre", 3);
    EXPECT_EQ(r.ok, intoData(sb, out));
    EXPECT_EQ("pre" + (r.ok ? r.bytes : ""), dataOf(out));
    EXPECT_EQ(r.text, bytesOf(sb));
    EXPECT_EQ(r.ok, inPlace(sb));
    EXPECT_EQ(r.ok ? r.bytes : r.text, bytesOf(sb));
    EXPECT_EQ(0, sb.getString()[sb.getSize()]);
  }
}

TEST(Extensions, DecodeBase64) {
  const std::vector<DecodeRow> strict = {
      {"empty", "", true, ""},
      {"one group", "QUJD", true, "ABC"},
      {"padded two", "QQ==", true, "A"},
      {"padded one", "QUI=", true, "AB"},
      {"unpadded tail", "QUI", true, "AB"},
      {"zero bytes", "AAAA", true, "\0\0\0"s},
      {"high bytes", "/+/+", true, "\xFF\xEF\xFE"},
      {"malformed: short padding", "QQ=", false, ""},
      {"malformed: padding on a full group", "QUJD=", false, ""},
      {"malformed: lone symbol", "QUJDR", false, ""},
      {"malformed: padding alone", "==", false, ""},
      {"malformed: text after padding", "QQ==QQ", false, ""},
      {"malformed: leftover bits set", "QR==", false, ""},
      {"malformed: leftover bits set, unpadded", "QUJ", false, ""},
      {"malformed: url-safe symbol", "-_-_", false, ""},
      {"malformed: white space", "QU JD", false, ""},
      {"malformed: zero byte", "QU\0D"s, false, ""},
  };
  runDecodes(
      strict, [](StringBuffer& sb, DataBuffer& out) { return sb.decodeBase64(out); },
      [](StringBuffer& sb) { return sb.decodeBase64InPlace(); });

  const std::vector<DecodeRow> lenient = {
      {"white space anywhere", " Q\tU\r\nJ D ", true, "ABC"},
      {"white space inside padding", "QQ=\n=\n", true, "A"},
      {"only white space", "\r\n", true, ""},
      {"malformed: form feed is not white space", "QUJD\f", false, ""},
      {"malformed: three padding bytes", "Q Q = = =", false, ""},
  };
  runDecodes(
      lenient, [](StringBuffer& sb, DataBuffer& out) { return sb.decodeBase64(out, Alphabet::Standard, Space::Skip); },
      [](StringBuffer& sb) { return sb.decodeBase64InPlace(Alphabet::Standard, Space::Skip); });

  const std::vector<DecodeRow> urlSafe = {
      {"url-safe symbols", "-_-_", true, "\xFB\xFF\xBF"},
      {"url-safe padded", "_w==", true, "\xFF"},
      {"malformed: standard symbol", "+/+/", false, ""},
  };
  runDecodes(
      urlSafe, [](StringBuffer& sb, DataBuffer& out) { return sb.decodeBase64(out, Alphabet::UrlSafe); },
      [](StringBuffer& sb) { return sb.decodeBase64InPlace(Alphabet::UrlSafe); });
}

TEST(Extensions, DecodeBase64EveryByte) {
  const std::string standard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int c = 0; c < 256; ++c) {
    SCOPED_TRACE(c);
    const auto b = static_cast<char>(c);
    const size_t value = standard.find(b);
    const bool space = b == '\t' || b == '\n' || b == '\r' || b == ' ';
    // "AAA" then the byte: a full group for a symbol, a padded or unpadded
    // group of three for "=" and (when skipped) white space.
    for (const Space mode : {Space::Reject, Space::Skip}) {
      DataBuffer out;
      const bool ok = value != std::string::npos || b == '=' || (space && mode == Space::Skip);
      EXPECT_EQ(ok, bufferOf("AAA"s + b).decodeBase64(out, Alphabet::Standard, mode));
      if (value != std::string::npos) {
        EXPECT_EQ("\0\0"s + static_cast<char>(value), dataOf(out));
      }
    }
  }
}

TEST(Extensions, DecodeBase64RoundTrips) {
  for (size_t n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    const std::string bytes = sampleBytes(n, static_cast<unsigned>(n));
    StringBuffer text;
    ASSERT_TRUE(text.appendBase64(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(n)));
    DataBuffer out;
    EXPECT_TRUE(text.decodeBase64(out));
    EXPECT_EQ(bytes, dataOf(out));

    // Mail-style lines of 76 characters only decode when white space is skipped.
    StringBuffer lines;
    for (size_t i = 0; i < text.getSize(); i += 76) lines.append(text.view().substr(i, 76)), lines.append("\r\n");
    DataBuffer wrapped;
    EXPECT_EQ(n == 0, lines.decodeBase64(wrapped));
    EXPECT_TRUE(lines.decodeBase64InPlace(Alphabet::Standard, Space::Skip));
    EXPECT_EQ(bytes, bytesOf(lines));
  }
}

TEST(Extensions, DecodeHex) {
  const std::vector<DecodeRow> rows = {
      {"empty", "", true, ""},
      {"either case", "00fFaB7e", true, "\x00\xFF\xAB\x7E"s},
      {"pairs behind whole groups of four", "000102030405ff", true, "\0\1\2\3\4\5\xFF"s},
      {"malformed: odd length", "abc", false, ""},
      {"malformed: white space", "ab cd", false, ""},
      {"malformed: prefix", "0x41", false, ""},
      {"malformed: bad digit late", "4142434G", false, ""},
  };
  runDecodes(
      rows, [](StringBuffer& sb, DataBuffer& out) { return sb.decodeHex(out); },
      [](StringBuffer& sb) { return sb.decodeHexInPlace(); });

  const std::string digits = "0123456789abcdefABCDEF";
  for (int c = 0; c < 256; ++c) {
    SCOPED_TRACE(c);
    const auto b = static_cast<char>(c);
    const bool digit = digits.find(b) != std::string::npos;
    DataBuffer high, low;
    EXPECT_EQ(digit, bufferOf(std::string(1, b) + "0").decodeHex(high));
    EXPECT_EQ(digit, bufferOf("0"s + b).decodeHex(low));
    if (digit) {
      EXPECT_EQ(static_cast<unsigned char>(high.getData2()[0] >> 4), low.getData2()[0]);
    }
  }

  const std::string bytes = sampleBytes(1000, 3);
  StringBuffer text;
  text.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(bytes.data()), 1000, false);
  ASSERT_TRUE(text.decodeHexInPlace());
  EXPECT_EQ(bytes, bytesOf(text));
}

TEST(Extensions, DecodePercent) {
  const std::vector<DecodeRow> literal = {
      {"empty", "", true, ""},
      {"escapes either case", "a%41%2f%2F", true, "aA//"},
      {"zero byte", "%00x", true, "\0x"s},
      {"plus stays", "a+b", true, "a+b"},
      {"other bytes stand", "\x80 \0"s, true, "\x80 \0"s},
      {"malformed: percent at end", "ab%", false, ""},
      {"malformed: one digit", "ab%4", false, ""},
      {"malformed: bad digit", "%G1", false, ""},
      {"malformed: double percent", "%%41", false, ""},
  };
  runDecodes(
      literal, [](StringBuffer& sb, DataBuffer& out) { return sb.decodePercent(out); },
      [](StringBuffer& sb) { return sb.decodePercentInPlace(); });
  const std::vector<DecodeRow> form = {
      {"plus is space", "a+b%2B+", true, "a b+ "},
      {"malformed after plus", "a+%", false, ""},
  };
  runDecodes(
      form, [](StringBuffer& sb, DataBuffer& out) { return sb.decodePercent(out, Plus::Space); },
      [](StringBuffer& sb) { return sb.decodePercentInPlace(Plus::Space); });

  // Every byte escaped and every byte as itself come back as the byte.
  std::string escaped, plain;
  for (int c = 0; c < 256; ++c) {
    escaped += "%" + std::string(1, "0123456789ABCDEF"[c >> 4]) + "0123456789abcdef"[c & 15];
    if (c != '%') plain += static_cast<char>(c);
  }
  std::string every;
  for (int c = 0; c < 256; ++c) every += static_cast<char>(c);
  StringBuffer all = bufferOf(escaped + plain);
  ASSERT_TRUE(all.decodePercentInPlace());
  EXPECT_EQ(every + plain, bytesOf(all));
}

TEST(Extensions, SecureInPlaceDecodeLeavesNoText) {
  const std::string bytes = sampleBytes(300, 9);
  StringBuffer sb;
  sb.setSecureBuf(true);
  sb.appendBase64(reinterpret_cast<const unsigned char*>(bytes.data()), 300);
  const unsigned int encoded = sb.getSize();
  ASSERT_TRUE(sb.decodeBase64InPlace());
  ReleaseWatcher watcher(encoded);
  sb.clear();
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_FALSE(watcher.sawContent());
}

TEST(Extensions, JoinArray) {
  StringBufferArray list;
  for (const char* s : {"one", "", "three"}) list.appendPtr(StringBuffer::createNewSB(s));
  list.appendPtr(new StringBufferArray);  // not a StringBuffer: skipped with its separator
  list.appendPtr(StringBuffer::createNewSB_exact("z\0z", 3));

  StringBuffer sb("[");
  EXPECT_TRUE(sb.join(list, ", "));
  EXPECT_EQ("[one, , three, z\0z"s, bytesOf(sb));

  StringBufferArray none;
  EXPECT_TRUE(sb.join(none, ",") && sb.join(list, std::string_view("\0"s)));
  EXPECT_EQ("[one, , three, z\0z"s + "one\0\0three\0z\0z"s, bytesOf(sb));

  // The buffer may be an element, and the separator may view its storage.
  StringBufferArray self;
  const std::string m(60, 'm');
  StringBuffer* member = StringBuffer::createNewSB(m.c_str());
  self.appendPtr(member);
  self.appendPtr(StringBuffer::createNewSB("cd"));
  self.appendPtr(member);
  EXPECT_TRUE(member->join(self, "-"));
  EXPECT_EQ(m + m + "-cd-" + m, bytesOf(*member)) << "joined as it was before the growth";
  self.removeAt(2);  // the array owns member once
  StringBuffer big;
  big.setExtendSize(0);  // no spare room: the join must grow while the separator is read
  big.append(std::string_view(std::string(90, 's')));
  EXPECT_TRUE(big.join(list, big.view().substr(0, 2)));
  EXPECT_EQ(std::string(90, 's') + "onessssthreessz\0z"s, bytesOf(big));
}

TEST(Extensions, JoinRanges) {
  StringBuffer sb;
  EXPECT_TRUE(sb.join({"a", std::string_view("\0"s), "c"}, "/"));
  const std::vector<std::string> strings = {"x", "y"};
  const char* cstrings[] = {"p", nullptr, "q"};
  EXPECT_TRUE(sb.join(strings, "") && sb.join(cstrings, "+"));
  EXPECT_TRUE(sb.join(std::vector<std::string_view>{}, "never"));
  EXPECT_EQ("a/\0/cxyp++q"s, bytesOf(sb));

  // Pieces that view the buffer itself survive the growth they cause.
  StringBuffer own(std::string(80, 'o'));
  const std::vector<std::string_view> pieces = {own.view(), own.view().substr(0, 3)};
  EXPECT_TRUE(own.join(pieces, own.view().substr(0, 1)));
  EXPECT_EQ(std::string(80 + 80 + 1 + 3, 'o'), bytesOf(own));
}

TEST(Extensions, JoinEveryPieceSize) {
  // Short pieces are copied by size class; each size up to past the largest
  // class must come out whole, next to separators of every short size.
  for (size_t separator = 0; separator < 4; ++separator) {
    std::vector<std::string> pieces;
    std::string expected;
    for (size_t n = 0; n < 70; ++n) {
      pieces.push_back(sampleBytes(n, static_cast<unsigned>(n + separator)));
      expected += (n != 0 ? std::string(separator, ',') : "") + pieces.back();
    }
    StringBuffer sb;
    EXPECT_TRUE(sb.join(pieces, std::string(separator, ',')));
    EXPECT_EQ(expected, bytesOf(sb));
  }
}

TEST(Extensions, JoinAllocatesOnce) {
  const std::vector<std::string> pieces(50, std::string(40, 'p'));
  StringBufferArray list;
  for (const std::string& p : pieces) list.appendPtr(StringBuffer::createNewSB(p.c_str()));
  const size_t total = 50 * 40 + 49 * 2;
  {
    StringBuffer sb("head");
    ScopedAllocatorControl control;
    EXPECT_TRUE(sb.join(list, ", "));
    EXPECT_EQ(1u, control.allocations());
    EXPECT_EQ(4 + total, sb.getSize());
  }
  {
    StringBuffer sb("head");
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(sb.join(list, ", "));
    control.failNth(1);
    EXPECT_FALSE(sb.join(pieces, ", "));
    EXPECT_EQ("head", bytesOf(sb));
  }
}

TEST(Extensions, AppendFormat) {
  using Format = std::function<bool(StringBuffer&)>;
  struct Row { const char* name; std::string start; Format format; unsigned allocations; std::string expected; };
  const std::string x70(70, 'x'), longText(500, 'L');
  const Row rows[] = {
      {"fits inline", "x", [](StringBuffer& sb) { return sb.appendFormat("%d-%s|", 42, "ab"); }, 0, "x42-ab|"},
      {"grows once to the exact size", x70,
       [&](StringBuffer& sb) { return sb.appendFormat("%d|%s", 42, longText.c_str()); }, 1, x70 + "42|" + longText},
      {"through the C library, grows once", "x", [](StringBuffer& sb) { return sb.appendFormat("%300.1f", 2.5); },
       1, "x" + std::string(297, ' ') + "2.5"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.start);
    ScopedAllocatorControl control;
    EXPECT_TRUE(r.format(sb));
    EXPECT_EQ(r.allocations, control.allocations());
    EXPECT_EQ(r.expected, bytesOf(sb));
  }
  StringBuffer zero("a");
  EXPECT_TRUE(zero.appendFormat("%c", 0) && zero.appendFormat("%s", "") && zero.appendFormat(nullptr));
  EXPECT_EQ("a\0"s, bytesOf(zero)) << "a formatted zero byte is content";

  StringBuffer kept("kept");
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(kept.appendFormat("%0300d", 7));
  control.failNth(1);
  EXPECT_FALSE(kept.appendFormat("%0300.1f", 7.0));
  EXPECT_EQ("kept", bytesOf(kept));
  EXPECT_STREQ("kept", kept.getString());
}

// Each row formats the same call with snprintf and with appendFormat (into a
// buffer holding "<"), so every flag, width, precision and length modifier is
// checked against the C library, including the forms handed on to it.
const char* gNothing = nullptr;  // not a constant, so the compiler lets "%s" take it
#define FORMAT_ROW(...)                                                \
  [](StringBuffer& sb, std::string& expected) {                        \
    char area[1024];                                                   \
    const int n = std::snprintf(area, sizeof area, __VA_ARGS__);       \
    expected = "<" + std::string(area, static_cast<size_t>(n));        \
    return sb.appendFormat(__VA_ARGS__);                               \
  }

TEST(Extensions, AppendFormatMatchesTheCLibrary) {
  using Row = std::function<bool(StringBuffer&, std::string&)>;
  const Row rows[] = {
      FORMAT_ROW("%d|%i|%5d|%-5d|%05d|%+d|% d|%.3d|%.0d|%5.3d|%-+6d|", -42, 7, 42, 42, -42, 0, 5, 9, 0, 7, 3),
      FORMAT_ROW("%d %d %u %u", INT_MIN, INT_MAX, 0u, UINT_MAX),
      FORMAT_ROW("%u %o %x %X %#o %#x %#X %#08x %.0u %.0o %#.0o %#.0x %#o", 8u, 8u, 255u, 255u, 8u, 255u, 255u, 255u,
                 0u, 0u, 0u, 0u, 0u),
      FORMAT_ROW("%-#8x|%#5X|%08x", 5u, 0xABu, 7u),
      FORMAT_ROW("%hhd %hd %ld %lld %zd %jd %td", static_cast<signed char>(-128), static_cast<short>(-30000), LONG_MIN, LLONG_MIN, static_cast<ptrdiff_t>(-1),
                 static_cast<intmax_t>(-2), static_cast<ptrdiff_t>(-3)),
      FORMAT_ROW("%hhu %hu %lu %llu %zu %ju %tx %llx", static_cast<unsigned char>(200), static_cast<unsigned short>(60000), ULONG_MAX, ULLONG_MAX, SIZE_MAX,
                 static_cast<uintmax_t>(9), static_cast<ptrdiff_t>(10), 0xFEDCBA9876543210ull),
      FORMAT_ROW("%c|%5c|%-3c|%c", 'a', 'b', 'c', 200),
      FORMAT_ROW("%s|%.2s|%10s|%-10s|%.*s|%*s|%-*s|%.0s|", "abc", "abc", "abc", "abc", 1, "xyz", 4, "r", 4, "l", "gone"),
      FORMAT_ROW("%*d|%.*d|%-*d|%.*s|", -5, 1, -3, 2, 3, 4, 0, "gone"),
      FORMAT_ROW("100%% %%%d%%", 5),
      FORMAT_ROW("no conversion at all"),
      // Handed on to the C library.
      FORMAT_ROW("%f %.2e %g", 1.5, 12345.678, 0.0001),
      FORMAT_ROW("%d then %s", 1, gNothing),
      FORMAT_ROW("%s|%p", "pointer", static_cast<void*>(&gNothing)),
      FORMAT_ROW("%ls", L"wide"),
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    StringBuffer sb("<");
    std::string expected;
    EXPECT_TRUE(rows[i](sb, expected));
    EXPECT_EQ(expected, bytesOf(sb));
  }
}

TEST(Extensions, AppendFormatWipesSecureSpareRoom) {
  StringBuffer sb(std::string(100, 'x'));
  sb.setSecureBuf(true);
  const unsigned int capacity = sb.heapUsage();
  ReleaseWatcher watcher(capacity);
  EXPECT_TRUE(sb.appendFormat("%s", std::string(1000, 's').c_str()));
  EXPECT_EQ(1u, watcher.releases());
  EXPECT_FALSE(watcher.sawContent()) << "neither the content nor the first, cut-off formatting";
  EXPECT_EQ(std::string(100, 'x') + std::string(1000, 's'), bytesOf(sb));
}

}  // namespace
