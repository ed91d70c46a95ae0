// _clsEncode: decoding of text held in a named transfer encoding.
//
// Encodings, by identifier (names are matched without regard to case):
//   1  "base64", "b64", "base64-mime", "base64_mime", "mime": RFC 4648
//      alphabet; white space (TAB, LF, CR, space) is skipped anywhere, so
//      line-wrapped MIME bodies decode as they are; "=" padding optional.
//   2  "quoted-printable", "quoted_printable", "qp": "=XX" in either case,
//      "=" at the end of a line (CR LF or LF) a soft line break.
//   3  "hex", "hexadecimal", "base16": two hex digits a byte, either case;
//      white space between the pairs is skipped (the numbering is the one
//      DataBuffer::appendEncodedById uses).
//   4  "url", "urlencoding", "percent": "%XX" in either case; every other
//      byte, "+" included, stands for itself.
//   5  "base32": RFC 4648 alphabet in either case, white space skipped,
//      padding optional.
//   6  "base64url", "base64-url", "base64_url", "modbase64": base64 with
//      "-" and "_" for "+" and "/".
// Malformed text (a byte outside the alphabet, a cut-off group, a "%" or "="
// without two hex digits) gives false and leaves out as it was.
#pragma once

class DataBuffer;
class LogBase;
class StringBuffer;

class _clsEncode {
 public:
  static constexpr int kBase64 = 1;
  static constexpr int kQuotedPrintable = 2;
  static constexpr int kHex = 3;
  static constexpr int kUrl = 4;
  static constexpr int kBase32 = 5;
  static constexpr int kBase64Url = 6;

  // The identifier of the named encoding; 0 when the name (or null) is not
  // one of the table above. Nothing is logged.
  static int encodingIdFromName(const char* name, LogBase& log);

  // Decodes the content of text (all its bytes) from encoding id and appends
  // the bytes to out. With terminate set, one zero byte follows them in out
  // (counted in its size), so that a StringBuffer can take the block over.
  // False for an unknown id or malformed text, with out as it was (the
  // reason is logged), and when memory runs out.
  static bool decodeBinary(int id, StringBuffer& text, DataBuffer& out, bool terminate, LogBase& log);

  // decodeBinary over n bytes at p, without the zero byte and the log.
  static bool decodeBytes(int id, const unsigned char* p, unsigned int n, DataBuffer& out);
};
