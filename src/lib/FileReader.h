// FileReader: one file open for reading, closed when the reader dies. Reads
// fill the caller's memory directly and ride out short reads and signals, so
// a caller that asks for n bytes gets n unless the file really ends first.
#pragma once

#include <cstdint>

class LogBase;

class FileReader {
 public:
  FileReader() = default;
  ~FileReader() { close(); }
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  // Opens a UTF-8 path for reading; a directory is refused. errorCode gets
  // the system's error number on failure (0 otherwise). Closes any file
  // opened before.
  bool openUtf8(const char* path, int& errorCode, LogBase* log);
  bool isOpen() const { return m_fd >= 0; }
  void close();

  // The file's size, or 0xFFFFFFFF when it cannot be told or does not fit
  // in 32 bits. Files whose size the system does not know (pipes, most of
  // /proc) report 0.
  unsigned int fileSize32(LogBase* log);

  // Reads up to n bytes into dest from the current position, looping over
  // short reads and interrupted calls. numRead is the number of bytes stored
  // (fewer than n only at the end of the file); endOfFile tells whether the
  // end was reached. False on a read error (numRead still counts what was
  // stored before it) or when no file is open.
  bool readBytesToBuf32(void* dest, unsigned int n, unsigned int& numRead, bool& endOfFile, LogBase* log);

  // Test-only switches, process-wide, off by default.
  class TestControl {
   public:
    // Each system read asks for at most n bytes (0: no limit), so callers
    // meet short reads on ordinary files.
    static void limitReadsTo(uint32_t n) noexcept;
    // Every reader finds the end of its file after n bytes (0: off), as if
    // the file had been cut short after its size was taken.
    static void endFilesAfter(uint32_t n) noexcept;
    static void reset() noexcept;
  };

 private:
  int m_fd = -1;
  uint64_t m_delivered = 0;
};
