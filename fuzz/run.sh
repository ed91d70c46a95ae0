#!/usr/bin/env bash
# Builds the libFuzzer driver (preset `fuzz`) and runs every operation group
# for SECONDS seconds each (default 10), starting from fuzz/corpus/<group>.
# New inputs go to build/fuzz/corpus/<group>, crashes to build/fuzz/crash-*.
#   fuzz/run.sh [seconds] [group...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-10}
shift || true
groups=("$@")
[ ${#groups[@]} -eq 0 ] && groups=(fields split tokens replace extract append numbers codecs wildcard
                                  json xml canon codepages decoding subst links layout protect)

if ! command -v clang++ >/dev/null; then
  echo "fuzz: skipped, clang++ is not installed"; exit 0
fi
if ! echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
     clang++ -x c++ -fsanitize=fuzzer - -o /dev/null 2>/dev/null; then
  if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null &&
     { apt-get install -y -qq libclang-rt-14-dev || { apt-get update -qq && apt-get install -y -qq libclang-rt-14-dev; }; } \
       >/dev/null 2>&1; then
    echo "fuzz: installed the libFuzzer runtime (libclang-rt-14-dev)"
  else
    echo "fuzz: skipped, the libFuzzer runtime is missing (Debian: apt-get install libclang-rt-14-dev)"; exit 0
  fi
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for g in "${groups[@]}"; do
  mkdir -p "build/fuzz/corpus/$g"
  echo "== fuzz $g (${seconds}s)"
  log=build/fuzz/fuzz-$g.log
  if ! SB_FUZZ_GROUP=$g build/fuzz/fuzz/stringbuffer_fuzz -max_total_time="$seconds" -max_len=1024 \
       -print_final_stats=1 -artifact_prefix="build/fuzz/crash-$g-" "build/fuzz/corpus/$g" "fuzz/corpus/$g" >"$log" 2>&1; then
    grep -v "^INFO\|^#\|^NOTE" "$log" | head -40
    echo "fuzz: $g failed; reproduce with SB_FUZZ_GROUP=$g build/fuzz/fuzz/stringbuffer_fuzz build/fuzz/crash-$g-*"
    exit 1
  fi
  grep -E "stat::number_of_executed_units" "$log"
done
