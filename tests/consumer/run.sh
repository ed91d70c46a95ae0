#!/usr/bin/env bash
# Builds and runs the consumer project the ways a user would: through
# add_subdirectory, then installed and found with find_package and with
# pkg-config, and finally from the Debian package (installed with dpkg when
# this runs as root, removed again afterwards).
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

pc_dir=$(dirname "$(find "$work/prefix" -name stringbuffer.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs stringbuffer)
# shellcheck disable=SC2086
c++ "$root/tests/consumer/main.cpp" -o "$work/consumer-pc" $flags
"$work/consumer-pc"
echo "consumer: add_subdirectory, find_package and pkg-config all build and run"

(cd "$work/lib" && cpack -G DEB >/dev/null)
deb=$(ls "$work"/lib/*.deb)
dpkg-deb --info "$deb" >/dev/null
if [ "$(id -u)" = 0 ] && command -v dpkg >/dev/null; then
  dpkg -i "$deb" >/dev/null
  trap 'dpkg -r stringbuffer-dev >/dev/null' EXIT
  c++ "$root/tests/consumer/main.cpp" -o "$work/consumer-deb" $(pkg-config --cflags --libs stringbuffer)
  "$work/consumer-deb"
  cmake -S "$root/tests/consumer" -B "$work/deb" -G Ninja -DCONSUMER_USE_FIND_PACKAGE=ON
  cmake --build "$work/deb"
  "$work/deb/consumer"
  echo "consumer: the Debian package installs with dpkg -i and serves both pkg-config and find_package"
else
  echo "consumer: Debian package built ($(basename "$deb")); not root, so dpkg -i was not tried"
fi
