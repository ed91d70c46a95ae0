// _tvFileSys: the library's file-system layer (POSIX). Paths are UTF-8 and
// handed to the system as they are.
//
// File access policy: whether the library may read and may write files is
// one process-wide setting, both allowed by default. An application that
// runs the library sandboxed (a service that must never touch the disk on a
// caller's behalf) turns either off once at start-up:
//
//   _tvFileSys::setFileAccessPolicy(/*allowRead=*/true, /*allowWrite=*/false);
//
// Every operation here that reads or writes a file obeys it, so a forbidden
// access fails before the file is touched. The setting is atomic and may be
// changed from any thread; operations already running are not affected.
#pragma once

#include <cstdint>

class FileReader;
class LogBase;
class XString;

class _tvFileSys {
 public:
  static void setFileAccessPolicy(bool allowRead, bool allowWrite);
  static bool fileReadAllowed();
  static bool fileWriteAllowed();

  // The policy checks: false when reading (writing) is forbidden, with an
  // error line in the log (when one is given) if logDenial.
  static bool js_validate_read_perm(LogBase* log, bool logDenial);
  static bool js_validate_write_perm(LogBase* log, bool logDenial);

  // Opens path for reading through reader. A missing file is not logged when
  // quietIfMissing. error gets the system's error number.
  static bool openForRead(FileReader& reader, XString& path, bool quietIfMissing, int& error, LogBase* log);

  // Size of the file at path, symbolic links followed; ok false, and 0
  // returned, when it cannot be examined.
  static int64_t fileSizeUtf8(const char* path, LogBase* log, bool& ok);

  // Replaces the file's content with the n bytes, all or nothing: they go to
  // a new file in the same folder, which is flushed to disk and then renamed
  // over the old one, so a failure at any point leaves the old file whole.
  // A replaced file keeps its permission bits; a new one gets 0666 less the
  // umask. A symbolic link is followed and its target replaced.
  static bool writeFileUtf8(const char* path, const char* data, unsigned int n, LogBase* log);

  // Adds the n bytes at the end of the file (O_APPEND, so concurrent
  // appenders do not overwrite each other), creating it when missing.
  static bool appendFileX(XString& path, const char* data, unsigned int n, LogBase* log);
};
