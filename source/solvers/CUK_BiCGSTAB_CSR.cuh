// The matrix products of the CSR BiCGSTAB. Included by CU_BiCGSTAB_CSR.cu only.
#pragma once

#include "CUK_BiCGSTAB_Basic.cuh"

// v = A P (or A pHat); on a GPU with the block cache (4096 bytes of shared memory).
__global__ void Kernel_BiCGSTAB_CSR_Calc_v(int nnu, double* v_D, const int* ia_D, const int* ja_D,
                                           const double* aa_D, const double* P_D)
{
    RVZ_CSR_PRODUCT(nnu, v_D, ia_D, ja_D, aa_D, P_D);
}

// t = A s (or A sHat).
__global__ void Kernel_BiCGSTAB_CSR_Calc_t(int nnu, double* t_D, const int* ia_D, const int* ja_D,
                                           const double* aa_D, const double* s_D)
{
    RVZ_CSR_PRODUCT(nnu, t_D, ia_D, ja_D, aa_D, s_D);
}
