// StringBuffer: the library's mutable 8-bit string. Contents of up to 81
// bytes live inside the object; longer ones in one heap buffer that grows by
// an adaptive reserve. The content may hold zero bytes and is always followed
// by one, so getString() can be handed to C functions at any time.
//
// Conventions shared by every member:
// - true means success; on false the content is as it was unless the comment
//   says otherwise. Nothing throws.
// - A const char* argument is zero-terminated text; null counts as "".
// - Output buffers passed by reference are appended to unless the comment says
//   they are emptied first.
// - Not thread-safe; see LockedStringBuffer for the guarded form.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <string_view>
#include <utility>

#include "lib/ObjectBase.h"

class DataBuffer;
class ExtPtrArray;
class LogBase;
class StringMap;
class StringBufferArray;
class XString;
namespace sb_internal {
// How one canonicalizer percent-encodes; defined in signing/canonicalize.cpp.
struct PercentEncoding;
}  // namespace sb_internal

class StringBuffer : public ObjectBase {
 public:
  // ---- Storage and lifecycle (core/storage.cpp) ----
  StringBuffer();
  // Empty buffer, then append(s) when s is not null.
  explicit StringBuffer(const char* s);
  // Takes the secure flag of other, then appends its content; reserve and
  // capacity are not copied.
  StringBuffer(const StringBuffer& other);
  // Releases storage (wiped first when secure) and marks the object dead.
  ~StringBuffer() override;
  // clear() then append(other); keeps this object's secure flag.
  StringBuffer& operator=(const StringBuffer& other);
  // setString(s).
  StringBuffer& operator=(const char* s);

  // Replaces the content with other's; keeps any heap buffer.
  bool setString(const StringBuffer& other);
  // Replaces the content with s, which may point into this buffer's content.
  bool setString(const char* s);
  // The content as a zero-terminated string; null after destruction.
  const char* getString() const { return m_data; }
  // Number of content bytes, the terminating zero not counted.
  unsigned int getSize() const { return m_length; }

  // Appends s up to its terminating zero.
  bool append(const char* s);
  // Appends n bytes as they are, then drops trailing zero bytes from the count.
  bool appendN(const char* p, unsigned int n);
  // Appends other's content; false for this object itself or a dead object.
  bool append(const StringBuffer& other);
  // Makes room for n more content bytes: the one way storage grows.
  bool expectNumBytes(unsigned int n);
  // n bytes from the library's byte-array allocator, or null.
  static unsigned char* allocBuffer(unsigned int n);
  // Frees the heap buffer (wiped first when secure) and points at the inline
  // buffer; length and inline bytes are left for the caller to set.
  void releaseBuffer();

  // Empties the buffer and frees the heap buffer, wiping first when secure.
  void clear();
  // The same as clear().
  void strongClear();
  // As clear(), but always wipes.
  void secureClear();
  // Empties the buffer but keeps the heap buffer; never wipes.
  void weakClear();
  // When set, content is overwritten with zeros before its storage is freed.
  void setSecureBuf(bool secure) { m_secure = secure; }
  bool isValidObject() const { return m_validity == kValidityMarker; }
  // Kept for callers that expect it; deliberately does nothing.
  void checkValidity() {}
  // Gives back surplus heap storage (more than 256 spare bytes), moving short
  // contents back inline.
  void minimizeMemoryUsage();
  // The heap capacity, 0 without a heap buffer.
  unsigned int heapUsage() override;
  // Size of the object itself plus the heap capacity.
  unsigned int totalMemoryUsage();
  // Reserve added to each heap allocation made by growth.
  unsigned int getExtendSize() const { return m_extendSize; }
  // Sets the reserve, unchecked; 0 makes growth allocate exactly what is needed.
  void setExtendSize(unsigned int n) { m_extendSize = n; }

  // ---- Append, prepend, insert and cut (core/append_insert.cpp) ----
  // One byte; byte 0 is counted in the length.
  bool appendChar(char c);
  bool appendUChar(unsigned char c);
  bool appendChar2(char a, char b);
  bool appendChar3(char a, char b, char c);
  // n copies of c; more than 12582912 appends nothing and succeeds.
  bool appendCharN(char c, unsigned int n);
  // One line feed.
  bool appendLineEnding();
  // append(a), then append(b) if that succeeded.
  bool append2(const char* a, const char* b);
  // append of a, b and c in order, stopping at the first failure.
  bool append3(const char* a, const char* b, const char* c);
  // The data buffer's bytes, as appendN.
  bool append(const DataBuffer& d);
  // Like append(s), but any growth allocates no reserve.
  bool appendMinSize(const char* s);
  // Like append(other), but any growth allocates no reserve.
  bool appendMinSize(const StringBuffer& other);
  // At most max bytes of s.
  bool appendMaxN(const char* s, unsigned int max);
  // s in front of the content.
  bool prepend(const char* s);
  // One byte in front of the content.
  bool prepend(char c);
  // n bytes from p in front of the content, zero bytes included.
  bool prependN(const char* p, unsigned int n);
  // other's content before position pos (at the end when pos is past it).
  bool insertAt(const StringBuffer& other, unsigned int pos);
  // Byte c before position pos (at the end when pos is past it).
  bool insertCharAt(char c, unsigned int pos);
  // Removes count bytes at pos; nothing when the chunk runs past the end.
  void removeChunk(unsigned int pos, unsigned int count);
  // Removes n bytes from the end, overwriting them with zeros.
  void shorten(unsigned int n);
  // Cuts back to newLength bytes (zeroing the rest); returns the new length.
  unsigned int rollback(unsigned int newLength);
  // Cuts the content at pos; the bytes beyond are not wiped.
  void chopAt(unsigned int pos);
  // Takes other's content and storage without copying heap bytes; other is
  // left empty. other must be another object.
  void takeSb(StringBuffer& other);
  // Takes a data buffer's block as the content without copying.
  bool takeFromDb(DataBuffer& d);

  // ---- Factories, copies and extraction (core/factories.cpp) ----
  // Heap buffers for the library's pointer arrays; null instead of throwing.
  static StringBuffer* createNewSB();
  static StringBuffer* createNewSB(unsigned int extendSize);
  static StringBuffer* createNewSB(const char* s);
  // A copy of other's bytes with no reserve.
  static StringBuffer* createNewSB(const StringBuffer& other);
  // Exactly the n bytes at p (trailing zero bytes dropped from the count).
  static StringBuffer* createNewSB_exact(const char* p, unsigned int n);
  // Destroys and frees a buffer made by a factory; null is fine.
  static void deleteSb(StringBuffer* sb);
  // A new array with the content and its terminating zero; the caller
  // releases it with delete[]. Null when memory runs out.
  char* createCopy() const;
  // As createCopy(), and reports the length (set even when null is returned).
  char* copyString(unsigned int* outLength) const;
  // Copies as much as fits into dst, zero-terminated; returns the bytes copied.
  unsigned int copyToBuffer(char* dst, unsigned int dstSize);
  // Hands the storage to the caller (delete[]) and empties the buffer.
  char* extractString(unsigned int* outLength);
  // As extractString(), and reports the size of the block handed out.
  char* extractString2(unsigned int& outLength, unsigned int& outCapacity);
  // Writes capacity, length and content to the log.
  void logSbMemUsage(LogBase& log);

  // ---- Number and binary formatting (core/number_format.cpp) ----
  // Decimal form of value, "-" before a negative value.
  bool append(int value);
  // Decimal form of value.
  bool append(unsigned int value);
  // Decimal form of a 64-bit value, "-" before a negative value.
  bool appendInt64(int64_t value);
  // Sign, then decimal digits zero-padded to at least minDigits; nothing on failure.
  void appendInt(int value, int minDigits);
  // Hex digits, zero-padded to width when width is 2, 4 or 8, unpadded otherwise.
  bool appendHex(unsigned int value, bool lowercase, unsigned int width);
  // Upper-case hex dump: 16 bytes a line, a space after every second byte.
  bool appendHexData(const unsigned char* data, unsigned int n);
  // Two upper-case hex digits per byte on one line, optionally a space before each.
  bool appendHexDataNoWS(const unsigned char* data, unsigned int n, bool spaceBefore);
  // Two upper-case hex digits and a space for each byte; failures are not reported.
  void appendSmallDataAsSpacedHexString(const unsigned char* data, unsigned int n);
  // The Base64 text of the n bytes.
  bool appendBase64(const unsigned char* data, unsigned int n);
  // pattern with its first "%s" replaced by s (a null s leaves "%s" in place).
  bool append_s(const char* pattern, const char* s);
  // pattern with its first "%d" replaced by the decimal form of value.
  bool append_d(const char* pattern, int value);
  // name, "=", then the decimal form of value.
  bool appendNameIntValue(const char* name, int value);

  // ---- Numeric parsing and value tests (core/numeric_parse.cpp) ----
  // Conversions below read decimal text the same way, whatever the process
  // locale: leading TAB, LF, CR and space are skipped, then one optional "+"
  // or "-", then digits up to the first other byte (trailing text ignored).
  // No digits gives 0; values beyond the type's range are clamped to its
  // nearest limit (a negative text gives 0 for the unsigned form).
  // The content as an int; 0 when empty or not a number.
  int intValue() const;
  // The content as an unsigned 32-bit value; 0 when empty or not a number.
  unsigned int uintValue() const;
  // The content (all its bytes, up to the first zero) as a 64-bit value.
  int64_t int64Value() const;
  // The same as int64Value().
  int64_t toInt64();
  // The content as a double, "." as the decimal point, exponent optional;
  // "inf" and "nan" are accepted; overflow gives +-infinity, underflow +-0.
  double doubleValue() const;
  // 0: the decimal text fits an int; 1: only an unsigned int; 2: neither.
  int determineIntType() const;
  // Value of the hex digits at the start of s, stopping at the first non-digit.
  static unsigned int hexValueUint32(const char* s);
  // Appends to out the bytes the content spells in hex.
  bool hexStringToBinary(DataBuffer& out) const;
  // Appends to out the bytes spelled by the first n characters of s ("0x" skipped).
  static bool hexStringToBinary2(const char* s, unsigned int n, DataBuffer& out);
  // Puts a "0" in front when the length is odd.
  void canonicalizeHexString();
  // Every byte is a decimal digit; one "." is also allowed when allowPoint.
  bool isDecimalNumber(bool allowPoint);
  // Every byte is a hex digit.
  bool isHexidecimal() const;
  // Every byte may occur in Base64 text (white space included), "=" only last.
  bool isBase64() const;
  // The first 120 bytes hold only digits, ".", space and TAB.
  bool isIpAddr() const;
  // Byte i, or 0 when i is not below the length.
  char charAt(unsigned int i) const;
  // Pointer to byte i for i up to the length (the terminating zero), else null.
  const char* pCharAt(unsigned int i) const;
  // The last byte, or 0 when empty.
  char lastChar() const;

  // ---- Compare and search (text/compare_search.cpp) ----
  // Text equality with s (stops at a zero byte); null s equals only "".
  bool equals(const char* s) const;
  // Equal lengths and equal text up to the first zero byte.
  bool equals(const StringBuffer& other) const;
  // strcasecmp equality with s; null s equals only "".
  bool equalsIgnoreCase(const char* s) const;
  // Equal lengths and strcasecmp equality.
  bool equalsIgnoreCase(const StringBuffer& other) const;
  // Length must be n (the caller's length of s), then strcasecmp equality.
  bool equalsIgnoreCase2(const char* s, unsigned int n) const;
  // strcmp of the content with s (s must not be null).
  int compare(const char* s) const;
  // Case-insensitive ordering of the content against s (s must not be null).
  int compareNoCase(const char* s) const;
  // True when the text starts with s; "" always does, null never.
  bool beginsWith(const char* s) const;
  // True when the first n bytes of s start the text; n 0 is true.
  bool beginsWithN(const char* s, unsigned int n) const;
  // As beginsWith, ignoring ASCII case.
  bool beginsWithIgnoreCase(const char* s) const;
  // As beginsWithN, ignoring ASCII case.
  bool beginsWithIgnoreCaseN(const char* s, unsigned int n) const;
  // True when the last strlen(s) bytes are s; "" always does, null never.
  bool endsWith(const char* s) const;
  // As endsWith, ignoring ASCII case.
  bool endsWithIgnoreCase(const char* s) const;
  // Last byte is TAB, LF, CR or space; false when empty or dead.
  bool endsWithWhitespace() const;
  // s occurs in the text; false for null s.
  bool containsSubstring(const char* s) const;
  // As containsSubstring, ignoring ASCII case.
  bool containsSubstringNoCase(const char* s) const;
  // First occurrence of s in the text, or null.
  const char* findSubstr(const char* s) const;
  // Offset of the first occurrence of s in the text, or -1.
  int indexOf(const char* s) const;
  // As indexOf, ignoring ASCII case.
  int indexOfNoCase(const char* s) const;
  // Wildcard match of the text against pattern (see TextSearch::wildcardMatch).
  bool matches(const char* pattern, bool flag);
  // c (not 0) occurs in the text before its first zero byte.
  bool containsChar(char c) const;
  // Any content byte (zero bytes included) is one of the bytes of set.
  bool containsAnyOf(const char* set) const;
  // Some content byte b has lo <= b <= hi, as unsigned bytes.
  bool containsCharInRange(char lo, char hi) const;
  // First content byte equal to c (0 allowed), or null.
  char* findFirstChar(char c);
  // Last content byte equal to c, or null.
  char* findLastChar(char c);
  // Number of content bytes equal to c.
  unsigned int countCharOccurances(char c) const;
  // Every byte is TAB, LF, CR or space; true when empty.
  bool allWhitespace() const;
  // No byte is a lower-case ASCII letter; true when empty.
  bool isAllCaps();
  // No byte above 127 among the first n bytes (all when n is 0).
  bool is7bit(unsigned int n) const;
  // Every byte of the first n (all when n is 0) is an ASCII letter.
  bool is7bitAlpha(unsigned int n);
  // Underscore, digit, ASCII letter, or 192..255 except 215 and 247.
  static bool isAlphaNumeric_1252(char c);
  // The byte at offset length is not 0 (someone wrote past the content).
  bool isNonTerminated() const;

  // ---- Trimming, chopping and case (text/trim_case.cpp) ----
  // Removes spaces and TABs from both ends; returns the number removed.
  unsigned int trim();
  // Removes TAB, LF, CR and space from both ends; returns the number removed.
  unsigned int trim2();
  // Removes the bytes " ' * - / @ from both ends; returns the number removed.
  unsigned int trim3();
  // Removes TAB, LF, CR and space from the end; returns the number removed.
  unsigned int trimRight2();
  // Removes CR and LF from the end; returns the number removed.
  unsigned int trimTrailingCRLFs();
  // Removes spaces and TABs from the end; returns the number removed.
  unsigned int trimTrailingSpaces();
  // Drops the text before the first c (and c itself when discard).
  void trimBefore(char c, bool discard);
  // Drops the text after the last c (and c itself when discard).
  void trimAfter(char c, bool discard);
  // Cuts at the first s (behind it when keep); false when s is absent or "".
  bool chopAtSubstr(const char* s, bool keep);
  // Cuts at the first byte c; false, unchanged, when there is none.
  bool chopAtFirstChar(char c);
  // Cuts at the last byte c; false, unchanged, when there is none.
  bool chopAtLastChar(char c);
  // ASCII and Latin-1 (192..223) upper case to lower, up to a zero byte.
  void toLowerCase();
  // ASCII and Latin-1 (224..255) lower case to upper, up to a zero byte.
  void toUpperCase();
  // The toLowerCase rule applied to the first byte only.
  void toLowerFirstChar();
  // Removes control bytes other than TAB, LF, CR; returns the number removed.
  unsigned int removeCtrl();
  // Removes every byte below 32; returns the number removed.
  unsigned int removeControlChars();
  // Removes every byte c at offset start or later.
  void eliminateChar(char c, unsigned int start);
  // Removes every byte c; returns the number removed.
  unsigned int removeCharOccurances(char c);
  // Keeps bytes 0..127; returns the new length.
  unsigned int drop8bitChars();
  // Keeps digits and spaces; returns the new length.
  unsigned int dropNonNumeric();
  // Keeps letters, digits, bytes above 127 and ! - . : _; returns the new length.
  unsigned int dropNonNameChars();
  // Turns every zero byte of the content into a space; returns the length.
  unsigned int replaceNullsWithSpaces();

  // ---- Replace and remove (text/replace_remove.cpp) ----
  // Replaces every occurrence of find; returns the count. One allocation.
  unsigned int replaceAllOccurances(const char* find, const char* replacement);
  // As replaceAllOccurances, matching ASCII case-insensitively.
  unsigned int replaceAllOccurancesNoCase(const char* find, const char* replacement);
  // Replaces the first occurrence; a null replacement changes nothing.
  bool replaceFirstOccurance(const char* find, const char* replacement, bool noCase);
  // Replaces the last occurrence of a left-to-right, non-overlapping scan.
  bool replaceLastOccurance(const char* find, const char* replacement);
  // Drops everything behind the last marker and appends replacement.
  bool replaceAfterFinal(const char* marker, const char* replacement);
  // Replaces the first begin..end region's inner text (or all of it with the markers).
  bool replaceAllBetween(const char* beginMarker, const char* endMarker, const char* replacement,
                         bool replaceMarkers);
  // Replaces find inside every begin..end region; returns the total count.
  unsigned int replaceAllOccurancesBetween(const char* beginMarker, const char* endMarker,
                                           const char* find, const char* replacement);
  // Removes begin..end regions, markers included; always true.
  bool removeDelimited(const char* beginMarker, const char* endMarker, bool caseSensitive,
                       bool firstOnly);
  // As removeDelimited, but only regions that contain needle; always true.
  bool removeDelimitedIfContains(const char* beginMarker, const char* endMarker, const char* needle,
                                 bool caseSensitive, bool firstOnly);
  // Bytes equal to one of the first 5 bytes of set become c; returns the length.
  unsigned int replaceChar5(const char* set, char c);
  // Like replaceChar5, with the first 10 bytes of set.
  unsigned int replaceChar10(const char* set, char c);
  // Like replaceChar5, with the first 20 bytes of set.
  unsigned int replaceChar20(const char* set, char c);
  // Inside each occurrence of substr, bytes from become to; returns the occurrences.
  unsigned int replaceCharInOccurances(const char* substr, char from, char to);
  // URL-safe Base64 back to standard: '-' to '+', '_' to '/'.
  void replaceModBase64Chars();
  // Drops the text before the first marker (and the marker when removeMarker).
  bool removeBefore(const char* marker, bool removeMarker);

  // ---- Extraction and capture (text/extract_capture.cpp) ----
  // Appends the text between the first beginMarker and the next endMarker.
  bool getBetween(const char* beginMarker, const char* endMarker, StringBuffer& out);
  // Appends the first begin..end region's inner text, or all of it with includeMarkers.
  void getDelimited(const char* beginMarker, const char* endMarker, bool includeMarkers,
                    StringBuffer& out) const;
  // Appends the text before marker (all of it when absent); consume removes it.
  bool getBefore(const char* marker, bool consume, StringBuffer& out);
  // Appends the text behind the last marker (all when absent); consume cuts it off.
  bool getAfterFinal(const char* marker, bool consume, StringBuffer& out);
  // Empties value, then sets it to the text after "name=" up to the next ";".
  bool getNamedValue(const char* name, StringBuffer& value);
  // Empties both outputs and parses the content as name = value.
  void splitAttrValue(StringBuffer& name, StringBuffer& value, bool unquote) const;
  // Appends the text before and behind the first c; false when c is absent.
  bool separate(char c, StringBuffer& before, StringBuffer& after);
  // Moves the text behind the last c to out and cuts at c.
  bool pop(char c, StringBuffer& out);
  // Appends the bytes from start up to marker; offset gets their count.
  bool copyUntil(const char* marker, unsigned int start, unsigned int& offset, StringBuffer& out);
  // Appends the leading run of decimal digits of s; returns its length.
  unsigned int captureDecimal(const char* s);
  // Appends the leading run of hex digits of s; returns its length.
  unsigned int captureHex(const char* s);
  // Appends the leading run of TAB, LF, CR and space of s; returns its length.
  unsigned int captureWS(const char* s);
  // Appends the leading run of non-whitespace bytes of s; returns its length.
  unsigned int captureNonWS(const char* s);
  // Appends the leading run of letters, digits and underscores of s.
  unsigned int captureIdentifier(const char* s);
  // Appends the leading run of ASCII letters of s; returns its length.
  unsigned int captureAlpha(const char* s);
  // Appends the leading run of ASCII letters and digits of s; returns its length.
  unsigned int captureAlphaNum(const char* s);
  // Replaces the content with the first line of s; returns the bytes taken.
  unsigned int captureLine(const char* s, bool trim, bool lowerCase);

  // ---- Whole-word and content-id search (text/word_search.cpp) ----
  // True for the bytes that may make up a content id.
  static bool isCidChar(char c);
  // First occurrence of cid in text with content-id boundaries on both sides.
  static const char* findCidOnly(const char* text, const char* cid);
  // Replaces every occurrence findCidOnly accepts; returns the count.
  unsigned int replaceAllCidOccurrences(const char* cid, const char* replacement);
  // First occurrence of word in UTF-8 text with word boundaries on both sides.
  static const char* findWordOnlyUtf8(const char* text, const char* word, LogBase& log);
  // Replaces every occurrence findWordOnlyUtf8 accepts; returns the count.
  unsigned int replaceAllWordOccurrencesUtf8(const char* word, const char* replacement,
                                             LogBase& log);

  // ---- Delimited fields (text/delimited_fields.cpp) ----
  // Number of fields; 0 for an empty buffer.
  unsigned int countColumns(char delimiter, bool quoteMode, bool escapeMode);
  // Empties out, then puts field index into it with its quotes and escapes taken out.
  bool getNthDelimited(unsigned int index, char delimiter, bool quoteMode, bool escapeMode,
                       StringBuffer& out) const;
  // Replaces field index with value's bytes as they are, adding missing fields first.
  bool setNthDelimited(unsigned int index, char delimiter, bool quoteMode, bool escapeMode,
                       const StringBuffer& value);
  // Removes field index and one delimiter next to it; false when there is none.
  bool removeNthDelimited(unsigned int index, char delimiter, bool quoteMode, bool escapeMode);
  // Inserts an empty field before field index; a short record gets one at the end.
  bool insertNthDelimited(unsigned int index, char delimiter, bool quoteMode, bool escapeMode);
  // Rewrites separating oldDelimiter bytes as newDelimiter, quoting fields that hold it.
  bool changeDelimiter(char oldDelimiter, char newDelimiter, bool quoteMode, bool escapeMode);

  // ---- Splitting into lists (text/split_lists.cpp) ----
  // Appends one element per field, quotes and backslashes kept; elements are shrunk.
  bool split(StringBufferArray& list, char delimiter, bool quoteMode, bool escapeMode) const;
  // Like split, then trim2 on every element of the list, earlier ones included.
  bool splitAndTrim(StringBufferArray& list, char delimiter, bool quoteMode,
                    bool escapeMode) const;
  // Like split, but once the list holds n - 1 elements the rest becomes the last one.
  bool splitUpToN(StringBufferArray& list, int n, char delimiter, bool quoteMode,
                  bool escapeMode) const;
  // Like split, one element per line: CR LF, lone CR and lone LF each end a line.
  bool splitByLineEndings(StringBufferArray& list, bool quoteMode, bool escapeMode) const;
  // Like split, but any byte of separators ends an element; elements are not shrunk.
  bool split2(StringBufferArray& list, const char* separators, bool quoteMode,
              bool escapeMode) const;
  // Lines, CR LF counted once, no quote or escape handling; the count is ignored.
  bool splitIntoLines(StringBufferArray& list, unsigned int unused);
  // Appends the pieces between occurrences of boundary; maxParts 0 means no limit.
  bool splitUsingBoundary(StringBuffer& boundary, StringBufferArray& list, int maxParts,
                          bool skipEmpty) const;

  // ---- Tokenizers (text/tokenizers.cpp) ----
  // Appends the words between white space; each byte of separators is a token of its own.
  void tokenize(ExtPtrArray& list, const char* separators) const;
  // Like tokenize, with the separators of C-like source text "*;(){}&+=[],!~".
  void tokenizeCPP(ExtPtrArray& list) const;
  // Number of words by tokenize's rules; separator bytes end words but are not counted.
  unsigned int tokenCount(const char* separators) const;

  // ---- Character replacement (encoding/char_replace.cpp) ----
  // Replaces every occurrence of find by the byte byteValue (low 8 bits); returns the count.
  unsigned int replaceAllWithUchar(const char* find, unsigned int byteValue);
  // Below 128 as replaceAllWithUchar; 128..255 puts the UTF-8 form of that
  // Windows-1252 character in place of find; above 255 changes nothing (0).
  unsigned int replaceAllWithUcharUtf8(const char* find, unsigned int charCode);
  // Replaces the character from by to in UTF-8 text (Latin-1 characters as
  // their two-byte forms); bytes of other multi-byte characters stay.
  void replaceCharUtf8(char from, char to);
  // Every byte from (over the whole length) becomes to; returns the count.
  unsigned int replaceCharAnsi(char from, char to);

  // ---- Code-page conversion (encoding/code_pages.cpp) ----
  // Code pages are Windows numbers (65001 UTF-8, 1200 UTF-16LE, 1252 ...);
  // see _tvEncodingConvert for the list and for how losses are written.
  // In place, ANSI code page to UTF-8; log is not used.
  void cvAnsiToUtf8(LogBase& log);
  // In place, UTF-8 to the ANSI code page.
  void cvUtf8ToAnsi();
  // Empties out, then fills it with the content as UTF-16LE (from ANSI).
  void cvAnsiToUnicode(DataBuffer& out) const;
  // Empties out, then fills it with the content as UTF-16LE (from UTF-8).
  void cvUtf8ToUnicode(DataBuffer& out) const;
  // In place; text that cannot change is left alone. The converter's result.
  bool convertEncoding(int fromCodePage, int toCodePage, LogBase& log);
  // Appends the converted content to out (only on success); this is unchanged.
  bool convertEncoding2(int fromCodePage, int toCodePage, StringBuffer& out, LogBase& log) const;
  // In place, codePage to the ANSI code page.
  void convertToAnsi(int codePage);
  // In place, the ANSI code page to codePage.
  void convertFromAnsi(int codePage);
  // In place, codePage to the OEM code page.
  void convertToOem(int codePage);
  // In place, the OEM code page to codePage.
  void convertFromOem(int codePage);
  // Appends the zero-terminated UTF-16 string s as UTF-8; null appends nothing.
  bool appendNullTerminatedUtf16AsUtf8(const unsigned short* s);
  // The content is strict UTF-8 (RFC 3629).
  bool isValidUtf8() const;
  // Counts the bytes above 127, and among them those rare in Windows-1252 text.
  void countImprobableAnsiChars(unsigned int& num8bit, unsigned int& numImprobable) const;
  // ---- Decoding by name and encoded words (encoding/decoding.cpp) ----
  // Appends the content decoded from the named encoding (see _clsEncode) and
  // one zero byte; false, out untouched, for an unknown name or bad text.
  bool decode(const char* encodingName, DataBuffer& out, LogBase& log);
  // Replaces the content with its decoded bytes; unchanged on false.
  bool decode_in_place(int encodingId, LogBase& log);
  // Decodes MIME encoded words ("=?charset?B?...?=", "?Q?") to UTF-8 in place;
  // always true.
  bool qbDecode(LogBase& log);
  // ---- ISO-2022-JP shielding (encoding/iso2022.cpp) ----
  // Moves each ESC $ B ... ESC ( B segment's double-byte text into parts
  // (pass an empty list) and leaves "TV_ISO2022_<n>" in its place.
  void iso2022Replace(StringBufferArray& parts);
  // Puts the segments of parts back in place of their placeholders.
  void iso2022Restore(StringBufferArray& parts);

  // ---- XML entities and emitters (markup/xml_entities.cpp) ----
  // Every & < > becomes its entity, entities already there included;
  // returns the number of ">" replaced (the last of the three passes).
  unsigned int replaceXMLSpecial();
  // As replaceXMLSpecial, then every double quote becomes "&quot;"; returns
  // the number of quotes replaced.
  unsigned int replaceHTMLSpecial();
  // Escapes & < > from byte start on, keeping numeric character references.
  // false when memory runs out (content unchanged, or empty if the final copy
  // back failed).
  bool encodePreDefinedXmlEntities(unsigned int start);
  // Escapes & < >, keeping "&lt;", "&gt;", "&amp;", "&quot;" and every
  // reference EntityRefChecker accepts; returns the number of replacements.
  unsigned int encodeXMLSpecial(LogBase& log);
  // Decodes "&lt;", then "&gt;", then "&amp;" over the text; returns the total.
  unsigned int decodeXMLSpecial();
  // Decodes "&lt;" "&gt;" "&quot;" "&amp;" in one pass; true when anything was.
  bool decodeHTMLSpecial();
  // Decodes the five predefined entities from byte start on; returns the count.
  unsigned int decodePreDefinedXmlEntities(unsigned int start);
  // Appends text with all five entities, or as a CDATA section when it holds
  // a TAB or LF.
  void appendXml(const char* text);
  // Appends text with all five entities, never as CDATA.
  void appendXmlNoCdata(const char* text);
  // Like appendXmlNoCdata, with at most n bytes of text.
  void appendXmlNoCdataN(const char* text, unsigned int n);
  // Appends n bytes of text (all of it when n is 0) with & < > escaped.
  bool appendAndXmlEntityEncode(const char* text, unsigned int n);
  // "<tag", the attributes (StringPair elements, null skipped), ">" and LF.
  bool appendXmlOpenTag(const char* tag, const ExtPtrArray* attributes);
  // "</tag>" and LF.
  bool appendXmlCloseTag(const char* tag);
  // A whole element: open tag, text as appendXml writes it, close tag and LF.
  bool appendXml(const char* tag, const ExtPtrArray& attributes, const char* content);
  // An element with count unescaped attributes; empty content gives "<tag ... />".
  bool simpleXml(const char* tag, const char* content, int count, const char** names,
                 const char** values, LogBase& log);
  // name="value" with each double quote of value written as \".
  bool appendNameValue(const char* name, const char* value);

  // ---- JSON escaping and decoding (markup/json_escape.cpp) ----
  // Escapes the content for use inside a JSON string; UTF-8 sequences pass
  // untouched. One allocation when anything changes, none otherwise.
  bool jsonEscape();
  // Appends [,]"name":"value" with value escaped; name is written as it is.
  bool appendJsonMember(bool comma, const char* name, const char* value);
  // Decodes count bytes of JSON string content (escapes, \u units and
  // surrogate pairs to UTF-8) and appends them to out.
  static bool jsonDecode(const char* source, unsigned int count, StringBuffer& out);

  // ---- Links, revocation entries and unescaping (markup/links_unescape.cpp) ----
  // Links bare web addresses of this HTML outside the head and outside anchors.
  void autoLinkUrls();
  // Links every http:// and https:// address in text; this object is not used.
  void autoLinkUrls2(StringBuffer& text);
  // Cuts one run of reason-coded revoked-certificate entries from a CRL rendering.
  void removeCrlEntries(LogBase& log);
  // Drops the backslash in front of ASCII punctuation; returns the new length.
  unsigned int markdown_unescape();
  // Drops every backslash, keeping the byte after it; returns the new length.
  unsigned int unescape();

  // ---- Request canonicalization (signing/canonicalize.cpp) ----
  // Each percent-encodes the content in place, read as UTF-8 and walked by its
  // length, into one signing scheme's canonical form: bytes outside the
  // operation's plain set become upper-case %XX, and so does every byte of a
  // sequence that starts at a lead byte (0xC0 and up). One allocation when
  // something must be encoded, none otherwise; false only when it fails, and
  // the content is then as it was.
  // AWS URI path: A-Z a-z 0-9 - . _ ~ / plain. "%" stays before two hex
  // digits, unless log.optionKeywords holds "NoUrlEncodePercent" (always
  // stays) or else "AlwaysUrlEncodePercent" (always %25).
  bool awsNormalizeUriUtf8(LogBase& log);
  // One AWS query name or value: A-Z a-z 0-9 - . _ ~ plain, "/" too when
  // keepSlash; "%" stays before two hex digits. The log is not read.
  bool awsNormalizeQueryStringPart(bool keepSlash, LogBase& log);
  // A joined AWS query: A-Z a-z 0-9 - . _ ~ % & / = ? plain.
  bool awsNormalizeQueryParams();
  // A URI path of the other schemes: A-Z a-z 0-9 ~ ! $ % ' ( ) * + , - . / : < = > @ _ plain.
  bool nonAwsNormalizePath();
  // One MWS name or value: only A-Z a-z 0-9 - . _ ~ plain; "%" always becomes %25.
  bool mwsNormalizeQueryParams();
  // One query value of the other schemes: A-Z a-z 0-9 ~ ! $ ' ( ) - . / : < > ? @ _
  // plain, a space becomes "+" (in place when nothing else needs encoding);
  // "%" stays before two hex digits. The log is not read.
  bool nonAwsNormalizeQueryParamValue(LogBase& log);
  // A joined query of the other schemes: as nonAwsNormalizeQueryParamValue,
  // with % & = plain as well.
  bool nonAwsNormalizeAllQueryParams();

  // ---- Inflection and capitalisation (text/inflection.cpp) ----
  // Singular to plural by English word endings (lower-case endings only;
  // "box" to "boxes", "city" to "cities", "leaf" to "leaves", else + "s").
  void pluralize();
  // Plural to singular by English word endings; words ending in "ss", "us",
  // "is", "os", "as" and the word "always" are left alone.
  void unpluralize();
  // Upper-cases the first byte and the first byte after each run of TAB, LF,
  // space or "-"; ASCII letters and the Latin-1 block 224..255.
  void toProperCase();
  // ---- Variable substitution (text/variable_substitution.cpp) ----
  // Replaces each "%NAME%" by the process environment variable NAME (an
  // unset one by nothing); a content without a pair of "%" is left alone.
  void envReplace();
  // Replaces each "{$name}" by map's value for name, the value escaped by
  // jsonEscape in mode 22, disguised by TextCodec::encode in mode 4, and as
  // it is in any other mode; "{$p.name}" looks up "name". A "{" not followed
  // by "$" keeps the byte after it as text ("{{$a}" holds no reference).
  // Note: the result is false on every path, success included; the content
  // is the only report. A reference to an unknown name is removed without a
  // trace, so a caller that must know checks its names with
  // StringMap::contains first; an unterminated "{$" stays in the text with
  // everything after it (so a "{$" left in the content means exactly that);
  // a value that could not be added for lack of memory (or, in mode 22,
  // escaped) is missing from the text.
  bool variableSubstitute(StringMap& map, int mode);
  // ---- Line layout and clean-up (text/line_layout.cpp) ----
  // Makes every line ending CR LF; returns the number of lone LF and lone CR
  // changed (0, content untouched, when none or when memory runs out).
  unsigned int toCRLF();
  // Turns every CR LF into LF; lone CRs stay. Returns the pairs replaced.
  unsigned int toLF();
  // Puts n bytes c in front of every line, the first included; a content
  // ending in LF also ends in the indent. c 0 or n 0 change nothing.
  void indent(char c, unsigned int n);
  // Removes the spaces and TABs at the start of every line; returns the new length.
  unsigned int unindent();
  // Length of the longest line; CR, LF and CR LF end lines, and the last
  // line counts even without a line ending.
  unsigned int longestLineLength();
  // Removes every TAB, LF, CR and space; returns the new length.
  unsigned int removeFws();
  // TAB, LF and CR become spaces and each run of spaces one space; returns
  // the number of bytes removed.
  unsigned int trimInsideSpaces();
  // Removes * < > ? | and turns backslashes into "/"; returns the new length.
  unsigned int removeInvalidFilenameChars();
  // Keeps ASCII letters and digits, maps 128..255 onto them by dropping the
  // top bit where that gives one, and turns every other byte into "0".
  void toAlphaNumUsAscii();
  // Keeps only the text after the last "/" or backslash of the first 2048
  // bytes; a content without one is left alone.
  void stripDirectory();
  // Replaces common emoji (check marks, arrows, hearts, shapes, !? marks) by
  // plain Unicode symbols in UTF-8, consuming a following U+FE0F.
  void replace_emoji();

  // ---- In-place obfuscation (protect/obfuscation.cpp) ----
  // Reorders the bytes by a permutation keyed on the length and byte sum;
  // contents under 2 bytes, and any when memory runs out, are left alone.
  void scramble();
  // Undoes scramble.
  void unscramble();
  // Replaces the content with its Base64 text, scrambled; printable.
  void obfus();
  // Undoes obfus (trailing zero bytes of the original are not restored).
  void unobfus();
  // Substitutes each printable byte by the table of its position mod 4.
  void reverse_x();
  // Undoes reverse_x.
  void forward_x();
  // setString(s), then reverse_x when that succeeded; returns setString's result.
  bool setString_x(const char* s);
  // The text (to its first zero byte) equals what reverse_x makes of s; null s equals only "".
  bool equals_x(const char* s) const;

  // ---- Scrambled literals (protect/scrambled_literals.cpp) ----
  // Scrambles or restores s in place: the same call does both.
  static void litScram(char* s);
  // The plain operation applied to the restored literal; false for a null literal.
  bool containsSubstring_lsc(const char* lit) const;
  bool containsSubstringNoCase_lsc(const char* lit) const;
  bool beginsWith_lsc(const char* lit) const;
  bool beginsWithIgnoreCase_lsc(const char* lit) const;
  bool equals_lsc(const char* lit) const;
  bool equalsIgnoreCase_lsc(const char* lit) const;
  bool append_lsc(const char* lit);
  // Appends the bytes of a literal in obfus form.
  bool appendObfus(const char* lit);
  // The restored text of a literal in obfus form occurs in the content; false for null.
  bool containsObfuscated(const char* lit) const;
  // TextCodec::encode, literal substitution, twelve salt letters, then a
  // shuffle keyed on the byte sum; always true.
  bool saltedScramble();
  // Undoes saltedScramble; always true.
  bool saltedUnscramble();
  // Appends the restored form of a literal made by saltedScramble.
  bool appendSaltedLiteral(const char* lit);

  // ---- File load and save (io/file_load_save.cpp) ----
  // Paths are UTF-8; a null log records nothing. Access obeys the file
  // policy of _tvFileSys (lib/_tvFileSys.h).
  // Appends the file's bytes. A byte-order mark at the start of those bytes
  // is normalised: UTF-8's (EF BB BF, when more follows) is dropped, UTF-16
  // in either order is converted to UTF-8. On failure the content is as it was.
  bool loadFileX(XString& path, LogBase* log);
  // loadFileX with a NUL-terminated path.
  bool loadFileUtf8(const char* path, LogBase* log);
  // A new buffer holding the file, or null; release it with deleteSb. A
  // "file:///" prefix (any case) is dropped and "|" read as ":".
  static StringBuffer* createFromFileX(XString& path, LogBase* log);
  static StringBuffer* createFromFileUtf8(const char* path, LogBase* log);
  // Replaces the file with the content, all or nothing: a failed write
  // leaves the old file whole.
  bool saveToFileUtf8(const char* path, LogBase* log) const;
  // Adds the content at the end of the file, creating it when missing.
  bool appendToFileUtf8(const char* path, LogBase* log) const;

  // ---- Log redaction (io/log_redaction.cpp) ----
  // Credential header names, held scrambled and tested in this order:
  //   1 "Authorization: Basic "             masked as "****"
  //   2 "Authorization: Bearer "            masked as "****"
  //   3 "Authorization: Digest "            masked as "****"
  //   4 "Authorization: AWS4-HMAC-SHA256 "  masked as "****"
  //   5 "Authorization:"                    masked as " ****"
  //   6 "Cookie:"                           masked as " ****"
  //   7 "X-Amz-Security-Token:"             masked as " ****"
  // Names 1-5 are one header's forms, most specific first, so the scheme
  // word stays readable; "Proxy-Authorization:" holds them as well.
  // Masks, in place, the value up to "\r\n" behind the first occurrence of
  // the first of names 1-5 found and of names 6 and 7 each; case-sensitive.
  // The log is not read.
  static void redactHeaderValues(StringBuffer& text, LogBase& log);
  // Extension: masks every occurrence of every credential header, names
  // matched without regard to case: names 1-7 above, then "X-Api-Key:" and
  // "X-Auth-Token:". On each line the first name of that list found is
  // masked with its mask; the value runs to CR LF, a lone LF or the end of
  // the text. False when memory runs out, with the text as it was. The log
  // is not read.
  static bool redactAllHeaderValues(StringBuffer& text, LogBase& log);

  // ---- Extensions: what users of modern byte-string classes expect (core/extensions.cpp) ----
  // Contents as counted bytes: every form below that takes a string_view
  // copies all of its bytes, zero bytes included (trailing ones too), and a
  // view may point into this buffer's own content.
  explicit StringBuffer(std::string_view bytes);
  // Replaces the content with the bytes; on false the content is as it was.
  bool setString(std::string_view bytes);
  // Appends the bytes.
  bool append(std::string_view bytes);
  // The whole content, zero bytes included; valid until the next change.
  std::string_view view() const { return std::string_view(m_data, m_length); }
  // The content bytes, for range-for and the standard algorithms.
  char* begin() { return m_data; }
  char* end() { return m_data + m_length; }
  const char* begin() const { return m_data; }
  const char* end() const { return m_data + m_length; }
  // operator<< below writes the full content; ==, != and < compare the full
  // lengths by unsigned byte order (unlike equals() and compare(), which stop
  // at a zero byte), and a null C string is "".

  // Decoders: each reads the whole content as text and either appends the
  // bytes to out (growing it once at most, to the most the text can give) or
  // replaces the content with them (no allocation; every decoded byte counts,
  // zero bytes included). Malformed text gives false with the bytes of out,
  // or the content, unchanged; empty text decodes to nothing and succeeds.
  enum class Base64Alphabet : uint8_t {
    Standard,  // "+" and "/" for 62 and 63
    UrlSafe,   // "-" and "_" for 62 and 63
  };
  enum class WhiteSpace : uint8_t {
    Reject,  // any byte outside the alphabet and padding is malformed
    Skip,    // TAB, LF, CR and space are ignored wherever they stand
  };
  // Base64 is malformed when, white space aside, it holds a byte outside the
  // alphabet or "=" anywhere but at the end; when its symbol count leaves 1
  // over modulo 4; when padding is there but does not bring the last group
  // to exactly 4 characters ("QQ==" and "QUI=" are padded right, "QQ=" and
  // "QUJD=" are not; unpadded "QQ" is fine); or when the last symbol carries
  // bits that no encoder would set ("QR==" is malformed, "QQ==" is not).
  bool decodeBase64(DataBuffer& out, Base64Alphabet alphabet = Base64Alphabet::Standard,
                    WhiteSpace whiteSpace = WhiteSpace::Reject) const;
  bool decodeBase64InPlace(Base64Alphabet alphabet = Base64Alphabet::Standard,
                           WhiteSpace whiteSpace = WhiteSpace::Reject);
  // Hex is pairs of digits, either case, nothing else: an odd length, white
  // space, a "0x" prefix or any other byte is malformed.
  bool decodeHex(DataBuffer& out) const;
  bool decodeHexInPlace();
  enum class PlusSign : uint8_t {
    Literal,  // "+" stays "+" (URI paths and most components)
    Space,    // "+" is a space (HTML form bodies and query strings)
  };
  // Each "%" must be followed by two hex digits, either case ("%41" is "A",
  // "%00" a zero byte); a "%" with fewer before the end or a non-digit among
  // the two ("%4", "%G1", "%%41") is malformed. Every other byte stands for
  // itself.
  bool decodePercent(DataBuffer& out, PlusSign plus = PlusSign::Literal) const;
  bool decodePercentInPlace(PlusSign plus = PlusSign::Literal);

 private:
  // The join helpers. pieceOf turns one piece into its bytes (a null C
  // string is ""). joinRoom makes room for total more bytes and returns where
  // they go, null on failure: when a piece lies in this buffer's storage, a
  // growth would free it, so the room is then made in a fresh buffer `grown`
  // that joinDone hands over with takeSb once the pieces are copied.
  static std::string_view pieceOf(std::string_view v) { return v; }
  static std::string_view pieceOf(const char* s) { return s != nullptr ? std::string_view(s) : std::string_view(); }
  static std::string_view pieceOf(const StringBuffer& sb) { return sb.view(); }
  // Joined pieces are often short, where a library memcpy call costs more
  // than the copy: up to 64 bytes go as two overlapping fixed-size copies,
  // which the compiler turns into plain (vector) loads and stores.
  static char* putPiece(char* w, std::string_view v) {
    const char* p = v.data();
    const size_t n = v.size();
    if (n > 16 && n <= 64) {
      if (n > 32) {
        std::memcpy(w, p, 32);
        std::memcpy(w + n - 32, p + n - 32, 32);
      } else {
        std::memcpy(w, p, 16);
        std::memcpy(w + n - 16, p + n - 16, 16);
      }
    } else if (n >= 8 && n <= 16) {
      std::memcpy(w, p, 8);
      std::memcpy(w + n - 8, p + n - 8, 8);
    } else if (n >= 4 && n < 8) {
      std::memcpy(w, p, 4);
      std::memcpy(w + n - 4, p + n - 4, 4);
    } else if (n < 4) {
      if (n != 0) {
        w[0] = p[0];
        w[n / 2] = p[n / 2];
        w[n - 1] = p[n - 1];
      }
    } else {
      std::memcpy(w, p, n);
    }
    return w + n;
  }
  // Where this buffer's storage lies, so that a join can tell with one
  // unsigned compare whether a piece starts inside it.
  struct StorageRange {
    uintptr_t begin;
    uintptr_t size;
    bool holds(std::string_view v) const { return reinterpret_cast<uintptr_t>(v.data()) - begin < size; }
  };
  StorageRange storageRange() const {
    const uintptr_t size = m_data == nullptr ? 0 : m_heap != nullptr ? m_capacity : kInlineSize;
    return {reinterpret_cast<uintptr_t>(m_data), size};
  }
  char* joinRoom(uint64_t total, bool aliased, StringBuffer& grown);
  void joinDone(char* end, StringBuffer& grown);
  // Appends n bytes as they are (none dropped); p may lie in the content.
  bool appendBytes(const char* p, unsigned int n);
  // appendFormat through vsnprintf, for the formats its own formatter leaves
  // alone: `first` formats into the spare room, `again` after the growth.
  bool formatWithLibrary(const char* format, va_list first, va_list again);

 public:
  // Appends the elements of list with separator between each two; elements
  // that are not StringBuffer objects are skipped, separator and all. One
  // growth at most, to the measured total; list may hold this buffer itself.
  bool join(const StringBufferArray& list, std::string_view separator);
  // Appends the pieces (anything that gives string_views, C strings or
  // StringBuffers; iterated twice: once to measure, once to copy) with
  // separator between each two. One growth at most; pieces may view this
  // buffer's own storage.
  template <typename Range, typename = decltype(pieceOf(*std::begin(std::declval<const Range&>())))>
  bool join(const Range& pieces, std::string_view separator);
  bool join(std::initializer_list<std::string_view> pieces, std::string_view separator) {
    return join<std::initializer_list<std::string_view>>(pieces, separator);
  }
  // Appends the printf-style text. It is formatted straight into the spare
  // room; when it does not fit, storage grows once to the exact size and it is
  // formatted again. False, content unchanged, when growth fails or the
  // format is rejected (vsnprintf fails). As with snprintf, no argument may
  // point into this buffer's storage.
  bool appendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

 private:
  static constexpr uint8_t kValidityMarker = 170;
  static constexpr unsigned int kInlineSize = 82;
  static constexpr unsigned int kDefaultExtendSize = 202;

  // Room test done before every copy; growth is taken only when it fails.
  // Summed in 64 bits so that a huge request cannot wrap into "fits".
  bool hasRoomFor(unsigned int n) const {
    const uint64_t need = uint64_t(m_length) + n;
    return m_heap != nullptr ? need + 1 <= m_capacity : need <= kInlineSize - 1;
  }
  bool ensureRoom(unsigned int n) { return hasRoomFor(n) || expectNumBytes(n); }
  // As ensureRoom, for a source that may lie in this buffer's own content:
  // growth moves the content, so source is re-pointed at the new storage.
  bool ensureRoomKeeping(const char*& source, unsigned int n);
  // The growing halves of append and appendN, out of line so that the
  // common case (room already there) stays small enough to inline.
  bool appendGrowing(const char* s, size_t n);
  bool appendNGrowing(const char* p, unsigned int n);
  // Copies n bytes to the end and terminates; room must already exist.
  void putBytes(const char* p, unsigned int n);
  // Points at the inline buffer and resets to the empty state.
  void resetToEmptyInline();
  // Overwrites the content with zeros when the secure flag asks for it.
  void wipeIfSecure();
  // The writers that fill the storage in place (hex dumps, Base64, rebuilds).
  friend struct StringBufferTail;
  // The shared worker of the canonicalizers; log may be null.
  bool percentEncodeInPlace(const sb_internal::PercentEncoding& encoding, const LogBase* log);

  uint8_t m_validity = kValidityMarker;
  bool m_secure = false;
  char* m_data;
  char m_inline[kInlineSize];
  unsigned char* m_heap = nullptr;
  unsigned int m_capacity = 0;
  unsigned int m_length = 0;
  unsigned int m_extendSize = kDefaultExtendSize;
};

// The appends that formatters and callers use in tight loops: the room test
// and the copy are inline, and only growth costs a call.
inline bool StringBuffer::append(const char* s) {
  if (s == nullptr) return true;
  const size_t n = std::strlen(s);
  if (n == 0) return true;
  // A source inside the content ends at or before its terminator, so it
  // never overlaps the room after it: memcpy is enough.
  if (n > 0xFFFFFFFEu || !hasRoomFor(static_cast<unsigned int>(n))) return appendGrowing(s, n);
  std::memcpy(m_data + m_length, s, n);
  m_length += static_cast<unsigned int>(n);
  m_data[m_length] = 0;
  return true;
}

inline bool StringBuffer::appendN(const char* p, unsigned int n) {
  if (p == nullptr || n == 0) return true;
  if (!hasRoomFor(n)) return appendNGrowing(p, n);
  putBytes(p, n);
  // Trailing zero bytes are not counted, including ones that were already
  // at the end of the content; callers rely on counted text never ending in
  // a terminator.
  while (m_length != 0 && m_data[m_length - 1] == 0) --m_length;
  return true;
}

inline bool StringBuffer::appendChar(char c) {
  if (!hasRoomFor(1) && !expectNumBytes(1)) return false;
  m_data[m_length++] = c;
  m_data[m_length] = 0;
  return true;
}

inline void StringBuffer::putBytes(const char* p, unsigned int n) {
  std::memmove(m_data + m_length, p, n);
  m_length += n;
  m_data[m_length] = 0;
}

// ---- Extensions, continued (core/extensions.cpp): comparisons, streaming, hashing, join ----
// string_view compares by unsigned byte value (char_traits<char>::lt is
// specified that way), so these give the same order as memcmp.
inline bool operator==(const StringBuffer& a, const StringBuffer& b) { return a.view() == b.view(); }
inline bool operator==(const StringBuffer& a, std::string_view b) { return a.view() == b; }
inline bool operator==(std::string_view a, const StringBuffer& b) { return a == b.view(); }
inline bool operator==(const StringBuffer& a, const char* b) { return a.view() == std::string_view(b != nullptr ? b : ""); }
inline bool operator==(const char* a, const StringBuffer& b) { return b == a; }
inline bool operator!=(const StringBuffer& a, const StringBuffer& b) { return !(a == b); }
inline bool operator!=(const StringBuffer& a, std::string_view b) { return !(a == b); }
inline bool operator!=(std::string_view a, const StringBuffer& b) { return !(a == b); }
inline bool operator!=(const StringBuffer& a, const char* b) { return !(a == b); }
inline bool operator!=(const char* a, const StringBuffer& b) { return !(b == a); }
inline bool operator<(const StringBuffer& a, const StringBuffer& b) { return a.view() < b.view(); }
inline bool operator<(const StringBuffer& a, std::string_view b) { return a.view() < b; }
inline bool operator<(std::string_view a, const StringBuffer& b) { return a < b.view(); }
inline bool operator<(const StringBuffer& a, const char* b) { return a.view() < std::string_view(b != nullptr ? b : ""); }
inline bool operator<(const char* a, const StringBuffer& b) { return std::string_view(a != nullptr ? a : "") < b.view(); }
// Writes the full content, zero bytes included.
std::ostream& operator<<(std::ostream& os, const StringBuffer& sb);

// The same hash as the content's string_view, so a StringBuffer key and a
// string_view of the same bytes land in the same bucket.
namespace std {
template <>
struct hash<StringBuffer> {
  size_t operator()(const StringBuffer& sb) const noexcept { return hash<string_view>()(sb.view()); }
};
}  // namespace std

template <typename Range, typename>
bool StringBuffer::join(const Range& pieces, std::string_view separator) {
  const StorageRange storage = storageRange();
  uint64_t total = 0;
  uint64_t count = 0;
  bool aliased = storage.holds(separator);
  for (const auto& piece : pieces) {
    const std::string_view v = pieceOf(piece);
    total += v.size();
    ++count;
    aliased |= storage.holds(v);
  }
  if (count > 1) total += (count - 1) * separator.size();
  StringBuffer grown;
  char* w = joinRoom(total, aliased, grown);
  if (w == nullptr) return false;
  bool first = true;
  for (const auto& piece : pieces) {
    if (!first) w = putPiece(w, separator);
    first = false;
    w = putPiece(w, pieceOf(piece));
  }
  joinDone(w, grown);
  return true;
}
