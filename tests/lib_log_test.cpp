#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "lib/ByteAllocator.h"
#include "lib/LiteralScrambler.h"
#include "lib/LogBase.h"
#include "lib/XString.h"

namespace {

std::string scrambled(std::string s) { litScramInPlace(&s[0]); return s; }

const std::string kReason = "Cannot open the file " + std::string(600, 'k');  // longer than any fixed buffer

TEST(LiteralScrambler, SubstituteAndScramble) {
  const std::string moved = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789*<, ./";
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(c, litSubstitute(litSubstitute(c))) << c;
    EXPECT_EQ(moved.find(static_cast<char>(c)) != std::string::npos, litSubstitute(c) != c) << c;
  }
  // Substitute each byte, then swap the bytes of each pair; an odd last byte stays in place.
  const char* rows[][2] = {{"", ""}, {"a", "z"}, {"abc", "yzx"}, {"+-", "-+"}, {"amAM04*,.", "nzNZ59 </"}};
  for (const auto& r : rows) {
    EXPECT_EQ(r[1], scrambled(r[0]));
    EXPECT_EQ(r[0], scrambled(r[1]));
  }
  litScramInPlace(nullptr);
  std::string bytes("a\0b", 3);
  litScramBytes(&bytes[0], 3);
  EXPECT_EQ(std::string("\0zy", 3), bytes) << "the counted form sees the zero byte";
}

// Nested contexts, a value of each kind and an error; returns what LogError_lcr said.
bool logSession(LogBase& log) {
  XString path;
  path.setFromUtf8("a.txt");
  LogContextExitor outer(log, scrambled("loadFile").c_str());
  log.LogDataX("filePath", path);
  log.LogDataStr("bytes_received", nullptr);
  log.LogDataLong("n", 0);
  LogContextExitor inner(log, scrambled("readAll").c_str());
  log.LogDataLong(("!" + scrambled("fileSize")).c_str(), LONG_MIN);
  return log.LogError_lcr(scrambled(kReason).c_str());
}

TEST(LogBase, RecordsIndentedLinesWithScrambledTextsRestored) {
  LogBase log;
  EXPECT_TRUE(logSession(log));
  log.leaveContext();  // one more than was entered: nothing happens
  EXPECT_EQ(
      "loadFile {\n"
      "  filePath: a.txt\n"
      "  bytes_received: \n"
      "  n: 0\n"
      "  readAll {\n"
      "    fileSize: " + std::to_string(LONG_MIN) + "\n"
      "    error: " + kReason + "\n"
      "  }\n"
      "}\n",
      log.getText());
  LogBase failing;
  ScopedAllocatorControl control;
  control.failNth(1);
  failing.LogDataStr("name", kReason.c_str());
  EXPECT_STREQ("", failing.getText()) << "a line without room adds no part of itself";
}

TEST(LogNull, RecordsNothing) {
  LogNull null;
  EXPECT_FALSE(logSession(null));
  EXPECT_STREQ("", null.getText());
}

}  // namespace
