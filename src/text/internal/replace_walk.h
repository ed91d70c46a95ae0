// The left-to-right replace walk shared by the plain, case-insensitive,
// content-id and whole-word replace-all operations.
#pragma once

#include <cstdint>

#include "core/StringBuffer.h"

namespace textscan {

// Appends text[0, textLen) to out with every match replaced. `first` is the
// first match (not null); next(from, n) returns the next match in the n bytes
// at from, or null. Matches never overlap and the inserted text is never
// searched, because the walk only ever searches the source. Returns false
// when an append failed (out then holds a partial result).
template <typename Next>
bool appendReplacingAll(const char* text, uint32_t textLen, const char* first, uint32_t findLen,
                        const char* replacement, uint32_t replacementLen, Next next,
                        StringBuffer& out, uint32_t& count) {
  const char* end = text + textLen;
  const char* cursor = text;
  count = 0;
  for (const char* match = first; match != nullptr;) {
    if (!out.appendN(cursor, static_cast<uint32_t>(match - cursor))) return false;
    if (!out.appendN(replacement, replacementLen)) return false;
    ++count;
    cursor = match + findLen;
    if (cursor == end) return true;
    match = next(cursor, static_cast<uint32_t>(end - cursor));
  }
  return out.appendN(cursor, static_cast<uint32_t>(end - cursor));
}

}  // namespace textscan
