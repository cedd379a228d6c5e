// The matrix products of the ELL conjugate gradient. Included by CU_CG_ELL.cu only.
#pragma once

#include "CUK_CG_Basic.cuh"

// q = A P (plain method).
__global__ void Kernel_CG_ELL_Calc_q(int nnu, int new_nnu, int NColumnPerRow, double* qD, const double* aaELLD,
                                     const int* indexELLD, const double* PD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, qD, aaELLD, indexELLD, PD);
}

// q = A P (Jacobi method).
__global__ void Kernel_JCG_ELL_Calc_q(int nnu, int new_nnu, int NColumnPerRow, double* qD, const double* aaELLD,
                                      const int* indexELLD, const double* PD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, qD, aaELLD, indexELLD, PD);
}
