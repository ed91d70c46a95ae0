// Moving a buffer's bytes between memory and whole files through the file
// layer: loading (with byte-order marks normalised to UTF-8), creating a
// buffer from a file, saving and appending.
#include <strings.h>

#include <cstring>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/FileReader.h"
#include "lib/LogBase.h"
#include "lib/XString.h"
#include "lib/_tvEncodingConvert.h"
#include "lib/_tvFileSys.h"
#include "lib/tv64.h"

namespace {

constexpr int kCodePageUtf16Le = 1200;
constexpr int kCodePageUtf16Be = 1201;
constexpr int kCodePageUtf8 = 65001;

// Longest path text createFromFileX looks at.
constexpr unsigned int kMaxPathBytes = 999;

// The UTF-16 code page a leading mark announces, or 0.
int utf16MarkCodePage(const unsigned char* p, unsigned int n) {
  if (n < 2) return 0;
  if (p[0] == 0xFF && p[1] == 0xFE) return kCodePageUtf16Le;
  if (p[0] == 0xFE && p[1] == 0xFF) return kCodePageUtf16Be;
  return 0;
}

bool hasUtf8Mark(const unsigned char* p, unsigned int n) {
  return n >= 4 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF;
}

}  // namespace

bool StringBuffer::loadFileX(XString& path, LogBase* log) {
  if (!_tvFileSys::js_validate_read_perm(log, true)) return false;
  FileReader reader;
  int error = 0;
  if (!_tvFileSys::openForRead(reader, path, false, error, log)) return false;

  const unsigned int size = reader.fileSize32(log);
  if (size == 0xFFFFFFFFu) {
    if (log != nullptr) {
      log->LogDataX("filePath", path);
      log->LogError_lcr("zXmmglg,ov,osg,vrhval,,usg,vruvo/");  // "Cannot tell the size of the file."
    }
    return false;
  }
  if (size == 0) return true;
  // The four spare bytes keep the terminator and the mark handling inside
  // the one allocation made for the content.
  if (size > 0xFFFFFFFFu - 4 || !expectNumBytes(size + 4)) {
    if (log != nullptr) {
      log->LogError_lcr("lM,gmvflstn,nvil,blgo,zl,wsg,vruvo/");  // "Not enough memory to load the file."
      log->LogDataLong("fileSize", static_cast<long>(size));
    }
    return false;
  }

  // Straight into our own storage, behind the current content.
  const unsigned int oldLength = m_length;
  char* const dest = m_data + oldLength;
  unsigned int numRead = 0;
  bool endOfFile = false;
  const bool readOk = reader.readBytesToBuf32(dest, size, numRead, endOfFile, log);
  if (!readOk || numRead != size) {
    // What arrived stays out of the content; a secure buffer does not keep
    // it lying behind the terminator either.
    if (m_secure) std::memset(dest, 0, numRead);
    dest[0] = 0;
    if (log != nullptr) {
      if (readOk) {
        log->LogDataLong("filesize", static_cast<long>(size));
        log->LogDataLong("bytes_received", static_cast<long>(numRead));
      }
      log->LogDataX("filePath", path);
      if (readOk)
        log->LogError_lcr("sG,vruvor,,hshilvg,isgmzr,hgi,kvilvg,wrhva/");  // "The file is shorter than its reported size."
      else
        log->LogError_lcr("zUorwvg,,lviwzg,vsu,or/v");  // "Failed to read the file."
    }
    return false;
  }
  m_length = oldLength + size;
  m_data[m_length] = 0;

  // Our choice: the mark is looked for at the start of the file's bytes, not
  // of the whole content, and only those bytes are converted. A mark belongs
  // to the file, and text already in the buffer must not be read as UTF-16.
  const auto* loaded = reinterpret_cast<const unsigned char*>(dest);
  if (hasUtf8Mark(loaded, size)) {
    // Dropping three bytes needs no scratch copy: the rest moves down in place.
    std::memmove(dest, dest + 3, size - 3);
    m_length -= 3;
    std::memset(m_data + m_length, 0, 4);
  } else if (const int codePage = utf16MarkCodePage(loaded, size)) {
    DataBuffer utf8;
    LogNull quiet;
    _tvEncodingConvert converter;
    // The converter's result is not consulted: what it could not convert
    // exactly it has already replaced by U+FFFD, which is what we keep.
    converter.EncConvert(codePage, kCodePageUtf8, loaded, size, utf8, quiet);
    if (m_secure) std::memset(dest, 0, size);
    m_length = oldLength;
    dest[0] = 0;
    appendN(reinterpret_cast<const char*>(utf8.getData2()), utf8.getSize());
    if (m_secure) std::memset(utf8.getData2(), 0, utf8.getSize());
  }
  return true;
}

bool StringBuffer::loadFileUtf8(const char* path, LogBase* log) {
  XString xpath;
  xpath.setFromUtf8(path);
  return loadFileX(xpath, log);
}

StringBuffer* StringBuffer::createFromFileX(XString& path, LogBase* log) {
  // Note: this asks for the write permission (the read permission is asked
  // by loadFileX); callers that forbid writing get no buffer from a file.
  if (!_tvFileSys::js_validate_write_perm(log, true)) return nullptr;

  // Windows-style file URLs ("file:///C|/data/a.txt") name "C:/data/a.txt".
  XString plain;
  const char* text = path.getUtf8();
  unsigned int n = path.getSizeUtf8() < kMaxPathBytes ? path.getSizeUtf8() : kMaxPathBytes;
  if (n >= 8 && strncasecmp(text, "file:///", 8) == 0) {
    text += 8;
    n -= 8;
  }
  plain.appendUtf8N(text, n);
  plain.replaceChar('|', ':');

  bool ok = false;
  const int64_t size = _tvFileSys::fileSizeUtf8(plain.getUtf8(), log, ok);
  if (tv64::TooBigForUnsigned32(size + 200)) {
    if (log != nullptr) log->LogError_lcr("sG,vruvor,,hlg,lzoti,vlgo,zl/w");  // "The file is too large to load."
    return nullptr;
  }
  if (!ok) return nullptr;
  StringBuffer* sb = createNewSB();
  if (sb == nullptr) {
    if (log != nullptr) log->LogError_lcr("lM,gmvflstn,nvil,blu,i,zvm,dfyuuiv/");  // "Not enough memory for a new buffer."
    return nullptr;
  }
  if (!sb->loadFileX(plain, log)) {
    deleteSb(sb);
    return nullptr;
  }
  return sb;
}

StringBuffer* StringBuffer::createFromFileUtf8(const char* path, LogBase* log) {
  XString xpath;
  xpath.setFromUtf8(path);
  return createFromFileX(xpath, log);
}

bool StringBuffer::saveToFileUtf8(const char* path, LogBase* log) const {
  return _tvFileSys::writeFileUtf8(path, m_data, m_length, log);
}

bool StringBuffer::appendToFileUtf8(const char* path, LogBase* log) const {
  if (!_tvFileSys::js_validate_write_perm(log, true)) return false;
  XString xpath;
  xpath.appendUtf8(path);
  return _tvFileSys::appendFileX(xpath, m_data, m_length, log);
}
