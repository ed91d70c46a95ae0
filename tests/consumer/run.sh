#!/usr/bin/env bash
# Builds and runs the consumer project through add_subdirectory, then
# installs the library and builds it again through find_package.
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
work="$root/build/consumer"
rm -rf "$work"

cmake -S "$root/tests/consumer" -B "$work/subdir" -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build "$work/subdir"
"$work/subdir/consumer"

cmake -S "$root" -B "$work/lib" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/prefix" \
  -DSTRINGBUFFER_BUILD_TESTS=OFF -DSTRINGBUFFER_BUILD_BENCHMARKS=OFF -DSTRINGBUFFER_BUILD_EXAMPLES=OFF
cmake --build "$work/lib" --target install
cmake -S "$root/tests/consumer" -B "$work/package" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCONSUMER_USE_FIND_PACKAGE=ON -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/package"
"$work/package/consumer"
echo "consumer: add_subdirectory and find_package both build and run"
