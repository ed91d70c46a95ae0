#include <gtest/gtest.h>

#include <string>

#include "lib/LogBase.h"
#include "test_support.h"

namespace {

using std::string;

const string kHead = "GET / HTTP/1.1\r\nHost: example.com\r\n";

struct Row { const char* name; string text, want; };

// Each row's result, and that redacting it again changes nothing.
template <size_t N>
void checkRows(const Row (&rows)[N], bool all) {
  const auto redact = [all](const string& text) {
    StringBuffer sb = bufferOf(text);
    LogNull log;
    if (all) {
      EXPECT_TRUE(StringBuffer::redactAllHeaderValues(sb, log));
    } else {
      StringBuffer::redactHeaderValues(sb, log);
    }
    return bytesOf(sb);
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const string once = redact(r.text);
    EXPECT_EQ(r.want, once);
    EXPECT_EQ(once, redact(once));
  }
}

TEST(LogRedaction, RedactHeaderValues) {
  const Row rows[] = {
      {"basic", kHead + "Authorization: Basic dXNlcjpwdw==\r\n\r\n", kHead + "Authorization: Basic ****\r\n\r\n"},
      {"bearer", kHead + "Authorization: Bearer eyJ.x.y\r\n", kHead + "Authorization: Bearer ****\r\n"},
      {"digest", kHead + "Authorization: Digest username=\"u\"\r\n", kHead + "Authorization: Digest ****\r\n"},
      {"aws4", "Authorization: AWS4-HMAC-SHA256 Credential=AKID/x, Signature=ab\r\n",
       "Authorization: AWS4-HMAC-SHA256 ****\r\n"},
      {"other scheme", kHead + "Authorization: Negotiate YII=\r\n", kHead + "Authorization: ****\r\n"},
      {"proxy form", "Proxy-Authorization: Basic cDpx\r\n", "Proxy-Authorization: Basic ****\r\n"},
      {"none of the names", kHead, kHead}, {"value without CR LF", "Authorization: Basic dXNlcjpwdw==", "Authorization: Basic dXNlcjpwdw=="},
      {"lone LF is no end", "Cookie: a=b\nHost: x\n", "Cookie: a=b\nHost: x\n"},
      {"only the first authorization",
       "Authorization: Bearer tok\r\nProxy-Authorization: Negotiate xyz\r\n",
       "Authorization: Bearer ****\r\nProxy-Authorization: Negotiate xyz\r\n"},
      {"second occurrence stays", "Cookie: a=1\r\nCookie: b=2\r\n", "Cookie: ****\r\nCookie: b=2\r\n"},
      {"all three steps", "Authorization: Basic x\r\nCookie: c\r\nX-Amz-Security-Token: t\r\n",
       "Authorization: Basic ****\r\nCookie: ****\r\nX-Amz-Security-Token: ****\r\n"},
      {"names are case-sensitive", "authorization: bearer x\r\ncookie: y\r\n", "authorization: bearer x\r\ncookie: y\r\n"},
  };
  checkRows(rows, false);
}

TEST(LogRedaction, RedactAllHeaderValues) {
  const Row rows[] = {
      {"every occurrence", "Cookie: a=1\r\nCookie: b=2\r\n", "Cookie: ****\r\nCookie: ****\r\n"},
      {"any case", "authorization: bearer x\r\nCOOKIE: y\r\n", "authorization: bearer ****\r\nCOOKIE: ****\r\n"},
      {"lone LF, CR kept before it", "Cookie: a\nx-api-key: k\r\nHost: h\n", "Cookie: ****\nx-api-key: ****\r\nHost: h\n"},
      {"value running to the end", "X-Auth-Token: t0k", "X-Auth-Token: ****"},
      {"every form of the authorization header",
       "Authorization: Bearer tok\r\nProxy-Authorization: Negotiate xyz\r\n",
       "Authorization: Bearer ****\r\nProxy-Authorization: ****\r\n"},
      {"set-cookie holds the cookie name", "set-cookie: id=1; HttpOnly\r\n", "set-cookie: ****\r\n"},
      {"clean text", kHead, kHead}, {"empty text", "", ""}, {"empty value", "Cookie:\r\n", "Cookie: ****\r\n"},
      {"a value as long as the mask", "Cookie: abcd\r\n", "Cookie: ****\r\n"},
      {"a value that begins like the mask", "Cookie: ****x\r\n", "Cookie: ****\r\n"},
  };
  checkRows(rows, true);
}

TEST(LogRedaction, RedactAllStorage) {
  LogNull log;
  // Nothing to mask: no allocation, the same storage.
  StringBuffer clean = bufferOf(kHead + "Cookie: ****\r\n");
  const char* before = clean.getString();
  {
    ScopedAllocatorControl control;
    EXPECT_TRUE(StringBuffer::redactAllHeaderValues(clean, log));
    EXPECT_EQ(0u, control.allocations());
  }
  EXPECT_EQ(before, clean.getString());

  // The masked text still needs the heap: when it cannot be had, nothing changes.
  const string text = "Cookie: c\r\nX-Note: " + string(300, 'n') + "\r\nAuthorization: Basic x\r\n";
  StringBuffer failing = bufferOf(text);
  {
    ScopedAllocatorControl control;
    control.failNth(1);
    EXPECT_FALSE(StringBuffer::redactAllHeaderValues(failing, log));
  }
  EXPECT_EQ(text, bytesOf(failing));

  // The masked text grows twice: its first block goes back wiped too.
  const string note = "X-Note: " + string(300, 's') + "\r\n";
  StringBuffer secret = bufferOf(note + "Cookie: c\r\n" + note);
  secret.setSecureBuf(true);
  ReleaseWatcher watcher(300);
  EXPECT_TRUE(StringBuffer::redactAllHeaderValues(secret, log));
  EXPECT_EQ(note + "Cookie: ****\r\n" + note, bytesOf(secret));
  EXPECT_GE(watcher.releases(), 1u);
  EXPECT_FALSE(watcher.sawContent());
}

}  // namespace
