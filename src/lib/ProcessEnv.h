// ProcessEnv: the library's view of the process environment.
#pragma once

class StringBuffer;

class ProcessEnv {
 public:
  // Appends the value of the environment variable name to out. An unset
  // variable, a null or empty name, and a name holding "=" (which no
  // variable can have) append nothing and return true; false only when out
  // cannot grow.
  static bool appendValue(const char* name, StringBuffer& out);
};
