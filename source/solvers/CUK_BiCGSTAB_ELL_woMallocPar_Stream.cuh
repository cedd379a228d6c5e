// Copy-list kernels of the distributed Jacobi BiCGSTAB with a stream.
// Included by CU_BiCGSTAB_ELL_woMallocPar_Stream.cu only.
#pragma once

#include "CUK_ParCopyList.cuh"

__global__ void Kernel_BICGSTAB_fiD2ParD2HCopyListD_Stream(int NParInterFace, const int* ijParCVD, const double* fiD,
                                                           double* ParD2HCopyListD)
{
    rvz::gather_copy_list(NParInterFace, ijParCVD, fiD, ParD2HCopyListD);
}

__global__ void Kernel_BICGSTAB_ParH2DCopyListD2fiD_Stream(int NParInterFace, const int* ijParD,
                                                           const double* ParH2DCopyListD, double* fiD)
{
    rvz::scatter_copy_list(NParInterFace, ijParD, ParH2DCopyListD, fiD);
}
