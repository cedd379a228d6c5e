// The block steps of a maximum/minimum pair reduced in lock step: a
// block's maximum of the first values and minimum of the second, the range
// of one field, and one collecting pass over 512 entries per block. Shared
// by the field statistics and the extended-flow field range. Inline device
// functions only.
#pragma once

#include "CUK_CollectResidual.cuh"
#include "CUK_ShareMemory1.cuh"

namespace rvz {

// A block's maximum of the first values and minimum of the second, each by
// the fixed tree of the block reductions.
template <class F>
__device__ __forceinline__ void block_reduce_maxmin_256(F contribution, double* outMax, double* outMin)
{
#if RVZGPU_BACKEND_CUDA
    double* const sMax[1] = {s_double};
    double* const sMin[1] = {s_double + kBlockSize};
    const int t = threadIdx.x;
    const Pair<double> v = contribution(static_cast<int>(blockIdx.x) * kBlockSize + t);
    sMax[0][t] = v.first;
    sMin[0][t] = v.second;
    tree_reduce_256<MaxOp>(sMax, t);
    tree_reduce_256<MinOp>(sMin, t);
    if (t == 0) {
        outMax[blockIdx.x] = sMax[0][0];
        outMin[blockIdx.x] = sMin[0][0];
    }
#else
    double sMax[kBlockSize];
    double sMin[kBlockSize];
    for_each_block_thread(contribution, [&](int t, const Pair<double>& v) {
        sMax[t] = v.first;
        sMin[t] = v.second;
    });
    tree_reduce_256<MaxOp>(sMax);
    tree_reduce_256<MinOp>(sMin);
    outMax[blockIdx.x] = sMax[0];
    outMin[blockIdx.x] = sMin[0];
#endif
}

// The range of one field: the value enters both the maximum and the minimum.
__device__ __forceinline__ void FieldRange(int n, const double* fD, double* maxD, double* minD)
{
    block_reduce_maxmin_256(
        [&](int i) {
            if (i >= n) return Pair<double>{MaxOp::identity<double>(), MinOp::identity<double>()};
            return Pair<double>{fD[i], fD[i]};
        },
        maxD, minD);
}

// One collecting pass of a max/min pair over 512 entries per block.
__device__ __forceinline__ void CollectRange(int n, const double* inMax, const double* inMin, double* outMax,
                                             double* outMin)
{
    block_reduce_maxmin_256(
        [&](int) {
            return Pair<double>{collect_entry<MaxOp, 512>(n, inMax), collect_entry<MinOp, 512>(n, inMin)};
        },
        outMax, outMin);
}

}  // namespace rvz
