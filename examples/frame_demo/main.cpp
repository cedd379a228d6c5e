// rvzgpu-frame-demo: constructs the facade, prints the devices the library
// found, and reduces a vector of a million values on the device through the
// level driver, checking the result against a plain sum.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_Reduction.h"

int main()
{
    CRVZGPUtool tool;
    CRVZGPUtool_Imple view;
    std::printf("RVZGPU %s, %s backend: %d device(s), %d usable\n", RVZGPU_VERSION,
                RVZGPU_BACKEND_CUDA ? "cuda" : "host", view.DeviceCount, view.UsableDeviceCount);
    for (int k = 0; k < view.UsableDeviceCount; ++k) std::printf("%s", view.DeviceInfoShort[k].data());
    if (view.UsableDeviceCount == 0) {
        std::printf("%s\n", tool.GetGPUErrorMessage(-1));
        return 1;
    }
    int status = tool.SetDeviceToUse(view.UsableDeviceList[0]);
    if (status != 0) {
        std::printf("SetDeviceToUse: %s\n", tool.GetGPUErrorMessage(status));
        return 1;
    }

    const int n = 1000000;
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    tool.GetSizeOfBlock(n, total, nLevels, count, size, offset);
    std::printf("\nLevel table for %d values: %d levels, buffer of %d doubles\n", n, nLevels, total);
    for (int k = 0; k + 1 < nLevels; ++k)
        std::printf("  pass %d: %d partial results at offset %d\n", k, size[k + 1], offset[k]);

    std::vector<double> x(n);
    double plain = 0.0;
    for (int i = 0; i < n; ++i) {
        x[i] = 1.0 / (1.0 + i);
        plain += x[i];
    }
    double* xD = nullptr;
    double* bufferD = nullptr;
    if ((status = tool.AllocateDeviceMemory(n, xD)) != 0 || (status = tool.AllocateDeviceMemory(total, bufferD)) != 0) {
        std::printf("AllocateDeviceMemory: %s\n", tool.GetGPUErrorMessage(status));
        return 1;
    }
    tool.DataCopyHost2Device(n, x.data(), xD);

    const rvz::LevelView table(nLevels, count, offset, total, size);
    double sum = 0.0, maximum = 0.0, minimum = 0.0;
    const auto start = std::chrono::steady_clock::now();
    status = rvz::Reduce(rvz::Combine::Sum, 256, n, xD, bufferD, table, sum);
    status |= rvz::Reduce(rvz::Combine::Max, 512, n, xD, bufferD, table, maximum);
    status |= rvz::Reduce(rvz::Combine::Min, 512, n, xD, bufferD, table, minimum);
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf("\nsum of 1/(1+i), i < %d: %.15f (plain loop %.15f, difference %.1e)\n", n, sum, plain,
                std::fabs(sum - plain));
    std::printf("max %.6f, min %.9f; three reductions in %.3f ms\n", maximum, minimum, ms);

    tool.FreeDeviceMemory(xD);
    tool.FreeDeviceMemory(bufferD);
    const bool ok = status == 0 && std::fabs(sum - plain) < 1e-9 * plain && maximum == 1.0 && minimum == x[n - 1];
    std::printf("%s\n", ok ? "OK" : "MISMATCH");
    return ok ? 0 : 1;
}
