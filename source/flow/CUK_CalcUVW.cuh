// Momentum assembly kernels: face coefficients and explicit face sources,
// face mass fluxes, cell sources, boundary terms, final coefficients, the
// SIMPLEC factor and the inlet reductions. Included by CU_CalcUVW.cu only.
// Face-to-cell sums go through the shared collect and update kernels.
#pragma once

#include "CUK_MomentumFace.cuh"
#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"

namespace rvz {
namespace uvw {

// Basic face source of component C: the limited explicit diffusion plus the
// whole deferred correction, gamma*C + mu_f*(X*lambda(X)).
template <int C>
__device__ __forceinline__ double FaceSource(int f, double psi, double gamma, const int* ijPD, const int* ijED,
                                             const double* leD, const VelocityGradient& grad, const double* xcD,
                                             const double* ycD, const double* zcD, const double* phiD,
                                             const double* visD, const double* sxD, const double* syD,
                                             const double* szD, const double* mfeD)
{
    const FaceSourceParts p = FaceSourceTerms<C>(f, ijPD[f], ijED[f], Weight(leD, f), grad, xcD, ycD, zcD, phiD,
                                                 visD, sxD, syD, szD, mfeD);
    return gamma * p.C + p.muf * (p.X * Limiter(psi, p.Ds, p.dphi, p.X));
}

}  // namespace uvw
}  // namespace rvz

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

// leD == nullptr: every interpolation weight is 1 (the _ONE forms).
__global__ void Kernel_Calc_InnerFluxUVW_aEaW(int n, const int* ijPD, const int* ijED, const double* leD,
                                              const double* xcD, const double* ycD, const double* zcD,
                                              const double* visD, const double* sxD, const double* syD,
                                              const double* szD, const double* mfeD, double* aED, double* aWD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    double aE, aW;
    rvz::uvw::FaceCoefficients(f, ijPD, ijED, leD, xcD, ycD, zcD, visD, sxD, syD, szD, mfeD, aE, aW);
    aED[f] = aE;
    aWD[f] = aW;
}

__global__ void Kernel_Calc_InnerFluxUVW_aE(int n, const int* ijPD, const int* ijED, const double* leD,
                                            const double* xcD, const double* ycD, const double* zcD,
                                            const double* visD, const double* sxD, const double* syD,
                                            const double* szD, const double* mfeD, double* aED)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    double aE, aW;
    rvz::uvw::FaceCoefficients(f, ijPD, ijED, leD, xcD, ycD, zcD, visD, sxD, syD, szD, mfeD, aE, aW);
    aED[f] = aE;
}

template <int C>
__global__ void Kernel_Calc_InnerFluxUVW_SourceTerm_Component(int n, double psi, double gamma, const int* ijPD,
                                                              const int* ijED, const double* leD,
                                                              rvz::uvw::VelocityGradient grad, const double* xcD,
                                                              const double* ycD, const double* zcD,
                                                              const double* phiD, const double* visD,
                                                              const double* sxD, const double* syD,
                                                              const double* szD, const double* mfeD, double* tempD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    tempD[f] = rvz::uvw::FaceSource<C>(f, psi, gamma, ijPD, ijED, leD, grad, xcD, ycD, zcD, phiD, visD, sxD, syD,
                                       szD, mfeD);
}

// ---------------------------------------------------------------------------
// Face mass fluxes
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_mfeD(int n, double denl, double deng, const double* VFeD, const double* MassFluxD,
                                 double* mfeD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    mfeD[f] = rvz::uvw::MixtureDensity(VFeD[f], denl, deng) * MassFluxD[f];
}

__global__ void Kernel_Calc_SC_mfeD_Par(int n, double denl, double deng, const int* ijCVPParD, const int* ijCVEParD,
                                        const double* leParD, const double* VolFD, const double* MassFluxParD,
                                        double* mfeD)
{
    const int f = rvz::uvw::ThreadIndex();
    if (f >= n) return;
    const double w = leParD[f];
    const double alpha = (1.0 - w) * VolFD[ijCVPParD[f]] + w * VolFD[ijCVEParD[f]];
    mfeD[f] = rvz::uvw::MixtureDensity(alpha, denl, deng) * MassFluxParD[f];
}

__global__ void Kernel_Calc_InletBoundary_mfeD(int n, const int* ijInletD, const double* denD,
                                               const double* MassFluxInletD, double* mfeInletD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    mfeInletD[k] = denD[ijInletD[k]] * MassFluxInletD[k];
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_GravityForceContribution(int n, double GravX, double GravY, double GravZ, double* SuD,
                                                     double* SvD, double* SwD, const double* volumeD,
                                                     const double* denD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double rhoV = volumeD[c] * denD[c];
    SuD[c] += rhoV * GravX;
    SvD[c] += rhoV * GravY;
    SwD[c] += rhoV * GravZ;
}

__global__ void Kernel_Calc_PressureSourceContribution(int n, const double* volumeD, const double* dp_dxD,
                                                       const double* dp_dyD, const double* dp_dzD, double* SuD,
                                                       double* SvD, double* SwD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double V = volumeD[c];
    SuD[c] -= V * dp_dxD[c];
    SvD[c] -= V * dp_dyD[c];
    SwD[c] -= V * dp_dzD[c];
}

// Implicit Euler (B = 0) blended with the three-level backward formula (B = 1).
__global__ void Kernel_Calc_UnsteadyTermContribution(int n, double dt, double dtNor, double B, const double* denD,
                                                     const double* volumeD, const double* u0D, const double* u00D,
                                                     const double* v0D, const double* v00D, const double* w0D,
                                                     const double* w00D, double* SuD, double* SvD, double* SwD,
                                                     double* APvD, double* APRD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    const double a = rvz::flow::TimeCoefficient(c, dt, dtNor, denD, volumeD);
    SuD[c] += a * rvz::flow::BlendedHistory(B, u0D[c], u00D[c]);
    SvD[c] += a * rvz::flow::BlendedHistory(B, v0D[c], v00D[c]);
    SwD[c] += a * rvz::flow::BlendedHistory(B, w0D[c], w00D[c]);
    const double central = a * rvz::flow::BlendedCentral(B);
    APvD[c] += central;
    APRD[c] += central;
}

__global__ void Kernel_Calc_2ndImplicitEulerMethodAi(int n, double dt, double dtNor, double B, const double* denD,
                                                     const double* volumeD, double* AELLD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= n) return;
    AELLD[c] += rvz::flow::TimeCoefficient(c, dt, dtNor, denD, volumeD) * rvz::flow::BlendedCentral(B);
}

// ---------------------------------------------------------------------------
// Boundary conditions
// ---------------------------------------------------------------------------

// A wall face is a vent while the melt at its slot is below FCRI.
__global__ void Kernel_Calc_UpdateFCRIMatch(int n, const int* ijWallD, const double* VolFD, double FCRI,
                                            int* FCRIMatchD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    FCRIMatchD[k] = VolFD[ijWallD[k]] < FCRI ? 1 : 0;
}

__global__ void Kernel_Calc_WallBoundary_UpdateUVW_coef(int n, const int* ijWallD, const int* FCRIMatchD,
                                                        const double* Surf_DistWallD, const double* visD,
                                                        double* coefD, double* uD, double* vD, double* wD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int b = ijWallD[k];
    const double m = FCRIMatchD[k];
    coefD[k] = visD[b] * Surf_DistWallD[k];
    uD[b] = uD[b] * m;
    vD[b] = vD[b] * m;
    wD[b] = wD[b] * m;
}

namespace rvz {
namespace uvw {
// Central-coefficient term of a wall face: mu A/delta on a closed wall,
// -CB on a vent.
__device__ __forceinline__ double WallCentralTerm(int m, double coef, double CB)
{
    return (m == 0 ? coef : 0.0) - static_cast<double>(m) * CB;
}
}  // namespace uvw
}  // namespace rvz

__global__ void Kernel_Calc_WallBoundary_SourceTerm(int n, const int* ijWallD, const int* FCRIMatchD,
                                                    const double* CBD, const double* coefD, const double* uD,
                                                    const double* vD, const double* wD, double* tempD,
                                                    double* tempxD, double* tempyD, double* tempzD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int b = ijWallD[k];
    const int m = FCRIMatchD[k];
    const double coef = coefD[k];
    const double mCB = static_cast<double>(m) * CBD[k];
    tempD[k] = rvz::uvw::WallCentralTerm(m, coef, CBD[k]);
    tempxD[k] = (m == 0 ? coef * uD[b] : 0.0) - mCB * uD[b];
    tempyD[k] = (m == 0 ? coef * vD[b] : 0.0) - mCB * vD[b];
    tempzD[k] = (m == 0 ? coef * wD[b] : 0.0) - mCB * wD[b];
}

__global__ void Kernel_CalcUVW_WallAi(int n, int new_nnu, const int* Px, const int* Py, const int* FCRIMatchD,
                                      const double* CBD, const double* coefD, double* AELLDtemp)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    rvz::accum::StoreOwner(AELLDtemp, new_nnu, Px, Py, k, rvz::uvw::WallCentralTerm(FCRIMatchD[k], coefD[k], CBD[k]));
}

__global__ void Kernel_Calc_SymmetryBoundary_UpdateUVW(int n, const int* ijSymmCVD, const int* ijSymmD, double* uD,
                                                       double* vD, double* wD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int c = ijSymmCVD[k];
    const int b = ijSymmD[k];
    uD[b] = uD[c];
    vD[b] = vD[c];
    wD[b] = wD[c];
}

// A vent copies the cell velocity into its slot; a closed wall keeps its own.
__global__ void Kernel_Calc_WallBoundary_UpdateUVW(int n, const int* ijWallCVD, const int* ijWallD,
                                                   const int* FCRIMatchD, double* uD, double* vD, double* wD)
{
    const int k = rvz::uvw::ThreadIndex();
    if (k >= n) return;
    const int c = ijWallCVD[k];
    const int b = ijWallD[k];
    const int m = FCRIMatchD[k];
    uD[b] = rvz::flow::VentOrOwn(m, uD[c], uD[b]);
    vD[b] = rvz::flow::VentOrOwn(m, vD[c], vD[b]);
    wD[b] = rvz::flow::VentOrOwn(m, wD[c], wD[b]);
}

// ---------------------------------------------------------------------------
// Final coefficients, valve gates and the SIMPLEC factor
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_FinalCoeffRHS_Sfi(int nnu, int newNNU, int nCol, double relax, const double* fiD,
                                              double* AELLD, const double* AD, double* SfiD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(c, newNNU, nCol, AELLD);
    const double diagonal = (AD[c] - s) / relax;
    AELLD[c] = diagonal;
    SfiD[c] += (1.0 - relax) * diagonal * fiD[c];
}

// Jacobi pass of the explicit update: the neighbours are read from fiD as it
// was before the pass, the new values go to newFiD and are copied back by
// Kernel_Calc_FinalCoeffRHS_fi_Store.
__global__ void Kernel_Calc_FinalCoeffRHS_fi(int nnu, int newNNU, int nCol, const int* indexELLD,
                                             const double* AELLD, const double* SfiD, const double* dp_d_D,
                                             const double* volumeD, const double* fiD, double* newFiD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= nnu) return;
    double s = 0.0;
    for (int j = 1; j < nCol; ++j) {
        const int at = j * newNNU + c;
        const int neighbour = indexELLD[at];
        if (neighbour != -1) s = s + AELLD[at] * fiD[neighbour];
    }
    const double g = dp_d_D[c] * volumeD[c];
    const double a = AELLD[c] + 1.0e-30;
    newFiD[c] = ((SfiD[c] - s) + g) / a - g / a;
}

__global__ void Kernel_Calc_FinalCoeffRHS_fi_Store(int nnu, const double* newFiD, double* fiD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= nnu) return;
    fiD[c] = newFiD[c];
}

__global__ void Kernel_Calc_ModAi4ValveGate(int n, const int* AiModifiedD, double* AELLD)
{
    const int i = rvz::uvw::ThreadIndex();
    if (i >= n) return;
    AELLD[i] = AELLD[i] * static_cast<double>(AiModifiedD[i]);
}

__global__ void Kernel_Calc_ModAi4ValveGate_APR(int n, double* APRD, const double* AELLD)
{
    const int i = rvz::uvw::ThreadIndex();
    if (i >= n) return;
    APRD[i] = 1.0 / (AELLD[i] + 1.0e-30);
}

// With APRD = 1/AP on entry: 1/(AP + sum of off-diagonal entries).
__global__ void Kernel_Calc_APR_SIMPLEC(int nnu, int newNNU, int nCol, const double* AELLD, double* APRD)
{
    const int c = rvz::uvw::ThreadIndex();
    if (c >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(c, newNNU, nCol, AELLD);
    const double apr = APRD[c];
    APRD[c] = apr / (apr * s + 1.0 + 1.0e-30);
}

// ---------------------------------------------------------------------------
// Inlet reductions (block kernels)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_GetInVel_TotalInletArea(int n, const double* sxD, const double* syD, const double* szD,
                                                    double* areaD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return 0.0;
            const rvz::flow::Vec3 S = rvz::flow::Load3(sxD, syD, szD, k);
            return sqrt(rvz::flow::Dot(S, S));
        },
        areaD);
}

// Sets every inlet slot velocity to the uniform inflow -q S and the face flux
// to its normal component; reduces the momentum flux and the speed.
__global__ void Kernel_Calc_GetInVel_UVW_TotalMomentum_VelNorm(int n, double denl, double TotalMassInletAvg,
                                                               const int* ijInletD, const double* sxD,
                                                               const double* syD, const double* szD,
                                                               double* MassFluxInletD, double* uD, double* vD,
                                                               double* wD, double* momentumD, double* velNormD)
{
    rvz::block_reduce2_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return rvz::Pair<double>{0.0, 0.0};
            const rvz::flow::Vec3 S = rvz::flow::Load3(sxD, syD, szD, k);
            const double q = TotalMassInletAvg / rvz::flow::Dot(S, S);
            const rvz::flow::Vec3 U{-q * S.x, -q * S.y, -q * S.z};
            const int b = ijInletD[k];
            uD[b] = U.x;
            vD[b] = U.y;
            wD[b] = U.z;
            const double F = rvz::flow::Dot(U, S);
            MassFluxInletD[k] = F;
            const double speed = sqrt(rvz::flow::Dot(U, U));
            return rvz::Pair<double>{fabs(F) * denl * speed, speed};
        },
        momentumD, velNormD);
}

// The third sum of the uniform-inlet step, the inflow volume -F per face,
// read from the fluxes the kernel above has just written.
__global__ void Kernel_Calc_GetInVel_VolumeInlet(int n, const double* MassFluxInletD, double* volumeInletD)
{
    rvz::block_reduce_256<rvz::SumOp, double>([&](int k) { return k < n ? -MassFluxInletD[k] : 0.0; },
                                              volumeInletD);
}

__global__ void Kernel_Calc_GetInVel_TotalInletArea_Collection(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}

__global__ void Kernel_Calc_GetInVel_UVW_TotalMomentum_VelNorm_Collection(int n, const double* inA,
                                                                          const double* inB, double* outA,
                                                                          double* outB)
{
    rvz::collect_level2<rvz::SumOp, 256>(n, inA, inB, outA, outB);
}

__global__ void Kernel_Calc_GetInVel_VolumeInlet_Collection(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}
