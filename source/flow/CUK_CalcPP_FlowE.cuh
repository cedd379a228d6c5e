// Extended-flow pressure-correction kernels: vent decisions, gate pressures
// and the judge flags, face and boundary fluxes, inlet and wall states with
// their per-face terms, melt compressibility, the final diagonal, boundary
// values of p and pp, the corrections and their reductions. Included by
// CU_CalcPP_FlowE.cu only. Face-to-cell sums go through the shared collect
// and update kernels.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"
#include "CUK_FlowGeometry.cuh"
#include "CUK_PressureCorrection.cuh"

namespace rvz {
namespace ppe {

using flow::Dot;
using flow::FaceGeometry;
using flow::Vec3;
using pp::Fields3;
using pp::ThreadIndex;

constexpr double kPressureSettingScale = 10000000.0;
constexpr int kVelocityControl = 1;
constexpr int kPressureControl = 2;
constexpr int kPermanentOutlet = 2;

// Material types above 1 are assist fluid and take the gate's injection
// pressure; the others take the sprue pressure.
__device__ __forceinline__ bool IsAssistFluid(int materialType) { return materialType > 1; }

// Geometry of a boundary list entry: S the entry's area vector, d from the
// cell to the slot centroid.
__device__ __forceinline__ FaceGeometry BoundaryGeometry(int k, int P, int b, const Fields3& area,
                                                         const Fields3& centroid)
{
    return FaceGeometry(area.At(k), flow::From(centroid.At(P), centroid.At(b)));
}

// c = f (pp(b) - pp(P)), f the boundary correction factor.
__device__ __forceinline__ double BoundaryCorrection(const FaceGeometry& geo, int P, int b, const double* volumeD,
                                                     const double* APRD, const double* ppD)
{
    return pp::BoundaryCorrectionFactor(geo, volumeD[P], APRD[P]) * (ppD[b] - ppD[P]);
}

__device__ __forceinline__ double SlotFlux(int b, const Vec3& S, const double* uD, const double* vD, const double* wD)
{
    const Vec3 u{uD[b], vD[b], wD[b]};
    return Dot(u, S);
}

}  // namespace ppe
}  // namespace rvz

// ---------------------------------------------------------------------------
// Vent decisions per wall entry
// ---------------------------------------------------------------------------

// A permanent outlet (2) stays; otherwise a vent (1) below the critical
// fraction at the slot, a closed wall (0) at or above it.
__global__ void Kernel_CalcPP_FlowE_iIsOutlet1(int n, double FCRI, const int* /*ijWallCVD*/, const int* ijWallD,
                                               const double* VolFD, int* piIsOutletD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    if (piIsOutletD[k] == rvz::ppe::kPermanentOutlet) return;
    piIsOutletD[k] = VolFD[ijWallD[k]] < FCRI ? 1 : 0;
}

// A vent where the slot is below the critical fraction and either the cell
// holds no assist fluid while it is injected, or the air pressure is not
// negative.
__global__ void Kernel_CalcPP_FlowE_iIsOutlet2(int n, int iFAIMFluidIn, double FCRI, const int* ijWallCVD,
                                               const int* ijWallD, const double* VolFD, const float* MFD,
                                               const double* AirPressureD, int* piIsOutletD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const bool noFluid = iFAIMFluidIn > 0 && static_cast<double>(MFD[ijWallCVD[k]]) <= 1.0e-30;
    const bool airOpen = AirPressureD[k] >= -1.0e-30;
    piIsOutletD[k] = (VolFD[ijWallD[k]] < FCRI && (noFluid || airOpen)) ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Gate pressures and open flags per inlet entry
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcPP_FlowE_judge1judge2Press(int n, double SpruePress, const int* gpInletbInD,
                                                      const int* ijInletGPD, const int* gpInletGPMtrTypeD,
                                                      const double* InjecPressD, double* PressD, bool* judge1D)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int g = ijInletGPD[k];
    const int t = gpInletGPMtrTypeD[g];
    PressD[k] = (t < 2 ? 1.0 : 0.0) * SpruePress + (rvz::ppe::IsAssistFluid(t) ? InjecPressD[g] : 0.0);
    judge1D[k] = gpInletbInD[k] == 1;
}

// ---------------------------------------------------------------------------
// Interior and boundary face fluxes
// ---------------------------------------------------------------------------

// Plain interpolated face velocity, c = sqrt(|S|^2 |d|^2)/(S.d + 1e-30),
// a = -c A |S|^2 / 2 (form != 0) or -A |S|^2 / 2, mfe = U + a dp*.
__global__ void Kernel_Calc_FlowE_InnerFluxPP_aEaWmfe(int n, const int* ijPD, const int* ijED, const double* leD,
                                                      rvz::pp::Fields3 area, rvz::pp::Fields3 centroid,
                                                      rvz::pp::Fields3 gradP, const double* uD, const double* vD,
                                                      const double* wD, const double* pD, const double* APRD,
                                                      double* mfeD, double* aED, double* aWD, int stab)
{
    const int f = rvz::ppe::ThreadIndex();
    if (f >= n) return;
    const int P = ijPD[f];
    const int E = ijED[f];
    const double w = leD[f];
    const rvz::flow::Vec3 uf{rvz::flow::Interp(w, uD[E], uD[P]), rvz::flow::Interp(w, vD[E], vD[P]),
                             rvz::flow::Interp(w, wD[E], wD[P])};
    const rvz::flow::FaceGeometry geo(area.At(f), rvz::flow::From(centroid.At(P), centroid.At(E)));
    const double U = rvz::flow::Dot(uf, geo.S);
    const double A = APRD[P] + APRD[E];
    const double c = sqrt(geo.S2 * rvz::flow::Dot(geo.d, geo.d)) / (geo.Sd + 1.0e-30);
    const double a = stab != 0 ? -0.5 * c * A * geo.S2 : -0.5 * A * geo.S2;
    mfeD[f] = U + a * rvz::pp::PressureDifferenceNetOfMeanGradient(P, E, geo.d, pD, gradP);
    aED[f] = a;
    if (aWD != nullptr) aWD[f] = a;
}

// An open face (j) takes the cell velocity into its slot and a fresh
// coefficient; a closed one keeps its coefficient and adds its pressure
// term to the flux it holds.
__global__ void Kernel_CalcPP_BoundFluxMass(int n, int stab, const int* ijPD, const int* ijED, const bool* judgeD,
                                            rvz::pp::Fields3 centroid, rvz::pp::Fields3 gradP, rvz::pp::Fields3 area,
                                            const double* APRD, const double* pD, double* uD, double* vD, double* wD,
                                            double* aED, double* mfeD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int P = ijPD[k];
    const int E = ijED[k];
    const bool open = judgeD[k];
    const double j = open ? 1.0 : 0.0;
    if (open) {
        uD[E] = uD[P];
        vD[E] = vD[P];
        wD[E] = wD[P];
    }
    const rvz::flow::FaceGeometry geo = rvz::ppe::BoundaryGeometry(k, P, E, area, centroid);
    const double a0 = -APRD[P] * geo.S2;
    const double a = stab != 0 ? a0 * geo.magS * geo.magD / (geo.Sd + 1.0e-30) : a0;
    const double aE = j * a + (open ? 0.0 : aED[k]);
    aED[k] = aE;
    const double dp = rvz::pp::PressureDifferenceNetOfCellGradient(P, E, geo.d, pD, gradP);
    mfeD[k] = j * rvz::ppe::SlotFlux(E, geo.S, uD, vD, wD) + aE * dp + (open ? 0.0 : mfeD[k]);
}

// ---------------------------------------------------------------------------
// Inlet and wall states (imposed p and pp at the slots, judge flags)
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(int n, int iTime, const int* ijBD,
                                                                    const int* ijInletGPD, const double* pressureD,
                                                                    const bool* judgeD, const int* statusD,
                                                                    double* pD, double* ppD, bool* judge2AD,
                                                                    bool* judge3AD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const bool fixed = judgeD[k] && statusD[ijInletGPD[k]] == rvz::ppe::kPressureControl;
    if (fixed) {
        const int b = ijBD[k];
        pD[b] = pressureD[k] * rvz::ppe::kPressureSettingScale;
        ppD[b] = 0.0;
    }
    judge2AD[k] = fixed;
    judge3AD[k] = fixed && iTime > 1;
}

__global__ void Kernel_CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(int n, int iTime, int status,
                                                                        double pressure, const int* ijBD, double* pD,
                                                                        double* ppD, bool* judge2D, bool* judge3D)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const bool fixed = status == rvz::ppe::kPressureControl;
    if (fixed) {
        const int b = ijBD[k];
        pD[b] = pressure * rvz::ppe::kPressureSettingScale;
        ppD[b] = 0.0;
    }
    judge2D[k] = fixed;
    judge3D[k] = fixed && iTime > 1;
}

// A vent slot takes the global air pressure (global vent setting on) or its
// own, and a zero correction.
__global__ void Kernel_CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(
    int n, int iIsOutlet, double dAirPressure, int iICM_Status, double FCRI, const int* ijBD, const int* piIsOutletD,
    const double* VolFD, const double* AirPressureD, const int* isMoveWallD, double* pD, double* ppD,
    bool* judge1AD, bool* judge5AD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int b = ijBD[k];
    const bool vent = piIsOutletD[k] > 0;
    if (vent) {
        if (iIsOutlet > 0) pD[b] = dAirPressure;
        if (iIsOutlet < 1) pD[b] = AirPressureD[k];
        ppD[b] = 0.0;
    }
    judge1AD[k] = vent;
    judge5AD[k] = iICM_Status == 1 && VolFD[b] > FCRI && isMoveWallD[k] == 1;
}

// ---------------------------------------------------------------------------
// Per-face terms of the inlet and wall right-hand sides and diagonals
// ---------------------------------------------------------------------------

// Velocity-controlled open gates: their flux -mfe enters the right-hand side.
__global__ void Kernel_CalcPP_SetPPInlet_UpdateSu_First_temp(int n, const int* ijInletGPD, const int* statusD,
                                                             const bool* judgeD, const double* mfeD, double* tempD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const double open = statusD[ijInletGPD[k]] == rvz::ppe::kVelocityControl ? (judgeD[k] ? 1.0 : 0.0) : 0.0;
    tempD[k] = open * (-mfeD[k]);
}

__global__ void Kernel_CalcPP_SetPPInlet_NOFAIM_UpdateSu_First_temp(int n, int status, const double* mfeD,
                                                                    double* tempD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    tempD[k] = status == rvz::ppe::kVelocityControl ? -mfeD[k] : 0.0;
}

// Pressure-controlled inlet faces: -(j3 (drho/dp)_face mfe + CB) to the
// diagonal (j3: compressible steps), -mfe to the right-hand side.
__global__ void Kernel_CalcPP_SetPPInlet_NOFAIM_Update_AiSu_temp(int n, const int* ijPD, const int* ijBD,
                                                                 const double* mfeD, const double* CBD,
                                                                 const bool* judge2D, const bool* judge3D,
                                                                 const double* dden_dpD, double* temp1D,
                                                                 double* temp2D)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const double j2 = judge2D[k] ? 1.0 : 0.0;
    const double j3 = judge3D[k] ? 1.0 : 0.0;
    const double ddenFace = 0.5 * (dden_dpD[ijBD[k]] + dden_dpD[ijPD[k]]);
    temp1D[k] = j2 * (-(j3 * (ddenFace * mfeD[k]) + CBD[k]));
    temp2D[k] = j2 * (-mfeD[k]);
}

__global__ void Kernel_CalcPP_SetPPWall_Update_AiSu_temp(int n, const double* mfeD, const double* CBD,
                                                         const bool* judge1AD, double* temp1D, double* temp2D)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const double j = judge1AD[k] ? 1.0 : 0.0;
    temp1D[k] = j * (-CBD[k]);
    temp2D[k] = j * (-mfeD[k]);
}

// ---------------------------------------------------------------------------
// Melt compressibility and the final diagonal
// ---------------------------------------------------------------------------

// Implicit Euler of the density change in continuity, for steps after the
// first: Su -= V((p - p0) drho/dp + drho_T)/tau, A(c,0) += drho/dp V/tau.
__global__ void Kernel_CalcPP_FlowE_1stImplicitEulerMethod(int n, int iTime, double dt, double dtNor,
                                                           const double* pD, const double* p0D,
                                                           const double* dden_dpD, const double* dden_dTD,
                                                           const double* volumeD, double* SuD, double* AELLD)
{
    const int c = rvz::ppe::ThreadIndex();
    if (c >= n || iTime <= 1) return;
    const double tau = dt * dtNor + 1.0e-30;
    const double V = volumeD[c];
    SuD[c] = SuD[c] + (-V * ((pD[c] - p0D[c]) * dden_dpD[c] + dden_dTD[c]) / tau);
    AELLD[c] = AELLD[c] + dden_dpD[c] * V / tau;
}

__global__ void Kernel_CalcPP_FlowE_EnhanceRobustness(int n, double rr, int newNNU, int nCol, const double* ppD,
                                                      double* AELLD, double* SuD)
{
    const int i = rvz::ppe::ThreadIndex();
    if (i >= n) return;
    rvz::pp::RelaxedDiagonalRow(i, newNNU, nCol, rr, ppD, AELLD, SuD);
}

__global__ void Kernel_CalcPP_FlowE_MassSum(int n, const double* SuD, double* sumD)
{
    rvz::block_reduce_256<rvz::SumOp, double>([&](int i) { return i < n ? SuD[i] : 0.0; }, sumD);
}

__global__ void Kernel_CalcPP_FlowE_CollectMassSum(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}

// ---------------------------------------------------------------------------
// Boundary values of the correction pp and of the pressure p
// ---------------------------------------------------------------------------

// Closed wall: the cell's pp; vent or permanent outlet: 0.
__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi(int n, const int* ijWallCVD, const int* ijWallD,
                                                               const int* piIsOutletD, double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    fiD[ijWallD[k]] = piIsOutletD[k] < 1 ? fiD[ijWallCVD[k]] : 0.0;
}

// Open gate: zero gradient under velocity control, 0 under pressure
// control; a closed gate is an outlet (0) or a wall (the cell's pp).
__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(int n, int status, const int* ijInletCVD,
                                                                     const int* ijInletD, const int* gpInletbInD,
                                                                     const int* piIsOutletD, double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int b = ijInletD[k];
    const int P = ijInletCVD[k];
    if (gpInletbInD[k] == 1) {
        if (status == rvz::ppe::kVelocityControl) fiD[b] = fiD[P];
        if (status == rvz::ppe::kPressureControl) fiD[b] = 0.0;
    } else {
        fiD[b] = piIsOutletD[k] > 0 ? 0.0 : fiD[P];
    }
}

__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(int n, int status, const int* ijInletCVD,
                                                                       const int* ijInletD, double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int b = ijInletD[k];
    if (status == rvz::ppe::kVelocityControl) fiD[b] = fiD[ijInletCVD[k]];
    if (status == rvz::ppe::kPressureControl) fiD[b] = 0.0;
}

// Vent: its air pressure; closed wall: the cell's p.
__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi(int n, const int* ijWallCVD, const int* ijWallD,
                                                              const int* piIsOutletD, const double* AirPressureD,
                                                              double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    fiD[ijWallD[k]] = piIsOutletD[k] > 0 ? AirPressureD[k] : fiD[ijWallCVD[k]];
}

__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(int n, const int* ijInletCVD,
                                                                    const int* ijInletD, const int* ijInletGPD,
                                                                    const int* gpInletbInD, const int* piIsOutletD,
                                                                    const int* statusD, const double* AirPressureD,
                                                                    double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int b = ijInletD[k];
    const int P = ijInletCVD[k];
    if (gpInletbInD[k] == 1) {
        if (statusD[ijInletGPD[k]] == rvz::ppe::kVelocityControl) fiD[b] = fiD[P];
    } else {
        fiD[b] = piIsOutletD[k] > 0 ? AirPressureD[k] : fiD[P];
    }
}

__global__ void Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(int n, int status, const int* ijInletCVD,
                                                                      const int* ijInletD, double* fiD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    if (status == rvz::ppe::kVelocityControl) fiD[ijInletD[k]] = fiD[ijInletCVD[k]];
}

// ---------------------------------------------------------------------------
// Corrections after the solve
// ---------------------------------------------------------------------------

// F += A(Px, Py) (pp(E) - pp(P)) with the face's cells and its owner-side
// matrix position (interior or partition faces).
__global__ void Kernel_CalcPP_FlowE_UpdateMassFlux(int n, int newNNU, const int* ijCVPD, const int* ijCVED,
                                                   const int* Px, const int* Py, const double* AELLD,
                                                   const double* ppD, double* MassFluxD)
{
    const int f = rvz::ppe::ThreadIndex();
    if (f >= n) return;
    const double a = AELLD[rvz::accum::Position(Px[f], Py[f], newNNU)];
    MassFluxD[f] = MassFluxD[f] + a * (ppD[ijCVED[f]] - ppD[ijCVPD[f]]);
}

// iflag 0: pressure and velocities, 1: pressure only, 2: velocities only;
// the right-hand side is cleared in every case. Bad cells may take half the
// pressure relaxation.
__global__ void Kernel_CalcPP_FlowE_CorrectPressureVelocities(int n, double relaxIP, int iflag, int iTurningBad,
                                                              double ppo, const int* gpIsBadElementsD,
                                                              const double* ppD, const double* volumeD,
                                                              const double* dp_dxD, const double* dp_dyD,
                                                              const double* dp_dzD, const double* APRD, double* pD,
                                                              double* uD, double* vD, double* wD, double* SuD)
{
    const int c = rvz::ppe::ThreadIndex();
    if (c >= n) return;
    const double r = (gpIsBadElementsD[c] == 1 && iTurningBad == 1) ? relaxIP / 2.0 : relaxIP;
    if (iflag != 2) pD[c] = pD[c] + r * (ppD[c] - ppo);
    if (iflag != 1) rvz::pp::CorrectCellVelocity(c, volumeD, APRD, dp_dxD, dp_dyD, dp_dzD, uD, vD, wD);
    SuD[c] = 0.0;
}

// Flags of the inlet correction: open under velocity control (1C), open
// under pressure control (1D), open assist-fluid gate (1E), closed gate
// below the critical fraction, corrected as an outlet (2A).
__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_judge(int n, double FCRI, const int* ijInletD,
                                                          const double* VolFD, const int* gpInletbInD,
                                                          const int* ijInletGPD, const int* gpInletGPMtrTypeD,
                                                          const int* statusD, bool* judge1CD, bool* judge1DD,
                                                          bool* judge1ED, bool* judge2AD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int g = ijInletGPD[k];
    const bool open = gpInletbInD[k] == 1;
    judge1CD[k] = open && statusD[g] == rvz::ppe::kVelocityControl;
    judge1DD[k] = open && statusD[g] == rvz::ppe::kPressureControl;
    judge1ED[k] = open && rvz::ppe::IsAssistFluid(gpInletGPMtrTypeD[g]);
    judge2AD[k] = !open && VolFD[ijInletD[k]] < FCRI;
}

__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(
    int n, const int* ijInletCVD, const int* ijInletD, rvz::pp::Fields3 area, const bool* judge1CD,
    const bool* judge1DD, const bool* judge2AD, rvz::pp::Fields3 centroid, const double* APRD, const double* volumeD,
    double* uD, double* vD, double* wD, const double* ppD, double* MassFluxInletD)
{
    const int k = rvz::ppe::ThreadIndex();
    if (k >= n) return;
    const int P = ijInletCVD[k];
    const int b = ijInletD[k];
    const rvz::flow::FaceGeometry geo = rvz::ppe::BoundaryGeometry(k, P, b, area, centroid);
    const double c = rvz::ppe::BoundaryCorrection(geo, P, b, volumeD, APRD, ppD);
    double F = judge1CD[k] ? rvz::ppe::SlotFlux(b, geo.S, uD, vD, wD) : MassFluxInletD[k];
    if (judge1DD[k]) F = F - rvz::pp::CorrectSlotVelocity(b, c, geo, uD, vD, wD);
    if (judge2AD[k]) F = F - rvz::pp::CorrectSlotVelocity(b, c, geo, uD, vD, wD);
    MassFluxInletD[k] = F;
}

// Inflow of melt gates, inflow of assist-fluid gates, outflow of closed
// gates acting as outlets.
__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_TotalMass(int n, const bool* judge1CD, const bool* judge1DD,
                                                              const bool* judge1ED, const bool* judge2AD,
                                                              const double* MassFluxInletD, double* inletD,
                                                              double* fluidD, double* outletD)
{
    rvz::block_reduce3_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return rvz::Triple<double>{0.0, 0.0, 0.0};
            const double F = MassFluxInletD[k];
            const double inlet = (judge1CD[k] ? -F : 0.0) - (judge1DD[k] ? F : 0.0);
            return rvz::Triple<double>{inlet, judge1ED[k] ? -F : 0.0, judge2AD[k] ? F : 0.0};
        },
        inletD, fluidD, outletD);
}

__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_CollectTotalMass(int n, const double* inA, const double* inB,
                                                                     const double* inC, double* outA, double* outB,
                                                                     double* outC)
{
    rvz::collect_level3<rvz::SumOp, 256>(n, inA, inB, inC, outA, outB, outC);
}

// Slot speed of pressure-controlled open gates, -1 for the other entries;
// threads beyond the list hold 0.
__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_VelNorm(int n, const int* ijInletD, const bool* judge1DD,
                                                            const double* uD, const double* vD, const double* wD,
                                                            double* maxD)
{
    rvz::block_reduce_256<rvz::MaxOp, double>(
        [&](int k) {
            if (k >= n) return 0.0;
            const double j = judge1DD[k] ? 1.0 : 0.0;
            return j * rvz::pp::Speed(ijInletD[k], uD, vD, wD) + (j - 1.0);
        },
        maxD);
}

__global__ void Kernel_CalcPP_FlowE_CorrectInletVel_CollectVelNorm(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::MaxOp, 256>(n, in, out);
}

// Vents are corrected like outlets; a moving wall in compression takes the
// flux of its (corrected) slot velocity. The vent outflow is summed.
__global__ void Kernel_CalcPP_FlowE_CorrectWallVel_TotalMass(
    int n, int iICM_Status, double FCRI, const int* ijWallCVD, const int* ijWallD, const int* piIsOutletD,
    const int* isMoveWallD, rvz::pp::Fields3 area, rvz::pp::Fields3 centroid, const double* VolFD, const double* ppD,
    const double* APRD, const double* volumeD, double* uD, double* vD, double* wD, double* MassFluxWallD,
    double* outletD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return 0.0;
            const int P = ijWallCVD[k];
            const int b = ijWallD[k];
            const double o = piIsOutletD[k] > 0 ? 1.0 : 0.0;
            const bool moving = iICM_Status == 1 && VolFD[b] >= FCRI && isMoveWallD[k] == 1;
            const rvz::flow::FaceGeometry geo = rvz::ppe::BoundaryGeometry(k, P, b, area, centroid);
            const double c = rvz::ppe::BoundaryCorrection(geo, P, b, volumeD, APRD, ppD) * o;
            const double F = MassFluxWallD[k] - rvz::pp::CorrectSlotVelocity(b, c, geo, uD, vD, wD);
            MassFluxWallD[k] = moving ? rvz::ppe::SlotFlux(b, geo.S, uD, vD, wD) : F;
            return o * F;
        },
        outletD);
}

__global__ void Kernel_CalcPP_FlowE_CorrectWallVel_CollectTotalMass(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}
