// EntityRefChecker: tells whether text at an ampersand begins a character
// reference that an escaper must leave alone.
#pragma once

class LogBase;

class EntityRefChecker {
 public:
  // True when text begins with "&" and then either a numeric reference ("#"
  // and at least one decimal digit, or "#x"/"#X" and at least one hex digit,
  // closed by ";") or the name of an HTML5 named character reference closed
  // by ";" (case-sensitive: "&AMP;" and "&amp;" are both names, "&Amp;" is
  // not). Null text is false. The log is not written to.
  static bool startsWithEntityRef(const char* text, LogBase& log);
};
