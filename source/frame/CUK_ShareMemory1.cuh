// The block reduction every sum, maximum and minimum of the library uses.
//
// A block of 256 threads combines one value per thread (or two, reduced in
// lock step) by a fixed tree: slot t takes slot t+128, then t+64, then,
// inside the first warp, t+32, 16, 8, 4, 2, 1. Thread 0 writes the block's
// result to out[blockIdx.x]. The order of combination is the same on both
// backends, so results agree bit for bit and do not depend on scheduling.
//
// The per-thread work is a callable `contribution(i)`, i the thread's
// element index blockIdx.x * 256 + threadIdx.x; it may also write the
// thread's own outputs. Kernels that use these primitives are block
// kernels and are launched with RVZ_LAUNCH_BLOCK.
#pragma once

#include <cstddef>
#include <limits>

#include "platform/rvz_platform.h"

namespace rvz {

constexpr int kBlockSize = 256;
// Dynamic shared memory a block kernel reducing one or two quantities asks
// for at launch (a GPU fast path stages one double per thread and quantity).
constexpr size_t kOneQuantityShared = kBlockSize * sizeof(double);
constexpr size_t kTwoQuantityShared = 2 * kBlockSize * sizeof(double);
constexpr size_t kThreeQuantityShared = 3 * kBlockSize * sizeof(double);

struct SumOp {
    template <class T>
    RVZ_HOST_DEVICE static T identity()
    {
        return T(0);
    }
    template <class T>
    RVZ_HOST_DEVICE static T apply(T a, T b)
    {
        return a + b;
    }
};

// Keeps the left value when it is larger, else takes the right one.
// Positions outside the data enter as the lowest value, so they take no part.
struct MaxOp {
    template <class T>
    RVZ_HOST_DEVICE static T identity()
    {
        return std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                    : std::numeric_limits<T>::lowest();
    }
    template <class T>
    RVZ_HOST_DEVICE static T apply(T a, T b)
    {
        return a > b ? a : b;
    }
};

// Takes the right value when the left one is larger, else keeps the left.
struct MinOp {
    template <class T>
    RVZ_HOST_DEVICE static T identity()
    {
        return std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                    : std::numeric_limits<T>::max();
    }
    template <class T>
    RVZ_HOST_DEVICE static T apply(T a, T b)
    {
        return a > b ? b : a;
    }
};

template <class T>
struct Pair {
    T first;
    T second;
};

template <class T>
struct Triple {
    T first;
    T second;
    T third;
};

}  // namespace rvz

#if RVZGPU_BACKEND_CUDA

// The dynamically sized shared array of the block reductions; a two-quantity
// reduction uses its first 256 entries for the first quantity and the next
// 256 for the second.
extern __shared__ double s_double[];

namespace rvz {

// The tree over N shared arrays in lock step. Inside the first warp each
// step only touches slots below its stride, so no thread reads a slot that
// another thread writes in the same step; __syncwarp orders the steps.
template <class Op, class T, int N>
__device__ __forceinline__ void tree_reduce_256(T* const (&s)[N], int t)
{
    __syncthreads();
    for (int stride = 128; stride >= 64; stride >>= 1) {
        if (t < stride)
            for (int q = 0; q < N; ++q) s[q][t] = Op::apply(s[q][t], s[q][t + stride]);
        __syncthreads();
    }
    if (t < 32) {
        for (int stride = 32; stride >= 1; stride >>= 1) {
            if (t < stride)
                for (int q = 0; q < N; ++q) {
                    volatile T* v = s[q];
                    v[t] = Op::apply(static_cast<T>(v[t]), static_cast<T>(v[t + stride]));
                }
            __syncwarp();
        }
    }
}

template <class Op, class T, class F>
__device__ __forceinline__ void block_reduce_256(F contribution, T* out)
{
    T* const s[1] = {reinterpret_cast<T*>(s_double)};
    const int t = threadIdx.x;
    s[0][t] = contribution(static_cast<int>(blockIdx.x) * kBlockSize + t);
    tree_reduce_256<Op>(s, t);
    if (t == 0) out[blockIdx.x] = s[0][0];
}

template <class Op, class T, class F>
__device__ __forceinline__ void block_reduce2_256(F contribution, T* outFirst, T* outSecond)
{
    T* const s[2] = {reinterpret_cast<T*>(s_double), reinterpret_cast<T*>(s_double) + kBlockSize};
    const int t = threadIdx.x;
    const Pair<T> v = contribution(static_cast<int>(blockIdx.x) * kBlockSize + t);
    s[0][t] = v.first;
    s[1][t] = v.second;
    tree_reduce_256<Op>(s, t);
    if (t == 0) {
        outFirst[blockIdx.x] = s[0][0];
        outSecond[blockIdx.x] = s[1][0];
    }
}


template <class Op, class T, class F>
__device__ __forceinline__ void block_reduce3_256(F contribution, T* outFirst, T* outSecond, T* outThird)
{
    T* const s[3] = {reinterpret_cast<T*>(s_double), reinterpret_cast<T*>(s_double) + kBlockSize,
                     reinterpret_cast<T*>(s_double) + 2 * kBlockSize};
    const int t = threadIdx.x;
    const Triple<T> v = contribution(static_cast<int>(blockIdx.x) * kBlockSize + t);
    s[0][t] = v.first;
    s[1][t] = v.second;
    s[2][t] = v.third;
    tree_reduce_256<Op>(s, t);
    if (t == 0) {
        outFirst[blockIdx.x] = s[0][0];
        outSecond[blockIdx.x] = s[1][0];
        outThird[blockIdx.x] = s[2][0];
    }
}

}  // namespace rvz

#else  // host backend: the same tree over the block's values, in order

#include <cassert>

namespace rvz {

// The host primitives are inlined, with the contribution callable and
// everything it calls, into every block kernel that uses them, also where
// the kernel itself is called out of line (its launcher in another file).
// The callable's captures are then the kernel's own argument copies rather
// than memory the stores of threadIdx might alias, and the loop over the
// block's threads vectorises.
#define RVZ_HOST_BLOCK_PRIMITIVE __attribute__((always_inline, flatten)) inline

template <class Op, class T>
RVZ_HOST_BLOCK_PRIMITIVE void tree_reduce_256(T* s)
{
    for (int stride = 128; stride >= 1; stride >>= 1)
        for (int t = 0; t < stride; ++t) s[t] = Op::apply(s[t], s[t + stride]);
}

// Walks the block's threads in order, collecting each one's contribution.
template <class F, class Store>
RVZ_HOST_BLOCK_PRIMITIVE void for_each_block_thread(F&& contribution, Store&& store)
{
    assert(host::launchState.inBlockLaunch && "block primitive outside RVZ_LAUNCH_BLOCK");
    const int base = static_cast<int>(blockIdx.x) * kBlockSize;
    for (int t = 0; t < kBlockSize; ++t) {
        threadIdx.x = static_cast<unsigned>(t);
        store(t, contribution(base + t));
    }
    threadIdx.x = 0;
}

template <class Op, class T, class F>
RVZ_HOST_BLOCK_PRIMITIVE void block_reduce_256(F contribution, T* out)
{
    T s[kBlockSize];
    for_each_block_thread(contribution, [&](int t, T v) { s[t] = v; });
    tree_reduce_256<Op>(s);
    out[blockIdx.x] = s[0];
}

template <class Op, class T, class F>
RVZ_HOST_BLOCK_PRIMITIVE void block_reduce2_256(F contribution, T* outFirst, T* outSecond)
{
    T s1[kBlockSize];
    T s2[kBlockSize];
    for_each_block_thread(contribution, [&](int t, const Pair<T>& v) {
        s1[t] = v.first;
        s2[t] = v.second;
    });
    tree_reduce_256<Op>(s1);
    tree_reduce_256<Op>(s2);
    outFirst[blockIdx.x] = s1[0];
    outSecond[blockIdx.x] = s2[0];
}


template <class Op, class T, class F>
RVZ_HOST_BLOCK_PRIMITIVE void block_reduce3_256(F contribution, T* outFirst, T* outSecond, T* outThird)
{
    T s1[kBlockSize];
    T s2[kBlockSize];
    T s3[kBlockSize];
    for_each_block_thread(contribution, [&](int t, const Triple<T>& v) {
        s1[t] = v.first;
        s2[t] = v.second;
        s3[t] = v.third;
    });
    tree_reduce_256<Op>(s1);
    tree_reduce_256<Op>(s2);
    tree_reduce_256<Op>(s3);
    outFirst[blockIdx.x] = s1[0];
    outSecond[blockIdx.x] = s2[0];
    outThird[blockIdx.x] = s3[0];
}

}  // namespace rvz

#endif
