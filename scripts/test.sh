#!/usr/bin/env bash
# Builds the host backend and runs the whole test suite; builds it again with
# AddressSanitizer and UndefinedBehaviorSanitizer (clang) and runs the whole
# suite, example programs included, under them; when nvcc is present also
# builds the cuda backend (compile only: no GPU is needed or used).
# Usage: scripts/test.sh            (from anywhere)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/setup-debian.sh
jobs=$(nproc)

cmake -S . -B build -G Ninja -DRVZGPU_BACKEND=host
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

echo "== host backend under AddressSanitizer and UndefinedBehaviorSanitizer =="
cmake -S . -B build-sanitize -G Ninja -DRVZGPU_BACKEND=host -DRVZGPU_SANITIZE=ON -DRVZGPU_BUILD_BENCH=OFF \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14
cmake --build build-sanitize -j "$jobs"
(
  source scripts/sanitizers/env.sh
  ctest --test-dir build-sanitize --output-on-failure -j "$jobs"
)

if command -v nvcc >/dev/null 2>&1 || [ -x /usr/local/cuda/bin/nvcc ]; then
  export PATH="$PATH:/usr/local/cuda/bin"
  echo "== cuda backend: compile only (sm_90) =="
  cmake -S . -B build-cuda -G Ninja -DRVZGPU_BACKEND=cuda -DCMAKE_CUDA_ARCHITECTURES=90
  cmake --build build-cuda -j "$jobs"
fi
