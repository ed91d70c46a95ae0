#include <gtest/gtest.h>

#include <string>

#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/_clsEncode.h"
#include "test_support.h"

namespace {

using std::string;

string bytesOf(const DataBuffer& d) { return string(reinterpret_cast<const char*>(d.getData2()), d.getSize()); }

TEST(Decoding, EncodingNames) {
  LogNull log;
  struct Row { const char* name; int id; };
  const Row rows[] = {
      {"base64", 1}, {"BASE64", 1}, {"Base64-Mime", 1}, {"quoted-printable", 2}, {"QP", 2}, {"hex", 3},
      {"Base16", 3}, {"url", 4},    {"base32", 5},      {"base64url", 6},        {"modBase64", 6},
      {"base65", 0}, {"", 0},       {nullptr, 0},       {"hex ", 0},
  };
  for (const Row& r : rows) EXPECT_EQ(r.id, _clsEncode::encodingIdFromName(r.name, log)) << (r.name ? r.name : "null");
}

TEST(Decoding, Decode) {
  struct Row { const char* name; const char* encoding; string text; bool ok; string want; };
  const Row rows[] = {
      {"base64", "base64", "aGVsbG8=", true, "hello"},
      {"base64 unpadded", "base64", "aGVsbG8", true, "hello"},
      {"base64 wrapped lines", "base64", "aGVs\r\nbG8g\r\nd29y\r\nbGQ=\r\n", true, "hello world"},
      {"base64 bad byte", "base64", "aGV*bG8=", false, ""},
      {"base64 lone symbol", "base64", "aGVsb", false, ""},
      {"base64 text after padding", "base64", "aA==aA==", false, ""},
      {"url-safe", "base64url", "-_8", true, "\xFB\xFF"},
      {"url-safe refuses +", "base64url", "+/8", false, ""},
      {"hex", "hex", "48 65\n6c6C", true, "Hell"},
      {"hex odd digit", "hex", "486", false, ""},
      {"hex non-digit", "hex", "4G", false, ""},
      {"base32", "base32", "NBSWY3DP", true, "hello"},
      {"base32 lower case, padded", "base32", "nbswy3dpeb3w64tmmq======", true, "hello world"},
      {"base32 seven symbols", "base32", "NBSWY3D", true, "hell"},
      {"base32 cut", "base32", "NBSWY3", false, ""},
      {"base32 one symbol into a second group", "base32", "NBSWY3DPE", false, ""},
      {"quoted-printable", "quoted-printable", "caf=C3=a9 =\r\nnext=\nline", true, "caf\xC3\xA9 nextline"},
      {"quoted-printable bad escape", "qp", "a=4", false, ""},
      {"url", "url", "a%20b+c%2f", true, "a b+c/"},
      {"url bad escape", "url", "100%", false, ""},
      {"empty text", "base64", "", true, ""},
      {"unknown encoding", "rot13", "abc", false, ""},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    LogNull log;
    DataBuffer out;
    out.append("<", 1);
    EXPECT_EQ(r.ok, bufferOf(r.text).decode(r.encoding, out, log));
    // Decoded bytes are followed by exactly one zero byte; a failure leaves
    // out as it was.
    EXPECT_EQ(r.ok ? "<" + r.want + string(1, '\0') : "<", bytesOf(out));
  }
  // An unknown name is logged: one error line and the name.
  LogBase log;
  DataBuffer out;
  EXPECT_FALSE(bufferOf("abc").decode("rot13", out, log));
  const string text = log.getText();
  EXPECT_TRUE(text.find("error: ") != string::npos && text.find("rot13") != string::npos) << text;
}

TEST(Decoding, DecodeInPlace) {
  LogNull log;
  StringBuffer sb("aGVsbG8=");
  EXPECT_TRUE(sb.decode_in_place(1, log));
  EXPECT_EQ("hello", bytesOf(sb));
  StringBuffer bad("not base64!");
  EXPECT_FALSE(bad.decode_in_place(1, log));
  EXPECT_EQ("not base64!", bytesOf(bad));
  EXPECT_FALSE(bad.decode_in_place(99, log));
  EXPECT_EQ("not base64!", bytesOf(bad));
  DataBuffer bytes;
  EXPECT_FALSE(_clsEncode::decodeBytes(7, reinterpret_cast<const unsigned char*>("a=41"), 4, bytes));
  EXPECT_FALSE(_clsEncode::decodeBytes(0, reinterpret_cast<const unsigned char*>("a=41"), 4, bytes));
  EXPECT_FALSE(_clsEncode::decodeBytes(1, nullptr, 4, bytes));
  EXPECT_TRUE(_clsEncode::decodeBytes(1, nullptr, 0, bytes));
  StringBuffer zeros("00410000");
  EXPECT_TRUE(zeros.decode_in_place(3, log));
  EXPECT_EQ(string("\0A\0\0", 4), bytesOf(zeros));
  // Memory for the decoded bytes cannot be had: nothing changes.
  StringBuffer keep("aGVsbG8=");
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(keep.decode_in_place(1, log));
  }
  EXPECT_EQ("aGVsbG8=", bytesOf(keep));
}

TEST(Decoding, SecureDecodeWipes) {
  ReleaseWatcher watcher(16);
  {
    LogNull log;
    StringBuffer sb;
    sb.setSecureBuf(true);
    sb.append((string(120, 'Q') + "==").c_str());
    EXPECT_TRUE(sb.decode_in_place(1, log));
    StringBuffer bad;
    bad.setSecureBuf(true);
    bad.append((string(120, 'Q') + "*").c_str());
    EXPECT_FALSE(bad.decode_in_place(1, log));
  }
  EXPECT_FALSE(watcher.sawContent());
}

string decodeWords(const string& text) {
  StringBuffer sb = bufferOf(text);
  LogNull log;
  EXPECT_TRUE(MimeCodec::decodeEncodedWords(sb, log));
  return bytesOf(sb);
}

TEST(Decoding, EncodedWords) {
  struct Row { const char* name; string in, want; };
  const Row rows[] = {
      {"B, UTF-8", "=?utf-8?B?Y2Fmw6k=?=", "caf\xC3\xA9"},
      {"lower-case b and q", "=?UTF-8?b?w6k=?= =?iso-8859-1?q?=E9?=", "\xC3\xA9\xC3\xA9"},
      {"Q underscore is a space", "=?iso-8859-1?Q?a_b=5F?=", "a b_"},
      {"Windows-1252 euro", "=?windows-1252?Q?=80?=", "\xE2\x82\xAC"},
      {"space between words dropped", "=?utf-8?Q?a?=  \r\n =?utf-8?Q?b?=", "ab"},
      {"text between words kept", "=?utf-8?Q?a?= x =?utf-8?Q?b?=", "a x b"},
      {"text around kept", "Re: =?utf-8?Q?caf=C3=A9?= ok", "Re: caf\xC3\xA9 ok"},
      {"split character joined", "=?utf-8?B?4oI=?= =?utf-8?B?rA==?=", "\xE2\x82\xAC"},
      {"split Shift_JIS character", "=?shift_jis?Q?=82?= =?shift_jis?Q?=A0?=", "\xE3\x81\x82"},
      {"language suffix", "=?utf-8*en?Q?hi?=", "hi"},
      {"ISO-2022-JP", "=?iso-2022-jp?B?GyRCJCIbKEI=?=", "\xE3\x81\x82"},
      {"GB2312", "=?gb2312?B?1tA=?=", "\xE4\xB8\xAD"},
      {"unknown charset left", "=?x-klingon?Q?a?=", "=?x-klingon?Q?a?="},
      {"unknown charset after a good word", "=?utf-8?Q?a?= =?x-klingon?Q?b?=", "a =?x-klingon?Q?b?="},
      {"bad Q escape left", "=?utf-8?Q?a=G1?=", "=?utf-8?Q?a=G1?="},
      {"bad base64 left", "=?utf-8?B?***?=", "=?utf-8?B?***?="},
      {"unknown form left", "=?utf-8?X?a?=", "=?utf-8?X?a?="},
      {"no end left", "=?utf-8?Q?abc", "=?utf-8?Q?abc"},
      {"space inside left", "=?utf-8?Q?a b?=", "=?utf-8?Q?a b?="},
      {"broken word then good", "=?utf-8?Q?=?= =?utf-8?Q?ok?=", "=?utf-8?Q?=?= ok"},
      {"different charsets, space dropped", "=?iso-8859-1?Q?=E9?= =?utf-8?Q?=C3=A9?=", "\xC3\xA9\xC3\xA9"},
      {"no words", "plain = text ? here", "plain = text ? here"},
      {"empty word", "a=?utf-8?Q?" "?=b", "ab"},
  };
  for (const Row& r : rows) EXPECT_EQ(r.want, decodeWords(r.in)) << r.name;
}

// qbDecode decodes both kinds of word; a text without any is not rebuilt.
TEST(Decoding, QbDecode) {
  LogNull log;
  StringBuffer sb("=?utf-8?B?w6k=?= and =?iso-8859-1?q?=E9?=");
  EXPECT_TRUE(sb.qbDecode(log));
  EXPECT_EQ("\xC3\xA9 and \xC3\xA9", bytesOf(sb));
  StringBuffer plain("a?b");
  ScopedAllocatorControl control;
  EXPECT_TRUE(plain.qbDecode(log));
  EXPECT_EQ("a?b", bytesOf(plain));
  EXPECT_EQ(0u, control.allocations());
}

}  // namespace
