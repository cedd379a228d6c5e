#!/usr/bin/env bash
# On a machine with a GPU: builds the cuda backend, runs the test suite on
# it, and compares the results of both backends bit for bit.
#   scripts/gpu-check.sh [output-dir]
# Packages the GPU machine lacks come from .deps/ (scripts/pack-gpu-deps.sh).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
out=${1:-$root/out/gpu-check}
mkdir -p "$out"
export PATH="$PATH:/usr/local/cuda/bin"
prefix=()
[ -d "$root/.deps/usr" ] && prefix=(-DCMAKE_PREFIX_PATH="$root/.deps/usr")
jobs=$(nproc)

cmake -S . -B build-host -G Ninja -DRVZGPU_BACKEND=host "${prefix[@]}" -DRVZGPU_BUILD_BENCH=OFF > "$out/host-configure.log"
cmake --build build-host -j "$jobs" > "$out/host-build.log"
cmake -S . -B build-gpu -G Ninja -DRVZGPU_BACKEND=cuda -DCMAKE_CUDA_ARCHITECTURES="${RVZGPU_CUDA_ARCH:-90}" \
  "${prefix[@]}" > "$out/cuda-configure.log"
cmake --build build-gpu -j "$jobs" > "$out/cuda-build.log"

nvidia-smi > "$out/nvidia-smi.txt" 2>&1 || true
status=0
# No Gmsh on the GPU machine: the Gmsh-meshed checks say they are skipped.
command -v gmsh >/dev/null 2>&1 || export RVZGPU_TEST_WITHOUT_GMSH=1
ctest --test-dir build-gpu --output-on-failure -j 1 > "$out/cuda-tests.log" 2>&1 || status=1
tail -n 30 "$out/cuda-tests.log"

# The same computations on both backends, printed as exact bit patterns.
./build-host/tests/rvzgpu-bitwise-dump > "$out/host-bits.txt"
./build-gpu/tests/rvzgpu-bitwise-dump > "$out/cuda-bits.txt"
if diff "$out/host-bits.txt" "$out/cuda-bits.txt" > "$out/bits.diff"; then
  echo "bitwise: host and cuda agree on $(wc -l < "$out/host-bits.txt") results"
else
  echo "bitwise: host and cuda DIFFER (see bits.diff)"
  head -n 20 "$out/bits.diff"
  status=1
fi
exit $status
