// rvzgpu-bitwise-dump: runs fixed computations and prints every result as
// its exact bit pattern, so that the outputs of the host and cuda backends
// can be compared with diff. Only + - * / sqrt fma enter these results.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "CRVZGPUtool.h"
#include "CU_Reduction.h"

namespace {

void print(const char* what, int n, double v)
{
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    std::printf("%s n=%d %016" PRIx64 " %.17g\n", what, n, bits, v);
}

std::vector<double> values(int n, unsigned seed)
{
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> dist(-1e3, 1e3);
    std::vector<double> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

}  // namespace

int main()
{
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::fprintf(stderr, "no device\n");
        return 1;
    }
    for (int n : {1, 255, 300, 65537, 1000003}) {
        std::vector<double> a = values(n, 1u + n), b = values(n, 2u + n);
        double *aD = nullptr, *bD = nullptr, *bufD = nullptr;
        const rvz::LevelTable t = rvz::MakeLevelTable(n);
        tool.AllocateDeviceMemory(n, aD);
        tool.AllocateDeviceMemory(n, bD);
        tool.AllocateDeviceMemory(t.total, bufD);
        tool.DataCopyHost2Device(n, a.data(), aD);
        tool.DataCopyHost2Device(n, b.data(), bD);
        double r = 0.0;
        rvz::Reduce(rvz::Combine::Sum, 256, n, aD, bufD, t, r);
        print("sum256", n, r);
        rvz::Reduce(rvz::Combine::Sum, 512, n, aD, bufD, t, r);
        print("sum512", n, r);
        rvz::Reduce(rvz::Combine::Max, 512, n, aD, bufD, t, r);
        print("max512", n, r);
        rvz::Reduce(rvz::Combine::Min, 256, n, aD, bufD, t, r);
        print("min256", n, r);
        rvz::DotProduct(n, aD, bD, bufD, t, r);
        print("dot", n, r);
        tool.FreeDeviceMemory(aD);
        tool.FreeDeviceMemory(bD);
        tool.FreeDeviceMemory(bufD);
    }
    return 0;
}
