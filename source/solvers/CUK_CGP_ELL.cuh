// Kernels of the distributed ELL conjugate gradient. Included by
// CU_CGP_ELL.cu only.
#pragma once

#include "CUK_CG_Basic.cuh"

// q = A P with halo columns (plain method).
__global__ void Kernel_CG_ELL_Calc_q_parallel(int nnu, int new_nnu, int NColumnPerRow, double* qD,
                                              const double* aaELLD, const int* indexELLD, const double* PD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, qD, aaELLD, indexELLD, PD);
}

// q = A P with halo columns (Jacobi method).
__global__ void Kernel_JCG_ELL_Calc_q_parallel(int nnu, int new_nnu, int NColumnPerRow, double* qD,
                                               const double* aaELLD, const int* indexELLD, const double* PD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, qD, aaELLD, indexELLD, PD);
}

// Gathers the sent values: isndlistValue[k] = P[isndlist[k]], k < nshalo.
__global__ void Kernel_Map_P2isndlistValue(int nshalo, double* isndlistValueD, const int* isndlistD,
                                           const double* PD)
{
    const int k = rvz::row_index();
    if (k < nshalo) isndlistValueD[k] = PD[isndlistD[k]];
}
