// Volume-fraction kernels: donor Courant numbers and cell fill rates (per-face
// values), the volume-fraction equation (upwind face coefficients, the CICSAM
// blending factor with the front statistics, inlet, unsteady and relaxation
// terms, boundary and face values) and the fill-volume operations (limiting,
// arrival times, statistics, volume correction). Included by CU_Vfconv.cu
// only. Face-to-cell sums go through the shared collect and update kernels.
#pragma once

#include <math.h>

#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"

namespace rvz {
namespace vof {

using accum::ThreadIndex;

// The value when it is strictly positive, else 0.
__device__ __forceinline__ double PositivePart(double x) { return x > 0.0 ? x : 0.0; }

// The value when it is zero or negative (an inflow), else 0.
__device__ __forceinline__ double Inflow(double m) { return m <= 0.0 ? m : 0.0; }

// Clamp to [lo, hi]; a NaN passes through unchanged.
__device__ __forceinline__ double Clamp(double x, double lo, double hi)
{
    if (x < lo) return lo;
    if (x > hi) return hi;
    return x;
}

__device__ __forceinline__ double ClampUnit(double x) { return Clamp(x, 0.0, 1.0); }

// The band of front cells: strictly above FCRI - 0.2.
constexpr double kFrontBand = 0.2;
__device__ __forceinline__ bool InFrontBand(double phi, double FCRI) { return phi > FCRI - kFrontBand; }

// Extended-path wall face: it takes part in the donor Courant number while
// the melt has not reached it (phi_B < fcri), when it is an outlet, or when
// it is a moving wall the melt has reached in moving-wall mode.
__device__ __forceinline__ double WallFaceWeight(double phiB, double fcri, int isOutlet, int isMoveWall, int iICM_Status)
{
    const bool open = phiB < fcri || isOutlet > 0 || (isMoveWall == 1 && iICM_Status == 1 && phiB > fcri);
    return open ? 1.0 : 0.0;
}

}  // namespace vof
}  // namespace rvz

// ---------------------------------------------------------------------------
// Donor Courant numbers and cell fill rate: per-face values
// ---------------------------------------------------------------------------

// Outflow Courant number of each side: m dt / V_P for the owner, -m dt / V_E
// for the neighbour, each kept only when positive.
__global__ void Kernel_Calc_CourantNoDonnorCell_temp(int n, const int* ijCVPD, const int* ijCVED, double dt,
                                                     const double* MassFluxD, const double* volumeD, double* tempPD,
                                                     double* tempED)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    const double m = MassFluxD[f];
    tempPD[f] = rvz::vof::PositivePart(m * dt / volumeD[ijCVPD[f]]);
    tempED[f] = rvz::vof::PositivePart(-m * dt / volumeD[ijCVED[f]]);
}

__global__ void Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_temp(int n, const int* ijCVPD, const int* ijCVED,
                                                               const double* MassFluxD,
                                                               const double* pd_dt_Over_volumeD, double* tempPD,
                                                               double* tempED)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    const double m = MassFluxD[f];
    tempPD[f] = rvz::vof::PositivePart(m * pd_dt_Over_volumeD[ijCVPD[f]]);
    tempED[f] = rvz::vof::PositivePart(pd_dt_Over_volumeD[ijCVED[f]] * (-m));
}

__global__ void Kernel_Calc_VOF_FlowE_pd_dt_Over_volume(int n, double dt_, const double* volumeD,
                                                        double* pd_dt_Over_volumeD)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    pd_dt_Over_volumeD[c] = dt_ / (volumeD[c] + 1.0e-30);
}

__global__ void Kernel_Calc_CourantNoDonnorCell_Wall_temp(int n, const int* ijWallCVD, double dt,
                                                          const int* FCRIMatchD, const double* MassFluxWallD,
                                                          const double* volumeD, double* tempD)
{
    const int w = rvz::vof::ThreadIndex();
    if (w >= n) return;
    const double outflow = rvz::vof::PositivePart(MassFluxWallD[w] * dt / volumeD[ijWallCVD[w]]);
    tempD[w] = outflow * static_cast<double>(FCRIMatchD[w]);
}

__global__ void Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Wall_temp(
    int n, double fcri, int iICM_Status, const int* ijWallCVD, const int* ijWallD, const int* piIsOutletD,
    const int* isMoveWallD, const double* VolFD, const double* MassFluxOutletD, const double* pd_dt_Over_volumeD,
    double* tempD)
{
    const int w = rvz::vof::ThreadIndex();
    if (w >= n) return;
    const double weight =
        rvz::vof::WallFaceWeight(VolFD[ijWallD[w]], fcri, piIsOutletD[w], isMoveWallD[w], iICM_Status);
    tempD[w] = rvz::vof::PositivePart(MassFluxOutletD[w] * pd_dt_Over_volumeD[ijWallCVD[w]]) * weight;
}

// An inlet face counts only while it is not an active inlet and the melt has
// not reached its boundary value.
__global__ void Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(int n, double fcri, const int* ijInletCVD,
                                                                    const int* ijInletD, const int* gpInletbInD,
                                                                    const double* VolFD, const double* MassFluxInletD,
                                                                    const double* pd_dt_Over_volumeD, double* tempD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const bool counts = gpInletbInD[k] == 0 && VolFD[ijInletD[k]] < fcri;
    tempD[k] = counts ? rvz::vof::PositivePart(MassFluxInletD[k] * pd_dt_Over_volumeD[ijInletCVD[k]]) : 0.0;
}

__global__ void Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Par_temp(int n, const int* ijCVPParD,
                                                                   const double* MassFluxParD,
                                                                   const double* pd_dt_Over_volumeD, double* tempPD)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    tempPD[f] = rvz::vof::PositivePart(MassFluxParD[f] * pd_dt_Over_volumeD[ijCVPParD[f]]);
}

__global__ void Kernel_Calc_VOF_Flow_CourantNoDonnorCell_Par_temp(int n, const int* ijCVPParD,
                                                                  const double* MassFluxParD, double dt,
                                                                  const double* volumeD, double* tempPD)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    tempPD[f] = rvz::vof::PositivePart(MassFluxParD[f] * dt / volumeD[ijCVPParD[f]]);
}

// The owner side keeps an inflow (m <= 0), the neighbour side an outflow of
// the owner (m > 0, an inflow of the neighbour).
__global__ void Kernel_Calc_CellFR_temp(int n, const double* MassFluxD, double* tempPD, double* tempED)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    const double m = MassFluxD[f];
    tempPD[f] = rvz::vof::Inflow(m);
    tempED[f] = m > 0.0 ? m : 0.0;
}

__global__ void Kernel_Calc_CellFR_tempP(int n, const double* MassFluxD, double* tempPD)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    tempPD[f] = rvz::vof::Inflow(MassFluxD[f]);
}

// ---------------------------------------------------------------------------
// Fill-volume bookkeeping and front update (one thread per cell)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_Vfconv_VolF_FillVol_Less(int n, double* VolFD, double EMF, double EMF1)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    double phi = rvz::vof::ClampUnit(VolFD[c]);
    if (phi <= EMF) phi = 0.0;
    if (phi >= EMF1) phi = 1.0;
    VolFD[c] = phi;
}

__global__ void Kernel_Calc_Vfconv_VolF_FillVol_More(int n, double* VolFD, double EMF, double FCRI)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    double phi = rvz::vof::ClampUnit(VolFD[c]);
    if (phi < EMF) phi = 0.0;
    if (phi >= FCRI) phi = 1.0;
    VolFD[c] = phi;
}

// Snaps to 1 only a cell whose arrival time has been recorded.
__global__ void Kernel_Calc_Vfconv_VolF_Update(int n, double* VolFD, const float* MFD, double EMF, double FCRI)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    double phi = rvz::vof::ClampUnit(VolFD[c]);
    if (phi < EMF) phi = 0.0;
    if (phi >= FCRI && static_cast<double>(MFD[c]) >= 1.0e-30) phi = 1.0;
    VolFD[c] = phi;
}

__global__ void Kernel_Calc_Vfconv_RecordIsoFilledSurface(int n, double Time, double FCRI, float* MFD,
                                                          const double* VolFD)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    if (MFD[c] == 0.0f && VolFD[c] >= FCRI) MFD[c] = static_cast<float>(Time);
}

__global__ void Kernel_ResetVolFToSpecificValue(int n, double* VolFD, double Value)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    VolFD[c] = Value;
}

// Every front cell receives the same absolute volume dvol.
__global__ void Kernel_Calc_FVolUpdate_UpdateVolF(int n, double dvol, double FCRI, double* VolFD,
                                                  const double* volumeD)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    const double phi = VolFD[c];
    if (!rvz::vof::InFrontBand(phi, FCRI)) return;
    const double raised = phi + dvol / (volumeD[c] + 1.0e-30);
    VolFD[c] = raised < 1.0 ? raised : 1.0;
}

// Statistics: first level (one contribution per cell) and collecting passes.
__global__ void Kernel_Calc_FVolUpdate_FillVol(int n, const double* VolFD, const double* volumeD, double* sumD)
{
    rvz::block_reduce_256<rvz::SumOp, double>([&](int c) { return c < n ? VolFD[c] * volumeD[c] : 0.0; }, sumD);
}

__global__ void Kernel_Calc_FVolUpdate_UnFilledCells(int n, double FCRI, const double* VolFD, int* countD)
{
    rvz::block_reduce_256<rvz::SumOp, int>([&](int c) { return c < n && VolFD[c] < FCRI ? 1 : 0; }, countD);
}

__global__ void Kernel_Calc_FVolUpdate_nfront(int n, double FCRI, const double* VolFD, int* countD)
{
    rvz::block_reduce_256<rvz::SumOp, int>(
        [&](int c) { return c < n && rvz::vof::InFrontBand(VolFD[c], FCRI) ? 1 : 0; }, countD);
}

__global__ void Kernel_Calc_FVolUpdate_FillVol_Collection(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_Calc_FVolUpdate_UnFilledCells_Collection(int n, const int* in, int* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_Calc_FVolUpdate_nfront_Collection(int n, const int* in, int* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}
