// A short tour: a buffer growing from its inline storage to the heap,
// inserting and cutting, and handing storage over without a copy.
#include <cstdio>

#include "core/StringBuffer.h"

namespace {

void show(const char* label, StringBuffer& sb) {
  std::printf("%-28s length %4u  heap %5u  reserve %4u  \"%.40s%s\"\n", label, sb.getSize(), sb.heapUsage(),
              sb.getExtendSize(), sb.getString(), sb.getSize() > 40 ? "..." : "");
}

}  // namespace

int main() {
  StringBuffer sb("Hello");
  show("short text lives inline", sb);

  sb.appendCharN('.', 76);
  show("81 bytes: still inline", sb);
  sb.appendChar('!');
  show("82nd byte moves to the heap", sb);
  for (int i = 0; i < 300; ++i) sb.appendChar('+');
  show("grows by an adaptive reserve", sb);

  sb.setString("world");
  StringBuffer greeting("Hello, ");
  sb.insertAt(greeting, 0);
  sb.insertCharAt('!', sb.getSize());
  show("insert in front and at end", sb);

  sb.removeChunk(5, 1);
  sb.chopAt(11);
  show("cut a comma and the tail", sb);

  StringBuffer taker;
  taker.takeSb(sb);
  show("storage taken over", taker);
  show("source left empty", sb);
  return 0;
}
