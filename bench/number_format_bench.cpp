// Decimal formatting, hex dumps, hex decoding and decimal parsing beside the
// peers. Formatting rows count the bytes written, the others the bytes read.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench_common.h"
#include "core/StringBuffer.h"
#include "lib/DataBuffer.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/escaping.h>
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#endif
#ifdef SB_HAVE_BOOST
#include <boost/algorithm/hex.hpp>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#endif

namespace {

using namespace sbbench;

// Integers of every width and both signs whose decimal text adds up to
// about n bytes.
std::vector<int> numbersFor(size_t n, size_t& textBytes) {
  std::vector<int> v;
  textBytes = 0;
  for (unsigned i = 0; textBytes < n; ++i) {
    const int x = int((i * 2654435761u) >> (i % 31)) * ((i & 1) != 0 ? -1 : 1);
    v.push_back(x);
    textBytes += std::to_string(x).size();
  }
  return v;
}

void addFormat(size_t n) {
  size_t bytes = 0;
  const std::vector<int> values = numbersFor(n, bytes);
  std::string expected;
  for (int v : values) expected += std::to_string(v);
  add("number_format", "ours", n, [values, expected](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      for (int v : values) sb.append(v);
      benchmark::DoNotOptimize(sb.getString());
    }
    expectSame("number_format", expected == sb.getString());
  }, bytes);
  add("number_format", "std", n, [values](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      for (int v : values) {
        char buf[16];
        const auto r = std::to_chars(buf, buf + sizeof buf, v);
        s.append(buf, r.ptr);
      }
      benchmark::DoNotOptimize(s.data());
    }
  }, bytes);
#ifdef SB_HAVE_ABSL
  add("number_format", "absl", n, [values](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      for (int v : values) absl::StrAppend(&s, v);
      benchmark::DoNotOptimize(s.data());
    }
  }, bytes);
#endif
#ifdef SB_HAVE_QT
  add("number_format", "qt", n, [values](benchmark::State& st) {
    QByteArray s;
    for (auto _ : st) {
      s.clear();
      for (int v : values) s.append(QByteArray::number(v));
      benchmark::DoNotOptimize(s.data());
    }
  }, bytes);
#endif
}

void addParse(size_t n) {
  size_t bytes = 0;
  const std::vector<int> values = numbersFor(n, bytes);
  auto texts = std::make_shared<std::vector<std::string>>();
  auto buffers = std::make_shared<std::vector<StringBuffer>>(values.size());
  for (size_t i = 0; i < values.size(); ++i) {
    texts->push_back(std::to_string(values[i]));
    (*buffers)[i].append(texts->back().c_str());
    expectSame("number_parse", (*buffers)[i].intValue() == values[i]);
  }
  add("number_parse", "ours", n, [buffers](benchmark::State& st) {
    for (auto _ : st) {
      long sum = 0;
      for (const StringBuffer& b : *buffers) sum += b.intValue();
      benchmark::DoNotOptimize(sum);
    }
  }, bytes);
  add("number_parse", "std", n, [texts](benchmark::State& st) {
    for (auto _ : st) {
      long sum = 0;
      for (const std::string& t : *texts) {
        int v = 0;
        std::from_chars(t.data(), t.data() + t.size(), v);
        sum += v;
      }
      benchmark::DoNotOptimize(sum);
    }
  }, bytes);
  add("number_parse", "libc", n, [texts](benchmark::State& st) {
    for (auto _ : st) {
      long sum = 0;
      for (const std::string& t : *texts) sum += std::strtol(t.c_str(), nullptr, 10);
      benchmark::DoNotOptimize(sum);
    }
  }, bytes);
#ifdef SB_HAVE_ABSL
  add("number_parse", "absl", n, [texts](benchmark::State& st) {
    for (auto _ : st) {
      long sum = 0;
      for (const std::string& t : *texts) {
        int v = 0;
        (void)absl::SimpleAtoi(t, &v);
        sum += v;
      }
      benchmark::DoNotOptimize(sum);
    }
  }, bytes);
#endif
#ifdef SB_HAVE_QT
  add("number_parse", "qt", n, [texts](benchmark::State& st) {
    std::vector<QByteArray> qs;
    for (const std::string& t : *texts) qs.push_back(QByteArray::fromStdString(t));
    for (auto _ : st) {
      long sum = 0;
      for (const QByteArray& t : qs) sum += t.toInt();
      benchmark::DoNotOptimize(sum);
    }
  }, bytes);
#endif
}

std::string upper(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  return s;
}

// The peers of both dump families: plain hex of the whole input.
void addHexPeers(const std::string& family, size_t n, const std::string& data) {
#ifdef SB_HAVE_ABSL
  add(family, "absl", n, [data](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(absl::BytesToHexString(data));
  });
#endif
#ifdef SB_HAVE_BOOST
  add(family, "boost", n, [data](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      boost::algorithm::hex(data, std::back_inserter(s));
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add(family, "qt", n, [data](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(data);
    for (auto _ : st) benchmark::DoNotOptimize(source.toHex());
  });
#endif
  (void)family;
  (void)n;
  (void)data;
}

void addHexDump(size_t n) {
  const std::string data = binary(n);
  const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
  add("hex_dump", "ours", n, [data, bytes](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      benchmark::DoNotOptimize(sb.appendHexData(bytes, unsigned(data.size())));
    }
  });
  addHexPeers("hex_dump", n, data);
  {
    StringBuffer sb;
    sb.appendHexDataNoWS(bytes, unsigned(data.size()), false);
#ifdef SB_HAVE_ABSL
    expectSame("hex_nows", upper(absl::BytesToHexString(data)) == sb.getString());
#endif
  }
  add("hex_nows", "ours", n, [data, bytes](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      benchmark::DoNotOptimize(sb.appendHexDataNoWS(bytes, unsigned(data.size()), false));
    }
  });
  addHexPeers("hex_nows", n, data);
}

void addHexDecode(size_t n) {
  const std::string data = binary(n / 2);
  StringBuffer hexText;
  hexText.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(data.data()), unsigned(data.size()), false);
  const std::string text = hexText.getString();
  {
    DataBuffer out;
    StringBuffer::hexStringToBinary2(text.c_str(), unsigned(text.size()), out);
    expectSame("hex_decode", std::string(reinterpret_cast<const char*>(out.getData2()), out.getSize()) == data);
  }
  add("hex_decode", "ours", n, [text](benchmark::State& st) {
    DataBuffer out;
    for (auto _ : st) {
      out.clear();
      benchmark::DoNotOptimize(StringBuffer::hexStringToBinary2(text.c_str(), unsigned(text.size()), out));
    }
  });
#ifdef SB_HAVE_ABSL
  expectSame("hex_decode absl", absl::HexStringToBytes(text) == data);
  add("hex_decode", "absl", n, [text](benchmark::State& st) {
    for (auto _ : st) benchmark::DoNotOptimize(absl::HexStringToBytes(text));
  });
#endif
#ifdef SB_HAVE_BOOST
  add("hex_decode", "boost", n, [text](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      s.clear();
      boost::algorithm::unhex(text, std::back_inserter(s));
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add("hex_decode", "qt", n, [text](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(text);
    for (auto _ : st) benchmark::DoNotOptimize(QByteArray::fromHex(source));
  });
#endif
}

const bool registered = [] {
  for (size_t n : kSizes) {
    addFormat(n);
    addParse(n);
    addHexDump(n);
    addHexDecode(n);
  }
  return true;
}();

}  // namespace
