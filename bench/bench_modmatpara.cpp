// Material properties and field statistics against their byte models (each
// array element read or written once) and a device-to-device copy measured
// in the same run.
//   bench_modmatpara [n ...]       default: 1e5 1e6 1e7
#include <vector>

#include "CU_Reduction.h"
#include "bench_common.h"
#include "rvzgpu_viscosity.h"

using rvzbench::MedianSeconds;

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {100000, 1000000, 10000000});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    const auto ps = rvz::viscosity::PolystyreneStyron678E();
    rvzbench::RateTable table("n", 16);
    for (int n : sizes) {
        const int grid = (n + 255) / 256;
        const rvz::LevelTable t = rvz::MakeLevelTable(n);
        std::vector<double*> f(12, nullptr);
        for (auto& p : f) tool.AllocateDeviceMemory(n, p);
        int* hot = nullptr;
        tool.AllocateDeviceMemory(n, hot);
        double *P = nullptr, *bufA = nullptr, *bufB = nullptr;
        tool.AllocateDeviceMemory(static_cast<int>(ps.parameters.size()), P);
        tool.AllocateDeviceMemory(t.total, bufA);
        tool.AllocateDeviceMemory(t.total, bufB);
        std::vector<double> params = ps.parameters, T(n), ones(n, 1.0);
        for (int i = 0; i < n; ++i) T[i] = 200.0 + 80.0 * (i % 1000) / 1000.0;
        tool.DataCopyHost2Device(static_cast<int>(params.size()), params.data(), P);
        tool.DataCopyHost2Device(n, T.data(), f[0]);
        for (int k = 1; k < 12; ++k) tool.DataCopyHost2Device(n, ones.data(), f[k]);
        const int runs = n >= 10000000 ? 11 : 31;

        table.CopyRow(tool, runs, n, n, f[11], f[10]);
        // T, p, rate, alpha, hot-runner flag read; viscosity written.
        table.Row(n, "CalcVis_Flow/5", MedianSeconds(runs, [&] {
                tool.CalcVis_Flow(n, 0, 1, 0, 230.0, 0.5, 0.0, 0.0, 45.0, 5, f[0], f[1], f[2], f[3], hot, f[4], f[5],
                                  P, grid);
            }), 44.0 * n);
        // Nine gradients and the old rate read, the rate written.
        table.Row(n, "Calc_ShearRate", MedianSeconds(runs, [&] {
                tool.Calc_ShearRate(n, 0.5, f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], grid);
            }), 88.0 * n);
        // visnew, k, alpha and the three old values read; three written.
        table.Row(n, "Calc_VisDenMk", MedianSeconds(runs, [&] {
                tool.Calc_VisDenMk(n, 1e7, 1e-3, 0.5, 1e3, 0.5, 1.0, 1e-3, 1e3, f[5], f[6], f[7], f[3], f[8], f[9],
                                   f[10], grid);
            }), 72.0 * n);
        double a = 0.0, b = 0.0;
        table.Row(n, "Calc_Tmax_Tmin", MedianSeconds(runs, [&] {
                tool.Calc_Tmax_Tmin(n, f[0], bufA, bufB, grid, t.nLevels, t.count, t.offset, t.total, t.size, a, b);
            }), 8.0 * n);
        table.Row(n, "Calc_Umax", MedianSeconds(runs, [&] {
                tool.Calc_Umax(n, 0.5, f[3], f[1], f[2], f[4], bufA, grid, t.nLevels, t.count, t.offset, t.total,
                               t.size, a);
            }), 32.0 * n);
        for (auto* p : f) tool.FreeDeviceMemory(p);
        tool.FreeDeviceMemory(hot);
        tool.FreeDeviceMemory(P);
        tool.FreeDeviceMemory(bufA);
        tool.FreeDeviceMemory(bufB);
    }
    return 0;
}
