// Reduction bandwidth: a sum and a dot product through the level driver,
// against the byte model (every element read once) and a device-to-device
// copy measured in the same run.
//   bench_reduction [n ...]       default: 1e5 1e6 1e7
#include <vector>

#include "CU_Reduction.h"
#include "bench_common.h"

using rvzbench::MedianSeconds;

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {100000, 1000000, 10000000});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("n", 8);
    for (int n : sizes) {
        const rvz::LevelTable t = rvz::MakeLevelTable(n);
        double *aD = nullptr, *bD = nullptr, *bufD = nullptr;
        tool.AllocateDeviceMemory(n, aD);
        tool.AllocateDeviceMemory(n, bD);
        tool.AllocateDeviceMemory(t.total, bufD);
        std::vector<double> h(n, 1.0);
        tool.DataCopyHost2Device(n, h.data(), aD);
        tool.DataCopyHost2Device(n, h.data(), bD);
        const int runs = n >= 10000000 ? 11 : 51;

        table.CopyRow(tool, runs, n, n, bD, aD);
        double r = 0.0;
        table.Row(n, "sum", MedianSeconds(runs, [&] { rvz::Reduce(rvz::Combine::Sum, 256, n, aD, bufD, t, r); }),
                  8.0 * n);
        table.Row(n, "dot", MedianSeconds(runs, [&] { rvz::DotProduct(n, aD, bD, bufD, t, r); }), 16.0 * n);
        tool.FreeDeviceMemory(aD);
        tool.FreeDeviceMemory(bD);
        tool.FreeDeviceMemory(bufD);
    }
    return 0;
}
