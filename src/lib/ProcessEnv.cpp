// Reading variables of the process environment.
#include "lib/ProcessEnv.h"

#include <cstdlib>
#include <cstring>

#include "core/StringBuffer.h"

bool ProcessEnv::appendValue(const char* name, StringBuffer& out) {
  // getenv matches "NAME=" as a prefix of each entry, so a name with "=" in
  // it would find the tail of another variable's value.
  if (name == nullptr || *name == 0 || std::strchr(name, '=') != nullptr) return true;
  return out.append(std::getenv(name));
}
