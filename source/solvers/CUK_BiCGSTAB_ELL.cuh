// The matrix products of the ELL BiCGSTAB. Included by CU_BiCGSTAB_ELL.cu only.
#pragma once

#include "CUK_BiCGSTAB_Basic.cuh"

// v = A P (plain method).
__global__ void Kernel_BiCGSTAB_ELL_Calc_v(int nnu, int new_nnu, int NColumnPerRow, double* vD, const double* aaELLD,
                                           const int* indexELLD, const double* PD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, vD, aaELLD, indexELLD, PD);
}

// t = A s (plain method).
__global__ void Kernel_BiCGSTAB_ELL_Calc_t(int nnu, int new_nnu, int NColumnPerRow, double* tD, const double* aaELLD,
                                           const int* indexELLD, const double* sD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, tD, aaELLD, indexELLD, sD);
}

// v = A pHat (Jacobi method).
__global__ void Kernel_BiJCGSTAB_ELL_Calc_v(int nnu, int new_nnu, int NColumnPerRow, double* vD,
                                            const double* aaELLD, const int* indexELLD, const double* ppD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, vD, aaELLD, indexELLD, ppD);
}

// t = A sHat (Jacobi method).
__global__ void Kernel_BiJCGSTAB_ELL_Calc_t(int nnu, int new_nnu, int NColumnPerRow, double* tD,
                                            const double* aaELLD, const int* indexELLD, const double* ssD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, tD, aaELLD, indexELLD, ssD);
}
