// Reduction bandwidth: a sum and a dot product through the level driver,
// against the byte model (every element read once) and a device-to-device
// copy measured in the same run.
//   bench_reduction [n ...]       default: 1e5 1e6 1e7
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "CRVZGPUtool.h"
#include "CU_Reduction.h"
#include "platform/rvz_platform.h"

namespace {

// Median seconds of `runs` timed calls after two warm-up calls; each call
// ends with a device synchronisation (the reductions end with a blocking copy).
double median_seconds(int runs, const std::function<void()>& f)
{
    f();
    f();
    std::vector<double> t;
    for (int r = 0; r < runs; ++r) {
        const auto a = std::chrono::steady_clock::now();
        f();
        cudaDeviceSynchronize();
        t.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - a).count());
    }
    std::sort(t.begin(), t.end());
    return t[t.size() / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
    if (sizes.empty()) sizes = {100000, 1000000, 10000000};

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    std::printf("%-10s %-8s %12s %12s %12s %10s\n", "n", "op", "time [us]", "model [MB]", "GB/s", "of copy");
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

        const double copy = median_seconds(runs, [&] { tool.DataCopyDevice2Device(n, bD, aD); });
        const double copyRate = 16.0 * n / copy;  // read and write
        std::printf("%-10d %-8s %12.1f %12.2f %12.2f %10s\n", n, "d2d copy", copy * 1e6, 16.0 * n / 1e6,
                    copyRate / 1e9, "1.00");
        double r = 0.0;
        const double sum = median_seconds(runs, [&] { rvz::Reduce(rvz::Combine::Sum, 256, n, aD, bufD, t, r); });
        std::printf("%-10d %-8s %12.1f %12.2f %12.2f %10.2f\n", n, "sum", sum * 1e6, 8.0 * n / 1e6,
                    8.0 * n / sum / 1e9, 8.0 * n / sum / copyRate);
        const double dot = median_seconds(runs, [&] { rvz::DotProduct(n, aD, bD, bufD, t, r); });
        std::printf("%-10d %-8s %12.1f %12.2f %12.2f %10.2f\n", n, "dot", dot * 1e6, 16.0 * n / 1e6,
                    16.0 * n / dot / 1e9, 16.0 * n / dot / copyRate);
        tool.FreeDeviceMemory(aD);
        tool.FreeDeviceMemory(bD);
        tool.FreeDeviceMemory(bufD);
    }
    return 0;
}
