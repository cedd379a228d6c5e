// One filling time step of rvzgpu-fill against the cell count: the edge-
// gated plate (four cells across the thickness, twice as many cells along
// as across), after a few steps so that melt, front and air are all in the
// cavity. Prints per size the median step time, the outer iterations of a
// step, the time per cell and outer iteration, and the shares of the
// stages: flow (SIMPLEC iterations without the property updates), the
// property updates (viscosity, density and conductivity mixed by the
// volume fraction) and the volume-fraction step.
//
// Usage: bench_fill [largest-cell-count]  (default 100000)
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "CRVZGPUtool.h"
#include "bench_common.h"
#include "fill_settings.h"
#include "fill_solver.h"

int main(int argc, char** argv)
{
    const double largest = argc > 1 ? std::atof(argv[1]) : 1.0e5;
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::printf("no usable device\n");
        return 0;
    }
    std::printf("%10s %8s %12s %8s %16s %8s %8s %8s\n", "cells", "steps", "s/step", "outer", "ns/(cell*outer)",
                "flow%", "props%", "volf%");
    for (double target : {1.0e4, 3.0e4, 1.0e5, 3.0e5, 1.0e6}) {
        if (target > largest * 1.01) break;
        fill::FillSettings s;
        s.nz = 4;
        s.ny = std::max(2, static_cast<int>(std::lround(std::sqrt(target / (2.0 * s.nz)))));
        s.nx = 2 * s.ny;
        s.output_dir = "none";
        const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
        fill::Filling filling(tool, s, mesh);
        // Let the melt in, then time a few steps.
        for (int k = 0; k < 3; ++k) filling.Step();
        std::vector<double> total;
        double flow = 0.0, props = 0.0, volf = 0.0, sum = 0.0;
        int outer = 0;
        const int timed = 3;
        for (int k = 0; k < timed; ++k) {
            const fill::StepRecord r = filling.Step();
            const double step = r.flowSeconds + r.propertiesSeconds + r.volumeFractionSeconds + r.temperatureSeconds;
            total.push_back(step);
            flow += r.flowSeconds, props += r.propertiesSeconds, volf += r.volumeFractionSeconds, sum += step;
            outer += r.outerIterations;
        }
        std::sort(total.begin(), total.end());
        const double median = total[total.size() / 2];
        const double perOuter = sum / outer / mesh.nCells * 1e9;
        std::printf("%10d %8d %12.4g %8.1f %16.1f %8.1f %8.1f %8.1f\n", mesh.nCells, timed, median,
                    static_cast<double>(outer) / timed, perOuter, 100.0 * flow / sum, 100.0 * props / sum,
                    100.0 * volf / sum);
        std::fflush(stdout);
    }
    return 0;
}
