// The matrix product of the CSR conjugate gradient. Included by CU_CG_CSR.cu only.
#pragma once

#include "CUK_CG_Basic.cuh"

// q = A P, one thread per row; on a GPU with the block cache of P
// (launch with 4096 bytes of shared memory).
__global__ void Kernel_CG_CSR_Calc_q(int nnu, double* q_D, const int* ia_D, const int* ja_D, const double* aa_D,
                                     const double* P_D)
{
    RVZ_CSR_PRODUCT(nnu, q_D, ia_D, ja_D, aa_D, P_D);
}
