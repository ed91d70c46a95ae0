#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "lib/LiteralScrambler.h"
#include "lib/LogBase.h"
#include "lib/XString.h"

namespace {

std::string scrambled(const char* plain) {
  std::string s(plain);
  litScramInPlace(&s[0]);
  return s;
}

TEST(LiteralScrambler, TableMovesExactlyTheListedBytesAndIsSelfInverse) {
  const std::string moved = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789*<, ./";
  for (int c = 0; c < 256; ++c) {
    const auto u = static_cast<unsigned char>(c);
    SCOPED_TRACE(c);
    EXPECT_EQ(u, litSubstitute(litSubstitute(u)));
    EXPECT_EQ(c != 0 && moved.find(static_cast<char>(c)) != std::string::npos, litSubstitute(u) != u);
  }
  const std::pair<char, char> samples[] = {{'a', 'z'}, {'m', 'n'}, {'A', 'Z'}, {'0', '9'}, {'4', '5'},
                                           {'*', '<'}, {',', ' '}, {'.', '/'}, {'+', '+'}, {'-', '-'}};
  for (const auto& s : samples) EXPECT_EQ(static_cast<unsigned char>(s.second), litSubstitute(s.first));
}

TEST(LiteralScrambler, ScrambleSwapsPairsAndUndoesItself) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""}, {"a", "z"}, {"ab", "yz"}, {"abc", "yzx"}, {"a b", ",zy"}, {"+-", "-+"}};
  for (const auto& r : rows) {
    EXPECT_EQ(r.second, scrambled(r.first));
    EXPECT_EQ(r.first, scrambled(r.second));
  }
  litScramInPlace(nullptr);
  char bytes[] = {'a', '\0', 'b'};
  litScramBytes(bytes, 3);
  EXPECT_EQ(0, std::memcmp(bytes, "\0zy", 3)) << "counted form sees the zero byte";
}

TEST(LogBase, RecordsIndentedLinesWithScrambledTextsRestored) {
  LogBase log;
  XString path;
  path.setFromUtf8("a.txt");
  {
    LogContextExitor outer(log, scrambled("loadFile").c_str());
    log.LogDataX("filePath", path);
    {
      LogContextExitor inner(log, scrambled("readAll").c_str());
      log.LogDataLong(("!" + scrambled("fileSize")).c_str(), LONG_MIN);
      log.LogError_lcr(scrambled("Cannot open the file.").c_str());
    }
    log.LogDataStr("bytes_received", nullptr);
    log.LogDataLong("n", 0);
  }
  log.leaveContext();
  EXPECT_EQ(
      "loadFile {\n"
      "  filePath: a.txt\n"
      "  readAll {\n"
      "    fileSize: " + std::to_string(LONG_MIN) + "\n"
      "    error: Cannot open the file.\n"
      "  }\n"
      "  bytes_received: \n"
      "  n: 0\n"
      "}\n",
      log.getText());
  EXPECT_STREQ("", log.optionKeywords.getString());
}

TEST(LogBase, LongTextsAreRestoredToo) {
  const std::string plain(600, 'k');
  LogBase log;
  EXPECT_TRUE(log.LogError_lcr(scrambled(plain.c_str()).c_str()));
  EXPECT_EQ("error: " + plain + "\n", log.getText());
}

TEST(LogNull, RecordsNothing) {
  LogNull null;
  LogBase& log = null;
  XString value;
  LogContextExitor context(log, "x");
  EXPECT_FALSE(log.LogError_lcr("error"));
  log.LogDataLong("n", 5);
  log.LogDataX("x", value);
  log.LogDataStr("s", "v");
  EXPECT_STREQ("", log.getText());
}

}  // namespace
