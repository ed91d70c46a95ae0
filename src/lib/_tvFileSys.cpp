// The POSIX file-system layer: the access policy, opening for reading,
// sizes, whole-file replacement by rename, and appending.
#include "lib/_tvFileSys.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/FileReader.h"
#include "lib/LogBase.h"
#include "lib/XString.h"

namespace {

std::atomic<bool> gReadAllowed{true};
std::atomic<bool> gWriteAllowed{true};
std::atomic<uint32_t> gTempCounter{0};

// Writes all n bytes, riding out short writes and signals.
bool writeAll(int fd, const char* data, size_t n) {
  while (n != 0) {
    const ssize_t put = ::write(fd, data, n);
    if (put < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

int openRetrying(const char* path, int flags, mode_t mode) {
  int fd;
  do fd = ::open(path, flags, mode);
  while (fd < 0 && errno == EINTR);
  return fd;
}

void logPathError(LogBase* log, const char* scrambledText, const char* path) {
  if (log == nullptr) return;
  log->LogError_lcr(scrambledText);
  log->LogDataStr("path", path);
  log->LogDataLong("errno", errno);
}

// The folder of path ("." for a bare name), for syncing it after a rename.
std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

void _tvFileSys::setFileAccessPolicy(bool allowRead, bool allowWrite) {
  gReadAllowed.store(allowRead, std::memory_order_relaxed);
  gWriteAllowed.store(allowWrite, std::memory_order_relaxed);
}

bool _tvFileSys::fileReadAllowed() { return gReadAllowed.load(std::memory_order_relaxed); }

bool _tvFileSys::fileWriteAllowed() { return gWriteAllowed.load(std::memory_order_relaxed); }

bool _tvFileSys::js_validate_read_perm(LogBase* log, bool logDenial) {
  if (fileReadAllowed()) return true;
  if (logDenial && log != nullptr) log->LogError_lcr("vIwzmr,truvo,hhrm,glz,oodlwv/");  // "Reading files is not allowed."
  return false;
}

bool _tvFileSys::js_validate_write_perm(LogBase* log, bool logDenial) {
  if (fileWriteAllowed()) return true;
  if (logDenial && log != nullptr) log->LogError_lcr("iDgrmr,truvo,hhrm,glz,oodlwv/");  // "Writing files is not allowed."
  return false;
}

bool _tvFileSys::openForRead(FileReader& reader, XString& path, bool quietIfMissing, int& error, LogBase* log) {
  error = 0;
  if (!js_validate_read_perm(log, true)) {
    error = EACCES;
    return false;
  }
  if (reader.openUtf8(path.getUtf8(), error, log)) return true;
  if (!(quietIfMissing && error == ENOENT) && error != EISDIR) {
    errno = error;
    logPathError(log, "zUorwvg,,lklmvg,vsu,or/v", path.getUtf8());  // "Failed to open the file."
  }
  return false;
}

int64_t _tvFileSys::fileSizeUtf8(const char* path, LogBase*, bool& ok) {
  struct stat st;
  ok = path != nullptr && ::stat(path, &st) == 0;
  return ok ? static_cast<int64_t>(st.st_size) : 0;
}

bool _tvFileSys::writeFileUtf8(const char* path, const char* data, unsigned int n, LogBase* log) {
  if (!js_validate_write_perm(log, true)) return false;
  if (path == nullptr || *path == 0) return false;
  // A link is followed, so that the file it names is replaced rather than the
  // link turned into a file of its own.
  std::string target = path;
  struct stat st;
  const bool exists = ::stat(path, &st) == 0;
  if (exists && ::lstat(path, &st) == 0 && S_ISLNK(st.st_mode)) {
    char resolved[PATH_MAX];
    if (::realpath(path, resolved) != nullptr) target = resolved;
  }
  const bool replacing = exists && ::stat(target.c_str(), &st) == 0;

  // The new content goes to a fresh file next to the target: rename is only
  // atomic within one file system.
  std::string temp;
  int fd = -1;
  for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
    char suffix[48];
    std::snprintf(suffix, sizeof suffix, ".%ld.%u.sbtmp", static_cast<long>(::getpid()),
                  gTempCounter.fetch_add(1, std::memory_order_relaxed));
    temp = target + suffix;
    fd = openRetrying(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) {
    logPathError(log, "zUorwvg,,lidgr,vsg,vruvo/", path);  // "Failed to write the file."
    return false;
  }
  bool ok = (!replacing || ::fchmod(fd, st.st_mode & 07777) == 0) && writeAll(fd, data, data != nullptr ? n : 0) &&
            ::fsync(fd) == 0;
  const int savedErrno = errno;
  ok = ::close(fd) == 0 && ok;
  if (ok) ok = ::rename(temp.c_str(), target.c_str()) == 0;
  if (!ok) {
    errno = errno != 0 ? errno : savedErrno;
    logPathError(log, "zUorwvg,,lidgr,vsg,vruvo/", path);
    ::unlink(temp.c_str());
    return false;
  }
  // Make the rename itself durable; a folder that cannot be synced does not
  // undo a write that has already happened.
  const int dir = openRetrying(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}

bool _tvFileSys::appendFileX(XString& path, const char* data, unsigned int n, LogBase* log) {
  if (!js_validate_write_perm(log, true)) return false;
  if (path.isEmpty()) return false;
  const int fd = openRetrying(path.getUtf8(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  bool ok = fd >= 0 && writeAll(fd, data, data != nullptr ? n : 0);
  if (fd >= 0) ok = ::close(fd) == 0 && ok;
  if (!ok) logPathError(log, "zUorwvg,,lkzvkwmg,,lsg,vruvo/", path.getUtf8());  // "Failed to append to the file."
  return ok;
}
