#!/usr/bin/env bash
# Builds the host backend and runs the whole test suite; when nvcc is present
# also builds the cuda backend (compile only: no GPU is needed or used).
# Usage: scripts/test.sh            (from anywhere)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/setup-debian.sh
jobs=$(nproc)

cmake -S . -B build -G Ninja -DRVZGPU_BACKEND=host
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

if command -v nvcc >/dev/null 2>&1 || [ -x /usr/local/cuda/bin/nvcc ]; then
  export PATH="$PATH:/usr/local/cuda/bin"
  echo "== cuda backend: compile only (sm_90) =="
  cmake -S . -B build-cuda -G Ninja -DRVZGPU_BACKEND=cuda -DCMAKE_CUDA_ARCHITECTURES=90
  cmake --build build-cuda -j "$jobs"
fi
