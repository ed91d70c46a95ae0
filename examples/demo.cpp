// A short tour: a buffer growing from its inline storage to the heap,
// inserting, cutting and handing storage over; then the road most callers
// take: a text split into lines, one field read from each record, and the
// values gathered into an output buffer.
#include <cstdio>

#include "core/LockedStringBuffer.h"
#include "core/StringBuffer.h"
#include "lib/StringBufferArray.h"

namespace {

void show(const char* label, StringBuffer& sb) {
  std::printf("%-32s length %4u  heap %5u  reserve %4u  \"%.40s%s\"\n", label, sb.getSize(), sb.heapUsage(),
              sb.getExtendSize(), sb.getString(), sb.getSize() > 40 ? "..." : "");
}

void storageTour() {
  StringBuffer sb("Hello");
  show("short text lives inline", sb);
  sb.appendCharN('.', 76);
  show("81 bytes: still inline", sb);
  sb.appendChar('!');
  show("the 82nd byte moves to the heap", sb);
  for (int i = 0; i < 300; ++i) sb.appendChar('+');
  show("grows by an adaptive reserve", sb);

  sb.setString("world");
  StringBuffer greeting("Hello, ");
  sb.insertAt(greeting, 0);
  sb.insertCharAt('!', sb.getSize());
  show("insert in front and at the end", sb);
  sb.removeChunk(5, 1);
  sb.chopAt(11);
  show("cut a comma and the tail", sb);

  StringBuffer taker;
  taker.takeSb(sb);
  show("storage taken over", taker);
  show("source left empty", sb);
}

void recordsTour() {
  StringBuffer content(
      "id,name,city\r\n"
      "1,\"Smith, Anna\",  Oslo \r\n"
      "2,Bob,\"Bergen\"\n"
      "3,\"Lee \"\"Jr\"\"\",Tromso\n");
  StringBufferArray lines;
  content.splitByLineEndings(lines, true, false);

  StringBuffer out;
  StringBuffer field;
  for (int i = 1; i < lines.getSize(); ++i) {
    StringBuffer* line = lines.sbAt(i);
    if (line == nullptr || line->getSize() == 0) continue;
    line->getNthDelimited(1, ',', true, false, field);  // quotes stripped, "" folded
    out.append2("<name>", field.getString());
    out.append("</name>");
    line->getNthDelimited(2, ',', true, false, field);
    field.trim2();
    out.append_s(" from %s", field.getString());
    out.appendLineEnding();
  }
  std::printf("\n%s", out.getString());

  LockedStringBuffer shared;
  shared.append("pieces from splitByLineEndings: ");
  shared.append(static_cast<int>(lines.getSize()));
  StringBuffer copy;
  shared.getString(copy);
  std::printf("%s\n", copy.getString());

  StringBuffer dump;
  dump.appendHexData(reinterpret_cast<const unsigned char*>("StringBuffer!"), 13);
  std::printf("hex: %s\n", dump.getString());
}

}  // namespace

int main() {
  storageTour();
  recordsTour();
  return 0;
}
