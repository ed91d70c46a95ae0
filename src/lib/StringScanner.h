// StringScanner: walks forward through a zero-terminated text, handing the
// stretches it passes over to the caller. It does not copy the text: the
// text must outlive the scanner and stay unchanged while it is used.
#pragma once

#include <cstdint>

class StringBuffer;

class StringScanner {
 public:
  StringScanner() = default;
  StringScanner(const StringScanner&) = delete;
  StringScanner& operator=(const StringScanner&) = delete;

  // Starts at the first byte of s (null is ""); the text ends at its first
  // zero byte.
  void setString(const char* s);
  // No text is left behind the position.
  bool atEnd() const { return m_pos == m_end; }

  // When marker occurs at or behind the position: appends everything passed
  // over, the marker included, to out, moves behind the marker and returns
  // 1. Otherwise (or for an empty marker) returns 0, appending nothing and
  // staying put. Also 0, staying put, when out cannot grow.
  // Note: the marker goes with the text passed over, so a caller that
  // captures what follows never loses a byte.
  int advancePastMarker(const char* marker, StringBuffer& out);
  // Appends the text from the position up to (not including) the next
  // marker, or to the end when there is none, and moves there. False when
  // out cannot grow (the position then stays).
  bool captureUntilMarker(const char* marker, StringBuffer& out);

  // The text from the position to the end, and its length.
  const char* remaining() const { return m_pos; }
  uint32_t remainingLength() const { return static_cast<uint32_t>(m_end - m_pos); }

 private:
  // The next occurrence of marker at or behind the position, or null.
  const char* find(const char* marker, uint32_t& markerLength) const;

  const char* m_pos = "";
  const char* m_end = m_pos;
};
