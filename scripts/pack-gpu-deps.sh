#!/usr/bin/env bash
# Copies what the GPU machine lacks (GoogleTest and Eigen from Debian) into
# .deps/, an ignored folder that the device tool carries along.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
deps="$root/.deps/usr"
rm -rf "$root/.deps"
mkdir -p "$deps/include" "$deps/lib/x86_64-linux-gnu/cmake" "$deps/share"
cp -r /usr/include/gtest /usr/include/gmock "$deps/include/"
cp /usr/lib/x86_64-linux-gnu/libgtest*.a /usr/lib/x86_64-linux-gnu/libgmock*.a "$deps/lib/x86_64-linux-gnu/"
cp -r /usr/lib/x86_64-linux-gnu/cmake/GTest "$deps/lib/x86_64-linux-gnu/cmake/"
if [ -d /usr/include/eigen3 ]; then
  cp -r /usr/include/eigen3 "$deps/include/"
  cp -r /usr/share/eigen3 "$deps/share/"
fi
du -sh "$root/.deps"
