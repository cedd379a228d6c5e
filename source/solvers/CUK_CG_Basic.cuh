// Kernels and row products shared by the Krylov solvers (conjugate gradient
// and BiCGSTAB, serial and distributed).
//
// Row products accumulate with fused multiply-adds in storage order (CSR
// entry order, ELL slot order), so a CSR matrix and its ELL conversion give
// the same bits. Rows at or beyond nnu do no work: their loads read as 0.0
// and nothing is stored for them.
//
// The kernels declared at the end are defined once, in CU_CG_Basic.cu.
#pragma once

#include "CUK_ShareMemory1.cuh"

namespace rvz {

// The row (vector entry) of the calling thread.
__device__ __forceinline__ int row_index()
{
    return static_cast<int>(blockIdx.x) * kBlockSize + static_cast<int>(threadIdx.x);
}

// Sum over the row's CSR entries of aa[k] * x[ja[k]], reading x directly.
__device__ __forceinline__ double csr_row_product(int i, const int* ia, const int* ja, const double* aa,
                                                  const double* x)
{
    double sum = 0.0;
    for (int k = ia[i]; k < ia[i + 1]; ++k) sum = fma(aa[k], x[ja[k]], sum);
    return sum;
}

// Sum over the row's ELL slots of aaELL[p] * x[j]; slots with index -1 are
// skipped whatever their value. x goes through the read-only data path.
__device__ __forceinline__ double ell_row_product(int i, int new_nnu, int NColumnPerRow, const int* indexELL,
                                                  const double* aaELL, const double* __restrict__ x)
{
    double sum = 0.0;
    for (int k = 0; k < NColumnPerRow; ++k) {
        const long long p = i + static_cast<long long>(k) * new_nnu;
        const int j = indexELL[p];
        if (j != -1) sum = fma(aaELL[p], __ldg(x + j), sum);
    }
    return sum;
}

#if RVZGPU_BACKEND_CUDA
// The block's own 256 entries of x in shared memory: a cell's neighbours
// are mostly numbered within its block, so most reads of x hit the cache.
// Every thread of the block must call this (it holds a barrier).
__device__ __forceinline__ void csr_fill_block_cache(double* cache, int nnu, const double* x)
{
    const int i = row_index();
    cache[threadIdx.x] = i < nnu ? x[i] : 0.0;
    __syncthreads();
}

// The same sum as csr_row_product; an entry of x that lies in the block's
// own range is read from the cache (the comparison is unsigned, so one
// test covers both ends of the range).
__device__ __forceinline__ double csr_row_product_cached(int i, const int* ia, const int* ja, const double* aa,
                                                         const double* x, const double* cache)
{
    const unsigned first = blockIdx.x * static_cast<unsigned>(kBlockSize);
    double sum = 0.0;
    for (int k = ia[i]; k < ia[i + 1]; ++k) {
        const int j = ja[k];
        const unsigned local = static_cast<unsigned>(j) - first;
        const double xj = local < static_cast<unsigned>(kBlockSize) ? cache[local] : x[j];
        sum = fma(aa[k], xj, sum);
    }
    return sum;
}
#endif

// out = y - step x with per-block sums of out^2: a residual-type update
// fused with the first level of its norm (block kernels only).
__device__ __forceinline__ void update_with_norm(int nnu, double step, const double* x, const double* y, double* out,
                                                 double* partial)
{
    block_reduce_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double r = fma(-step, x[i], y[i]);
            out[i] = r;
            return r * r;
        },
        partial);
}

// Per-block sums of a1.b1 and of a2.b2 in lock step (block kernels only).
__device__ __forceinline__ void two_dot_products(int nnu, const double* a1, const double* b1, const double* a2,
                                                 const double* b2, double* partial1, double* partial2)
{
    block_reduce2_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return Pair<double>{0.0, 0.0};
            return Pair<double>{a1[i] * b1[i], a2[i] * b2[i]};
        },
        partial1, partial2);
}

}  // namespace rvz

#if RVZGPU_BACKEND_CUDA
// y = A.x for CSR, with the block cache of x. One thread per row; the
// launch needs 2048 bytes of shared memory or more.
__device__ __forceinline__ void csr_product_block_cached(int nnu, double* y, const int* ia, const int* ja,
                                                         const double* aa, const double* x)
{
    rvz::csr_fill_block_cache(s_double, nnu, x);
    const int i = rvz::row_index();
    if (i < nnu) y[i] = rvz::csr_row_product_cached(i, ia, ja, aa, x, s_double);
}
#define RVZ_CSR_PRODUCT(nnu, y, ia, ja, aa, x) csr_product_block_cached(nnu, y, ia, ja, aa, x)
#else
__device__ __forceinline__ void csr_product_portable(int nnu, double* y, const int* ia, const int* ja,
                                                     const double* aa, const double* x)
{
    const int i = rvz::row_index();
    if (i < nnu) y[i] = rvz::csr_row_product(i, ia, ja, aa, x);
}
#define RVZ_CSR_PRODUCT(nnu, y, ia, ja, aa, x) csr_product_portable(nnu, y, ia, ja, aa, x)
#endif

// y = A.x for ELL, one thread per row.
__device__ __forceinline__ void ell_product(int nnu, int new_nnu, int NColumnPerRow, double* y, const double* aaELL,
                                            const int* indexELL, const double* x)
{
    const int i = rvz::row_index();
    if (i < nnu) y[i] = rvz::ell_row_product(i, new_nnu, NColumnPerRow, indexELL, aaELL, x);
}

// The CSR product that reads x directly on every backend: the reference
// the block-cached product is checked against.
__global__ void Kernel_CSR_Product_Portable(int nnu, double* y, const int* ia_D, const int* ja_D,
                                            const double* aa_D, const double* x_D);

// Residual of the initial guess, fused with the first level of its norm:
// r = b - A.x0 and per-block sums of r^2.
__global__ void Kernel_CSR_CalcResidual_In(int nnu, const int* ia_D, const int* ja_D, const double* aa_D,
                                           const double* rhs_D, const double* sol0_D, double* res_D,
                                           double* resNextLevel_D);
__global__ void Kernel_ELL_CalcResidual_In(int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                                           const double* aaELLD, const double* rhsD, const double* sol0D,
                                           double* resD, double* resNextLevel_D);

// Inverse diagonal, correctly rounded; a zero diagonal gives an infinity.
__global__ void Kernel_CSR_CalcM(int nnu, const int* ia_D, const int* ja_D, const double* aa_D,
                                 double* diagonal_reciprocalD);
__global__ void Kernel_ELL_CalcM(int nnu, int NColumnPerRow, const int* indexELLD, const double* aaELLD,
                                 double* diagonal_reciprocalD);

// Conjugate gradient steps.
__global__ void Kernel_CG_CalcA(int nnu, const double* resOldD, const double* PD, const double* qD,
                                double* aNumeratorNextLevelD, double* aDenominatorNextLevelD);
__global__ void Kernel_JCG_CalcA(int nnu, const double* resOldD, const double* zOldD, const double* PD,
                                 const double* qD, double* aNumeratorNextLevelD, double* aDenominatorNextLevelD);
__global__ void Kernel_CG_CalcSol(int nnu, double* sol_D, const double* sol0_D, const double* P_D, double alpha);
__global__ void Kernel_CG_CalcResidual_Out(int nnu, double alpha, const double* qD, double* resD,
                                           const double* resOldD, double* resNextLevelD);
__global__ void Kernel_CG_CalcB(int nnu, const double* resOldest_D, const double* resOld_D,
                                double* bNumeratorNextLevelD, double* bDenominatorNextLevelD);
__global__ void Kernel_JCG_CalcB(int nnu, const double* resOldestD, const double* resOldD, const double* zOldestD,
                                 const double* zOldD, double* bNumeratorNextLevelD, double* bDenominatorNextLevelD);
__global__ void Kernel_CG_CalcP(int nnu, double* P_D, const double* Pold_D, const double* resOld_D, double b);
__global__ void Kernel_JCG_CalcZ(int nnu, const double* DiagonalReciprocalD, const double* resD, double* zD);
