// Loading a 100 MiB file whole: loadFileUtf8 reads straight into the
// buffer's one allocation; the usual C++ idiom reads through a stream into
// a string sized up front.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "core/StringBuffer.h"

namespace {

constexpr size_t kFileSize = size_t(100) << 20;

// Written once, on first use, and removed when the process ends.
class SampleFile {
 public:
  const std::string& path() {
    if (m_path.empty()) {
      char name[] = "/tmp/sb_load_bench_XXXXXX";
      const int fd = mkstemp(name);
      if (fd < 0) std::abort();
      std::string block(1 << 20, 0);
      for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>('a' + i % 26);
      for (size_t done = 0; done < kFileSize; done += block.size())
        if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) std::abort();
      close(fd);
      m_path = name;
    }
    return m_path;
  }
  ~SampleFile() {
    if (!m_path.empty()) std::remove(m_path.c_str());
  }

 private:
  std::string m_path;
};
SampleFile gSample;

void BM_LoadOurs(benchmark::State& state) {
  const std::string& path = gSample.path();
  for (auto _ : state) {
    StringBuffer sb;
    if (!sb.loadFileUtf8(path.c_str(), nullptr) || sb.getSize() != kFileSize) std::abort();
    benchmark::DoNotOptimize(sb.getString());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kFileSize));
}
BENCHMARK(BM_LoadOurs)->Name("file_load/ours/100MiB")->Unit(benchmark::kMillisecond);

void BM_LoadIfstream(benchmark::State& state) {
  const std::string& path = gSample.path();
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    std::string s(static_cast<size_t>(in.tellg()), '\0');
    in.seekg(0);
    in.read(&s[0], static_cast<std::streamsize>(s.size()));
    if (s.size() != kFileSize) std::abort();
    benchmark::DoNotOptimize(s.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kFileSize));
}
BENCHMARK(BM_LoadIfstream)->Name("file_load/ifstream/100MiB")->Unit(benchmark::kMillisecond);

}  // namespace
