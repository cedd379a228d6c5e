// Element steps of the partition-interface copy lists, shared by the copy
// kernels of the distributed BiCGSTAB drivers and their stream twins.
#pragma once

#include "CUK_CG_Basic.cuh"

namespace rvz {

// ParD2HCopyList[k] = fi[ijParCV[k]]: the values sent to the neighbours.
__device__ __forceinline__ void gather_copy_list(int NParInterFace, const int* ijParCVD, const double* fiD,
                                                 double* ParD2HCopyListD)
{
    const int k = row_index();
    if (k < NParInterFace) ParD2HCopyListD[k] = fiD[ijParCVD[k]];
}

// fi[ijPar[k]] = ParH2DCopyList[k]: the neighbours' values into the halo.
__device__ __forceinline__ void scatter_copy_list(int NParInterFace, const int* ijParD, const double* ParH2DCopyListD,
                                                  double* fiD)
{
    const int k = row_index();
    if (k < NParInterFace) fiD[ijParD[k]] = ParH2DCopyListD[k];
}

}  // namespace rvz

// The products of the caller-storage Jacobi BiCGSTAB (defined with it, in
// CU_BiCGSTAB_ELL_woMalloc.cu), which the distributed drivers reuse.
__global__ void Kernel_BiCGSTAB_ELL_woMalloc_Calc_v(int nnu, int new_nnu, int NColumnPerRow, double* vD,
                                                    const double* aaELLD, const int* indexELLD, const double* ppD);
__global__ void Kernel_BiCGSTAB_ELL_woMalloc_Calc_t(int nnu, int new_nnu, int NColumnPerRow, double* tD,
                                                    const double* aaELLD, const int* indexELLD, const double* ssD);
