// LogBase recording: every entry becomes one indented line of the log text,
// with scrambled texts restored on the way in.
#include "lib/LogBase.h"

#include <cstring>

#include "lib/ByteAllocator.h"
#include "lib/LiteralScrambler.h"
#include "lib/XString.h"

namespace {

constexpr unsigned int kIndentPerLevel = 2;

// A restored copy of a scrambled literal: short ones on the stack, longer
// ones in an allocated block. text() is null when memory ran out.
class Restored {
 public:
  explicit Restored(const char* s) {
    if (s == nullptr) s = "";
    const size_t length = std::strlen(s);
    if (length < sizeof m_small) {
      m_text = m_small;
    } else if (length < UINT32_MAX) {
      m_block = ByteAllocator::allocate(static_cast<uint32_t>(length + 1));
      m_text = reinterpret_cast<char*>(m_block);
    }
    if (m_text == nullptr) return;
    std::memcpy(m_text, s, length + 1);
    litScramBytes(m_text, static_cast<unsigned int>(length));
    m_size = static_cast<uint32_t>(length + 1);
  }
  ~Restored() { ByteAllocator::release(m_block, m_size); }
  Restored(const Restored&) = delete;
  Restored& operator=(const Restored&) = delete;

  const char* text() const { return m_text; }

 private:
  char m_small[256];
  unsigned char* m_block = nullptr;
  char* m_text = nullptr;
  uint32_t m_size = 0;
};

// Decimal digits of value, written from the back of a 24-byte array;
// returns the first character. Negation is done unsigned so that the most
// negative value works too.
const char* formatLong(long value, char (&digits)[24]) {
  char* p = digits + sizeof digits - 1;
  *p = 0;
  unsigned long magnitude = value < 0 ? 0ul - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
  do {
    *--p = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *--p = '-';
  return p;
}

size_t lengthOf(const char* s) {
  return s != nullptr ? std::strlen(s) : 0;
}

}  // namespace

bool LogBase::addLine(const char* head, const char* sep, const char* tail) {
  if (!m_recording) return false;
  const uint64_t indent = uint64_t(m_depth) * kIndentPerLevel;
  const uint64_t total = indent + lengthOf(head) + lengthOf(sep) + lengthOf(tail) + 1;
  // Room for the whole line first, so a line is never cut short.
  if (total >= UINT32_MAX || !m_text.expectNumBytes(static_cast<uint32_t>(total))) return false;
  return m_text.appendCharN(' ', static_cast<unsigned int>(indent)) && m_text.append(head) && m_text.append(sep) &&
         m_text.append(tail) && m_text.appendChar('\n');
}

bool LogBase::LogError_lcr(const char* scrambledText) {
  if (!m_recording) return false;
  const Restored text(scrambledText);
  return text.text() != nullptr && addLine("error: ", text.text(), nullptr);
}

void LogBase::LogDataLong(const char* tag, long value) {
  if (!m_recording) return;
  char digits[24];
  LogDataStr(tag, formatLong(value, digits));
}

void LogBase::LogDataX(const char* tag, XString& value) {
  if (!m_recording) return;
  LogDataStr(tag, value.getUtf8());
}

void LogBase::LogDataStr(const char* tag, const char* value) {
  if (!m_recording) return;
  if (tag == nullptr || tag[0] != kScrambledTagMark) {
    addLine(tag, ": ", value);
    return;
  }
  const Restored plain(tag + 1);
  if (plain.text() != nullptr) addLine(plain.text(), ": ", value);
}

void LogBase::enterContext(const char* scrambledName) {
  if (!m_recording) return;
  const Restored name(scrambledName);
  // The level opens even when its line is lost, so that the exitor's close
  // stays paired with it.
  if (name.text() != nullptr) addLine(name.text(), " {", nullptr);
  ++m_depth;
}

void LogBase::leaveContext() {
  if (!m_recording || m_depth == 0) return;
  --m_depth;
  addLine("}", nullptr, nullptr);
}
