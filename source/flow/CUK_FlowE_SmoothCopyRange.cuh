// Kernels of the extended-flow utilities: the smoothed volume fraction
// (area-weighted mean of the face values around each cell), the
// partition-interface copy lists and the range of a cell field. Included by
// CU_FlowE_SmoothCopyRange.cu only. Face-to-cell sums go through the shared
// collect and update kernels.
#pragma once

#include "CUK_FieldRange.cuh"
#include "CUK_FlowGeometry.cuh"
#include "CUK_ParCopyList.cuh"
#include "CUK_Accumulate.cuh"

namespace rvz {
namespace smooth {

__device__ __forceinline__ int ThreadIndex() { return static_cast<int>(blockIdx.x * blockDim.x + threadIdx.x); }

__device__ __forceinline__ double Area(const double* sxD, const double* syD, const double* szD, int f)
{
    const flow::Vec3 S = flow::Load3(sxD, syD, szD, f);
    return sqrt(flow::Dot(S, S));
}

// The face value of the smoothed field between P and E, times the face area.
__device__ __forceinline__ double AreaWeightedFaceValue(int f, const int* ijPD, const int* ijED, const double* leD,
                                                        const double* SmoothVolFD, double area)
{
    return flow::Interp(leD[f], SmoothVolFD[ijED[f]], SmoothVolFD[ijPD[f]]) * area;
}

}  // namespace smooth
}  // namespace rvz

// ---------------------------------------------------------------------------
// Smoothed volume fraction
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_FlowE_SmoothVariable_InnerFace(int n, const int* ijPD, const int* ijED, const double* leD,
                                                           const double* InnerFaceAreaD, const double* SmoothVolFD,
                                                           double* tempD)
{
    const int f = rvz::smooth::ThreadIndex();
    if (f >= n) return;
    tempD[f] = rvz::smooth::AreaWeightedFaceValue(f, ijPD, ijED, leD, SmoothVolFD, InnerFaceAreaD[f]);
}

__global__ void Kernel_Calc_FlowE_SmoothVariable_InnerFacePar(int n, const int* ijPParD, const int* ijEParD,
                                                              const double* leParD, const double* sxParD,
                                                              const double* syParD, const double* szParD,
                                                              const double* SmoothVolFD, double* tempD)
{
    const int f = rvz::smooth::ThreadIndex();
    if (f >= n) return;
    tempD[f] = rvz::smooth::AreaWeightedFaceValue(f, ijPParD, ijEParD, leParD, SmoothVolFD,
                                                  rvz::smooth::Area(sxParD, syParD, szParD, f));
}

// The partition face's area at both of its positions.
__global__ void Kernel_Calc_FlowE_SmoothVariable_InnerFace_S_Par(int n, int new_nnu, const int* Px, const int* Py,
                                                                 const int* Ex, const int* Ey, const double* sxParD,
                                                                 const double* syParD, const double* szParD,
                                                                 double* AELLDtemp)
{
    const int f = rvz::smooth::ThreadIndex();
    if (f >= n) return;
    const double area = rvz::smooth::Area(sxParD, syParD, szParD, f);
    rvz::accum::StorePair(AELLDtemp, new_nnu, Px, Py, Ex, Ey, f, area, area);
}

// Inlet entry k: the slot value times the face area, and the area.
__global__ void Kernel_Calc_FlowE_SmoothVariable_Inlet(int n, const int* ijInletD, const double* sxD,
                                                       const double* syD, const double* szD,
                                                       const double* SmoothVolFD, double* temp1D, double* temp2D)
{
    const int k = rvz::smooth::ThreadIndex();
    if (k >= n) return;
    const double area = rvz::smooth::Area(sxD, syD, szD, k);
    temp1D[k] = SmoothVolFD[ijInletD[k]] * area;
    temp2D[k] = area;
}

__global__ void Kernel_Calc_FlowE_SmoothVariable_SmoothVolF(int n, const double* VolF_SD, const double* SD,
                                                            double* SmoothVolFD)
{
    const int i = rvz::smooth::ThreadIndex();
    if (i >= n) return;
    SmoothVolFD[i] = VolF_SD[i] / (SD[i] + 1.0e-30);
}

// Zero gradient at walls: the cell value into each wall slot.
__global__ void Kernel_Calc_FlowE_SmoothVariable_Extrapolate_Gradient(int n, const int* ijWallCVD, const int* ijWallD,
                                                                      double* SmoothVolFD)
{
    const int k = rvz::smooth::ThreadIndex();
    if (k >= n) return;
    SmoothVolFD[ijWallD[k]] = SmoothVolFD[ijWallCVD[k]];
}

// The same at inactive inlet faces while a second fluid is injected
// (iFAIMIn = 1) or in fill type 2; other inlet slots are kept.
__global__ void Kernel_Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(int n, int iFAIMIn, int iFillType,
                                                                           const int* ijInletCVD, const int* ijInletD,
                                                                           const int* gpInletbInD,
                                                                           double* SmoothVolFD)
{
    const int k = rvz::smooth::ThreadIndex();
    if (k >= n) return;
    if (gpInletbInD[k] == 0 && (iFAIMIn == 1 || iFillType == 2)) SmoothVolFD[ijInletD[k]] = SmoothVolFD[ijInletCVD[k]];
}

// ---------------------------------------------------------------------------
// Partition copy lists
// ---------------------------------------------------------------------------

__global__ void Kernel_fiD2ParD2HCopyListD(int NParInterFace, const int* ijParCVD, const double* fiD,
                                           double* ParD2HCopyListD)
{
    rvz::gather_copy_list(NParInterFace, ijParCVD, fiD, ParD2HCopyListD);
}

__global__ void Kernel_ParH2DCopyListD2fiD(int NParInterFace, const int* ijParD, const double* ParH2DCopyListD,
                                           double* fiD)
{
    rvz::scatter_copy_list(NParInterFace, ijParD, ParH2DCopyListD, fiD);
}

// ---------------------------------------------------------------------------
// Field range
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_FlowE_FindMaxMinValue(int n, const double* ValueD, double* maxD, double* minD)
{
    rvz::FieldRange(n, ValueD, maxD, minD);
}

__global__ void Kernel_Calc_FlowE_CollectMaxMinData(int n, const double* inMax, const double* inMin, double* outMax,
                                                    double* outMin)
{
    rvz::CollectRange(n, inMax, inMin, outMax, outMin);
}
