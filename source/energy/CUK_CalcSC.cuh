// Energy equation kernels: interior faces with the dropped-correction
// count, boundary values and gradients, the three wall thermal conditions,
// hot-runner walls, volumetric sources, the blended time term, the lower
// temperature bound and the final coefficients. Face-to-cell sums go
// through the shared collect and update kernels of CUK_Accumulate.cuh.
// Included by CU_CalcSC.cu only.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"
#include "CUK_EnergyFace.cuh"

namespace rvz {
namespace sc {

using energy::FaceConductivity;
using energy::TransferConductance;
using flow::Dot;
using flow::Load3;
using flow::Vec3;

// A correction is dropped where it outweighs the implicit part by this
// factor, or by the smaller one while a cell of the face is unfilled.
constexpr double kDropRatio = 5.0;
constexpr double kDropRatioUnfilled = 1.0;
// Largest viscous heating rate of a cell, in temperature units per unit time.
constexpr double kMaxHeatingRate = 20.0;
// Diagonal penalty that holds a hot-runner cell at the melt temperature.
constexpr double kPenalty = 1.0e30;

// The read-only inputs of the interior-face kernels. leD == nullptr means
// every E-side weight is 1.
struct FaceInputs {
    double mCp, FCRI;
    const int *ijPD, *ijED;
    const double* leD;
    const double *fiD, *dxD, *dyD, *dzD;
    const double *xcD, *ycD, *zcD;
    const double *sxD, *syD, *szD;
    const double *mfeD, *VolFD, *mkD;
};

// What one interior face contributes.
struct FaceTerms {
    double aE, aW;  // matrix coefficients in the owner's and neighbour's rows
    double cross;   // explicit non-orthogonal part, 0 where dropped
    int dropped;    // 1 where the correction was dropped
};

// Is a correction C dropped against the implicit part R?
__device__ __forceinline__ bool CorrectionDropped(double R, double C, bool unfilledCell)
{
    if (R == 0.0) return false;  // a NaN R counts as non-zero
    const double q = fabs(C / (R + 1.0e-30));
    return q >= kDropRatio || (q >= kDropRatioUnfilled && unfilledCell);
}

// Conduction with the non-orthogonal correction and first-order upwind
// convection of face f.
__device__ __forceinline__ FaceTerms InteriorFace(int f, const FaceInputs& in)
{
    const int P = in.ijPD[f];
    const int E = in.ijED[f];
    const double le = in.leD != nullptr ? in.leD[f] : 1.0;
    const Vec3 S = Load3(in.sxD, in.syD, in.szD, f);
    const Vec3 d = flow::From(Load3(in.xcD, in.ycD, in.zcD, P), Load3(in.xcD, in.ycD, in.zcD, E));
    const Vec3 g = energy::FaceGradient(le, P, E, in.dxD, in.dyD, in.dzD);
    const double kf = FaceConductivity(le, in.mkD[P], in.mkD[E]);
    const double D = kf * sqrt(Dot(S, S)) / (sqrt(Dot(d, d)) + 1.0e-30);
    const double R = D * (in.fiD[E] - in.fiD[P]);
    const double C = energy::CrossDiffusion(kf, g, S, D, d);
    const bool unfilled = in.VolFD[P] < in.FCRI || in.VolFD[E] < in.FCRI;
    const bool dropped = CorrectionDropped(R, C, unfilled);
    const energy::UpwindPair a = energy::UpwindCoefficients(in.mfeD[f], in.mCp, D);
    return FaceTerms{a.aE, a.aW, dropped ? 0.0 : C, dropped ? 1 : 0};
}

// One block of interior faces: per-face outputs, and the block's count of
// dropped corrections at counts[block]. Threads past n count 0.
template <bool WriteAW>
__device__ __forceinline__ void InteriorFaceBlock(int n, const FaceInputs& in, double* aED, double* aWD,
                                                  double* tempD, int* counts)
{
    block_reduce_256<SumOp, int>(
        [&](int f) {
            if (f >= n) return 0;
            const FaceTerms t = InteriorFace(f, in);
            aED[f] = t.aE;
            if constexpr (WriteAW) aWD[f] = t.aW;
            tempD[f] = t.cross;
            return t.dropped;
        },
        counts);
}

// A wall face whose thermal condition applies (wetted, not a hot runner),
// and a wetted hot-runner face.
__device__ __forceinline__ bool ActiveWall(int match, int hotRunner) { return match == 0 && hotRunner != 1; }
__device__ __forceinline__ bool HotRunnerWall(int match, int hotRunner) { return match == 0 && hotRunner == 1; }

}  // namespace sc
}  // namespace rvz

// ---------------------------------------------------------------------------
// Interior faces (block kernels: the face work feeds the block's count)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_InnerFluxSC_Flow(int n, rvz::sc::FaceInputs in, double* aED, double* aWD, double* tempD,
                                             int* norkkNextLevel_D)
{
    rvz::sc::InteriorFaceBlock<true>(n, in, aED, aWD, tempD, norkkNextLevel_D);
}

// Every weight 1 (the launch passes in.leD == nullptr).
__global__ void Kernel_Calc_InnerFluxSC_Flow_ONE(int n, rvz::sc::FaceInputs in, double* aED, double* aWD,
                                                 double* tempD, int* norkkNextLevel_D)
{
    rvz::sc::InteriorFaceBlock<true>(n, in, aED, aWD, tempD, norkkNextLevel_D);
}

// Partition-interface faces: the neighbour's row is not assembled here.
__global__ void Kernel_Calc_InnerFluxSC_Flow_wo_aW(int n, rvz::sc::FaceInputs in, double* aED, double* tempD,
                                                   int* norkkNextLevel_D)
{
    rvz::sc::InteriorFaceBlock<false>(n, in, aED, nullptr, tempD, norkkNextLevel_D);
}

// Collecting pass of the count: 512 entries per block.
__global__ void Kernel_Calc_norkk_CollectData(int n, const int* in, int* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

// ---------------------------------------------------------------------------
// Boundary values and gradients (one thread per list entry)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_InletBoundarySC_Update_ddfi(int n, bool IsTranInConv_RIM, double MeltT,
                                                        double dTransientInletTemperature, const int* ijInletCVD,
                                                        const int* ijInletD, double* dp_dxD, double* dp_dyD,
                                                        double* dp_dzD, double* fiD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijInletCVD[k];
    const int b = ijInletD[k];
    dp_dxD[b] = dp_dxD[c];
    dp_dyD[b] = dp_dyD[c];
    dp_dzD[b] = dp_dzD[c];
    fiD[b] = IsTranInConv_RIM ? dTransientInletTemperature : MeltT;
}

// Zero gradient: the slot takes the cell's value and gradient.
__global__ void Kernel_Calc_OutletBoundarySC_Update_ddfi(int n, const int* ijOutletCVD, const int* ijOutletD,
                                                         double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijOutletCVD[k];
    const int b = ijOutletD[k];
    dp_dxD[b] = dp_dxD[c];
    dp_dyD[b] = dp_dyD[c];
    dp_dzD[b] = dp_dzD[c];
    fiD[b] = fiD[c];
}

__global__ void Kernel_Calc_SymmetryBoundary_UpdateT(int n, const int* ijSymmCVD, const int* ijSymmD, double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    TD[ijSymmD[k]] = TD[ijSymmCVD[k]];
}

// An unwetted wall face (flag 1) is adiabatic: its slot takes the cell's
// value and gradient; a wetted one keeps its own.
__global__ void Kernel_Calc_WallBoundarySC_ddfi(int n, const int* ijWallCVD, const int* ijWallD,
                                                const int* FCRIMatchD, double* dp_dxD, double* dp_dyD,
                                                double* dp_dzD, double* fiD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    const int b = ijWallD[k];
    const int m = FCRIMatchD[k];
    dp_dxD[b] = rvz::flow::VentOrOwn(m, dp_dxD[c], dp_dxD[b]);
    dp_dyD[b] = rvz::flow::VentOrOwn(m, dp_dyD[c], dp_dyD[b]);
    dp_dzD[b] = rvz::flow::VentOrOwn(m, dp_dzD[c], dp_dzD[b]);
    fiD[b] = rvz::flow::VentOrOwn(m, fiD[c], fiD[b]);
}

// ---------------------------------------------------------------------------
// Wall thermal conditions and hot-runner walls
// ---------------------------------------------------------------------------

// Mould-temperature wall: conductance k_b G of the cell-to-wall distance.
__global__ void Kernel_Calc_WallBoundarySC_UpdateT_coef(int n, const int* ijWallCVD, const int* ijWallD,
                                                        const int* FCRIMatchD, const int* HotRunnerCellD,
                                                        const double* Surf_DistWallD, const double* mkD,
                                                        const double* C2FMoldTD, double* coefD, double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int b = ijWallD[k];
    if (rvz::sc::ActiveWall(FCRIMatchD[k], HotRunnerCellD[ijWallCVD[k]])) TD[b] = C2FMoldTD[k];
    coefD[k] = mkD[b] * Surf_DistWallD[k];
}

// Wall with a heat-transfer coefficient: A h in series with k_b G.
__global__ void Kernel_Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(
    int n, const int* ijWallCVD, const int* ijWallD, const double* ijWallSxD, const double* ijWallSyD,
    const double* ijWallSzD, const int* FCRIMatchD, const int* HotRunnerCellD, double dHeatTransferH_CGS,
    const double* Surf_DistWallD, const double* mkD, const double* C2FMoldTD, double* coefD, double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int b = ijWallD[k];
    if (rvz::sc::ActiveWall(FCRIMatchD[k], HotRunnerCellD[ijWallCVD[k]])) TD[b] = C2FMoldTD[k];
    const double transfer = rvz::sc::TransferConductance(k, ijWallSxD, ijWallSyD, ijWallSzD, dHeatTransferH_CGS);
    const double conduction = mkD[b] * Surf_DistWallD[k];
    coefD[k] = rvz::energy::SeriesConductance(transfer, conduction);
}

// After a solve: the wall surface temperature at which conduction from the
// cell balances the transfer to the mould temperature held in the slot.
__global__ void Kernel_Calc_UpdateThermoBC3WallTemperature(int n, double dHeatTransferH_CGS, const int* ijWallCVD,
                                                           const int* ijWallD, const int* FCRIMatchD,
                                                           const double* ijWallSxD, const double* ijWallSyD,
                                                           const double* ijWallSzD, const double* Surf_DistWallD,
                                                           const double* mkD, double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    if (FCRIMatchD[k] != 0) return;
    const int b = ijWallD[k];
    const double transfer = rvz::sc::TransferConductance(k, ijWallSxD, ijWallSyD, ijWallSzD, dHeatTransferH_CGS);
    const double beta = transfer / Surf_DistWallD[k] / mkD[b];
    TD[b] = rvz::energy::SurfaceTemperature(beta, TD[b], TD[ijWallCVD[k]]);
}

// A hot-runner wall takes its cell's temperature and sees the melt
// temperature as its mould temperature.
__global__ void Kernel_Calc_UpdateHotRunnerWallTemperature(int n, double MeltT, const int* ijWallCVD,
                                                           const int* ijWallD, const int* FCRIMatchD,
                                                           const int* HotRunnerCellD, double* TD, double* C2FMoldTD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    if (!rvz::sc::HotRunnerWall(FCRIMatchD[k], HotRunnerCellD[c])) return;
    TD[ijWallD[k]] = TD[c];
    C2FMoldTD[k] = MeltT;
}

// Collect of the wall conductance into the owner's diagonal.
__global__ void Kernel_CalcSC_WallAi(int n, int new_nnu, const int* ijWallCVD, const int* Px, const int* Py,
                                     const int* FCRIMatchD, const int* HotRunnerCellD, const double* coefD,
                                     double* AELLDtemp)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const bool active = rvz::sc::ActiveWall(FCRIMatchD[k], HotRunnerCellD[ijWallCVD[k]]);
    rvz::accum::StoreOwner(AELLDtemp, new_nnu, Px, Py, k, active ? coefD[k] : 0.0);
}

// The wall's right-hand side coef * T_wall, 0 where the condition does not apply.
__global__ void Kernel_Calc_WallBoundarySC_SourceTerm(int n, const int* ijWallCVD, const int* ijWallD,
                                                      const int* FCRIMatchD, const double* coefD,
                                                      const int* HotRunnerCellD, const double* TD, double* tempD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const bool active = rvz::sc::ActiveWall(FCRIMatchD[k], HotRunnerCellD[ijWallCVD[k]]);
    tempD[k] = active ? coefD[k] * TD[ijWallD[k]] : 0.0;
}

// ---------------------------------------------------------------------------
// Volumetric sources, time term, lower bound (one thread per cell)
// ---------------------------------------------------------------------------

// eta gamma-dot^2 V, the rate capped at kMaxHeatingRate rho cp.
__global__ void Kernel_Calc_ViscousDisspationVolumetricTerm(int n, double FCRI, double lVisHeat, double mCp,
                                                            const double* VolFD, const double* visD,
                                                            const double* SRateD, const double* denD,
                                                            const double* volumeD, double* SuD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    if (!(VolFD[c] >= FCRI) || lVisHeat == 0.0) return;
    const double cap = rvz::sc::kMaxHeatingRate * denD[c] * mCp;
    SuD[c] += rvz::energy::CappedHeating(visD[c], SRateD[c], cap) * volumeD[c];
}

__global__ void Kernel_Calc_ReactionHeat_Su(int n, double FCRI, double mdH, const double* VolFD,
                                            const double* dC_dtD, const double* volumeD, double* SuD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    if (!(VolFD[c] >= FCRI)) return;
    SuD[c] += dC_dtD[c] * mdH * volumeD[c];
}

__global__ void Kernel_Calc_UnsteadyTermContributionSC(int n, double mCp, double dt, double dtNor, double B,
                                                       const double* denD, const double* volumeD, const double* fi0D,
                                                       const double* fi00D, double* SuD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    const double a = rvz::flow::TimeCoefficient(c, dt, dtNor, denD, volumeD) * mCp;
    SuD[c] += a * rvz::flow::BlendedHistory(B, fi0D[c], fi00D[c]);
}

__global__ void Kernel_Calc_2ndImplicitEulerMethodAi_SC(int n, double mCp, double dt, double dtNor, double B,
                                                        const double* denD, const double* volumeD, double* AELLD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    const double a = rvz::flow::TimeCoefficient(c, dt, dtNor, denD, volumeD) * mCp;
    AELLD[c] += a * rvz::flow::BlendedCentral(B);
}

// Raises values below the bound to it; NaN is kept.
__global__ void Kernel_Calc_Updatefi_MoldMelt(int n, double MeltT_MoldT, double* fiD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    if (fiD[c] < MeltT_MoldT) fiD[c] = MeltT_MoldT;
}

// ---------------------------------------------------------------------------
// Final coefficients
// ---------------------------------------------------------------------------

// aP = (AD - sum of off-diagonals)/relax with implicit under-relaxation; a
// hot-runner cell is held at MeltT by the penalty.
__global__ void Kernel_CalcSC_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int nCol, double relax, const double* fiD,
                                                double* AELLD, const double* AD, double* SfiD, double MeltT,
                                                const int* HotRunnerCellD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(c, new_nnu, nCol, AELLD);
    const double aP = (AD[c] - s) / relax;
    if (HotRunnerCellD[c] == 1) {
        AELLD[c] = rvz::sc::kPenalty;
        SfiD[c] = MeltT * rvz::sc::kPenalty;
    } else {
        AELLD[c] = aP;
        SfiD[c] += (1.0 - relax) * aP * fiD[c];
    }
}
