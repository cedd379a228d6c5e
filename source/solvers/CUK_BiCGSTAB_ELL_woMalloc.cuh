// The matrix products of the caller-storage Jacobi BiCGSTAB. Included by
// CU_BiCGSTAB_ELL_woMalloc.cu only.
#pragma once

#include "CUK_BiCGSTAB_Basic.cuh"

// v = A pHat.
__global__ void Kernel_BiCGSTAB_ELL_woMalloc_Calc_v(int nnu, int new_nnu, int NColumnPerRow, double* vD,
                                                    const double* aaELLD, const int* indexELLD, const double* ppD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, vD, aaELLD, indexELLD, ppD);
}

// t = A sHat.
__global__ void Kernel_BiCGSTAB_ELL_woMalloc_Calc_t(int nnu, int new_nnu, int NColumnPerRow, double* tD,
                                                    const double* aaELLD, const int* indexELLD, const double* ssD)
{
    ell_product(nnu, new_nnu, NColumnPerRow, tD, aaELLD, indexELLD, ssD);
}
