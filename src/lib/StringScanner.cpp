// A forward-only scanner over zero-terminated text: each search starts
// where the last one left off, so a whole text is searched once.
#include "lib/StringScanner.h"

#include <cstring>

#include "core/StringBuffer.h"
#include "lib/TextSearch.h"

void StringScanner::setString(const char* s) {
  m_pos = s != nullptr ? s : "";
  m_end = m_pos + std::strlen(m_pos);
}

const char* StringScanner::find(const char* marker, uint32_t& markerLength) const {
  markerLength = marker != nullptr ? static_cast<uint32_t>(std::strlen(marker)) : 0;
  if (markerLength == 0) return nullptr;
  return TextSearch::find(m_pos, remainingLength(), marker, markerLength);
}

int StringScanner::advancePastMarker(const char* marker, StringBuffer& out) {
  uint32_t markerLength;
  const char* hit = find(marker, markerLength);
  if (hit == nullptr) return 0;
  const char* behind = hit + markerLength;
  if (!out.appendN(m_pos, static_cast<unsigned int>(behind - m_pos))) return 0;
  m_pos = behind;
  return 1;
}

bool StringScanner::captureUntilMarker(const char* marker, StringBuffer& out) {
  uint32_t markerLength;
  const char* hit = find(marker, markerLength);
  const char* stop = hit != nullptr ? hit : m_end;
  if (!out.appendN(m_pos, static_cast<unsigned int>(stop - m_pos))) return false;
  m_pos = stop;
  return true;
}
