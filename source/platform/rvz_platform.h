// The backend layer every kernel and launch file includes first.
//
// cuda: the CUDA runtime itself; a launch is a triple-chevron launch.
// host: the runtime stand-in of host_runtime.h; a launch runs the kernel
//       for every thread of every block on the CPU, blocks spread over
//       OpenMP threads.
//
// Kernels come in two kinds. A thread kernel is ordinary CUDA, written for
// one thread, and is launched with RVZ_LAUNCH. A block kernel cooperates
// through a block barrier; it does its per-thread work inside the block
// primitives of CUK_ShareMemory1.cuh and is launched with RVZ_LAUNCH_BLOCK,
// which on the host calls it once per block and lets the primitive walk the
// block's threads in order.
#pragma once

#include "rvzgpu_config.h"

#if RVZGPU_BACKEND_CUDA

#include <cuda_runtime.h>

#define RVZ_HOST_DEVICE __host__ __device__
#define RVZ_LAUNCH(kernel, grid, block, shared, stream) kernel<<<(grid), (block), (shared), (stream)>>>
#define RVZ_LAUNCH_BLOCK(kernel, grid, block, shared, stream) kernel<<<(grid), (block), (shared), (stream)>>>

#else  // host backend

#include <omp.h>

#include <cmath>
#include <utility>

#include "host_runtime.h"

#ifndef __global__
#define __global__
#define __device__
#define __host__
#define __forceinline__ inline
#define __shared__
#endif

#define RVZ_HOST_DEVICE

// Read-only loads go straight to memory on the host.
template <class T>
inline T __ldg(const T* p)
{
    return *p;
}

namespace rvz {
namespace host {

// The block size of the library's launches (kBlockSize of the kernels).
constexpr unsigned kHostVectorBlock = 256;

// Runs one block: a block kernel once (its primitives walk the threads), a
// thread kernel once per thread in x-fastest order. Flattened: the kernel,
// when its body is visible here, and everything it calls are inlined into
// the per-thread loop.
//
// A block of kHostVectorBlock threads in x (every one-thread-per-element
// launch of the library) takes a loop of that constant length: the element
// index blockIdx.x * 256 + threadIdx.x is then known not to wrap, and the
// compiler vectorises the loop, the kernel's "i < n" guard becoming a mask.
// Each thread still computes exactly what it computes alone.
//
// The arguments are taken by value, as a GPU hands a kernel its own copy:
// locals whose address nothing else sees, so they stay in registers across
// the stores of the launch indices. Reached through references (the
// parallel region shares the caller's), an int argument would be reloaded
// after every store of threadIdx, which may alias it, and no loop would
// vectorise.
template <auto Kernel, bool PerBlock, class... Args>
__attribute__((flatten)) inline void run_block(long long linear, const dim3 g, const dim3 b, Args... args)
{
    gridDim = g;
    blockDim = b;
    blockIdx.x = static_cast<unsigned>(linear % g.x);
    blockIdx.y = static_cast<unsigned>((linear / g.x) % g.y);
    blockIdx.z = static_cast<unsigned>(linear / (static_cast<long long>(g.x) * g.y));
    threadIdx = uint3{0, 0, 0};
    if constexpr (PerBlock) {
        launchState.inBlockLaunch = true;
        Kernel(args...);
        launchState.inBlockLaunch = false;
    } else if (b.x == kHostVectorBlock && b.y == 1 && b.z == 1) {
        for (unsigned tx = 0; tx < kHostVectorBlock; ++tx) {
            threadIdx.x = tx;
            Kernel(args...);
        }
        threadIdx.x = 0;
    } else if (b.y == 1 && b.z == 1) {
        for (unsigned tx = 0; tx < b.x; ++tx) {
            threadIdx.x = tx;
            Kernel(args...);
        }
        threadIdx.x = 0;
    } else {
        for (unsigned tz = 0; tz < b.z; ++tz)
            for (unsigned ty = 0; ty < b.y; ++ty)
                for (unsigned tx = 0; tx < b.x; ++tx) {
                    threadIdx = uint3{tx, ty, tz};
                    Kernel(args...);
                }
    }
}

template <auto Kernel, bool PerBlock>
struct Launch {
    dim3 grid;
    dim3 block;
    size_t shared;

    // Blocks are independent and each is run whole by one OpenMP thread, so
    // the results do not depend on the thread count. Launches too small to
    // pay for waking a team run on the calling thread, without a parallel
    // region.
    template <class... Args>
    __attribute__((flatten)) void operator()(Args&&... args) const
    {
        if (!begin_launch(grid, block, shared)) return;
        const long long blocks = static_cast<long long>(grid.x) * grid.y * grid.z;
        const long long threadsPerBlock = static_cast<long long>(block.x) * block.y * block.z;
        const dim3 g = grid;
        const dim3 b = block;
        const int team = launch_threads(blocks, blocks * threadsPerBlock);
        if (team == 1) {
            for (long long linear = 0; linear < blocks; ++linear) run_block<Kernel, PerBlock>(linear, g, b, args...);
            return;
        }
#pragma omp parallel for schedule(static) num_threads(team)
        for (long long linear = 0; linear < blocks; ++linear) run_block<Kernel, PerBlock>(linear, g, b, args...);
    }
};

inline dim3 as_dim3(const dim3& d) { return d; }
inline dim3 as_dim3(long long n) { return dim3(static_cast<unsigned>(n)); }

}  // namespace host
}  // namespace rvz

#define RVZ_LAUNCH(kernel, grid, block, shared, stream)                                     \
    ::rvz::host::Launch<kernel, false>{::rvz::host::as_dim3(grid), ::rvz::host::as_dim3(block), \
                                       static_cast<size_t>(shared)}
#define RVZ_LAUNCH_BLOCK(kernel, grid, block, shared, stream)                              \
    ::rvz::host::Launch<kernel, true>{::rvz::host::as_dim3(grid), ::rvz::host::as_dim3(block), \
                                      static_cast<size_t>(shared)}

#endif
