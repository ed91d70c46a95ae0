#include "core/StringBuffer.h"

int main() {
  StringBuffer sb("consumer");
  sb.appendChar('!');
  return sb.getSize() == 9 ? 0 : 1;
}
