// Extended-flow energy kernels: vent flags of wall faces, face mass fluxes,
// interior faces with specific heat per cell and the bounded
// non-orthogonal correction, the one-kernel time term, capped viscous
// heating, final coefficients, isothermal walls with vents and per-face
// heat-transfer coefficients, the two inlet forms, wall surface
// temperatures, hot-runner walls and the hot-runner temperature control.
// Face-to-cell sums go through the shared collect and update kernels of
// CUK_Accumulate.cuh. Included by CU_CalcSC_FlowE.cu only.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_EnergyFace.cuh"

namespace rvz {
namespace sce {

using flow::Dot;
using flow::Load3;
using flow::Vec3;

// Guard of the inlet faces' normal and distance.
constexpr double kInletGuard = 1.0e-20;
// The heat-transfer coefficient in SI units times this is in CGS units.
constexpr double kSIToCGSTransfer = 1000.0;
// The vent pressure arrives in units this factor converts to the solver's.
constexpr double kAirPressureScale = 1.0e7;
// A hot-runner wall slot below this has not yet been initialised.
constexpr double kUninitialised = 1.0e-30;

// The read-only inputs of the interior-face kernels.
struct FaceInputs {
    const double* mCpD;
    const int *ijPD, *ijED;
    const double* leD;
    const double* fiD;
    const double *xcD, *ycD, *zcD;
    const double *sxD, *syD, *szD;
    const double *mkD, *mfeD;
    double nonOrthLimitFactor;
};

// The temperature gradient, read by every form and written by the judged one.
struct Gradient {
    double *dxD, *dyD, *dzD;
};

// What one interior face contributes.
struct FaceTerms {
    double aE, aW;
    double cross;  // limited non-orthogonal part
};

// The fraction lambda of a cross term C that is kept against the implicit
// diffusion flux R = D (T_E - T_P): clamp((beta R + 1e-30)/((1 - beta) C +
// 1e-30), 0, 1). A correction opposite in sign to R is dropped, one of the
// same sign is kept up to beta/(1 - beta) times R.
__device__ __forceinline__ double CrossLimiter(double beta, double D, double dT, double C)
{
    const double r = (beta * D * dT + 1.0e-30) / ((1.0 - beta) * C + 1.0e-30);
    return r < 0.0 ? 0.0 : (r > 1.0 ? 1.0 : r);
}

// Conduction with the limited correction and upwind convection of face f.
// WeightOne: every E-side weight 1 (the neighbour's gradient and specific
// heat, the owner's conductivity; leD is not read).
template <bool WeightOne>
__device__ __forceinline__ FaceTerms InteriorFace(int f, const FaceInputs& in, const Gradient& grad)
{
    const int P = in.ijPD[f];
    const int E = in.ijED[f];
    const Vec3 S = Load3(in.sxD, in.syD, in.szD, f);
    const Vec3 d = flow::From(Load3(in.xcD, in.ycD, in.zcD, P), Load3(in.xcD, in.ycD, in.zcD, E));
    double kf, cf;
    Vec3 g;
    if constexpr (WeightOne) {
        kf = in.mkD[P];
        cf = in.mCpD[E];
        g = Vec3{grad.dxD[E], grad.dyD[E], grad.dzD[E]};
    } else {
        const double le = in.leD[f];
        kf = energy::FaceConductivity(le, in.mkD[P], in.mkD[E]);
        cf = flow::Interp(le, in.mCpD[E], in.mCpD[P]);
        g = energy::FaceGradient(le, P, E, grad.dxD, grad.dyD, grad.dzD);
    }
    // Area over the projected distance: |S|^2 / (S.d).
    const double D = kf * Dot(S, S) / (Dot(S, d) + 1.0e-30);
    const double C = energy::CrossDiffusion(kf, g, S, D, d);
    const double lambda = CrossLimiter(in.nonOrthLimitFactor, D, in.fiD[E] - in.fiD[P], C);
    const energy::UpwindPair a = energy::UpwindCoefficients(in.mfeD[f], cf, D);
    return FaceTerms{a.aE, a.aW, lambda * C};
}

template <bool WeightOne, bool WriteAW>
__device__ __forceinline__ void StoreInteriorFace(int f, const FaceInputs& in, const Gradient& grad, double* aED,
                                                  double* aWD, double* tempD)
{
    const FaceTerms t = InteriorFace<WeightOne>(f, in, grad);
    aED[f] = t.aE;
    if constexpr (WriteAW) aWD[f] = t.aW;
    tempD[f] = t.cross;
}

// The slot (unfilled: VolF < FCRI) test; a NaN volume fraction counts as filled.
__device__ __forceinline__ bool Unfilled(double volF, double FCRI) { return volF < FCRI; }

// Copies the gradient of cell c into entry b.
__device__ __forceinline__ void CopyGradient(double* dxD, double* dyD, double* dzD, int c, int b)
{
    dxD[b] = dxD[c];
    dyD[b] = dyD[c];
    dzD[b] = dzD[c];
}

// Wall conductance: conduction k G alone, or in series with the transfer
// conductance h A when the wall is of thermal kind 3.
__device__ __forceinline__ double WallConductance(int isThermoBC3, double conduction, double transfer)
{
    return isThermoBC3 != 0 ? energy::SeriesConductance(transfer, conduction) : conduction;
}

// Area, and distance from the cell centre to the face along its unit
// normal, of inlet face i of cell c.
struct InletGeometry {
    double area, normalDistance;
};
__device__ __forceinline__ InletGeometry InletFace(int i, int c, const double* sxD, const double* syD,
                                                   const double* szD, const double* fxD, const double* fyD,
                                                   const double* fzD, const double* xcD, const double* ycD,
                                                   const double* zcD)
{
    const Vec3 S = Load3(sxD, syD, szD, i);
    const double A = sqrt(Dot(S, S));
    const Vec3 n{S.x / (A + kInletGuard), S.y / (A + kInletGuard), S.z / (A + kInletGuard)};
    const Vec3 r = flow::From(Load3(xcD, ycD, zcD, c), Load3(fxD, fyD, fzD, i));
    return InletGeometry{A, Dot(r, n)};
}

// Wall-list entry of a surface-condition list, or -1 outside 1 .. NWall.
__device__ __forceinline__ int SurfaceWall(int e, int stride, int NWall, const int* SurfBC_ToWallIndxD)
{
    const int w = SurfBC_ToWallIndxD[e + stride];
    return (w >= 1 && w <= NWall) ? w : -1;
}

}  // namespace sce
}  // namespace rvz

// ---------------------------------------------------------------------------
// Vent flags and face mass fluxes
// ---------------------------------------------------------------------------

// A flag of 2 is kept; otherwise the face vents while its slot is unfilled.
__global__ void Kernel_CalcSC_FlowE_Temperature_iIsOutlet1(int n, const int* ijWallD, int* piIsOutletD,
                                                           const double* VolFD, double FCRI)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    if (piIsOutletD[k] == 2) return;
    piIsOutletD[k] = rvz::sce::Unfilled(VolFD[ijWallD[k]], FCRI) ? 1 : 0;
}

// An unfilled slot vents when a second fluid is injected and its cell holds
// none of it, or when the vent pressure term is not negative.
__global__ void Kernel_CalcSC_FlowE_Temperature_iIsOutlet2(int n, const int* ijWallCVD, const int* ijWallD,
                                                           int* piIsOutletD, const double* VolFD, const float* MFD,
                                                           int iFAIMFluidIn, const double* AirPressureD, double FCRI,
                                                           int EnableVentingAnalysis)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const bool noSecondFluid = iFAIMFluidIn > 0 && static_cast<double>(MFD[ijWallCVD[k]]) <= 1.0e-30;
    const double q = EnableVentingAnalysis != 0 ? AirPressureD[k] * rvz::sce::kAirPressureScale : 0.0;
    const bool vents = rvz::sce::Unfilled(VolFD[ijWallD[k]], FCRI) && (noSecondFluid || q >= -1.0e-30);
    piIsOutletD[k] = vents ? 1 : 0;
}

// m = rho_f Q, rho_f the mean of the cells' densities or the melt/gas
// mixture at the face's volume fraction.
__global__ void Kernel_CalcSC_FlowE_InnerFluxSC_mfe(int n, const int* ijPD, const int* ijED, const double* VFeD,
                                                    double denl, double deng, const double* MassFluxD,
                                                    const double* denD, double* mfeD, int gIsWeightedFlowRate)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    const double rho = gIsWeightedFlowRate == 1 ? 0.5 * (denD[ijPD[f]] + denD[ijED[f]])
                                                : VFeD[f] * denl + (1.0 - VFeD[f]) * deng;
    mfeD[f] = rho * MassFluxD[f];
}

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcSC_FlowE_InnerFluxSC(int n, rvz::sce::FaceInputs in, rvz::sce::Gradient grad, double* aED,
                                                double* aWD, double* tempD)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    rvz::sce::StoreInteriorFace<false, true>(f, in, grad, aED, aWD, tempD);
}

__global__ void Kernel_CalcSC_FlowE_InnerFluxSC_Opt(int n, rvz::sce::FaceInputs in, rvz::sce::Gradient grad,
                                                    double* aED, double* aWD, double* tempD)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    rvz::sce::StoreInteriorFace<true, true>(f, in, grad, aED, aWD, tempD);
}

// Partition-interface faces: the neighbour's row is not assembled here.
__global__ void Kernel_CalcSC_FlowE_InnerFluxSC_Par(int n, rvz::sce::FaceInputs in, rvz::sce::Gradient grad,
                                                    double* aED, double* tempD)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    rvz::sce::StoreInteriorFace<true, false>(f, in, grad, aED, nullptr, tempD);
}

// Faces flagged by gpInletbInD = 1 take the owner's gradient at E and are
// evaluated with weight 1; the others keep their coefficients and add no
// correction.
__global__ void Kernel_CalcSC_FlowE_InnerFluxSC_Opt_judge(int n, rvz::sce::FaceInputs in, rvz::sce::Gradient grad,
                                                          const int* gpInletbInD, double* aED, double* aWD,
                                                          double* tempD)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    if (gpInletbInD[f] != 1) {
        tempD[f] = 0.0;
        return;
    }
    rvz::sce::CopyGradient(grad.dxD, grad.dyD, grad.dzD, in.ijPD[f], in.ijED[f]);
    rvz::sce::StoreInteriorFace<true, true>(f, in, grad, aED, aWD, tempD);
}

// ---------------------------------------------------------------------------
// Time term, viscous heating, final coefficients (one thread per cell)
// ---------------------------------------------------------------------------

// c = rho V cp/(dt dtNor): the blended history into SuD and c (1 + B/2)
// into the diagonal.
__global__ void Kernel_CalcSC_FlowE_UnsteadyTermContributionSC(int n, const double* mCpD, double OneOver_dtdtNor,
                                                               double B, const double* denD, const double* volumeD,
                                                               const double* fi0D, const double* fi00D, double* SuD,
                                                               double* AELLD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    const double a = denD[c] * volumeD[c] * OneOver_dtdtNor * mCpD[c];
    SuD[c] += a * rvz::flow::BlendedHistory(B, fi0D[c], fi00D[c]);
    AELLD[c] += a * rvz::flow::BlendedCentral(B);
}

// eta gamma-dot^2 V, the heating of one time step capped at VisTempLimiter
// temperature units.
__global__ void Kernel_CalcSC_FlowE_ViscousDisspationVolumetricTerm(int n, double FCRI, double lVisHeat,
                                                                    double VisTempLimiter, double OneOver_dtdtNor,
                                                                    const double* mCpD, const double* VolFD,
                                                                    const double* visD, const double* SRateD,
                                                                    const double* denD, const double* volumeD,
                                                                    double* SuD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    if (!(VolFD[c] >= FCRI) || lVisHeat == 0.0) return;
    const double cap = VisTempLimiter * OneOver_dtdtNor * denD[c] * mCpD[c];
    SuD[c] += rvz::energy::CappedHeating(visD[c], SRateD[c], cap) * volumeD[c];
}

// aP = (AELLD - sum of off-diagonals) OneOver_relaxIF, with implicit
// under-relaxation of the right-hand side.
__global__ void Kernel_CalcSC_FlowE_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int nCol, double relax, const double* fiD,
                                                      double* AELLD, double* SfiD, double OneOver_relaxIF)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(c, new_nnu, nCol, AELLD);
    const double aP = (AELLD[c] - s) * OneOver_relaxIF;
    AELLD[c] = aP;
    SfiD[c] += (1.0 - relax) * aP * fiD[c];
}

// ---------------------------------------------------------------------------
// Boundary faces: per-face diagonal (temp1D) and right-hand-side (temp2D)
// contributions
// ---------------------------------------------------------------------------

// Walls with vents: a venting face (o > 0) is adiabatic, its slot copies
// the cell; a closed face of a cell that is not a hot runner is held at
// the mould temperature through k G, or k G in series with h A.
__global__ void Kernel_CalcSC_FlowE_IsothermalWallBoundaries(
    int n, const int* ijWallCVD, const int* ijWallD, const int* piIsOutletD, double* dp_dxD, double* dp_dyD,
    double* dp_dzD, double* fiD, const int* HotRunnerCellD, int isThermoBC3, const double* ijWallSxD,
    const double* ijWallSyD, const double* ijWallSzD, const double* pdWallHTCD, const double* Surf_DistWallD,
    const double* mkD, const double* C2FMoldTD, double* temp1D, double* temp2D)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    const int b = ijWallD[k];
    const int o = piIsOutletD[k];
    if (o > 0) rvz::sce::CopyGradient(dp_dxD, dp_dyD, dp_dzD, c, b);
    const bool active = o < 1 && HotRunnerCellD[c] < 1;
    if (active) {
        fiD[b] = C2FMoldTD[k];
    } else if (o > 0) {
        fiD[b] = fiD[c];
    }
    double coef = 0.0;
    if (active) {
        const double conduction = mkD[b] * Surf_DistWallD[k];
        const double transfer = rvz::energy::TransferConductance(k, ijWallSxD, ijWallSyD, ijWallSzD, pdWallHTCD[k]);
        coef = rvz::sce::WallConductance(isThermoBC3, conduction, transfer);
    }
    temp1D[k] = coef;
    temp2D[k] = coef * fiD[b];
}

// Active inlet faces: a Dirichlet condition of conductance -CB at the
// injected temperature (the melt, the fluid of the injection point, or the
// cell's own temperature behind a shut melt valve).
__global__ void Kernel_CalcSC_FlowE_InletBoundary_fi_first(
    int n, bool IsTranInConv_RIM, int iFAIMFluidIn, double dTransientInletTemperature, double gdMeltT,
    const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD, const int* ijInletGPD,
    const int* gpInletGPMtrTypeD, const int* pRVZFlowCTL_m_iIsShutOffD, const double* pRVZFlowCTL_m_dFluidTD,
    const double* CBD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, double* temp1D, double* temp2D)
{
    const int i = rvz::accum::ThreadIndex();
    if (i >= n) return;
    if (gpInletbInD[i] != 1) {
        temp1D[i] = 0.0;
        temp2D[i] = 0.0;
        return;
    }
    const int c = ijInletCVD[i];
    const int b = ijInletD[i];
    rvz::sce::CopyGradient(dp_dxD, dp_dyD, dp_dzD, c, b);
    double injected = gdMeltT;
    if (iFAIMFluidIn != 0) {
        const int g = ijInletGPD[i];
        const int type = gpInletGPMtrTypeD[g];
        if (type == 1) {
            injected = pRVZFlowCTL_m_iIsShutOffD[g] == 1 ? fiD[c] : gdMeltT;
        } else if (type == 2 || type == 3) {
            injected = pRVZFlowCTL_m_dFluidTD[g];
        } else {
            injected = 0.0;
        }
    }
    fiD[b] = IsTranInConv_RIM ? dTransientInletTemperature : injected;
    temp1D[i] = -CBD[i];
    temp2D[i] = -CBD[i] * fiD[b];
}

// Inlet faces that are not injecting act as walls: unfilled ones are
// adiabatic, filled ones of cells that are not hot runners are held at the
// mould temperature.
__global__ void Kernel_CalcSC_FlowE_InletBoundary_fi_second(
    int n, double FCRI, double dHeatTransferH_SI, double gdMoldT, int isThermoBC3, const int* ijInletCVD,
    const int* ijInletD, const double* ijInletSxD, const double* ijInletSyD, const double* ijInletSzD,
    const double* ijInletxcD, const double* ijInletycD, const double* ijInletzcD, const double* xcD,
    const double* ycD, const double* zcD, const double* VolFD, const int* HotRunnerCellD, const double* mkD,
    const int* gpInletbInD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, double* temp1D,
    double* temp2D)
{
    const int i = rvz::accum::ThreadIndex();
    if (i >= n) return;
    if (gpInletbInD[i] == 1) {
        temp1D[i] = 0.0;
        temp2D[i] = 0.0;
        return;
    }
    const int c = ijInletCVD[i];
    const int b = ijInletD[i];
    const bool unfilled = rvz::sce::Unfilled(VolFD[b], FCRI);
    if (unfilled) {
        rvz::sce::CopyGradient(dp_dxD, dp_dyD, dp_dzD, c, b);
        fiD[b] = fiD[c];
    }
    const bool active = !unfilled && HotRunnerCellD[c] < 1;
    double coef = 0.0;
    if (active) {
        fiD[b] = gdMoldT;
        const rvz::sce::InletGeometry geo = rvz::sce::InletFace(i, c, ijInletSxD, ijInletSyD, ijInletSzD, ijInletxcD,
                                                                ijInletycD, ijInletzcD, xcD, ycD, zcD);
        const double conduction = mkD[b] * geo.area / (geo.normalDistance + rvz::sce::kInletGuard);
        const double transfer = dHeatTransferH_SI * rvz::sce::kSIToCGSTransfer * geo.area;
        coef = rvz::sce::WallConductance(isThermoBC3, conduction, transfer);
    }
    temp1D[i] = coef;
    temp2D[i] = coef * fiD[b];
}

// ---------------------------------------------------------------------------
// Wall surface temperatures after a solve (thermal boundary kind 3)
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(int n, const int* ijWallCVD, const int* ijWallD,
                                                                 const int* piIsOutletD, const double* ijWallSxD,
                                                                 const double* ijWallSyD, const double* ijWallSzD,
                                                                 const double* pdWallHTCD,
                                                                 const double* Surf_DistWallD, const double* mkD,
                                                                 double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    if (!(piIsOutletD[k] < 1)) return;
    const int b = ijWallD[k];
    const double transfer = rvz::energy::TransferConductance(k, ijWallSxD, ijWallSyD, ijWallSzD, pdWallHTCD[k]);
    const double beta = transfer / Surf_DistWallD[k] / mkD[b];
    TD[b] = rvz::energy::SurfaceTemperature(beta, TD[b], TD[ijWallCVD[k]]);
}

// Filled inlet faces that are not injecting.
__global__ void Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(
    int n, double FCRI, double dHeatTransferH_SI, const int* ijInletCVD, const int* ijInletD,
    const double* ijInletSxD, const double* ijInletSyD, const double* ijInletSzD, const double* ijInletxcD,
    const double* ijInletycD, const double* ijInletzcD, const double* xcD, const double* ycD, const double* zcD,
    const int* gpInletbInD, const double* mkD, const double* VolFD, double* TD)
{
    const int i = rvz::accum::ThreadIndex();
    if (i >= n) return;
    const int b = ijInletD[i];
    if (gpInletbInD[i] != 0 || rvz::sce::Unfilled(VolFD[b], FCRI)) return;
    const int c = ijInletCVD[i];
    const rvz::sce::InletGeometry geo = rvz::sce::InletFace(i, c, ijInletSxD, ijInletSyD, ijInletSzD, ijInletxcD,
                                                            ijInletycD, ijInletzcD, xcD, ycD, zcD);
    const double transfer = dHeatTransferH_SI * rvz::sce::kSIToCGSTransfer * geo.area;
    const double G = geo.area / (geo.normalDistance + rvz::sce::kInletGuard);
    const double beta = transfer / G / mkD[b];
    TD[b] = rvz::energy::SurfaceTemperature(beta, TD[b], TD[c]);
}

// ---------------------------------------------------------------------------
// Hot-runner walls and the hot-runner temperature control
// ---------------------------------------------------------------------------

// Marks the filled walls of hot-runner cells as not yet initialised.
__global__ void Kernel_CalcSC_FlowE_InitHotRunnerWallTemp(int n, double FCRI, const int* ijWallCVD, const int* ijWallD,
                                                          const double* VolFD, const int* HotRunnerCellD, double* TD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int b = ijWallD[k];
    if (VolFD[b] >= FCRI && HotRunnerCellD[ijWallCVD[k]] >= 1) TD[b] = 0.0;
}

// A marked hot-runner wall starts from its cell's temperature and sees the
// melt temperature as its mould temperature.
__global__ void Kernel_CalcSC_FlowE_UpdateHotRunnerWallTemp(int n, double FCRI, double gdMeltT, const int* ijWallCVD,
                                                            const int* ijWallD, const double* VolFD,
                                                            const int* HotRunnerCellD, double* TD, double* C2FMoldTD)
{
    const int k = rvz::accum::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    const int b = ijWallD[k];
    if (!(VolFD[b] >= FCRI && HotRunnerCellD[c] > 0 && TD[b] < rvz::sce::kUninitialised)) return;
    TD[b] = TD[c];
    C2FMoldTD[k] = gdMeltT;
}

__global__ void Kernel_CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(int n, int NWall, const int* ijWallCVD,
                                                                     const int* ijWallD,
                                                                     const int* SurfBC_ToWallIndxD,
                                                                     const int* HotRunnerCellD, int stride,
                                                                     double* TD)
{
    const int e = rvz::accum::ThreadIndex();
    if (e >= n) return;
    const int w = rvz::sce::SurfaceWall(e, stride, NWall, SurfBC_ToWallIndxD);
    if (w < 0 || !(HotRunnerCellD[ijWallCVD[w]] > 0)) return;
    TD[ijWallD[w]] = TD[ijWallCVD[w]];
}

// Heated hot-runner faces held at their set temperature through the wall
// conductance; entries naming no hot-runner wall contribute 0.
__global__ void Kernel_CalcSC_FlowE_HotRunnerTemperatureControl(
    int n, int NWall, int isThermoBC3, const int* ijWallCVD, const int* ijWallD, const int* SurfBC_ToWallIndxD,
    const int* HotRunnerCellD, const double* ijWallSxD, const double* ijWallSyD, const double* ijWallSzD,
    const double* pdWallHTCD, const double* mkD, const double* Surf_DistWallD, const double* C2FMoldTD,
    double* temp1D, double* temp2D, int stride, double* TD)
{
    const int e = rvz::accum::ThreadIndex();
    if (e >= n) return;
    const int w = rvz::sce::SurfaceWall(e, stride, NWall, SurfBC_ToWallIndxD);
    if (w < 0 || !(HotRunnerCellD[ijWallCVD[w]] > 0)) {
        temp1D[e] = 0.0;
        temp2D[e] = 0.0;
        return;
    }
    const int b = ijWallD[w];
    const double Tw = C2FMoldTD[w];
    const double conduction = mkD[b] * Surf_DistWallD[w];
    const double transfer = rvz::energy::TransferConductance(w, ijWallSxD, ijWallSyD, ijWallSzD, pdWallHTCD[w]);
    const double coef = rvz::sce::WallConductance(isThermoBC3, conduction, transfer);
    temp1D[e] = coef;
    temp2D[e] = coef * Tw;
    TD[b] = Tw;
}

// Collect of entry e at the owner slot of its wall face w; entries outside
// 1 .. NWall write nothing.
__global__ void Kernel_CalcSC_FlowE_HotRunnerTemperatureControl_SourceTerm(int n, int NWall, int new_nnu,
                                                                           const int* Px, const int* Py,
                                                                           const int* SurfBC_ToWallIndxD, int stride,
                                                                           const double* tempD, double* AELLDtemp)
{
    const int e = rvz::accum::ThreadIndex();
    if (e >= n) return;
    const int w = rvz::sce::SurfaceWall(e, stride, NWall, SurfBC_ToWallIndxD);
    if (w < 0) return;
    AELLDtemp[rvz::accum::Position(Px[w], Py[w], new_nnu)] = tempD[e];
}
