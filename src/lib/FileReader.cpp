// Reading a file into the caller's memory with POSIX calls, retried over
// short reads and signals.
#include "lib/FileReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "lib/LogBase.h"

namespace {

std::atomic<uint32_t> gReadLimit{0};
std::atomic<uint32_t> gEndAfter{0};

// One system read never asks for more than this: Linux caps a read at a
// little under 2 GiB anyway, and a smaller request keeps the loop honest.
constexpr size_t kMaxReadRequest = size_t(1) << 30;

}  // namespace

void FileReader::TestControl::limitReadsTo(uint32_t n) noexcept { gReadLimit.store(n, std::memory_order_relaxed); }
void FileReader::TestControl::endFilesAfter(uint32_t n) noexcept { gEndAfter.store(n, std::memory_order_relaxed); }
void FileReader::TestControl::reset() noexcept {
  limitReadsTo(0);
  endFilesAfter(0);
}

bool FileReader::openUtf8(const char* path, int& errorCode, LogBase* log) {
  close();
  errorCode = 0;
  if (path == nullptr || *path == 0) {
    errorCode = ENOENT;
    return false;
  }
  int fd;
  do fd = ::open(path, O_RDONLY | O_CLOEXEC);
  while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    errorCode = errno;
    return false;
  }
  struct stat st;
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    errorCode = S_ISDIR(st.st_mode) ? EISDIR : errno;
    ::close(fd);
    // "The path is a directory."
    if (errorCode == EISDIR && log != nullptr) log->LogError_lcr("sG,vzksgr,,h,zrwvigxil/b");
    return false;
  }
  m_fd = fd;
  m_delivered = 0;
  return true;
}

void FileReader::close() {
  if (m_fd >= 0) ::close(m_fd);  // not retried on EINTR: Linux has closed the descriptor already
  m_fd = -1;
}

unsigned int FileReader::fileSize32(LogBase*) {
  struct stat st;
  if (m_fd < 0 || ::fstat(m_fd, &st) != 0 || st.st_size < 0 || st.st_size >= 0xFFFFFFFF) return 0xFFFFFFFFu;
  return static_cast<unsigned int>(st.st_size);
}

bool FileReader::readBytesToBuf32(void* dest, unsigned int n, unsigned int& numRead, bool& endOfFile, LogBase*) {
  numRead = 0;
  endOfFile = false;
  if (m_fd < 0) return false;
  char* out = static_cast<char*>(dest);
  const uint32_t limit = gReadLimit.load(std::memory_order_relaxed);
  const uint32_t endAfter = gEndAfter.load(std::memory_order_relaxed);
  while (numRead < n) {
    size_t want = n - numRead;
    if (want > kMaxReadRequest) want = kMaxReadRequest;
    if (limit != 0 && want > limit) want = limit;
    if (endAfter != 0) {
      if (m_delivered >= endAfter) {
        endOfFile = true;
        return true;
      }
      if (want > endAfter - m_delivered) want = static_cast<size_t>(endAfter - m_delivered);
    }
    const ssize_t got = ::read(m_fd, out + numRead, want);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (got == 0) {
      endOfFile = true;
      return true;
    }
    numRead += static_cast<unsigned int>(got);
    m_delivered += static_cast<uint64_t>(got);
  }
  return true;
}
