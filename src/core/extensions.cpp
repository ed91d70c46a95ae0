// What other C++ code expects of a byte string: counted string_view input and
// output, streaming, joining and printf-style formatting, each writing
// straight into the buffer's own storage with at most one growth.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <type_traits>
#include <typeinfo>

#include "core/StringBuffer.h"
#include "lib/StringBufferArray.h"

namespace {

constexpr uint64_t kMaxCount = 0xFFFFFFFFu;

// Elements whose bytes the measuring pass of a join keeps on the stack, so
// that the copying pass reads them from one small array instead of looking
// each element up, testing its type and loading it again.
constexpr int kRememberedElements = 128;

// Element i when it is a StringBuffer, else null. The elements are nearly
// always exactly StringBuffer, whose type_info object is then the very same
// one, so comparing its address spares the cast (and a name compare).
const StringBuffer* elementOf(const StringBufferArray& list, int i) {
  TarvexObject* obj = list.elementAt(i);
  if (obj == nullptr) return nullptr;
  if (&typeid(*obj) == &typeid(StringBuffer)) return static_cast<const StringBuffer*>(obj);
  return dynamic_cast<const StringBuffer*>(obj);
}

// ---- printf-style formatting ----

// A va_list in a struct, so that it can be handed to helpers by reference on
// every platform (on some, va_list is an array type).
struct FormatArgs {
  va_list list;
};

// Where formatted text goes: straight into the room while it fits, and
// counted always, so that a text that did not fit can be given exactly the
// room it needs the second time round. Formatted pieces are a few bytes
// long, so they are copied and filled by hand rather than by library calls.
class FormatSink {
 public:
  FormatSink(char* room, size_t capacity) : m_room(room), m_capacity(capacity) {}
  uint64_t size() const { return m_size; }
  void put(const char* p, size_t n) {
    if (m_size + n <= m_capacity) {
      char* w = m_room + m_size;
      if (n > 16)
        std::memcpy(w, p, n);
      else
        for (size_t i = 0; i < n; ++i) w[i] = p[i];
    }
    m_size += n;
  }
  void fill(char c, uint64_t n) {
    if (m_size + n <= m_capacity) {
      char* w = m_room + m_size;
      if (n > 16)
        std::memset(w, c, static_cast<size_t>(n));
      else
        for (uint64_t i = 0; i < n; ++i) w[i] = c;
    }
    m_size += n;
  }

 private:
  char* m_room;
  uint64_t m_capacity;
  uint64_t m_size = 0;
};

struct Conversion {
  bool left = false, plus = false, space = false, alternate = false, zero = false;
  uint64_t width = 0;
  int precision = -1;  // -1: none given
};

// Width or precision digits; false when they run beyond what printf takes.
bool readCount(const char*& f, uint64_t& value) {
  value = 0;
  while (*f >= '0' && *f <= '9') {
    value = value * 10 + static_cast<unsigned>(*f++ - '0');
    if (value > INT32_MAX) return false;
  }
  return true;
}

void putPadded(FormatSink& sink, const Conversion& c, const char* text, size_t n) {
  const uint64_t padding = c.width > n ? c.width - n : 0;
  if (!c.left) sink.fill(' ', padding);
  sink.put(text, n);
  if (c.left) sink.fill(' ', padding);
}

// An integer conversion as the C library writes it: sign or "0x" prefix,
// zeros up to the precision, then padding to the width (zeros after the
// prefix for the "0" flag when no precision is given, else spaces).
void putInteger(FormatSink& sink, const Conversion& c, char conversion, bool negative, uint64_t magnitude) {
  char area[24];
  char* const end = area + sizeof area;
  char* digits = end;
  if (conversion == 'x' || conversion == 'X') {
    const char* set = conversion == 'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    for (uint64_t v = magnitude; v != 0; v >>= 4) *--digits = set[v & 15];
  } else if (conversion == 'o') {
    for (uint64_t v = magnitude; v != 0; v >>= 3) *--digits = static_cast<char>('0' + (v & 7));
  } else {
    for (uint64_t v = magnitude; v != 0; v /= 10) *--digits = static_cast<char>('0' + v % 10);
  }
  uint64_t count = static_cast<uint64_t>(end - digits);
  // Zero prints no digit at all under an explicit precision of 0.
  uint64_t precision = c.precision >= 0 ? static_cast<uint64_t>(c.precision) : 1;
  if (conversion == 'o' && c.alternate && precision <= count) precision = count + 1;  // a leading 0
  if (conversion == 'o' && c.alternate && magnitude == 0 && precision == 0) precision = 1;
  const uint64_t zeros = precision > count ? precision - count : 0;

  char prefix[2];
  size_t prefixSize = 0;
  if (negative)
    prefix[prefixSize++] = '-';
  else if (c.plus)
    prefix[prefixSize++] = '+';
  else if (c.space)
    prefix[prefixSize++] = ' ';
  if (c.alternate && magnitude != 0 && (conversion == 'x' || conversion == 'X')) {
    prefix[prefixSize++] = '0';
    prefix[prefixSize++] = conversion;
  }

  const uint64_t body = prefixSize + zeros + count;
  const uint64_t padding = c.width > body ? c.width - body : 0;
  const bool zeroPad = c.zero && !c.left && c.precision < 0;
  if (!c.left && !zeroPad) sink.fill(' ', padding);
  sink.put(prefix, prefixSize);
  if (zeroPad) sink.fill('0', padding);
  sink.fill('0', zeros);
  sink.put(digits, static_cast<size_t>(count));
  if (c.left) sink.fill(' ', padding);
}

enum class Length { None, Char, Short, Long, LongLong, Size, Max, Ptrdiff };

Length readLength(const char*& f) {
  switch (*f) {
    case 'h':
      ++f;
      if (*f == 'h') return ++f, Length::Char;
      return Length::Short;
    case 'l':
      ++f;
      if (*f == 'l') return ++f, Length::LongLong;
      return Length::Long;
    case 'z':
      return ++f, Length::Size;
    case 'j':
      return ++f, Length::Max;
    case 't':
      return ++f, Length::Ptrdiff;
    default:
      return Length::None;
  }
}

int64_t signedArg(FormatArgs& args, Length length) {
  switch (length) {
    case Length::Char: return static_cast<signed char>(va_arg(args.list, int));
    case Length::Short: return static_cast<short>(va_arg(args.list, int));
    case Length::Long: return va_arg(args.list, long);
    case Length::LongLong: return va_arg(args.list, long long);
    case Length::Size: return va_arg(args.list, std::make_signed_t<size_t>);
    case Length::Max: return va_arg(args.list, intmax_t);
    case Length::Ptrdiff: return va_arg(args.list, ptrdiff_t);
    default: return va_arg(args.list, int);
  }
}

uint64_t unsignedArg(FormatArgs& args, Length length) {
  switch (length) {
    case Length::Char: return static_cast<unsigned char>(va_arg(args.list, unsigned));
    case Length::Short: return static_cast<unsigned short>(va_arg(args.list, unsigned));
    case Length::Long: return va_arg(args.list, unsigned long);
    case Length::LongLong: return va_arg(args.list, unsigned long long);
    case Length::Size: return va_arg(args.list, size_t);
    case Length::Max: return va_arg(args.list, uintmax_t);
    case Length::Ptrdiff: return va_arg(args.list, std::make_unsigned_t<ptrdiff_t>);
    default: return va_arg(args.list, unsigned);
  }
}

// Formats the conversions nearly every call uses (d i u o x X c s and %%,
// with flags, width, precision and length modifiers) without the C
// library's set-up cost per call. Returns false, having consumed some
// arguments, as soon as it meets anything else (floating point, %p, %n,
// wide text, positional arguments, a null %s, flag combinations the C
// library treats in its own way): the caller then starts over with
// vsnprintf and a fresh copy of the arguments.
bool formatCommon(FormatSink& sink, const char* f, FormatArgs& args) {
  while (true) {
    // The literal text between conversions is short: found by hand.
    const char* percent = f;
    while (*percent != '%' && *percent != 0) ++percent;
    sink.put(f, static_cast<size_t>(percent - f));
    if (*percent == 0) return true;
    f = percent + 1;
    if (*f == '%') {
      sink.put("%", 1);
      ++f;
      continue;
    }
    Conversion c;
    for (;; ++f) {
      if (*f == '-') c.left = true;
      else if (*f == '+') c.plus = true;
      else if (*f == ' ') c.space = true;
      else if (*f == '#') c.alternate = true;
      else if (*f == '0') c.zero = true;
      else break;
    }
    if (*f == '*') {
      ++f;
      const int width = va_arg(args.list, int);
      if (width < 0) c.left = true;
      c.width = width < 0 ? 0 - static_cast<uint64_t>(static_cast<int64_t>(width)) : static_cast<uint64_t>(width);
    } else if (!readCount(f, c.width)) {
      return false;
    }
    if (*f == '.') {
      ++f;
      if (*f == '*') {
        ++f;
        const int precision = va_arg(args.list, int);
        c.precision = precision < 0 ? -1 : precision;
      } else {
        uint64_t precision = 0;
        if (!readCount(f, precision)) return false;
        c.precision = static_cast<int>(precision);
      }
    }
    if (*f == '$') return false;
    const Length length = readLength(f);
    const char conversion = *f++;
    switch (conversion) {
      case 'd':
      case 'i': {
        if (c.alternate) return false;
        const int64_t value = signedArg(args, length);
        const uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
        putInteger(sink, c, conversion, value < 0, magnitude);
        break;
      }
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        if (conversion == 'u' && c.alternate) return false;
        c.plus = c.space = false;
        putInteger(sink, c, conversion, false, unsignedArg(args, length));
        break;
      case 'c': {
        if (length != Length::None || c.zero || c.plus || c.space || c.alternate || c.precision >= 0) return false;
        const char ch = static_cast<char>(static_cast<unsigned char>(va_arg(args.list, int)));
        putPadded(sink, c, &ch, 1);
        break;
      }
      case 's': {
        if (length != Length::None || c.zero || c.plus || c.space || c.alternate) return false;
        const char* text = va_arg(args.list, const char*);
        if (text == nullptr) return false;
        const size_t n = c.precision >= 0 ? strnlen(text, static_cast<size_t>(c.precision)) : std::strlen(text);
        putPadded(sink, c, text, n);
        break;
      }
      default:
        return false;
    }
  }
}

}  // namespace

StringBuffer::StringBuffer(std::string_view bytes) : StringBuffer() {
  if (bytes.size() <= kMaxCount) appendBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

bool StringBuffer::appendBytes(const char* p, unsigned int n) {
  if (n == 0) return true;
  if (!ensureRoomKeeping(p, n)) return false;
  putBytes(p, n);
  return true;
}

bool StringBuffer::append(std::string_view bytes) {
  if (bytes.size() > kMaxCount) return false;
  return appendBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

bool StringBuffer::setString(std::string_view bytes) {
  if (bytes.size() > kMaxCount) return false;
  const auto n = static_cast<unsigned int>(bytes.size());
  if (m_data == nullptr) return n == 0;
  // Room is made while the old content still stands, so a failed growth
  // changes nothing; a source inside the content is found again after it.
  const char* source = bytes.data();
  if (n > m_length && !ensureRoomKeeping(source, n - m_length)) return false;
  if (n != 0) std::memmove(m_data, source, n);
  m_length = n;
  m_data[n] = 0;
  m_extendSize = kDefaultExtendSize;
  return true;
}

std::ostream& operator<<(std::ostream& os, const StringBuffer& sb) { return os << sb.view(); }

char* StringBuffer::joinRoom(uint64_t total, bool aliased, StringBuffer& grown) {
  if (total > kMaxCount) return nullptr;
  const auto n = static_cast<unsigned int>(total);
  if (hasRoomFor(n)) return m_data + m_length;
  if (!aliased) return expectNumBytes(n) ? m_data + m_length : nullptr;
  // The pieces must stay readable while they are copied, so the new storage
  // is made beside the old one, with this buffer's reserve and secure flag,
  // and the content copied over; still a single allocation.
  if (uint64_t(m_length) + n > kMaxCount) return nullptr;
  grown.m_secure = m_secure;
  grown.m_extendSize = m_extendSize;
  if (!grown.expectNumBytes(m_length + n)) return nullptr;
  std::memcpy(grown.m_data, m_data, m_length);
  grown.m_length = m_length;
  return grown.m_data + m_length;
}

void StringBuffer::joinDone(char* end, StringBuffer& grown) {
  if (grown.m_heap == nullptr) {
    m_length = static_cast<unsigned int>(end - m_data);
    m_data[m_length] = 0;
    return;
  }
  grown.m_length = static_cast<unsigned int>(end - grown.m_data);
  grown.m_data[grown.m_length] = 0;
  takeSb(grown);
}

bool StringBuffer::join(const StringBufferArray& list, std::string_view separator) {
  const int size = list.getSize();
  // A skipped element is remembered with a null data pointer, which no
  // live buffer's view has. Plain pairs, so the array costs nothing to set up.
  struct Bytes {
    const char* data;
    size_t size;
  };
  Bytes remembered[kRememberedElements];
  uint64_t total = 0;
  uint64_t count = 0;
  bool aliased = storageRange().holds(separator);
  for (int i = 0; i < size; ++i) {
    const StringBuffer* sb = elementOf(list, i);
    aliased |= sb == this;
    const std::string_view v = sb != nullptr ? sb->view() : std::string_view();
    if (i < kRememberedElements) remembered[i] = {v.data(), v.size()};
    if (v.data() != nullptr) {
      total += v.size();
      ++count;
    }
  }
  if (count > 1) total += (count - 1) * separator.size();
  // Note: this buffer may be one of the elements. Its remembered bytes stay
  // valid because a growth then goes through `grown` and leaves the old
  // storage alone until the end; without growth they are read from the front
  // of the storage while the joined text is written behind them. Either way
  // it joins as it was.
  StringBuffer grown;
  char* w = joinRoom(total, aliased, grown);
  if (w == nullptr) return false;
  bool first = true;
  for (int i = 0; i < size; ++i) {
    std::string_view v;
    if (i < kRememberedElements) {
      v = std::string_view(remembered[i].data, remembered[i].size);
    } else if (const StringBuffer* sb = elementOf(list, i)) {
      v = sb->view();
    }
    if (v.data() == nullptr) continue;
    if (!first) w = putPiece(w, separator);
    first = false;
    w = putPiece(w, v);
  }
  joinDone(w, grown);
  return true;
}

bool StringBuffer::appendFormat(const char* format, ...) {
  if (format == nullptr) return true;
  if (m_data == nullptr) return false;
  // Three copies of the arguments: one per formatting pass (into the spare
  // room, then after growth), and one in reserve for vsnprintf's own two
  // passes should the common formatter step aside.
  FormatArgs first, second, third;
  va_start(first.list, format);
  va_copy(second.list, first.list);
  va_copy(third.list, first.list);
  const size_t room = (m_heap != nullptr ? m_capacity : kInlineSize) - m_length;
  FormatSink sink(m_data + m_length, room - 1);
  bool ok;
  if (formatCommon(sink, format, first)) {
    const uint64_t n = sink.size();
    ok = n <= INT32_MAX;  // what vsnprintf could report
    if (ok && n > room - 1) {
      // The text did not fit: what went into the old room is wiped before
      // growth frees it when the buffer is secure; then storage grows once,
      // to the exact size, and the text is formatted again there.
      if (m_secure) std::memset(m_data + m_length, 0, room);
      ok = expectNumBytes(static_cast<unsigned int>(n));
      if (ok) {
        FormatSink exact(m_data + m_length, n);
        formatCommon(exact, format, second);
      }
    }
    if (ok) {
      m_length += static_cast<unsigned int>(n);
    } else if (m_secure) {
      std::memset(m_data + m_length, 0, room);
    }
    m_data[m_length] = 0;
  } else {
    ok = formatWithLibrary(format, second.list, third.list);
  }
  va_end(third.list);
  va_end(second.list);
  va_end(first.list);
  return ok;
}

bool StringBuffer::formatWithLibrary(const char* format, va_list first, va_list again) {
  char* const start = m_data + m_length;
  size_t room = (m_heap != nullptr ? m_capacity : kInlineSize) - m_length;
  const int n = std::vsnprintf(start, room, format, first);
  bool ok = n >= 0;
  if (ok && static_cast<size_t>(n) >= room) {
    if (m_secure) std::memset(start, 0, room);
    ok = expectNumBytes(static_cast<unsigned int>(n));
    if (ok) {
      room = static_cast<size_t>(n) + 1;
      ok = std::vsnprintf(m_data + m_length, room, format, again) == n;
    }
  }
  if (!ok) {
    // vsnprintf may have written before it failed: the bytes behind the
    // content are not content, but the terminator must come back.
    if (m_secure) std::memset(m_data + m_length, 0, room);
    m_data[m_length] = 0;
    return false;
  }
  m_length += static_cast<unsigned int>(n);
  return true;
}
