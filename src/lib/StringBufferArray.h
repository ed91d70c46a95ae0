// StringBufferArray: an ExtPtrArray whose elements are StringBuffer objects,
// as the splitting and tokenizing operations produce them.
#pragma once

#include "core/StringBuffer.h"
#include "lib/ExtPtrArray.h"

class StringBufferArray : public ExtPtrArray {
 public:
  // Element i as a StringBuffer; null when i is out of range or the element
  // is some other kind of object.
  StringBuffer* sbAt(int i) const { return dynamic_cast<StringBuffer*>(elementAt(i)); }
};
