#!/usr/bin/env bash
# Builds the host backend and runs the project's main job.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/setup-debian.sh
cmake -S . -B build -G Ninja -DRVZGPU_BACKEND=host
cmake --build build -j "$(nproc)" --target rvzgpu-frame-demo
./build/examples/frame_demo/rvzgpu-frame-demo "$@"
