// The kernels shared by the Krylov solvers: initial residuals, inverse
// diagonals and the conjugate gradient steps.
#include "platform/rvz_platform.h"

#include "CUK_CG_Basic.cuh"

using rvz::SumOp;

using rvz::row_index;

__global__ void Kernel_CSR_Product_Portable(int nnu, double* y, const int* ia_D, const int* ja_D,
                                            const double* aa_D, const double* x_D)
{
    const int i = row_index();
    if (i < nnu) y[i] = rvz::csr_row_product(i, ia_D, ja_D, aa_D, x_D);
}

__global__ void Kernel_CSR_CalcResidual_In(int nnu, const int* ia_D, const int* ja_D, const double* aa_D,
                                           const double* rhs_D, const double* sol0_D, double* res_D,
                                           double* resNextLevel_D)
{
#if RVZGPU_BACKEND_CUDA
    // The reduction uses the first 256 shared doubles, the cache the next 256.
    double* cache = s_double + rvz::kBlockSize;
    rvz::csr_fill_block_cache(cache, nnu, sol0_D);
    auto product = [&](int i) { return rvz::csr_row_product_cached(i, ia_D, ja_D, aa_D, sol0_D, cache); };
#else
    auto product = [&](int i) { return rvz::csr_row_product(i, ia_D, ja_D, aa_D, sol0_D); };
#endif
    rvz::block_reduce_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double r = rhs_D[i] - product(i);
            res_D[i] = r;
            return r * r;
        },
        resNextLevel_D);
}

__global__ void Kernel_ELL_CalcResidual_In(int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                                           const double* aaELLD, const double* rhsD, const double* sol0D,
                                           double* resD, double* resNextLevel_D)
{
    rvz::block_reduce_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double r = rhsD[i] - rvz::ell_row_product(i, new_nnu, NColumnPerRow, indexELLD, aaELLD, sol0D);
            resD[i] = r;
            return r * r;
        },
        resNextLevel_D);
}

__global__ void Kernel_CSR_CalcM(int nnu, const int* ia_D, const int* /*ja_D*/, const double* aa_D,
                                 double* diagonal_reciprocalD)
{
    const int i = row_index();
    if (i < nnu) diagonal_reciprocalD[i] = 1.0 / aa_D[ia_D[i]];
}

__global__ void Kernel_ELL_CalcM(int nnu, int /*NColumnPerRow*/, const int* /*indexELLD*/, const double* aaELLD,
                                 double* diagonal_reciprocalD)
{
    const int i = row_index();
    if (i < nnu) diagonal_reciprocalD[i] = 1.0 / aaELLD[i];
}

__global__ void Kernel_CG_CalcA(int nnu, const double* resOldD, const double* PD, const double* qD,
                                double* aNumeratorNextLevelD, double* aDenominatorNextLevelD)
{
    rvz::two_dot_products(nnu, resOldD, resOldD, PD, qD, aNumeratorNextLevelD, aDenominatorNextLevelD);
}

__global__ void Kernel_JCG_CalcA(int nnu, const double* resOldD, const double* zOldD, const double* PD,
                                 const double* qD, double* aNumeratorNextLevelD, double* aDenominatorNextLevelD)
{
    rvz::two_dot_products(nnu, resOldD, zOldD, PD, qD, aNumeratorNextLevelD, aDenominatorNextLevelD);
}

__global__ void Kernel_CG_CalcSol(int nnu, double* sol_D, const double* sol0_D, const double* P_D, double alpha)
{
    const int i = row_index();
    if (i < nnu) sol_D[i] = fma(alpha, P_D[i], sol0_D[i]);
}

__global__ void Kernel_CG_CalcResidual_Out(int nnu, double alpha, const double* qD, double* resD,
                                           const double* resOldD, double* resNextLevelD)
{
    rvz::update_with_norm(nnu, alpha, qD, resOldD, resD, resNextLevelD);
}

__global__ void Kernel_CG_CalcB(int nnu, const double* resOldest_D, const double* resOld_D,
                                double* bNumeratorNextLevelD, double* bDenominatorNextLevelD)
{
    rvz::two_dot_products(nnu, resOld_D, resOld_D, resOldest_D, resOldest_D, bNumeratorNextLevelD,
                          bDenominatorNextLevelD);
}

__global__ void Kernel_JCG_CalcB(int nnu, const double* resOldestD, const double* resOldD, const double* zOldestD,
                                 const double* zOldD, double* bNumeratorNextLevelD, double* bDenominatorNextLevelD)
{
    rvz::two_dot_products(nnu, resOldD, zOldD, resOldestD, zOldestD, bNumeratorNextLevelD, bDenominatorNextLevelD);
}

__global__ void Kernel_CG_CalcP(int nnu, double* P_D, const double* Pold_D, const double* resOld_D, double b)
{
    const int i = row_index();
    if (i < nnu) P_D[i] = fma(b, Pold_D[i], resOld_D[i]);
}

__global__ void Kernel_JCG_CalcZ(int nnu, const double* DiagonalReciprocalD, const double* resD, double* zD)
{
    const int i = row_index();
    if (i < nnu) zD[i] = resD[i] * DiagonalReciprocalD[i];
}
