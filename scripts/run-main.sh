#!/usr/bin/env bash
# Builds the host backend and runs the project's main job: the example host
# solver rvzgpu-fill on its built-in default case (a 10 x 5 x 0.2 cm plate
# filled through a 2 cm edge gate at 20 cm^3/s), writing its .vtu/.pvd
# series and CSV history into out/plate_fill/ and, where matplotlib is
# installed, the PNG plots of scripts/plot-fill.py beside them. Arguments
# are passed on (a case file; see examples/fill/README.md). The exit status
# is rvzgpu-fill's: non-zero when the result cannot be trusted.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/setup-debian.sh
cmake -S . -B build -G Ninja -DRVZGPU_BACKEND=host
cmake --build build -j "$(nproc)" --target rvzgpu-fill
mkdir -p out
cd out
../build/examples/fill/rvzgpu-fill "$@"
if [ $# -eq 0 ]; then
    for python in python3 /usr/bin/python3; do
        if "$python" -c "import matplotlib" > /dev/null 2>&1; then
            "$python" ../scripts/plot-fill.py plate_fill
            break
        fi
    done
fi
