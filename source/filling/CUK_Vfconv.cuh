// Volume-fraction kernels: donor Courant numbers and cell fill rates (per-face
// values), the volume-fraction equation (upwind face coefficients, the CICSAM
// blending factor with the front statistics, inlet, unsteady and relaxation
// terms, boundary and face values) and the fill-volume operations (limiting,
// arrival times, statistics, volume correction). Included by CU_Vfconv.cu
// only. Face-to-cell sums go through the shared collect and update kernels.
#pragma once

#include "CUK_CollectResidual.cuh"
#include "CUK_VofSteps.cuh"

namespace rvz {
namespace vof {

// The band of front cells: strictly above FCRI - 0.2.
constexpr double kFrontBand = 0.2;
__device__ __forceinline__ bool InFrontBand(double phi, double FCRI) { return phi > FCRI - kFrontBand; }

// The interface-sharpening blend of CICSAM for one face: the two bounds of
// the normalised donor value weighted by the interface angle (outside [0, 1]
// both bounds are the donor value itself), and the blending factor beta
// that places the face value between donor and acceptor.
struct Cicsam {
    InterfaceFace face;
    double Co;  // donor Courant number

    __device__ __forceinline__ double Beta() const
    {
        const double tD = face.NormalisedDonor();
        CicsamBounds b{tD, tD};
        if (InNormalisedRange(tD)) b = CicsamBoundsOf(tD, Co);
        const double gamma = CicsamWeight(face.CosAngle());
        const double tf = gamma * b.cbc + (1.0 - gamma) * b.uq;
        return BlendingFactor(tf, tD);
    }
};

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
    VolFD[c] = rvz::vof::SnapEarly(rvz::vof::ClampUnit(VolFD[c]), EMF, EMF1);
}

__global__ void Kernel_Calc_Vfconv_VolF_FillVol_More(int n, double* VolFD, double EMF, double FCRI)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    VolFD[c] = rvz::vof::SnapLate(rvz::vof::ClampUnit(VolFD[c]), EMF, FCRI);
}

// Snaps to 1 only a cell whose arrival time has been recorded.
__global__ void Kernel_Calc_Vfconv_VolF_Update(int n, double* VolFD, const float* MFD, double EMF, double FCRI)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    VolFD[c] = rvz::vof::SnapToRecordedFront(VolFD[c], MFD[c], EMF, FCRI);
}

__global__ void Kernel_Calc_Vfconv_RecordIsoFilledSurface(int n, double Time, double FCRI, float* MFD,
                                                          const double* VolFD)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    rvz::vof::RecordArrival(MFD[c], VolFD[c], FCRI, Time);
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

// ---------------------------------------------------------------------------
// Volume-fraction equation
// ---------------------------------------------------------------------------

// First-order upwind coefficients with their matrix sign: aE for the
// neighbour's column of P's row (m <= 0), aW for the owner's column of E's
// row (m > 0).
__global__ void Kernel_Calc_InnerFluxVolF_aEaW(int n, const double* mfeD, double* aED, double* aWD)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    const double m = mfeD[f];
    aED[f] = rvz::vof::Inflow(m);
    aWD[f] = m > 0.0 ? -m : 0.0;
}

__global__ void Kernel_Calc_InnerFluxVolF_aE(int n, const double* mfeD, double* aED)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    aED[f] = rvz::vof::Inflow(mfeD[f]);
}

// The blending factor of each face, and per block the two front sums: a
// face whose donor lies within 0.2 of FCRI adds Co V and V of its donor.
__global__ void Kernel_Calc_InnerFluxVolF_Betaf_temp_CeMax(int n, const int* ijCVPD, const int* ijCVED,
                                                           const double* CourantNoD, const double* dVF_dxD,
                                                           const double* dVF_dyD, const double* dVF_dzD,
                                                           const double* xcD, const double* ycD, const double* zcD,
                                                           const double* VolFD, const double* volumeD, double FCRI,
                                                           const double* mfeD, double* BetafD, double* ceMaxD,
                                                           double* frontVolD)
{
    rvz::block_reduce2_256<rvz::SumOp, double>(
        [&](int f) {
            if (f >= n) return rvz::Pair<double>{0.0, 0.0};
            const rvz::vof::DonorAcceptor da = rvz::vof::DonorOf(mfeD[f], ijCVPD[f], ijCVED[f]);
            const rvz::vof::Cicsam face{
                rvz::vof::LoadInterfaceFace(da, VolFD, xcD, ycD, zcD, dVF_dxD, dVF_dyD, dVF_dzD), CourantNoD[da.D]};
            BetafD[f] = face.Beta();
            if (!(fabs(face.face.phiD - FCRI) < rvz::vof::kFrontBand)) return rvz::Pair<double>{0.0, 0.0};
            const double V = volumeD[da.D];
            return rvz::Pair<double>{face.Co * V, V};
        },
        ceMaxD, frontVolD);
}

__global__ void Kernel_Calc_InnerFluxVolF_CollectCeMaxFrontVol(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

// Inlet faces: the boundary value becomes MELT; the inflow a = min(m, 0)
// gives the source -a MELT, the fill rate a and the coefficient a.
__global__ void Kernel_Calc_Vfconv_InletBC_CellFRtemp_Sutemp_CB(int n, const int* ijInletD,
                                                                const double* MassFluxInletD, double* VolFD,
                                                                double MELT, double* tempSuD, double* tempCellFRD,
                                                                double* CBD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const double a = rvz::vof::Inflow(MassFluxInletD[k]);
    VolFD[ijInletD[k]] = MELT;
    tempSuD[k] = -a * MELT;
    tempCellFRD[k] = a;
    CBD[k] = a;
}

// Time term in Crank-Nicolson form: the row's off-diagonal entries are
// halved in place, V/dt joins the diagonal, and the old level's explicit
// half goes to the source.
__global__ void Kernel_Calc_Vfconv_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow,
                                                            const double* volumeD, double dt, double* AELLD,
                                                            double* SuD, const double* VolF0D,
                                                            const int* indexELLD)
{
    const int r = rvz::vof::ThreadIndex();
    if (r >= nnu) return;
    rvz::vof::CrankNicolsonRow(r, volumeD[r] / dt, new_nnu, NColumnPerRow, AELLD, SuD, VolF0D, indexELLD);
}

// Under-relaxed diagonal from the accumulated diagonal AD and the row's
// off-diagonal sum; the relaxation's explicit part goes to SfiD.
__global__ void Kernel_Calc_Vfconv_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double relax,
                                              const double* VolFD, double* AELLD, const double* AD, double* SfiD)
{
    const int r = rvz::vof::ThreadIndex();
    if (r >= nnu) return;
    double s = 0.0;
    for (int j = 1; j < NColumnPerRow; ++j) s = s + AELLD[rvz::accum::Position(r, j, new_nnu)];
    const double diag = (AD[r] - s) / relax;
    AELLD[r] = diag;
    SfiD[r] = SfiD[r] + (1.0 - relax) * diag * VolFD[r];
}

// Zero-gradient boundary value: the slot takes its cell's value (walls and
// symmetry planes alike).
__global__ void Kernel_Calc_Vfconv_VolF_CopyCellToSlot(int n, const int* ijCVD, const int* ijD, double* VolFD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    VolFD[ijD[k]] = VolFD[ijCVD[k]];
}

// Face value between donor and acceptor by the blending factor, each side
// the mean of the new and old levels, clamped to [0, 1].
__global__ void Kernel_Calc_Vfconv_UpdateCellFaceValue(int n, const int* ijCVPD, const int* ijCVED,
                                                       const double* MassFluxD, const double* BetafeD,
                                                       const double* VolFD, const double* VolF0D, double* VFeD)
{
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    const rvz::vof::DonorAcceptor da = rvz::vof::DonorOf(MassFluxD[f], ijCVPD[f], ijCVED[f]);
    const double beta = BetafeD[f];
    const double donor = (VolFD[da.D] + VolF0D[da.D]) / 2.0;
    const double acceptor = (VolFD[da.A] + VolF0D[da.A]) / 2.0;
    VFeD[f] = rvz::vof::ClampUnit((1.0 - beta) * donor + beta * acceptor);
}
