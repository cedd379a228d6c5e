// The key sort. Kept in a file of its own: Thrust's sort is by far the
// slowest thing in the library to compile.
#include "CU_ThrustSort.h"

#include <cstdio>
#include <exception>

#include "rvzgpu_config.h"

// Thrust brings its own view of the CUDA headers whenever a toolkit is
// installed, so this file does not include the host backend's runtime.

#include <thrust/execution_policy.h>
#include <thrust/sort.h>
#include <thrust/system_error.h>
#if !RVZGPU_BACKEND_CUDA
#include <thrust/system/omp/execution_policy.h>
#endif

namespace rvz {

namespace {
constexpr int kUnknownError = 999;  // cudaErrorUnknown
}

int SortKeys(unsigned int* keys, unsigned int n)
{
    if (n == 0) return 0;
    try {
#if RVZGPU_BACKEND_CUDA
        thrust::sort(thrust::device, keys, keys + n);
#else
        // Device memory is host memory here: Thrust's OpenMP system sorts it.
        thrust::sort(thrust::omp::par, keys, keys + n);
#endif
    } catch (const thrust::system_error& e) {
        std::printf("Thrust_RadixSort failed: %s\n", e.what());
        std::fflush(stdout);
        return e.code().value() != 0 ? e.code().value() : kUnknownError;
    } catch (const std::exception& e) {
        std::printf("Thrust_RadixSort failed: %s\n", e.what());
        std::fflush(stdout);
        return kUnknownError;
    }
    return 0;
}

}  // namespace rvz
