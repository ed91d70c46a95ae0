// The road most callers take through the class: load a file (its byte-order
// mark normalised to plain UTF-8), split it into lines, read one field of
// each record with quotes honoured, write the values as XML, save the result
// and say what happened.
//
//   demo [CSV_FILE [FIELD_NUMBER [OUTPUT_FILE]]]
//
// Without arguments it reads the sample customer list shipped with the
// sources and writes field 1 (the name) of every record.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"
#include "lib/ExtPtrArray.h"
#include "lib/LogBase.h"
#include "lib/StringBufferArray.h"
#include "lib/StringPair.h"
#include "lib/XString.h"

#ifndef SB_DEMO_SAMPLE
#define SB_DEMO_SAMPLE "customers.csv"
#endif

int main(int argc, char** argv) {
  const char* inputPath = argc > 1 && *argv[1] != '\0' ? argv[1] : SB_DEMO_SAMPLE;
  const long field = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 1;
  const char* outputPath = argc > 3 ? argv[3] : "demo-output.xml";
  if (field < 0) {
    std::fprintf(stderr, "demo: the field number counts from 0\n");
    return 2;
  }

  LogBase log;
  XString path;
  path.setFromUtf8(inputPath);
  StringBuffer content;
  if (!content.loadFileX(path, &log)) {
    std::fprintf(stderr, "demo: cannot load %s\n%s", inputPath, log.getText());
    return 1;
  }
  const unsigned int bytesIn = content.getSize();

  StringBufferArray lines;
  content.splitByLineEndings(lines, true, false);  // a quoted field may hold a line break

  // The first line names the fields; its entry for our field names the
  // elements we write.
  StringBuffer header;
  if (lines.getSize() > 0) lines.sbAt(0)->getNthDelimited(static_cast<unsigned int>(field), ',', true, false, header);
  StringBuffer name;  // only what an XML name may hold, or "value"
  for (unsigned int i = 0; i < header.getSize(); ++i) {
    const char c = header.getString()[i];
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (name.getSize() > 0 && c >= '0' && c <= '9'))
      name.appendChar(c);
  }
  if (name.getSize() == 0) name.append("value");

  StringBuffer out("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  ExtPtrArray rootAttributes;
  rootAttributes.appendPtr(new StringPair("source", inputPath));
  out.appendXmlOpenTag("records", &rootAttributes);

  StringBuffer value;
  unsigned int records = 0;
  for (int i = 1; i < lines.getSize(); ++i) {
    StringBuffer* line = lines.sbAt(i);
    if (line->getSize() == 0) continue;  // the empty piece behind the last line ending
    if (!line->getNthDelimited(static_cast<unsigned int>(field), ',', true, false, value)) continue;
    ExtPtrArray attributes;
    StringBuffer number;
    number.appendInt64(i + 1);
    attributes.appendPtr(new StringPair("line", number.getString()));
    out.append("  ");
    out.appendXml(name.getString(), attributes, value.getString());  // entities, or CDATA for a TAB or LF
    ++records;
  }
  out.appendXmlCloseTag("records");

  if (!out.saveToFileUtf8(outputPath, &log)) {
    std::fprintf(stderr, "demo: cannot save %s\n%s", outputPath, log.getText());
    return 1;
  }
  std::printf("read    %s: %u bytes, %d lines\n", inputPath, bytesIn, lines.getSize());
  std::printf("field   %ld (\"%s\") of %u records\n", field, name.getString(), records);
  std::printf("wrote   %s: %u bytes of XML\n", outputPath, out.getSize());
  return 0;
}
