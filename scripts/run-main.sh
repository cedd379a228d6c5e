#!/usr/bin/env bash
# Builds the host backend and runs the project's main job: the example host
# solver rvzgpu-channel on its built-in default case (laminar flow through a
# rectangular duct, checked against the analytic duct solution). Arguments
# are passed on (for example an input file; see examples/host_solver).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/setup-debian.sh
cmake -S . -B build -G Ninja -DRVZGPU_BACKEND=host
cmake --build build -j "$(nproc)" --target rvzgpu-channel
mkdir -p out
cd out
exec ../build/examples/host_solver/rvzgpu-channel "$@"
