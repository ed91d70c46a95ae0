// Shielding ISO-2022-JP double-byte segments: each stretch between ESC $ B
// and ESC ( B is moved into a list and a numbered placeholder stands in its
// place until the segments are put back.
#include "core/StringBuffer.h"
#include "lib/StringBufferArray.h"
#include "lib/StringScanner.h"

namespace {

constexpr char kOpenJis[] = "\x1B$B";
constexpr char kBackToAscii[] = "\x1B(B";
constexpr char kPlaceholder[] = "TV_ISO2022_";

}  // namespace

// The escape sequences stay in the content around the placeholder (the
// scanner passes the opening one over with the text before it, and stops
// at the closing one); only the double-byte bytes between them are moved,
// so putting them back in place of the placeholder restores every byte.
void StringBuffer::iso2022Replace(StringBufferArray& parts) {
  StringScanner scanner;
  scanner.setString(m_data);
  StringBuffer result;
  result.setSecureBuf(m_secure);
  int n = 1;
  bool ok = true;
  while (ok && !scanner.atEnd()) {
    if (!scanner.advancePastMarker(kOpenJis, result)) {
      ok = result.appendN(scanner.remaining(), scanner.remainingLength());
      break;
    }
    if (scanner.atEnd()) break;
    StringBuffer* segment = createNewSB();
    if (segment == nullptr) {
      // Note: the rest is kept as it stands, unshielded, rather than lost;
      // the segments already moved are restored as usual.
      ok = result.appendN(scanner.remaining(), scanner.remainingLength());
      break;
    }
    segment->setSecureBuf(m_secure);
    if (!scanner.captureUntilMarker(kBackToAscii, *segment)) {
      deleteSb(segment);
      ok = result.appendN(scanner.remaining(), scanner.remainingLength());
      break;
    }
    // A list that cannot grow frees the segment; its bytes would be lost,
    // so the content is then left as it was.
    ok = parts.appendPtr(segment) && result.append(kPlaceholder) && result.append(n);
    ++n;
  }
  // Without memory for the result the content stays as it was; the segments
  // already listed then have no placeholders, and restoring changes nothing.
  // With no segment moved the content stays too: the scan stopped at the
  // first zero byte, and rewriting would drop the bytes behind it.
  if (!ok || n == 1) return;
  wipeIfSecure();
  weakClear();
  append(result);
}

void StringBuffer::iso2022Restore(StringBufferArray& parts) {
  const int count = parts.getSize();
  for (int i = 0; i < count; ++i) {
    StringBuffer placeholder(kPlaceholder);
    placeholder.append(i + 1);
    const StringBuffer* segment = parts.sbAt(i);
    replaceFirstOccurance(placeholder.getString(), segment != nullptr ? segment->getString() : "", false);
  }
}
