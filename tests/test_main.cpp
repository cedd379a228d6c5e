// Test entry point shared by every test program. A cuda build on a machine
// without a usable device exits 77, which CTest reports as skipped.
#include <gtest/gtest.h>

#include <cstdio>

#include "CU_checkError.h"
#include "platform/rvz_platform.h"

int main(int argc, char** argv)
{
#if RVZGPU_BACKEND_CUDA
    int count = 0;
    if (cudaGetDeviceCount(&count) != cudaSuccess || count == 0) {
        std::printf("no CUDA device: skipping\n");
        return 77;
    }
#endif
    // The reporters' countdown is real behaviour; the tests do not wait for it.
    rvz::SetReportCountdownMilliseconds(0);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
