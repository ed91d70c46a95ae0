#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "lib/StringMap.h"
#include "lib/TextCodec.h"
#include "test_support.h"

namespace {

std::string encoded(const std::string& s) {
  StringBuffer sb = bufferOf(s);
  TextCodec::encode(sb);
  return bytesOf(sb);
}

std::string jsonEscaped(const std::string& s) {
  StringBuffer sb = bufferOf(s);
  sb.jsonEscape();
  return bytesOf(sb);
}

}  // namespace

TEST(VariableSubstitution, EnvReplace) {
  ASSERT_EQ(0, setenv("SB_TEST_A", "x", 1));
  ASSERT_EQ(0, setenv("SB_TEST_B", "y", 1));
  ASSERT_EQ(0, setenv("SB_TEST_LONG", std::string(300, 'v').c_str(), 1));
  unsetenv("SB_TEST_UNSET");
  struct Row { const char* why; std::string before; std::string after; };
  const Row rows[] = {
      {"two references", "%SB_TEST_A%-%SB_TEST_B%", "x-y"}, {"lone percent", "50% off", "50% off"},
      {"unpaired percent kept with the rest", "a%SB_TEST_B%c%d", "ayc%d"}, {"empty name", "%%", ""},
      {"unset variable", "<%SB_TEST_UNSET%>", "<>"}, {"name with =", "<%SB_TEST_A=x%>", "<>"},
      {"value longer than the inline buffer", "[%SB_TEST_LONG%]", "[" + std::string(300, 'v') + "]"},
      {"text behind a zero byte is not searched", std::string("a\0%SB_TEST_A%", 14), std::string("a\0%SB_TEST_A%", 14)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    sb.envReplace();
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

TEST(VariableSubstitution, References) {
  StringMap map;
  for (const auto& [name, value] : {std::pair{"name", "ann"}, {"id", "7"}, {"a", "1"}, {"b", "2"},
                                     {"host", "example.org"}, {".host", "dotted"}, {"", "nameless"}})
    ASSERT_TRUE(map.set(name, value));
  struct Row { const char* why; std::string before; std::string after; };
  const Row rows[] = {
      {"two names", "user {$name} has id {$id}", "user ann has id 7"}, {"side by side", "{$a}{$b}{$a}", "121"},
      {"unknown name vanishes", "a{$missing}b", "ab"}, {"unterminated", "{$a} {$open", "1 {$open"},
      {"the name runs to the next closing brace", "{$a} {$open and {$b}", "1 "},
      {"brace without dollar", "{x}", "{x}"}, {"braces at the end", "{x{", "{x{"},
      {"the byte after a brace is text", "{{$a}", "{{$a}"}, {"qualifier dropped", "{$p.host}", "example.org"},
      {"leading dot kept", "{$.host}", "dotted"}, {"empty name", "{$}", "nameless"},
      {"a qualifier alone leaves the empty name", "{$p.}", "nameless"}, {"a reference behind a brace pair", "{x{$a}", "{x1"},
      {"text ends at a zero byte", std::string("{$a}\0{$b}", 9), "1"},
      {"no reference, zero byte", std::string("ab\0c", 4), "ab"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.why);
    StringBuffer sb = bufferOf(r.before);
    EXPECT_FALSE(sb.variableSubstitute(map, 0));
    EXPECT_EQ(r.after, bytesOf(sb));
  }
}

// A template several staging areas long, references falling on and around
// the 252-byte flush point, in every mode.
TEST(VariableSubstitution, LongTemplateInEveryMode) {
  StringMap map;
  const std::string plain = "v1", tricky = "line\n\"q\"\\", longValue(400, 'L');
  ASSERT_TRUE(map.set("p", plain.c_str()));
  ASSERT_TRUE(map.set("t", tricky.c_str()));
  ASSERT_TRUE(map.set("long", longValue.c_str()));
  for (int mode : {0, 4, 22, 5}) {
    const auto value = [mode](const std::string& v) {
      return mode == 4 ? encoded(v) : mode == 22 ? jsonEscaped(v) : v;
    };
    for (unsigned lead = 245; lead <= 256; ++lead) {
      SCOPED_TRACE("mode " + std::to_string(mode) + " lead " + std::to_string(lead));
      std::string tmpl = std::string(lead, 'a') + "{$p}" + std::string(250, 'b') + "{x" + "{$t}{$none}" +
                         std::string(600, 'c') + "{$long}{$q.p}" + std::string(251, 'd') + "{";
      std::string want = std::string(lead, 'a') + value(plain) + std::string(250, 'b') + "{x" + value(tricky) +
                         std::string(600, 'c') + value(longValue) + value(plain) + std::string(251, 'd') + "{";
      StringBuffer sb = bufferOf(tmpl);
      EXPECT_FALSE(sb.variableSubstitute(map, mode));
      EXPECT_EQ(want, bytesOf(sb));
    }
  }
}

// Without memory a value is lost, never half-added, and never added raw
// where it should have been escaped; the literal text still arrives.
TEST(VariableSubstitution, FailedAllocations) {
  StringMap map;
  const std::string big(1000, 'V');
  ASSERT_TRUE(map.set("big", big.c_str()));
  ASSERT_TRUE(map.set("small", "s"));
  for (int mode : {0, 22}) {
    SCOPED_TRACE(mode);
    StringBuffer sb("<{$big}|{$small}>");
    ScopedAllocatorControl control;
    control.failAbove(500);
    EXPECT_FALSE(sb.variableSubstitute(map, mode));
    EXPECT_STREQ("<|s>", sb.getString());
  }
  // An escape that cannot grow leaves its value out rather than in raw.
  ASSERT_TRUE(map.set("quote", std::string(60, '"').c_str()));
  StringBuffer sb("[{$quote}]");
  ScopedAllocatorControl control;
  control.failAbove(100);
  EXPECT_FALSE(sb.variableSubstitute(map, 22));
  EXPECT_STREQ("[]", sb.getString());
}

TEST(VariableSubstitution, SecureTemporariesAreWiped) {
  StringMap map;
  ASSERT_TRUE(map.set("pw", std::string(300, 'P').c_str()));
  std::string tmpl;
  for (int i = 0; i < 6; ++i) tmpl += std::string(200, 't') + "{$pw}";
  for (int mode : {0, 4, 22}) {
    SCOPED_TRACE(mode);
    ReleaseWatcher watcher(200);
    {
      StringBuffer sb;
      sb.setSecureBuf(true);
      ASSERT_TRUE(sb.append(tmpl.c_str()));
      EXPECT_FALSE(sb.variableSubstitute(map, mode));
    }
    EXPECT_GE(watcher.releases(), 2u);
    EXPECT_FALSE(watcher.sawContent());
  }
}
