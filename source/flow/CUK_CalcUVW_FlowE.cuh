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
