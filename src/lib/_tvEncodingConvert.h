// _tvEncodingConvert: conversion of bytes between code pages named by their
// Windows code-page numbers, built on the C library's iconv.
//
// Code pages known (Windows number: iconv name):
//   437 IBM437, 737 CP737, 775 IBM775, 850 IBM850, 852 IBM852, 855 IBM855,
//   857 IBM857, 858 IBM858, 860..866 IBM860..IBM866, 869 IBM869,
//   874 WINDOWS-874, 932 WINDOWS-31J, 936 CP936, 949 CP949, 950 CP950,
//   1200 UTF-16LE, 1201 UTF-16BE, 1250..1258 WINDOWS-1250..WINDOWS-1258,
//   1361 JOHAB, 10000 MACINTOSH, 10007 MAC-CYRILLIC, 12000 UTF-32LE,
//   12001 UTF-32BE, 20127 US-ASCII, 20866 KOI8-R, 20932 EUC-JP, 20936 GB2312,
//   21866 KOI8-U, 28591..28599 ISO-8859-1..ISO-8859-9, 28603 ISO-8859-13,
//   28605 ISO-8859-15, 50220..50222 ISO-2022-JP, 50225 ISO-2022-KR,
//   51932 EUC-JP, 51936 EUC-CN, 51949 EUC-KR, 54936 GB18030, 65000 UTF-7,
//   65001 UTF-8.
//
// Rules every conversion follows:
// - An unknown code page (or one this system's iconv lacks) converts nothing:
//   the result is false and out is left as it was.
// - A byte or character that cannot be converted exactly becomes "?" when the
//   target is an 8-bit code page and U+FFFD when it is a Unicode one (UTF-8,
//   UTF-16, UTF-32, UTF-7, GB18030); conversion goes on to the end of the
//   input and the result is false.
// - Windows-1250..1258: the bytes a code page leaves unassigned stand for the
//   code points of the same value (0x81 is U+0081), in both directions, so
//   such text survives a round trip through Unicode; these count as exact.
// - UTF-16 input (1200, 1201) is read in the byte order of its code page,
//   never guessed. A leading byte-order mark of that order is a mark, not
//   text, and is dropped; any other U+FEFF / U+FFFE is kept as text.
// - An unpaired surrogate in UTF-16, and ill-formed UTF-8, UTF-32 or
//   multi-byte input, is replaced as above.
// - Converting a code page to itself copies the bytes unchanged.
//
// Speed: iconv descriptors are cached per thread, so converting a few bytes
// costs no iconv_open. Each single-byte code page gets 256-entry tables to
// and from UTF-8, built once per process by asking iconv about each byte;
// from then on its text is converted through those tables in one pass.
//
// The object holds no state: make one on the stack for each conversion.
#pragma once

class DataBuffer;
class LogBase;

class _tvEncodingConvert {
 public:
  _tvEncodingConvert() = default;
  ~_tvEncodingConvert() = default;
  _tvEncodingConvert(const _tvEncodingConvert&) = delete;
  _tvEncodingConvert& operator=(const _tvEncodingConvert&) = delete;

  // Converts the n bytes at src from fromCodePage to toCodePage and appends
  // the result to out. True when every character converted exactly. Memory
  // running out also gives false; out then holds what was converted so far.
  bool EncConvert(int fromCodePage, int toCodePage, const unsigned char* src, unsigned int n,
                  DataBuffer& out, LogBase& log);

  // The ANSI (Psdk::getAnsiCodePage) and OEM (Psdk::getOemCodePage) code
  // pages on one side, the code page named on the other; as EncConvert.
  bool AnsiToMultiByte(int toCodePage, const char* src, int n, DataBuffer& out, LogBase& log);
  bool MultiByteToAnsi(int fromCodePage, const unsigned char* src, int n, DataBuffer& out, LogBase& log);
  bool OemToMultiByte(int toCodePage, const char* src, int n, DataBuffer& out, LogBase& log);
  bool MultiByteToOem(int fromCodePage, const unsigned char* src, int n, DataBuffer& out, LogBase& log);

  // True when codePage is in the table above (whether or not this system's
  // iconv carries it).
  static bool isKnownCodePage(int codePage);
  // The code page of a MIME / IANA charset name ("utf-8", "ISO-8859-1",
  // "windows-1252", "shift_jis", "gb2312", "iso-2022-jp", "cp850"...),
  // matched without regard to case; 0 when the name is not known.
  static int codePageFromCharsetName(const char* name, unsigned int length);
};
