// sbtool: the class's text transforms for a shell user. It reads standard
// input (or the file named by --in), applies one named operation and writes
// standard output. Input is read once, straight into one buffer.
//
//   sbtool OPERATION [options]      sbtool --help      sbtool OPERATION --help
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"
#include "lib/LogBase.h"
#include "lib/StringBufferArray.h"
#include "lib/_tvEncodingConvert.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // the operation said no (invalid UTF-8, malformed input)
constexpr int kExitUsage = 2;   // bad options or unreadable input

// ---- Options ----

struct Options {
  std::vector<std::pair<std::string, std::string>> values;  // --name value
  std::vector<std::string> flags;                             // --name

  bool has(const char* name) const {
    for (const std::string& f : flags)
      if (f == name) return true;
    return false;
  }
  const char* get(const char* name) const {
    for (const auto& v : values)
      if (v.first == name) return v.second.c_str();
    return nullptr;
  }
};

struct Operation;
using Runner = int (*)(const Operation& op, const Options& opts, StringBuffer& in, StringBuffer& out);

struct Operation {
  const char* name;
  const char* summary;
  const char* usage;          // the options line of `sbtool NAME --help`
  const char* valueOptions;   // space-separated names of options that take a value
  const char* flagOptions;    // space-separated names of options that take none
  Runner run;
};

[[noreturn]] void fail(int status, const char* fmt, const char* a = "", const char* b = "") {
  std::fprintf(stderr, "sbtool: ");
  std::fprintf(stderr, fmt, a, b);
  std::fputc('\n', stderr);
  std::exit(status);
}

bool listed(const char* list, const std::string& name) {
  const std::string padded = std::string(" ") + list + " ";
  return padded.find(" " + name + " ") != std::string::npos;
}

// A whole number option within [lo, hi]; dflt when absent.
long numberOption(const Options& opts, const char* name, long dflt, long lo, long hi) {
  const char* v = opts.get(name);
  if (v == nullptr) return dflt;
  char* end = nullptr;
  errno = 0;
  const long n = std::strtol(v, &end, 10);
  if (*v == '\0' || *end != '\0' || errno != 0 || n < lo || n > hi)
    fail(kExitUsage, "--%s needs a whole number in range, not \"%s\"", name, v);
  return n;
}

// A one-byte option such as a delimiter; "\t" and "tab" name the TAB.
char byteOption(const Options& opts, const char* name, char dflt) {
  const char* v = opts.get(name);
  if (v == nullptr) return dflt;
  if (std::strcmp(v, "\\t") == 0 || std::strcmp(v, "tab") == 0) return '\t';
  if (std::strlen(v) != 1) fail(kExitUsage, "--%s needs exactly one byte, not \"%s\"", name, v);
  return v[0];
}

// ---- Input and output ----

// Reads the whole descriptor in large chunks into a byte buffer (zero bytes
// kept), which the StringBuffer then takes over without a copy.
bool readAll(int fd, StringBuffer& sb) {
  DataBuffer bytes;
  static char chunk[1 << 16];
  for (;;) {
    const ssize_t got = ::read(fd, chunk, sizeof chunk);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (got == 0) break;
    if (!bytes.append(chunk, static_cast<unsigned int>(got))) return false;
  }
  // The taken block's last byte becomes the terminating zero.
  return bytes.appendChar(0) && sb.takeFromDb(bytes);
}

bool writeAll(const char* p, size_t n) {
  while (n > 0) {
    const ssize_t put = ::write(STDOUT_FILENO, p, n);
    if (put < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

// ---- Operations ----

// The bytes of a DataBuffer become out's content, zero bytes included.
void writeBytes(DataBuffer& bytes, StringBuffer& out) {
  if (bytes.getSize() == 0) return;
  if (!bytes.appendChar(0) || !out.takeFromDb(bytes)) fail(kExitFailed, "out of memory");
}

int runJsonEscape(const Operation&, const Options&, StringBuffer& in, StringBuffer& out) {
  if (!in.jsonEscape()) fail(kExitFailed, "out of memory");
  out.takeSb(in);
  return kExitOk;
}

int runJsonDecode(const Operation&, const Options&, StringBuffer& in, StringBuffer& out) {
  if (!StringBuffer::jsonDecode(in.getString(), in.getSize(), out)) fail(kExitFailed, "out of memory");
  return kExitOk;
}

int runXmlEscape(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  if (opts.has("text-only")) {
    if (!out.appendAndXmlEntityEncode(in.getString(), in.getSize())) fail(kExitFailed, "out of memory");
  } else {
    out.appendXmlNoCdataN(in.getString(), in.getSize());
  }
  return kExitOk;
}

int runXmlDecode(const Operation&, const Options&, StringBuffer& in, StringBuffer& out) {
  in.decodePreDefinedXmlEntities(0);
  out.takeSb(in);
  return kExitOk;
}

int runCanonicalize(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const char* form = opts.get("form");
  if (form == nullptr) fail(kExitUsage, "canonicalize needs --form (see sbtool canonicalize --help)");
  LogNull log;
  if (opts.has("no-encode-percent")) log.optionKeywords.append("NoUrlEncodePercent");
  if (opts.has("always-encode-percent")) log.optionKeywords.append("AlwaysUrlEncodePercent");
  const std::string f = form;
  bool ok;
  if (f == "aws-uri") ok = in.awsNormalizeUriUtf8(log);
  else if (f == "aws-query-part") ok = in.awsNormalizeQueryStringPart(opts.has("keep-slash"), log);
  else if (f == "aws-query") ok = in.awsNormalizeQueryParams();
  else if (f == "path") ok = in.nonAwsNormalizePath();
  else if (f == "mws") ok = in.mwsNormalizeQueryParams();
  else if (f == "query-value") ok = in.nonAwsNormalizeQueryParamValue(log);
  else if (f == "query") ok = in.nonAwsNormalizeAllQueryParams();
  else fail(kExitUsage, "unknown --form \"%s\"", form);
  if (!ok) fail(kExitFailed, "out of memory");
  out.takeSb(in);
  return kExitOk;
}

// Converts with the code-page layer directly rather than through
// convertEncoding, whose counted append would drop a zero byte that ends the
// output (the last byte of UTF-16 "A" is one).
int runConvert(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const long from = numberOption(opts, "from", 0, 1, 65535);
  const long to = numberOption(opts, "to", 0, 1, 65535);
  if (from == 0 || to == 0) fail(kExitUsage, "convert needs --from and --to code-page numbers");
  if (!_tvEncodingConvert::isKnownCodePage(static_cast<int>(from)) ||
      !_tvEncodingConvert::isKnownCodePage(static_cast<int>(to)))
    fail(kExitUsage, "unknown code page (see the list in lib/_tvEncodingConvert.h)");
  LogNull log;
  DataBuffer converted;
  _tvEncodingConvert converter;
  const bool exact = converter.EncConvert(static_cast<int>(from), static_cast<int>(to),
                                          reinterpret_cast<const unsigned char*>(in.getString()), in.getSize(),
                                          converted, log);
  writeBytes(converted, out);
  if (!exact) std::fprintf(stderr, "sbtool: some characters could not be converted exactly\n");
  return exact ? kExitOk : kExitFailed;
}

int runDecodeWords(const Operation&, const Options&, StringBuffer& in, StringBuffer& out) {
  LogNull log;
  in.qbDecode(log);
  out.takeSb(in);
  return kExitOk;
}

// Splits the input into records, one a line; returns how many there are (a
// final line ending leaves an empty last piece that is no record).
int splitRecords(StringBuffer& in, bool quotes, bool escapes, StringBufferArray& lines) {
  if (!in.splitByLineEndings(lines, quotes, escapes)) fail(kExitFailed, "out of memory");
  int n = lines.getSize();
  if (n > 0 && lines.sbAt(n - 1)->getSize() == 0) --n;
  return n;
}

struct FieldMode {
  char delimiter;
  bool quotes;
  bool escapes;
};

FieldMode fieldMode(const Options& opts) {
  return {byteOption(opts, "delim", ','), opts.has("quotes"), opts.has("escapes")};
}

// The field operations work record by record: one record a line.
int runField(const Operation& op, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const FieldMode m = fieldMode(opts);
  const std::string name = op.name;
  const long index = numberOption(opts, "index", -1, 0, 1L << 30);
  if ((name == "field-get" || name == "field-set") && index < 0) fail(kExitUsage, "%s needs --index N", op.name);
  const char* value = opts.get("value");
  if (name == "field-set" && value == nullptr) fail(kExitUsage, "field-set needs --value TEXT");
  StringBuffer valueSb(value);

  StringBufferArray lines;
  const int n = splitRecords(in, m.quotes, m.escapes, lines);
  StringBuffer field;
  for (int i = 0; i < n; ++i) {
    StringBuffer* line = lines.sbAt(i);
    if (name == "field-get") {
      line->getNthDelimited(static_cast<unsigned int>(index), m.delimiter, m.quotes, m.escapes, field);
      out.append(field);
    } else if (name == "field-set") {
      line->setNthDelimited(static_cast<unsigned int>(index), m.delimiter, m.quotes, m.escapes, valueSb);
      out.append(*line);
    } else {
      out.appendInt64(line->countColumns(m.delimiter, m.quotes, m.escapes));
    }
    out.appendChar('\n');
  }
  return kExitOk;
}

int runChangeDelimiter(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const char from = byteOption(opts, "from", 0);
  const char to = byteOption(opts, "to", 0);
  if (from == 0 || to == 0) fail(kExitUsage, "change-delim needs --from BYTE and --to BYTE");
  const bool quotes = opts.has("quotes"), escapes = opts.has("escapes");
  StringBufferArray lines;
  const int n = splitRecords(in, quotes, escapes, lines);
  for (int i = 0; i < n; ++i) {
    StringBuffer* line = lines.sbAt(i);
    line->changeDelimiter(from, to, quotes, escapes);
    out.append(*line);
    out.appendChar('\n');
  }
  return kExitOk;
}

int runLines(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  StringBufferArray lines;
  if (!in.splitByLineEndings(lines, opts.has("quotes"), opts.has("escapes"))) fail(kExitFailed, "out of memory");
  const bool numbered = opts.has("number");
  for (int i = 0; i < lines.getSize(); ++i) {
    if (numbered) {
      out.appendInt64(i + 1);
      out.appendChar('\t');
    }
    out.append(*lines.sbAt(i));
    out.appendChar('\n');
  }
  return kExitOk;
}

int runLineEndings(const Operation& op, const Options&, StringBuffer& in, StringBuffer& out) {
  if (std::strcmp(op.name, "crlf") == 0) in.toCRLF();
  else in.toLF();
  out.takeSb(in);
  return kExitOk;
}

// One word a line, each inflected on its own; line endings are kept as LF.
int runInflect(const Operation& op, const Options&, StringBuffer& in, StringBuffer& out) {
  const bool plural = std::strcmp(op.name, "pluralize") == 0;
  StringBufferArray lines;
  const int n = splitRecords(in, false, false, lines);
  for (int i = 0; i < n; ++i) {
    StringBuffer* word = lines.sbAt(i);
    if (plural) word->pluralize();
    else word->unpluralize();
    out.append(*word);
    out.appendChar('\n');
  }
  return kExitOk;
}

int runObfuscate(const Operation& op, const Options&, StringBuffer& in, StringBuffer& out) {
  if (std::strcmp(op.name, "obfuscate") == 0) {
    in.obfus();
  } else {
    in.trim2();  // a restored text arrives from a shell with a line ending behind it
    in.unobfus();
  }
  out.takeSb(in);
  return kExitOk;
}

int runRedact(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  LogNull log;
  if (opts.has("all")) StringBuffer::redactAllHeaderValues(in, log);
  else StringBuffer::redactHeaderValues(in, log);
  out.takeSb(in);
  return kExitOk;
}

int runHex(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const auto* data = reinterpret_cast<const unsigned char*>(in.getString());
  if (opts.has("decode")) {
    DataBuffer bytes;
    LogNull log;
    if (!in.decode("hex", bytes, log)) fail(kExitFailed, "input is not hexadecimal text");
    if (!out.takeFromDb(bytes)) fail(kExitFailed, "out of memory");  // decode put the zero byte behind
    return kExitOk;
  }
  const bool ok = opts.has("compact") ? out.appendHexDataNoWS(data, in.getSize(), false)
                                      : out.appendHexData(data, in.getSize());
  if (!ok) fail(kExitFailed, "out of memory");
  if (out.getSize() > 0 && out.lastChar() != '\n') out.appendChar('\n');
  return kExitOk;
}

int runBase64(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  if (opts.has("decode")) {
    DataBuffer bytes;
    LogNull log;
    if (!in.decode("base64", bytes, log)) fail(kExitFailed, "input is not Base64 text");
    if (!out.takeFromDb(bytes)) fail(kExitFailed, "out of memory");  // decode put the zero byte behind
    return kExitOk;
  }
  if (!out.appendBase64(reinterpret_cast<const unsigned char*>(in.getString()), in.getSize()))
    fail(kExitFailed, "out of memory");
  out.appendChar('\n');
  return kExitOk;
}

int runValidateUtf8(const Operation&, const Options& opts, StringBuffer& in, StringBuffer& out) {
  const bool valid = in.isValidUtf8();
  if (!opts.has("quiet")) out.append(valid ? "valid\n" : "invalid\n");
  return valid ? kExitOk : kExitFailed;
}

constexpr const char* kFieldUsage =
    "--index N (0-based)  --delim BYTE (default \",\"; \"tab\" for TAB)  --quotes  --escapes";

const Operation kOperations[] = {
    {"json-escape", "escape text for use inside a JSON string", "", "", "", runJsonEscape},
    {"json-decode", "decode the content of a JSON string (\\n, \\u00e9, surrogate pairs)", "", "", "",
     runJsonDecode},
    {"xml-escape", "escape text for XML: & < > \" ' (or only & < > with --text-only)", "--text-only", "",
     "text-only", runXmlEscape},
    {"xml-decode", "decode the five predefined XML entities", "", "", "", runXmlDecode},
    {"canonicalize", "percent-encode a path or query for request signing",
     "--form aws-uri|aws-query-part|aws-query|path|mws|query-value|query  --keep-slash (aws-query-part)  "
     "--no-encode-percent | --always-encode-percent (aws-uri)",
     "form", "keep-slash no-encode-percent always-encode-percent", runCanonicalize},
    {"convert", "convert between code pages (exit 1 when a character had no exact match)",
     "--from CODEPAGE --to CODEPAGE   e.g. --from 1252 --to 65001", "from to", "", runConvert},
    {"decode-words", "decode MIME encoded words (=?utf-8?B?...?=) to UTF-8", "", "", "", runDecodeWords},
    {"field-get", "print field N of every record (one record a line)", kFieldUsage, "index delim",
     "quotes escapes", runField},
    {"field-set", "replace field N of every record with --value", "--value TEXT", "index delim value",
     "quotes escapes", runField},
    {"field-count", "print the number of fields of every record", kFieldUsage, "delim", "quotes escapes",
     runField},
    {"change-delim", "change the field delimiter of every record, quoting fields as needed",
     "--from BYTE --to BYTE  --quotes  --escapes", "from to", "quotes escapes", runChangeDelimiter},
    {"lines", "split into lines (CR LF, CR or LF) and print one a line", "--number  --quotes  --escapes", "",
     "number quotes escapes", runLines},
    {"crlf", "make every line ending CR LF", "", "", "", runLineEndings},
    {"lf", "turn every CR LF into LF", "", "", "", runLineEndings},
    {"pluralize", "pluralize one English word a line", "", "", "", runInflect},
    {"singularize", "singularize one English word a line", "", "", "", runInflect},
    {"obfuscate", "turn text into its printable obfuscated form", "", "", "", runObfuscate},
    {"restore", "undo obfuscate", "", "", "", runObfuscate},
    {"redact", "mask credential header values (--all: every occurrence, any case, CR LF or LF)", "--all", "",
     "all", runRedact},
    {"hex", "hex dump in lines of 16 bytes (--compact: one line, --decode: back to bytes)",
     "--compact | --decode", "", "compact decode", runHex},
    {"base64", "Base64-encode (or --decode)", "--decode", "", "decode", runBase64},
    {"validate-utf8", "exit 0 when the input is well-formed UTF-8, 1 when not", "--quiet", "", "quiet",
     runValidateUtf8},
};

void printHelp() {
  std::printf(
      "usage: sbtool OPERATION [options] [--in FILE]\n"
      "Reads standard input (or FILE), applies OPERATION, writes standard output.\n"
      "Exit status: 0 done, 1 the operation failed on this input, 2 bad options or unreadable input.\n\n"
      "operations:\n");
  for (const Operation& op : kOperations) std::printf("  %-14s %s\n", op.name, op.summary);
  std::printf("\n`sbtool OPERATION --help` shows the options of one operation.\n");
}

void printOperationHelp(const Operation& op) {
  std::printf("usage: sbtool %s %s%s[--in FILE]\n%s\n", op.name, op.usage, *op.usage ? "  " : "", op.summary);
  if (op.run == runField && std::strcmp(op.name, "field-set") == 0) std::printf("options also: %s\n", kFieldUsage);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) fail(kExitUsage, "no operation given; try sbtool --help");
  const std::string first = argv[1];
  if (first == "--help" || first == "-h" || first == "help") {
    printHelp();
    return kExitOk;
  }
  const Operation* op = nullptr;
  for (const Operation& o : kOperations)
    if (first == o.name) op = &o;
  if (op == nullptr) fail(kExitUsage, "unknown operation \"%s\"; try sbtool --help", argv[1]);

  Options opts;
  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--help" || a == "-h") {
      printOperationHelp(*op);
      return kExitOk;
    }
    if (a.size() < 3 || a.compare(0, 2, "--") != 0) fail(kExitUsage, "unexpected argument \"%s\"", argv[i]);
    const std::string name = a.substr(2);
    if (name == "in" || listed(op->valueOptions, name)) {
      if (i + 1 >= argc) fail(kExitUsage, "--%s needs a value", name.c_str());
      opts.values.emplace_back(name, argv[++i]);
    } else if (listed(op->flagOptions, name)) {
      opts.flags.push_back(name);
    } else {
      fail(kExitUsage, "%s does not take --%s", op->name, name.c_str());
    }
  }

  int fd = STDIN_FILENO;
  const char* path = opts.get("in");
  if (path != nullptr) {
    fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) fail(kExitUsage, "cannot read %s: %s", path, std::strerror(errno));
  }
  StringBuffer in;
  if (!readAll(fd, in)) fail(kExitUsage, "cannot read %s: %s", path ? path : "standard input", std::strerror(errno));
  if (fd != STDIN_FILENO) ::close(fd);

  StringBuffer out;
  const int status = op->run(*op, opts, in, out);
  if (!writeAll(out.getString(), out.getSize())) fail(kExitUsage, "cannot write standard output: %s", std::strerror(errno));
  return status;
}
