// Masking credential header values in protocol text before it is logged;
// the header names are held scrambled, so the binary does not list what it
// looks for.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/LiteralScrambler.h"
#include "lib/TextSearch.h"

namespace {

// Scrambled with the literal scramble; StringBuffer.h lists them in plain.
// The first seven are the names of redactHeaderValues, in its order; the
// extension also looks for the last two.
constexpr const char* kScrambledNames[] = {
    "fZsgilargzlr:mY,hzxr,",             // 1 "Authorization: Basic "
    "fZsgilargzlr:mY,zvvi,i",            // 2 "Authorization: Bearer "
    "fZsgilargzlr:mW,trhv,g",            // 3 "Authorization: Digest "
    "fZsgilargzlr:mZ,HD-5NSXZH-ZS47,3",  // 4 "Authorization: AWS4-HMAC-SHA256 "
    "fZsgilargzlr:m",                    // 5 "Authorization:"
    "lXplvr:",                           // 6 "Cookie:"
    "-CnZ-avHfxribgG-plmv:",             // 7 "X-Amz-Security-Token:"
    "-CkZ-rvP:b",                        // "X-Api-Key:"
    "-CfZsgG-plmv:",                     // "X-Auth-Token:"
};
constexpr int kClassicNames = 7;
constexpr int kAllNames = sizeof kScrambledNames / sizeof kScrambledNames[0];
// Names 1 to 4 end in the scheme word and its space, so the mask follows
// directly; the others end at the colon and get a space first.
constexpr int kNamesEndingInSpace = 4;
constexpr const char* kTightMask = "****";
constexpr const char* kSpacedMask = " ****";
constexpr size_t kLongestName = 40;

const char* maskFor(int index) { return index < kNamesEndingInSpace ? kTightMask : kSpacedMask; }

// The names restored into the caller's arrays, afresh on every call.
void restoreNames(char (&names)[kAllNames][kLongestName], int count) {
  for (int i = 0; i < count; ++i) {
    std::strncpy(names[i], kScrambledNames[i], kLongestName - 1);
    names[i][kLongestName - 1] = 0;
    litScramInPlace(names[i]);
  }
}

}  // namespace

void StringBuffer::redactHeaderValues(StringBuffer& text, LogBase&) {
  char names[kAllNames][kLongestName];
  restoreNames(names, kClassicNames);
  // Names 1 to 5 are forms of one header: only the first found is masked.
  for (int i = 0; i < 5; ++i) {
    if (text.containsSubstring(names[i])) {
      text.replaceAllBetween(names[i], "\r\n", maskFor(i), false);
      break;
    }
  }
  text.replaceAllBetween(names[5], "\r\n", maskFor(5), false);
  text.replaceAllBetween(names[6], "\r\n", maskFor(6), false);
}

bool StringBuffer::redactAllHeaderValues(StringBuffer& text, LogBase&) {
  char names[kAllNames][kLongestName];
  uint32_t lengths[kAllNames];
  restoreNames(names, kAllNames);
  for (int i = 0; i < kAllNames; ++i) lengths[i] = static_cast<uint32_t>(std::strlen(names[i]));

  // The result is built only once a value really changes, so text that is
  // already clean (or already masked) is left untouched.
  StringBuffer out;
  out.setSecureBuf(text.m_secure);
  bool changed = false;
  const char* const begin = text.m_data;
  // Read as text, as the searches of redactHeaderValues do: a zero byte
  // ends it (and what lies behind one is not kept when a value is masked).
  const void* zero = std::memchr(begin, 0, text.m_length);
  const char* const end = zero != nullptr ? static_cast<const char*>(zero) : begin + text.m_length;
  const char* copied = begin;
  for (const char* line = begin; line < end;) {
    const void* lf = std::memchr(line, '\n', static_cast<size_t>(end - line));
    const char* lineEnd = lf != nullptr ? static_cast<const char*>(lf) : end;
    const char* valueEnd = lf != nullptr && lineEnd > line && lineEnd[-1] == '\r' ? lineEnd - 1 : lineEnd;
    const auto span = static_cast<uint32_t>(valueEnd - line);
    for (int i = 0; i < kAllNames; ++i) {
      const char* hit = TextSearch::findNoCase(line, span, names[i], lengths[i]);
      if (hit == nullptr) continue;
      const char* value = hit + lengths[i];
      const char* mask = maskFor(i);
      const size_t maskLength = std::strlen(mask);
      if (static_cast<size_t>(valueEnd - value) == maskLength && std::memcmp(value, mask, maskLength) == 0) break;
      if (!out.appendN(copied, static_cast<uint32_t>(value - copied)) || !out.append(mask)) return false;
      copied = valueEnd;
      changed = true;
      break;
    }
    line = lf != nullptr ? lineEnd + 1 : end;
  }
  if (!changed) return true;
  if (!out.appendN(copied, static_cast<uint32_t>(end - copied))) return false;
  text.takeSb(out);
  return true;
}
