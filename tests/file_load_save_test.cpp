#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "lib/FileReader.h"
#include "lib/LogBase.h"
#include "lib/XString.h"
#include "lib/_tvFileSys.h"
#include "test_support.h"

namespace {

using std::string;

// A fresh folder for each test, removed with everything in it afterwards;
// the policy and the reader's switches are put back as well.
class FileLoadSave : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/sb_files_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    m_dir = pattern;
  }
  void TearDown() override {
    _tvFileSys::setFileAccessPolicy(true, true);
    FileReader::TestControl::reset();
    for (const string& name : entries()) std::remove((m_dir + "/" + name).c_str());
    rmdir(m_dir.c_str());
  }

  string path(const char* name) const { return m_dir + "/" + name; }
  string write(const char* name, const string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  static string read(const string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }
  std::vector<string> entries() const {
    std::vector<string> names;
    if (DIR* d = opendir(m_dir.c_str())) {
      while (dirent* e = readdir(d))
        if (string(e->d_name) != "." && string(e->d_name) != "..") names.push_back(e->d_name);
      closedir(d);
    }
    return names;
  }

  string m_dir;
};

TEST_F(FileLoadSave, LoadFileX) {
  struct Row { const char* name; string before; string file; string want; };
  const Row rows[] = {
      {"empty file leaves the content", "xy", "", "xy"}, {"plain bytes are appended", "xy", "abc", "xyabc"},
      {"zero bytes inside are kept", "", string("a\0b", 3), string("a\0b", 3)},
      {"a lone UTF-8 mark is kept", "", "\xEF\xBB\xBF", "\xEF\xBB\xBF"},
      {"UTF-8 mark dropped", "", "\xEF\xBB\xBF" "A", "A"}, {"UTF-8 mark behind content", "xy", "\xEF\xBB\xBF" "A", "xyA"},
      {"content's own mark is not the file's", "\xEF\xBB\xBFz", "q", "\xEF\xBB\xBFzq"},
      {"UTF-16 little-endian", "", string("\xFF\xFE" "H\0i\0", 6), "Hi"},
      {"UTF-16 big-endian", "", string("\xFE\xFF\0H\0i", 6), "Hi"},
      {"UTF-16 beyond ASCII", "", string("\xFF\xFE\xE9\0", 4), "\xC3\xA9"},
      {"UTF-16 behind content", "xy", string("\xFF\xFE" "H\0i\0", 6), "xyHi"},
      {"FE then another byte", "", "\xFE" "A", "\xFE" "A"}, {"FF then another byte", "", "\xFF" "A", "\xFF" "A"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_TRUE(sb.loadFileUtf8(write("f", r.file).c_str(), nullptr));
    EXPECT_EQ(r.want, bytesOf(sb));
  }
}

TEST_F(FileLoadSave, LoadFailuresLeaveTheContent) {
  write("f", "0123456789");
  mkdir(path("d").c_str(), 0700);
  // logged: what a given log must hold afterwards.
  struct Row { const char* name; string file; bool forbid; uint32_t endAfter; std::vector<const char*> logged; };
  const Row rows[] = {
      {"missing file", path("nothing"), false, 0, {"error: ", "nothing"}},
      {"directory", path("d"), false, 0, {}},
      {"reading forbidden", path("f"), true, 0, {}},
      {"file ends before its size", path("f"), false, 4, {"bytes_received: 4", "filesize: 10", "error: "}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    _tvFileSys::setFileAccessPolicy(!r.forbid, true);
    FileReader::TestControl::endFilesAfter(r.endAfter);
    StringBuffer sb("kept");
    LogBase log;
    EXPECT_FALSE(sb.loadFileUtf8(r.file.c_str(), &log));
    EXPECT_FALSE(sb.loadFileUtf8(r.file.c_str(), nullptr));
    EXPECT_EQ("kept", bytesOf(sb));
    EXPECT_STREQ("kept", sb.getString());  // the bytes read in part lie behind the terminator
    for (const char* text : r.logged) EXPECT_NE(nullptr, std::strstr(log.getText(), text)) << text;
  }
}

// Short reads are retried; the content takes one allocation, and when it
// cannot be had the buffer keeps what it held.
TEST_F(FileLoadSave, Reading) {

  const string bytes = string(5000, 'x') + "end";
  FileReader::TestControl::limitReadsTo(7);
  StringBuffer chunked;
  EXPECT_TRUE(chunked.loadFileUtf8(write("f", bytes).c_str(), nullptr));
  EXPECT_EQ(bytes, bytesOf(chunked));
  FileReader::TestControl::reset();

  const string file = write("big", string(100000, 'q'));
  StringBuffer sb;
  {
    ScopedAllocatorControl control;
    EXPECT_TRUE(sb.loadFileUtf8(file.c_str(), nullptr));
    EXPECT_EQ(1u, control.allocations());
    EXPECT_EQ(100000u, sb.getSize());
  }
  StringBuffer kept("kept");
  LogBase log;
  ScopedAllocatorControl control;
  control.failNth(1);
  EXPECT_FALSE(kept.loadFileUtf8(file.c_str(), &log));
  EXPECT_EQ("kept", bytesOf(kept));
  EXPECT_NE(nullptr, std::strstr(log.getText(), "fileSize: 100000")) << log.getText();
}

// The reader itself: nothing open reads nothing, no name is ENOENT, and
// opening again closes the file it held.
TEST_F(FileLoadSave, Reader) {
  const auto openFiles = [] {
    int n = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
      while (readdir(d) != nullptr) ++n;
      closedir(d);
    }
    return n;
  };
  FileReader reader;
  char bytes[4];
  unsigned int numRead = 9;
  bool end = false;
  EXPECT_FALSE(reader.readBytesToBuf32(bytes, 4, numRead, end, nullptr));  // nothing open
  EXPECT_EQ(0u, numRead);
  int error = 0;
  EXPECT_FALSE(reader.openUtf8("", error, nullptr));
  EXPECT_EQ(ENOENT, error);
  EXPECT_FALSE(reader.openUtf8(m_dir.c_str(), error, nullptr));
  EXPECT_EQ(EISDIR, error);
  const int before = openFiles();
  EXPECT_TRUE(reader.openUtf8(write("a", "1").c_str(), error, nullptr));
  EXPECT_TRUE(reader.openUtf8(write("b", "2").c_str(), error, nullptr));
  EXPECT_EQ(before + 1, openFiles());
  EXPECT_TRUE(reader.readBytesToBuf32(bytes, 4, numRead, end, nullptr));  // the file ends early: not an error
  EXPECT_EQ(1u, numRead);
  // A size of 4 GiB or more cannot be told in 32 bits.
  ASSERT_EQ(0, truncate(write("huge", "").c_str(), 0x100000005ll));
  EXPECT_TRUE(reader.openUtf8(path("huge").c_str(), error, nullptr));
  EXPECT_EQ(0xFFFFFFFFu, reader.fileSize32(nullptr));
}

TEST_F(FileLoadSave, CreateFromFile) {
  write("a:b", "colon");
  write("empty", "");
  struct Row { const char* name; string path; bool found; const char* want; };
  const Row rows[] = {
      {"plain path", path("a:b"), true, "colon"},
      {"file URL with a bar", "FILE:///" + m_dir + "/a|b", true, "colon"},
      {"lower-case scheme", "file:///" + m_dir + "/a|b", true, "colon"},
      {"empty file", path("empty"), true, ""},
      {"missing file", path("nothing"), false, nullptr},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    StringBuffer* sb = StringBuffer::createFromFileUtf8(r.path.c_str(), nullptr);
    ASSERT_EQ(r.found, sb != nullptr);
    if (sb != nullptr) {
      EXPECT_STREQ(r.want, sb->getString());
    }
    StringBuffer::deleteSb(sb);
  }
  // Only the first 999 bytes of a path count: with the scheme, the file at
  // the 991 bytes behind it is found, whatever follows them.
  string deep = m_dir;
  std::vector<string> dirs;
  for (; deep.size() < 991 - 256; dirs.push_back(deep)) mkdir((deep += "/" + string(200, 'd')).c_str(), 0700);
  deep += "/" + string(991 - deep.size() - 1, 'f');
  std::ofstream(deep) << "deep";
  StringBuffer* sb = StringBuffer::createFromFileUtf8(("file:///" + deep + "/beyond").c_str(), nullptr);
  EXPECT_STREQ("deep", sb != nullptr ? sb->getString() : "<none>");
  StringBuffer::deleteSb(sb);
  std::remove(deep.c_str());
  for (auto d = dirs.rbegin(); d != dirs.rend(); ++d) rmdir(d->c_str());
  // A (sparse) file too large for the 32-bit size is refused up front.
  write("huge", "");
  ASSERT_EQ(0, truncate(path("huge").c_str(), 0xFFFFFFFFll - 100));
  LogBase log;
  EXPECT_EQ(nullptr, StringBuffer::createFromFileUtf8(path("huge").c_str(), nullptr));
  EXPECT_EQ(nullptr, StringBuffer::createFromFileUtf8(path("huge").c_str(), &log));
  EXPECT_NE(nullptr, std::strstr(log.getText(), "error: "));
  // It asks for the write permission, then the read permission.
  for (bool read : {false, true}) {
    _tvFileSys::setFileAccessPolicy(read, !read);
    EXPECT_EQ(nullptr, StringBuffer::createFromFileUtf8(path("a:b").c_str(), nullptr));
  }
}

TEST_F(FileLoadSave, SaveToFile) {
  const string file = write("f", "old content");
  chmod(file.c_str(), 0640);
  const string bytes("new\0bytes", 9);
  EXPECT_TRUE(bufferOf(bytes).saveToFileUtf8(file.c_str(), nullptr));
  EXPECT_EQ(bytes, read(file));
  struct stat st;
  ASSERT_EQ(0, stat(file.c_str(), &st));
  EXPECT_EQ(0640u, st.st_mode & 07777u);
  EXPECT_TRUE(StringBuffer().saveToFileUtf8(path("new").c_str(), nullptr));
  EXPECT_EQ("", read(path("new")));
  // Through a link, the file it names is replaced and the link stays.
  ASSERT_EQ(0, symlink(path("new").c_str(), path("link").c_str()));
  EXPECT_TRUE(StringBuffer("linked").saveToFileUtf8(path("link").c_str(), nullptr));
  EXPECT_EQ("linked", read(path("new")));
  EXPECT_TRUE(lstat(path("link").c_str(), &st) == 0 && S_ISLNK(st.st_mode));

  _tvFileSys::setFileAccessPolicy(true, false);
  LogBase log;
  EXPECT_FALSE(StringBuffer("x").saveToFileUtf8(file.c_str(), &log));
  EXPECT_NE(nullptr, std::strstr(log.getText(), "error: "));
  EXPECT_EQ(bytes, read(file));
  EXPECT_EQ(3u, entries().size());  // no temporary file left behind
}

TEST_F(FileLoadSave, FailedSaveKeepsTheOldFile) {
  const string file = write("f", "the old file");
  // Files may not grow past 100 bytes: the write of the new content fails
  // half way, as on a full disk.
  struct rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  struct rlimit small = old;
  small.rlim_cur = 100;
  auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  LogBase log;
  const bool saved = StringBuffer(string(1000, 'n').c_str()).saveToFileUtf8(file.c_str(), &log);
  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, oldHandler);
  EXPECT_FALSE(saved);
  EXPECT_EQ("the old file", read(file));
  EXPECT_EQ(1u, entries().size());
  EXPECT_NE(nullptr, std::strstr(log.getText(), "error:"));
}

TEST_F(FileLoadSave, AppendToFile) {
  const string file = write("f", "one,");
  EXPECT_TRUE(StringBuffer("two,").appendToFileUtf8(file.c_str(), nullptr));
  EXPECT_TRUE(StringBuffer("three").appendToFileUtf8(file.c_str(), nullptr));
  EXPECT_EQ("one,two,three", read(file));
  EXPECT_TRUE(StringBuffer("fresh").appendToFileUtf8(path("new").c_str(), nullptr));
  EXPECT_EQ("fresh", read(path("new")));
  EXPECT_FALSE(StringBuffer("x").appendToFileUtf8(path("no/such/dir").c_str(), nullptr));

  _tvFileSys::setFileAccessPolicy(true, false);
  EXPECT_FALSE(StringBuffer("four").appendToFileUtf8(file.c_str(), nullptr));
  XString name;
  name.setFromUtf8(file.c_str());
  EXPECT_FALSE(_tvFileSys::appendFileX(name, "four", 4, nullptr));  // the file layer asks too
  EXPECT_EQ("one,two,three", read(file));
}

TEST_F(FileLoadSave, SecureBufferWipesWhatAFailedLoadRead) {
  const string file = write("f", string(300, 's'));
  FileReader::TestControl::endFilesAfter(200);
  StringBuffer sb;
  sb.setSecureBuf(true);
  EXPECT_FALSE(sb.loadFileUtf8(file.c_str(), nullptr));
  ASSERT_GE(sb.heapUsage(), 300u);
  const char* storage = sb.getString();
  for (int i = 0; i < 200; ++i) ASSERT_EQ(0, storage[i]) << i;
}

}  // namespace
