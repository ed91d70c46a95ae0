// LogBase: the library's logger. It records one line per entry, indented two
// spaces per open context, and hands the whole record back with getText():
//
//   loadFile {
//     filePath: a.txt
//     error: Cannot open the file.
//   }
//
// Texts that are held scrambled in the binary (error texts, context names,
// marked tags) are restored with the literal scramble before they are
// written. Logging never throws and never fails the caller: an entry that
// does not fit in memory is dropped whole.
#pragma once

#include "core/StringBuffer.h"

class XString;

class LogBase {
 public:
  // A tag that starts with this byte holds the rest of itself scrambled
  // ("!ruvoHrva" is written as "fileSize"); any other tag is a plain word
  // written as it is.
  static constexpr char kScrambledTagMark = '!';

  LogBase() : LogBase(true) {}
  virtual ~LogBase() = default;
  LogBase(const LogBase&) = delete;
  LogBase& operator=(const LogBase&) = delete;

  // Records an error line; the text is scrambled and restored here. True
  // when the line was recorded.
  bool LogError_lcr(const char* scrambledText);
  // Records "tag: value" in decimal, through LogDataStr.
  void LogDataLong(const char* tag, long value);
  // Records "tag: value" with the string's UTF-8 text, through LogDataStr.
  void LogDataX(const char* tag, XString& value);
  // Records "tag: value"; null counts as "". Every named entry comes here.
  virtual void LogDataStr(const char* tag, const char* value);

  // Opens a nesting level, recording "name {" (the name is scrambled).
  // LogContextExitor pairs this with leaveContext.
  void enterContext(const char* scrambledName);
  // Closes the innermost level with "}"; nothing when none is open.
  void leaveContext();

  // Everything recorded so far; "" when nothing was.
  const char* getText() const { return m_text.getString(); }

  // Option keywords for the operations that read them, searched as
  // case-sensitive substrings; empty by default.
  StringBuffer optionKeywords;

 protected:
  // A logger made with recording off keeps no text (LogNull).
  explicit LogBase(bool recording) : m_recording(recording) {}

 private:
  // Appends one indented line "head" + "sep" + "tail"; all or nothing.
  bool addLine(const char* head, const char* sep, const char* tail);

  StringBuffer m_text;
  unsigned int m_depth = 0;
  bool m_recording;
};

// A logger that records nothing, for callees that need one when the caller
// has none.
class LogNull : public LogBase {
 public:
  LogNull() : LogBase(false) {}
  void LogDataStr(const char*, const char*) override {}
};

// Opens a named level on a logger for the life of a scope.
class LogContextExitor {
 public:
  LogContextExitor(LogBase& log, const char* scrambledName) : m_log(log) { m_log.enterContext(scrambledName); }
  ~LogContextExitor() { m_log.leaveContext(); }
  LogContextExitor(const LogContextExitor&) = delete;
  LogContextExitor& operator=(const LogContextExitor&) = delete;

 private:
  LogBase& m_log;
};
