// The local evolution of the fibre orientation (Calc_Fiber_Find_x1_Vec):
// its cost per cell, per pass and per sub-step, and what the compaction of
// the work lists saves when only a fraction of the cells still iterates.
//
// Every iterating cell gets the same velocity gradient, so all of them take
// the same number of sub-steps and passes; a host replica of the iteration
// (the library's own algebra, CUK_FiberOrientation.cuh) counts them. The
// byte model of one pass over an entry: midpoint (lists 8, x1 and x2 96,
// xtemp and xAvg written 96), rate (lists 8, xAvg 48, gradient 72, shear
// rate, fraction, dt01, dtSUM 32; F0 and dx written 96, four scalars 32),
// update-and-test (lists 8, x1, dx, xtemp 144, x2 written 48): 632 bytes;
// the sort of the two lists is not counted. Per sub-step the acceptance
// adds lists 8, dt01, dtSUM 16, x2 read and x1 written 96, three scalars
// written 24: 144 bytes.
//   bench_fibre [cells ...]      default: 100000 1000000
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "CUK_FiberOrientation.cuh"
#include "CU_Reduction.h"
#include "bench_common.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

namespace {

constexpr double kAR = 20.0, kCI = 0.01, kFcri = 0.5;
constexpr int kClosure = 3;  // hybrid
constexpr double kPassBytes = 632.0, kSubStepBytes = 144.0;

struct Counts {
    int subSteps = 0, passes = 0;
};

// The sub-steps and passes one cell takes: the host sequence of the call
// for a single cell, with the library's rate and step control.
Counts Replicate(const rvz::fibre::Sym6& x0, const rvz::fibre::Mat3& L, double gammaDot, double dtt)
{
    using namespace rvz::fibre;
    Sym6 x1 = x0, x2 = x0;
    double dt01 = dtt, dtSUM = 0.0;
    Counts n;
    for (int s = 0; s < kMaxSubSteps; ++s) {
        for (int p = 0; p < kMaxPasses; ++p) {
            Sym6 mid;
            for (int c = 0; c < kComponents; ++c) mid.v[c] = (x1.v[c] + x2.v[c]) / 2.0;
            const Sym6 F = FolgarTuckerRate(Clamped(mid), L, kAR, kCI, gammaDot, kClosure);
            const StepChoice step = ChooseStep(F, dt01, dtt - dtSUM, kDxLimit, kDtLowFraction * dtt);
            if (step.changed) dt01 = step.dt;
            double err = -1.0e30;
            for (int c = 0; c < kComponents; ++c) {
                const double next = ClampComponent(c, x1.v[c] + step.dt * F.v[c]);
                err = std::max(err, std::fabs(next - x2.v[c]));
                x2.v[c] = next;
            }
            ++n.passes;
            if (!(err > kPassTolerance)) break;
        }
        const double t = dtSUM + dt01, rem = dtt - t;
        x1 = x2;
        dtSUM = t;
        dt01 = 2.0 * dt01 <= rem ? 2.0 * dt01 : rem;
        ++n.subSteps;
        if (!(rem > kFinishedBelow)) break;
    }
    return n;
}

// Every array of the call for n cells (global = local numbering).
struct Arrays {
    CRVZGPUtool& tool;
    int n;
    std::array<double*, 6> x0, x2, x1, xtemp, xAvg, F0, dx;
    double *dt01, *dt02, *dtSUM, *F0max, *srate, *volf;
    std::array<double*, 9> grad;
    int *mapG, *mapL, *map2G, *map2L, *inner, *outer;
    rvz::LevelTable table;
    stF0_dx_xAvg* record = nullptr;

    Arrays(CRVZGPUtool& t, int cells) : tool(t), n(cells), table(rvz::MakeLevelTable(cells))
    {
        const std::vector<double> zero(n, 0.0);
        const double iso[6] = {1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 0.0, 0.0, 0.0};
        for (int c = 0; c < 6; ++c) {
            x0[c] = Upload(tool, std::vector<double>(n, iso[c]));
            for (auto* a : {&x2, &x1, &xtemp, &xAvg, &F0, &dx}) (*a)[c] = Upload(tool, zero);
        }
        for (double** p : {&dt01, &dt02, &dtSUM, &F0max, &srate, &volf}) *p = Upload(tool, zero);
        for (auto& g : grad) g = Upload(tool, zero);
        const std::vector<int> izero(n, 0);
        for (int** p : {&mapG, &mapL, &map2G, &map2L}) *p = Upload(tool, izero);
        inner = Upload(tool, std::vector<int>(table.total, 0));
        outer = Upload(tool, std::vector<int>(table.total, 0));
        tool.AllocateDeviceMemory(1, record);
        stF0_dx_xAvg host;
        for (int c = 0; c < 6; ++c) {
            host.F0[c] = F0[c];
            host.dx[c] = dx[c];
            host.xAvg[c] = xAvg[c];
        }
        tool.DataCopyHost2Device(1, &host, record);
    }

    // The first `iterating` cells under simple shear of rate gammaDot, the
    // rest below the critical fraction (they finish in their first pass).
    void Prepare(int iterating, double gammaDot)
    {
        std::vector<double> phi(n, 0.0), shear(n, 0.0);
        for (int i = 0; i < iterating; ++i) {
            phi[i] = 1.0;
            shear[i] = gammaDot;
        }
        tool.DataCopyHost2Device(n, phi.data(), volf);
        tool.DataCopyHost2Device(n, shear.data(), srate);
        tool.DataCopyHost2Device(n, shear.data(), grad[1]);  // du/dy
    }

    int Run(double dtt)
    {
        const int g256 = (n + 255) / 256, g64 = (n + 63) / 64;
        return tool.Calc_Fiber_Find_x1_Vec(
            n, n + 1, n, 0, record, x0[0], x0[1], x0[2], x0[3], x0[4], x0[5], x2[0], x2[1], x2[2], x2[3], x2[4], x2[5],
            x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], xtemp[0], xtemp[1], xtemp[2], xtemp[3], xtemp[4], xtemp[5],
            xAvg[0], xAvg[1], xAvg[2], xAvg[3], xAvg[4], xAvg[5], F0[0], F0[1], F0[2], F0[3], F0[4], F0[5], dx[0],
            dx[1], dx[2], dx[3], dx[4], dx[5], dt01, dt02, dtSUM, F0max, dtt, srate, volf, grad[0], grad[1], grad[2],
            grad[3], grad[4], grad[5], grad[6], grad[7], grad[8], mapG, mapL, map2G, map2L, kAR, kCI, kFcri, kClosure,
            inner, outer, g64, g256, table.nLevels, table.count, table.offset, table.total, table.size);
    }
};

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {100000, 1000000});
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 34);
    table.StreamingCopyRow(tool, 11);
    std::printf("\n%-10s %-34s %9s %7s %12s %12s %12s\n", "cells", "case", "iterating", "steps", "passes", "ns/cell",
                "ns/cell-step");

    // A quiet flow (one sub-step of two passes) and a strong one (many).
    struct Case {
        const char* name;
        double gammaDot, dtt;
    };
    const Case cases[2] = {{"shear 0.02, dtt 1", 0.02, 1.0}, {"shear 1, dtt 0.5", 1.0, 0.5}};
    const rvz::fibre::Sym6 iso{{1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 0.0, 0.0, 0.0}};
    for (int n : sizes) {
        Arrays a(tool, n);
        const int runs = n >= 1000000 ? 3 : 7;
        for (const Case& k : cases)
            for (double fraction : {1.0, 0.1, 0.01}) {
                if (fraction < 1.0 && k.gammaDot < 1.0) continue;
                const int iterating = static_cast<int>(fraction * n);
                rvz::fibre::Mat3 L{};
                L.m[0][1] = k.gammaDot;
                const Counts c = Replicate(iso, L, k.gammaDot, k.dtt);
                a.Prepare(iterating, k.gammaDot);
                const double seconds = MedianSeconds(runs, [&] { a.Run(k.dtt); });
                // The first pass and sub-step run over every cell; the
                // later ones over the iterating cells only.
                const double entryPasses = static_cast<double>(n) + static_cast<double>(iterating) * (c.passes - 1);
                const double entrySteps = static_cast<double>(n) + static_cast<double>(iterating) * (c.subSteps - 1);
                char label[64];
                std::snprintf(label, sizeof label, "%s, %g%% iterate", k.name, 100.0 * fraction);
                table.Row(n, label, seconds, kPassBytes * entryPasses + kSubStepBytes * entrySteps);
                std::printf("%-10d %-34s %9d %7d %12d %12.1f %12.1f\n", n, label, iterating, c.subSteps, c.passes,
                            seconds / n * 1e9, seconds / entrySteps * 1e9);
            }
    }
    return 0;
}
