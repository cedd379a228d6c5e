// Kernels of the distributed CSR conjugate gradient. Included by
// CU_CGP_CSR.cu only.
//
// Column indices at or above nnu name halo positions, which may lie in the
// index range of the last block of rows. The block cache of the serial CSR
// kernels holds 0.0 there, so the distributed products read x directly.
#pragma once

#include "CUK_CG_Basic.cuh"

// r = b - A.x0 with x0 read directly (halo columns included) and per-block
// sums of r^2.
__global__ void Kernel_CGP_CSR_CalcResidual_In(int nnu, const int* ia_D, const int* ja_D, const double* aa_D,
                                               const double* rhs_D, const double* sol0_D, double* res_D,
                                               double* resNextLevel_D)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double r = rhs_D[i] - rvz::csr_row_product(i, ia_D, ja_D, aa_D, sol0_D);
            res_D[i] = r;
            return r * r;
        },
        resNextLevel_D);
}
