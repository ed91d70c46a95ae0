// Decoding the content: from a named transfer encoding through _clsEncode,
// and MIME encoded words through MimeCodec.
#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/MimeCodec.h"
#include "lib/_clsEncode.h"

bool StringBuffer::decode(const char* encodingName, DataBuffer& out, LogBase& log) {
  const int id = _clsEncode::encodingIdFromName(encodingName, log);
  if (id == 0) {
    log.LogError_lcr("mFmpdl,mmvlxrwtmm,nz/v");  // scrambled: the encoding name is unknown
    log.LogDataStr("!mvlxrwtm", encodingName);      // scrambled tag: the name
    return false;
  }
  return _clsEncode::decodeBinary(id, *this, out, true, log);
}

bool StringBuffer::decode_in_place(int encodingId, LogBase& log) {
  DataBuffer scratch;
  scratch.setSecure(m_secure);
  if (!_clsEncode::decodeBinary(encodingId, *this, scratch, true, log)) return false;
  // weakClear leaves the old text in the block takeFromDb releases.
  wipeIfSecure();
  weakClear();
  return takeFromDb(scratch);
}

bool StringBuffer::qbDecode(LogBase& log) {
  if (m_length == 0 || std::memchr(m_data, '?', m_length) == nullptr) return true;
  if (containsSubstring("?B?") || containsSubstring("?b?")) MimeCodec::decodeEncodedWords(*this, log);
  // Note: looked for again in the content as the first pass left it; a text
  // with both kinds of word goes to the codec twice.
  if (containsSubstring("?Q?") || containsSubstring("?q?")) MimeCodec::decodeEncodedWords(*this, log);
  return true;
}
