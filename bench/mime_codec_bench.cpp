// Base64 encoding beside the peers' encoders.
#include <sstream>
#include <string>

#include "bench_common.h"
#include "core/StringBuffer.h"
#include "lib/MimeCodec.h"

#ifdef SB_HAVE_ABSL
#include <absl/strings/escaping.h>
#endif
#ifdef SB_HAVE_QT
#include <QByteArray>
#endif
#ifdef SB_HAVE_POCO
#include <Poco/Base64Encoder.h>
#endif

namespace {

using namespace sbbench;

void addBase64(size_t n) {
  const std::string data = binary(n);
  add("base64_encode", "ours", n, [data](benchmark::State& st) {
    StringBuffer sb;
    for (auto _ : st) {
      sb.weakClear();
      benchmark::DoNotOptimize(MimeCodec::encodeBase64(data.data(), unsigned(data.size()), sb));
    }
  });
#ifdef SB_HAVE_ABSL
  {
    StringBuffer sb;
    MimeCodec::encodeBase64(data.data(), unsigned(data.size()), sb);
    expectSame("base64_encode", absl::Base64Escape(data) == sb.getString());
  }
  add("base64_encode", "absl", n, [data](benchmark::State& st) {
    std::string s;
    for (auto _ : st) {
      absl::Base64Escape(data, &s);
      benchmark::DoNotOptimize(s.data());
    }
  });
#endif
#ifdef SB_HAVE_QT
  add("base64_encode", "qt", n, [data](benchmark::State& st) {
    const QByteArray source = QByteArray::fromStdString(data);
    for (auto _ : st) benchmark::DoNotOptimize(source.toBase64());
  });
#endif
#ifdef SB_HAVE_POCO
  add("base64_encode", "poco", n, [data](benchmark::State& st) {
    for (auto _ : st) {
      std::ostringstream os;
      Poco::Base64Encoder enc(os);
      enc.rdbuf()->setLineLength(0);
      enc << data;
      enc.close();
      benchmark::DoNotOptimize(os.str());
    }
  });
#endif
}

const bool registered = [] {
  for (size_t n : kSizes) addBase64(n);
  return true;
}();

}  // namespace
