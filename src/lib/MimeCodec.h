// MimeCodec: the library's MIME text codecs. Base64 follows RFC 4648 with the
// standard alphabet and "=" padding; MIME encoded words will join it here.
#pragma once

class DataBuffer;
class StringBuffer;

class LogBase;

class MimeCodec {
 public:
  // Decodes the MIME encoded words of sb (RFC 2047, "=?charset?B?text?=" and
  // "=?charset?Q?text?=", either case, "charset*lang" accepted) in place to
  // UTF-8. White space between two encoded words is dropped, and adjacent
  // words of one charset are joined before conversion, so a character split
  // between them comes out whole. A malformed word, or one whose charset is
  // unknown, is left as it stands; text outside words is not touched. False
  // only when memory runs out, with sb as it was.
  static bool decodeEncodedWords(StringBuffer& sb, LogBase& log);

  // Appends the Base64 text of n bytes to out on one line (no line breaks).
  // Null data or n == 0 appends nothing and succeeds. False when out cannot
  // grow; out is then as it was.
  static bool encodeBase64(const void* data, unsigned int n, StringBuffer& out);

  // Decodes n characters of Base64 text and appends the bytes to out.
  // White space (TAB, LF, CR, space) is skipped anywhere. Unpadded text is
  // accepted, and unused low bits of the last character are ignored.
  // Decoding stops at padding ("="): after it only white space and further
  // "=" may follow. It also stops at the first byte that is neither Base64
  // nor white space. Returns false on bad input: a byte outside the alphabet
  // before the end, padding where no byte is complete, anything but white
  // space or "=" after padding, or a lone trailing character; the bytes
  // decoded before the fault are still appended. Also false, with nothing
  // appended, when out cannot grow. Null text decodes to nothing (true).
  static bool decodeBase64(const char* text, unsigned int n, DataBuffer& out);
};
