// Extended-flow momentum kernels: face mass flux, face coefficients and the
// jointly limited face sources, density-scaled gravity, surface tension,
// the time term, the final coefficients; the inlet, wall, vent and
// moving-wall terms. Included by CU_CalcUVW_FlowE.cu only. Face-to-cell
// sums go through the shared collect and update kernels; the face pieces
// come from CUK_MomentumFace.cuh, shared with the basic momentum family.
#pragma once

#include "CUK_MomentumFace.cuh"
#include "CUK_Accumulate.cuh"

namespace rvz {
namespace uvwe {

using uvw::FaceSourceParts;
using uvw::VelocityGradient;

// Upwind convection plus diffusion with the conductance mu_f Ds of the
// source (Ds = |S|^2/(S.d + 1e-30)), between P and E with the E weight w.
__device__ __forceinline__ void Coefficients(int f, int P, int E, double w, const double* xcD, const double* ycD,
                                             const double* zcD, const double* visD, const double* sxD,
                                             const double* syD, const double* szD, const double* mfeD, double& aE,
                                             double& aW)
{
    const double Ds = uvw::SourceDiffusionFactor(flow::Load3(sxD, syD, szD, f),
                                                 uvw::CentroidDistance(xcD, ycD, zcD, P, E));
    uvw::UpwindCoefficients(mfeD[f], flow::Interp(w, visD[E], visD[P]) * Ds, aE, aW);
}

// Face source of component C with the deferred correction limited together
// with the explicit diffusion: Y = X + gamma C/mu_f, tempD = mu_f (lambda(Y)
// Y). With gamma = 0 this is the basic source mu_f (X lambda(X)) bit for bit.
template <int C>
__device__ __forceinline__ double LimitedFaceSource(int f, int P, int E, double w, double psi, double gamma,
                                                    const VelocityGradient& grad, const double* xcD,
                                                    const double* ycD, const double* zcD, const double* phiD,
                                                    const double* visD, const double* sxD, const double* syD,
                                                    const double* szD, const double* mfeD)
{
    const FaceSourceParts p =
        uvw::FaceSourceTerms<C>(f, P, E, w, grad, xcD, ycD, zcD, phiD, visD, sxD, syD, szD, mfeD);
    const double Y = p.X + gamma * p.C / p.muf;
    return p.muf * (uvw::Limiter(psi, p.Ds, p.dphi, Y) * Y);
}

// Nine writable gradient arrays (the order is the caller's).
struct GradientArrays {
    double* g[9];
};

// Density scaling of the body forces: rho/(denMax + denMin) times `factor`.
__device__ __forceinline__ double DensityScale(double factor, double rho, double denMax, double denMin)
{
    return factor * rho / (denMax + denMin);
}

}  // namespace uvwe
}  // namespace rvz

// The basic momentum family's kernels that this family launches as they are
// (defined in CU_CalcUVW.cu): the inlet face mass flux, the Jacobi explicit
// update (neighbours read from one array, results written to another), the
// reciprocal diagonal and the SIMPLEC factor.
__global__ void Kernel_Calc_InletBoundary_mfeD(int n, const int* ijInletD, const double* denD,
                                               const double* MassFluxInletD, double* mfeInletD);
__global__ void Kernel_Calc_FinalCoeffRHS_fi(int nnu, int newNNU, int nCol, const int* indexELLD,
                                             const double* AELLD, const double* SfiD, const double* dp_d_D,
                                             const double* volumeD, const double* fiD, double* newFiD);
__global__ void Kernel_Calc_ModAi4ValveGate_APR(int n, double* APRD, const double* AELLD);
__global__ void Kernel_Calc_APR_SIMPLEC(int nnu, int newNNU, int nCol, const double* AELLD, double* APRD);

// ---------------------------------------------------------------------------
// Interior and partition faces
// ---------------------------------------------------------------------------

// rho_f m: the mean of the two cell densities (gIsWeightedFlowRate = 1) or
// the phase mixture at the face volume fraction.
__global__ void Kernel_Calc_FlowE_InnerFluxUVW_mfe(int n, int gIsWeightedFlowRate, double deng, double denl,
                                                   const int* ijCVPD, const int* ijCVED, const double* denD,
                                                   const double* VFeD, const double* MassFluxD, double* mfeD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    const double rho = gIsWeightedFlowRate == 1 ? 0.5 * (denD[ijCVPD[f]] + denD[ijCVED[f]])
                                                : rvz::uvw::MixtureDensity(VFeD[f], denl, deng);
    mfeD[f] = rho * MassFluxD[f];
}

// leD == nullptr: every weight is 1 (the inlet faces). aWD == nullptr: only
// aED is written (the partition faces).
__global__ void Kernel_Calc_FlowE_InnerFluxUVW_aEaW(int n, const int* ijPD, const int* ijED, const double* leD,
                                                    const double* xcD, const double* ycD, const double* zcD,
                                                    const double* visD, const double* sxD, const double* syD,
                                                    const double* szD, const double* mfeD, double* aED, double* aWD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    double aE, aW;
    rvz::uvwe::Coefficients(f, ijPD[f], ijED[f], rvz::uvw::Weight(leD, f), xcD, ycD, zcD, visD, sxD, syD, szD, mfeD,
                            aE, aW);
    aED[f] = aE;
    if (aWD != nullptr) aWD[f] = aW;
}

template <int C>
__global__ void Kernel_Calc_FlowE_InnerFluxUVW_SourceTerm_Component(
    int n, double psi, double gamma, const int* ijPD, const int* ijED, const double* leD,
    rvz::uvw::VelocityGradient grad, const double* xcD, const double* ycD, const double* zcD, const double* phiD,
    const double* visD, const double* sxD, const double* syD, const double* szD, const double* mfeD, double* tempD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    tempD[f] = rvz::uvwe::LimitedFaceSource<C>(f, ijPD[f], ijED[f], leD[f], psi, gamma, grad, xcD, ycD, zcD, phiD,
                                               visD, sxD, syD, szD, mfeD);
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

// rho V g scaled by 0.1 rho/(denMax + denMin).
__global__ void Kernel_Calc_FlowE_GravityForceContribution(int n, double denMax, double denMin, double GravX,
                                                           double GravY, double GravZ, double* SuD, double* SvD,
                                                           double* SwD, const double* volumeD, const double* denD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double rho = denD[c];
    const double V = volumeD[c];
    const double s = rvz::uvwe::DensityScale(0.1, rho, denMax, denMin);
    SuD[c] += V * GravX * rho * s;
    SvD[c] += V * GravY * rho * s;
    SwD[c] += V * GravZ * rho * s;
}

// Continuum surface force sigma kappa grad(alpha) V, scaled by
// 2 rho/(denMax + denMin).
__global__ void Kernel_Calc_FlowE_SurfaceTensionMethodOne(int n, double denMax, double denMin, double STCoeff,
                                                          const double* volumeD, const double* CurvD,
                                                          const double* denD, const double* dVF_dxD,
                                                          const double* dVF_dyD, const double* dVF_dzD, double* SuD,
                                                          double* SvD, double* SwD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double s = rvz::uvwe::DensityScale(2.0, denD[c], denMax, denMin);
    const double sk = STCoeff * CurvD[c];
    const double V = volumeD[c];
    SuD[c] += sk * dVF_dxD[c] * s * V;
    SvD[c] += sk * dVF_dyD[c] * s * V;
    SwD[c] += sk * dVF_dzD[c] * s * V;
}

// The blended time term in one pass: history into the right-hand sides,
// c (1 + B/2) into APvD, APRD and the diagonal.
__global__ void Kernel_Calc_FlowE_2ndImplicitEulerMethodAi(int n, double OneOver_dtdtNor, double B,
                                                           const double* denD, const double* volumeD,
                                                           const double* u0D, const double* v0D, const double* w0D,
                                                           const double* u00D, const double* v00D,
                                                           const double* w00D, double* AELLD, double* APvD,
                                                           double* APRD, double* SuD, double* SvD, double* SwD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double a = denD[c] * volumeD[c] * OneOver_dtdtNor;
    SuD[c] += a * rvz::flow::BlendedHistory(B, u0D[c], u00D[c]);
    SvD[c] += a * rvz::flow::BlendedHistory(B, v0D[c], v00D[c]);
    SwD[c] += a * rvz::flow::BlendedHistory(B, w0D[c], w00D[c]);
    const double central = a * rvz::flow::BlendedCentral(B);
    APvD[c] += central;
    APRD[c] += central;
    AELLD[c] += central;
}

// ---------------------------------------------------------------------------
// Final coefficients
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(int nnu, int newNNU, int nCol, double relax,
                                                             double OneOver_relax, const double* fiD,
                                                             const double* AiAPvAPRD, double* AELLD, double* SfiD)
{
    const int i = rvz::uvw::ThreadIndex();
    if (i >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(i, newNNU, nCol, AELLD);
    const double aP = (AiAPvAPRD[i] - s) * OneOver_relax;
    AELLD[i] = aP;
    SfiD[i] += (1.0 - relax) * aP * fiD[i];
}

// ---------------------------------------------------------------------------
// Inlet faces: classification, zero-gradient velocity, open-face assembly
// ---------------------------------------------------------------------------

// An active inlet face, or one whose slot is not yet filled, is open; an
// inactive filled one acts as a wall (a NaN volume fraction counts as filled).
__global__ void Kernel_Calc_FlowE_UVW_InletBoundary_Judge(int n, double FCRI, const int* ijInletD,
                                                          const int* gpInletbInD, const double* VolFD, bool* judge3D,
                                                          bool* judge4D)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const bool active = gpInletbInD[k] == 1;
    const bool unfilled = VolFD[ijInletD[k]] < FCRI;
    judge3D[k] = active || unfilled;
    judge4D[k] = !active && !unfilled;
}

// Where the face is open, the nine velocity-gradient entries of the slot
// take the cell's values.
__global__ void Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(int n, const int* ijInletCVD,
                                                                     const int* ijInletD, const bool* judge3D,
                                                                     rvz::uvwe::GradientArrays grad)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n || !judge3D[k]) return;
    const int c = ijInletCVD[k];
    const int b = ijInletD[k];
    for (double* g : grad.g) g[b] = g[c];
}

// The face source of an open inlet face (ijPD = cell, ijED = slot), every
// interpolation weighted by the single weight le_; 0 on a closed face.
template <int C>
__global__ void Kernel_Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Component(
    int n, double psi, double gamma, const int* ijPD, const int* ijED, double le_, const bool* judge3D,
    rvz::uvw::VelocityGradient grad, const double* xcD, const double* ycD, const double* zcD, const double* phiD,
    const double* visD, const double* sxD, const double* syD, const double* szD, const double* mfeD, double* tempD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const double open = judge3D[k] ? 1.0 : 0.0;
    tempD[k] = rvz::uvwe::LimitedFaceSource<C>(k, ijPD[k], ijED[k], le_, psi, gamma, grad, xcD, ycD, zcD, phiD, visD,
                                               sxD, syD, szD, mfeD) *
               open;
}

// Right-hand sides of an open face: -aED times the slot velocity.
__global__ void Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_SuSvSw_temp(
    int n, const int* ijInletD, const double* aED, const bool* judge3D, const double* uD, const double* vD,
    const double* wD, double* temp1D, double* temp2D, double* temp3D)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int b = ijInletD[k];
    const bool open = judge3D[k];
    temp1D[k] = open ? -aED[k] * uD[b] : 0.0;
    temp2D[k] = open ? -aED[k] * vD[b] : 0.0;
    temp3D[k] = open ? -aED[k] * wD[b] : 0.0;
}

// Central coefficient of an open face: -aED.
__global__ void Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_AiAPvAPR_temp(int n, const double* aED,
                                                                               const bool* judge3D, double* tempD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    tempD[k] = judge3D[k] ? -aED[k] : 0.0;
}

// An inactive inlet face flagged as vent lets the cell's velocity out while
// a second fluid is injected (iFAIMIn = 1) or in fill type 2.
__global__ void Kernel_Calc_FlowE_UVW_Inlet_UNF(int n, int iFAIMIn, int iFillType, const int* ijInletCVD,
                                                const int* ijInletD, const int* gpInletbInD, const int* piIsOutletD,
                                                const double* sxD, const double* syD, const double* szD, double* uD,
                                                double* vD, double* wD, double* MassFluxInletD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    if (!(gpInletbInD[k] == 0 && piIsOutletD[k] > 0 && (iFAIMIn == 1 || iFillType == 2))) return;
    const int c = ijInletCVD[k];
    const int b = ijInletD[k];
    uD[b] = uD[c];
    vD[b] = vD[c];
    wD[b] = wD[c];
    MassFluxInletD[k] = rvz::flow::Dot(rvz::flow::Load3(sxD, syD, szD, k), rvz::flow::Load3(uD, vD, wD, b));
}

// ---------------------------------------------------------------------------
// Walls, vents and moving walls
// ---------------------------------------------------------------------------

// Face area over the normal distance from the owner's centroid to the face.
__global__ void Kernel_Calc_FlowE_UVW_GetSurf_DistWall(int n, const int* ijPD, const double* sxD, const double* syD,
                                                       const double* szD, const double* f_xcD, const double* f_ycD,
                                                       const double* f_zcD, const double* xcD, const double* ycD,
                                                       const double* zcD, double* surf_distwallD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const rvz::flow::Vec3 S = rvz::flow::Load3(sxD, syD, szD, k);
    const double A = sqrt(rvz::flow::Dot(S, S));
    const double inv = A + 1.0e-20;
    const rvz::flow::Vec3 normal{S.x / inv, S.y / inv, S.z / inv};
    const rvz::flow::Vec3 r =
        rvz::flow::From(rvz::flow::Load3(xcD, ycD, zcD, ijPD[k]), rvz::flow::Load3(f_xcD, f_ycD, f_zcD, k));
    surf_distwallD[k] = A / (rvz::flow::Dot(r, normal) + 1.0e-20);
}

namespace rvz {
namespace uvwe {
// A wall face moves with the mould while the moving-wall mode is on, the
// face is moving and its slot is filled.
__device__ __forceinline__ bool MovingFace(int iICM_Status, double FCRI, double volF, int isMoveWall)
{
    return iICM_Status == 1 && volF > FCRI && isMoveWall == 1;
}
}  // namespace uvwe
}  // namespace rvz

__global__ void Kernel_Calc_FlowE_UVW_Wall_Judge(int n, double FCRI, int iICM_Status, const int* ijWallD,
                                                 const int* piIsOutletD, const int* isMoveWallD, const double* VolFD,
                                                 bool* judgeD, bool* neg_judgeD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const bool open =
        piIsOutletD[k] >= 1 || rvz::uvwe::MovingFace(iICM_Status, FCRI, VolFD[ijWallD[k]], isMoveWallD[k]);
    judgeD[k] = open;
    neg_judgeD[k] = !open;
}

__global__ void Kernel_Calc_FlowE_UVW_coef(int n, const int* ijWallD, const double* visD,
                                           const double* Surf_DistWallD, double* coefD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    coefD[k] = visD[ijWallD[k]] * Surf_DistWallD[k];
}

__global__ void Kernel_Calc_FlowE_UVW_SetJudgeTrueOrFalse(int n, bool TrueOrFalse, bool* judgeD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    judgeD[k] = TrueOrFalse;
}

// No-slip face (judge4D): the slot velocity becomes 0 and the face adds
// coefD*visD(slot) to the central coefficient and nothing to the right-hand
// sides; any other face keeps its slot and adds nothing.
__global__ void Kernel_Calc_FlowE_UVW_SetUVWWall_uvw_temp(int n, const int* ijBD, const bool* judge4D,
                                                          const double* coefD, const double* visD, double* uD,
                                                          double* vD, double* wD, double* temp1D, double* temp2D,
                                                          double* temp3D, double* temp4D)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int b = ijBD[k];
    const bool wall = judge4D[k];
    if (wall) {
        uD[b] = 0.0;
        vD[b] = 0.0;
        wD[b] = 0.0;
    }
    temp1D[k] = wall ? coefD[k] * visD[b] : 0.0;
    temp2D[k] = 0.0;
    temp3D[k] = 0.0;
    temp4D[k] = 0.0;
}

// Vents take the cell's velocity into the slot; the flux S.u_slot is stored
// for a moving face or a vent, a closed wall keeps its own.
__global__ void Kernel_Calc_FlowE_UVW_Wall_ICM(int n, int iICM_Status, double FCRI, const int* ijWallCVD,
                                               const int* ijWallD, const double* sxD, const double* syD,
                                               const double* szD, const double* VolFD, const int* piIsOutletD,
                                               const int* isMoveWallD, double* MassFluxWallD, double* uD, double* vD,
                                               double* wD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    const int b = ijWallD[k];
    const bool vent = piIsOutletD[k] > 0;
    if (vent) {
        uD[b] = uD[c];
        vD[b] = vD[c];
        wD[b] = wD[c];
    }
    const double F = rvz::flow::Dot(rvz::flow::Load3(sxD, syD, szD, k), rvz::flow::Load3(uD, vD, wD, b));
    if (rvz::uvwe::MovingFace(iICM_Status, FCRI, VolFD[b], isMoveWallD[k]) || vent) MassFluxWallD[k] = F;
}
