// Collecting kernels: one launch reduces one level of partial results to
// the next. Thread t of block b takes entry b*Inputs + t and, for 512
// inputs per block, also entry b*Inputs + t + 256 when it exists; the block
// then combines its 256 values by the tree of CUK_ShareMemory1.cuh.
#pragma once

#include "CUK_ShareMemory1.cuh"

namespace rvz {

template <class Op, int Inputs, class T>
__device__ __forceinline__ T collect_entry(int n, const T* in)
{
    static_assert(Inputs == 256 || Inputs == 512, "a collecting block covers 256 or 512 entries");
    const int j = static_cast<int>(blockIdx.x) * Inputs + static_cast<int>(threadIdx.x);
    T v = j < n ? in[j] : Op::template identity<T>();
    if (Inputs == 512 && j + 256 < n) v = Op::apply(v, in[j + 256]);
    return v;
}

template <class Op, int Inputs, class T>
__device__ __forceinline__ void collect_level(int n, const T* in, T* out)
{
    block_reduce_256<Op, T>([&](int) { return collect_entry<Op, Inputs>(n, in); }, out);
}

template <class Op, int Inputs, class T>
__device__ __forceinline__ void collect_level2(int n, const T* inA, const T* inB, T* outA, T* outB)
{
    block_reduce2_256<Op, T>(
        [&](int) {
            return Pair<T>{collect_entry<Op, Inputs>(n, inA), collect_entry<Op, Inputs>(n, inB)};
        },
        outA, outB);
}

template <class Op, int Inputs, class T>
__device__ __forceinline__ void collect_level3(int n, const T* inA, const T* inB, const T* inC, T* outA, T* outB,
                                               T* outC)
{
    block_reduce3_256<Op, T>(
        [&](int) {
            return Triple<T>{collect_entry<Op, Inputs>(n, inA), collect_entry<Op, Inputs>(n, inB),
                             collect_entry<Op, Inputs>(n, inC)};
        },
        outA, outB, outC);
}

}  // namespace rvz

// Generic collecting kernels, one quantity and two in lock step.
template <class Op, int Inputs, class T>
__global__ void Kernel_CollectLevel(int n, const T* in, T* out)
{
    rvz::collect_level<Op, Inputs>(n, in, out);
}

template <class Op, int Inputs, class T>
__global__ void Kernel_CollectLevel2(int n, const T* inA, const T* inB, T* outA, T* outB)
{
    rvz::collect_level2<Op, Inputs>(n, inA, inB, outA, outB);
}

// The solvers' collecting kernels and the generic first-level dot product,
// defined once in CU_CollectResidual.cu.
__global__ void Kernel_CollectResidual(int n, const double* in, double* out);
__global__ void Kernel_CollectResidual_Alt(int n, const double* in, double* out);
__global__ void Kernel_CG_Collect_A(int n, const double* inA, const double* inB, double* outA, double* outB);
__global__ void Kernel_CG_Collect_B(int n, const double* inA, const double* inB, double* outA, double* outB);
__global__ void Kernel_CG_Collect_A_Alt(int n, const double* inA, const double* inB, double* outA, double* outB);
__global__ void Kernel_CG_Collect_B_Alt(int n, const double* inA, const double* inB, double* outA, double* outB);
__global__ void Kernel_BiCGSTAB_Collect_rho(int n, const double* in, double* out);
__global__ void Kernel_BiCGSTAB_Collect_A(int n, const double* in, double* out);
__global__ void Kernel_BiCGSTAB_Collect_s(int n, const double* in, double* out);
__global__ void Kernel_BiCGSTAB_Collect_Omega(int n, const double* inA, const double* inB, double* outA, double* outB);
__global__ void Kernel_JCG_CalcV1dotV2(int size, const double* V1D, const double* V2D, double* dotNextLevelD);
