// One SIMPLEC outer iteration of rvzgpu-fill on the basic and on the
// extended flow path (flow_path = extended, one gate, no extras), per
// cell: the edge-gated plate of bench_fill (four cells across the
// thickness), after three steps so that melt, front and air are all in
// the cavity, then three timed steps of each path from its own state.
// The flow stage (gradients, momentum, pressure correction, without the
// property updates) divided by the outer iterations and the cells.
//
// Usage: bench_fill_flowe [largest-cell-count]  (default 30000)
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "CRVZGPUtool.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace {

// Flow-stage seconds per outer iteration and cell, and the outer
// iterations per step.
void TimePath(CRVZGPUtool& tool, const fill::FillSettings& s, const rvzmesh::Mesh& mesh, double& nsPerCellOuter,
              double& outerPerStep)
{
    fill::Filling filling(tool, s, mesh);
    for (int k = 0; k < 3; ++k) filling.Step();
    double flow = 0.0;
    int outer = 0;
    const int timed = 3;
    for (int k = 0; k < timed; ++k) {
        const fill::StepRecord r = filling.Step();
        flow += r.flowSeconds;
        outer += r.outerIterations;
    }
    nsPerCellOuter = flow / outer / mesh.nCells * 1e9;
    outerPerStep = static_cast<double>(outer) / timed;
}

}  // namespace

int main(int argc, char** argv)
{
    const double largest = argc > 1 ? std::atof(argv[1]) : 3.0e4;
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::printf("no usable device\n");
        return 0;
    }
    std::printf("%10s %14s %8s %14s %8s %8s\n", "cells", "basic ns/c/o", "outer", "ext ns/c/o", "outer", "ratio");
    for (double target : {1.0e4, 3.0e4, 1.0e5, 3.0e5, 1.0e6}) {
        if (target > largest * 1.01) break;
        fill::FillSettings s;
        s.nz = 4;
        s.ny = std::max(2, static_cast<int>(std::lround(std::sqrt(target / (2.0 * s.nz)))));
        s.nx = 2 * s.ny;
        s.output_dir = "none";
        const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
        double basic = 0.0, basicOuter = 0.0, extended = 0.0, extendedOuter = 0.0;
        TimePath(tool, s, mesh, basic, basicOuter);
        s.flow_path = "extended";
        TimePath(tool, s, mesh, extended, extendedOuter);
        std::printf("%10d %14.1f %8.1f %14.1f %8.1f %8.3f\n", mesh.nCells, basic, basicOuter, extended, extendedOuter,
                    extended / basic);
        std::fflush(stdout);
    }
    return 0;
}
