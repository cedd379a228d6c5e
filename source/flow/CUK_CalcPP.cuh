// Pressure-correction kernels: Rhie-Chow face fluxes and coefficients,
// boundary fluxes of the inlet and the vents, the final diagonal, boundary
// values of the correction, and the correction of pressure, velocities and
// fluxes with their reductions. Included by CU_CalcPP.cu only. Face-to-cell
// sums go through the shared collect and update kernels.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"
#include "CUK_FlowGeometry.cuh"
#include "CUK_PressureCorrection.cuh"

namespace rvz {
namespace pp {

// Pressure-term forms selected by IsFaceMassFluxStab.
constexpr int kPlainStab = 0;
constexpr int kNonOrthogonalCoefficient = 3;

// Coefficient a and interpolated flux of interior face f:
// U = median-interpolated velocity . S, a from the SIMPLEC factors, and the
// pressure difference net of the mean cell gradients.
__device__ __forceinline__ void InteriorFlux(int f, int stab, const int* ijPD, const int* ijED, const double* leD,
                                             const Fields3& gradP, const Fields3& centroid, const double* uD,
                                             const double* vD, const double* wD, const double* pD,
                                             const double* APRD, const Fields3& area, double& a, double& mfe)
{
    const int P = ijPD[f];
    const int E = ijED[f];
    const double w = leD[f];
    auto face = [&](const double* phi) { return flow::Median3(phi[E], flow::Interp(w, phi[E], phi[P]), phi[P]); };
    const Vec3 S = area.At(f);
    const double U = face(uD) * S.x + face(vD) * S.y + face(wD) * S.z;

    const flow::FaceGeometry geo(S, flow::From(centroid.At(P), centroid.At(E)));
    const double A = APRD[P] + APRD[E];
    const double dpStar = PressureDifferenceNetOfMeanGradient(P, E, geo.d, pD, gradP);

    const double c = geo.NonOrthogonality();
    if (stab == kPlainStab) {
        a = -0.5 * A * geo.S2;
        mfe = U + a * dpStar;
    } else if (stab == kNonOrthogonalCoefficient) {
        a = -0.5 * c * A * geo.S2;
        mfe = U + a * dpStar;
    } else {
        a = -0.5 * A * geo.S2;
        const double cPrime = c * geo.magS / (geo.magD + 1.0e-30);
        mfe = U + a * cPrime * dpStar;
    }
}

// Coefficient of a boundary face (inlet in pressure control or vent): P the
// cell, b the slot, S outward, d from the cell to the slot centroid.
__device__ __forceinline__ double BoundaryCoefficient(int stab, const flow::FaceGeometry& geo, double volumeP,
                                                      double aprP)
{
    if (stab != 0) {
        const double cPrime = geo.NonOrthogonality() * geo.magS / (geo.magD + 1.0e-30);
        return -volumeP * aprP * cPrime;
    }
    return -aprP * geo.S2;
}

// u.S + a((p(b) - p(P)) - grad p(P).d) with the velocity taken at `velocityAt`.
__device__ __forceinline__ double BoundaryFlux(int velocityAt, int P, int b, double a, const flow::FaceGeometry& geo,
                                               const double* uD, const double* vD, const double* wD,
                                               const double* pD, const Fields3& gradP)
{
    const Vec3 u{uD[velocityAt], vD[velocityAt], wD[velocityAt]};
    return Dot(u, geo.S) + a * PressureDifferenceNetOfCellGradient(P, b, geo.d, pD, gradP);
}

}  // namespace pp
}  // namespace rvz

// ---------------------------------------------------------------------------
// Face fluxes and coefficients
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_InnerFluxPP_aEaW(int n, int stab, const int* ijPD, const int* ijED, const double* leD,
                                             rvz::pp::Fields3 gradP, rvz::pp::Fields3 centroid, const double* uD,
                                             const double* vD, const double* wD, const double* pD,
                                             const double* APRD, rvz::pp::Fields3 area, double* mfeD, double* aED,
                                             double* aWD)
{
    const int f = rvz::pp::ThreadIndex();
    if (f >= n) return;
    double a, mfe;
    rvz::pp::InteriorFlux(f, stab, ijPD, ijED, leD, gradP, centroid, uD, vD, wD, pD, APRD, area, a, mfe);
    mfeD[f] = mfe;
    aED[f] = a;
    if (aWD != nullptr) aWD[f] = a;
}

__global__ void Kernel_Calc_InnerFluxPP_Inlet_UpdateP_PP(int n, double SpruePress, const int* ijInletD, double* pD,
                                                         double* ppD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    const int b = ijInletD[k];
    pD[b] = SpruePress * 10000000.0;
    ppD[b] = 0.0;
}

__global__ void Kernel_Calc_InnerFluxPP_BoundFluxMass_aEmfe(int n, int stab, const int* ijPD, const int* ijED,
                                                            double* uD, double* vD, double* wD,
                                                            rvz::pp::Fields3 centroid, rvz::pp::Fields3 gradP,
                                                            const double* volumeD, const double* APRD, double* mfeD,
                                                            rvz::pp::Fields3 area, const double* pD, double* aED)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    const int P = ijPD[k];
    const int b = ijED[k];
    const rvz::flow::FaceGeometry geo(area.At(k), rvz::flow::From(centroid.At(P), centroid.At(b)));
    const double a = rvz::pp::BoundaryCoefficient(stab, geo, volumeD[P], APRD[P]);
    aED[k] = a;
    mfeD[k] = rvz::pp::BoundaryFlux(P, P, b, a, geo, uD, vD, wD, pD, gradP);
    uD[b] = uD[P];
    vD[b] = vD[P];
    wD[b] = wD[P];
}

// A vent (m = 1) gets a coefficient and a flux from its slot velocity; a
// closed wall keeps its entries.
__global__ void Kernel_Calc_InnerFluxPP_BoundFluxMassAlt_aEmfe(int n, int stab, const int* ijPD, const int* ijED,
                                                               const int* FCRIMatchD, const double* uD,
                                                               const double* vD, const double* wD,
                                                               rvz::pp::Fields3 centroid, rvz::pp::Fields3 gradP,
                                                               rvz::pp::Fields3 area, const double* volumeD,
                                                               const double* APRD, const double* pD, double* aED,
                                                               double* mfeD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    const int P = ijPD[k];
    const int b = ijED[k];
    const int mi = FCRIMatchD[k];
    const double m = mi;
    const rvz::flow::FaceGeometry geo(area.At(k), rvz::flow::From(centroid.At(P), centroid.At(b)));
    const double a = rvz::pp::BoundaryCoefficient(stab, geo, volumeD[P], APRD[P]);
    const double flux = rvz::pp::BoundaryFlux(b, P, b, a, geo, uD, vD, wD, pD, gradP);
    aED[k] = m * a + (mi == 0 ? aED[k] : 0.0);
    mfeD[k] = m * flux + (mi == 0 ? mfeD[k] : 0.0);
}

// ---------------------------------------------------------------------------
// Owner-only collects of the vents (value -m v[k])
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcPP_VentCollect(int n, int new_nnu, const int* Px, const int* Py, const int* FCRIMatchD,
                                          const double* values, double* AELLDtemp)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    rvz::accum::StoreOwner(AELLDtemp, new_nnu, Px, Py, k, -(static_cast<double>(FCRIMatchD[k]) * values[k]));
}

// ---------------------------------------------------------------------------
// Final diagonal and imbalance sums (block kernels)
// ---------------------------------------------------------------------------

__global__ void Kernel_CalcPP_AiSuMassSum(int n, int newNNU, int nCol, double rr, const double* ppD, double* AELLD,
                                          double* SuD, double* sumD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int i) {
            if (i >= n) return 0.0;
            return rvz::pp::RelaxedDiagonalRow(i, newNNU, nCol, rr, ppD, AELLD, SuD);
        },
        sumD);
}

__global__ void Kernel_Calc_CheckSum(int n, double* ppD, const double* SuD, double* sumD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int i) {
            if (i >= n) return 0.0;
            ppD[i] = 0.0;
            return SuD[i];
        },
        sumD);
}

__global__ void Kernel_Calc_CollectData(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}

__global__ void Kernel_Calc_CorrectVelocityInlet_CollectData(int n, const double* inA, const double* inB,
                                                             double* outA, double* outB)
{
    rvz::collect_level2<rvz::SumOp, 256>(n, inA, inB, outA, outB);
}

// ---------------------------------------------------------------------------
// Boundary values of a corrected field
// ---------------------------------------------------------------------------

// Zero gradient: the slot takes the cell's value.
__global__ void Kernel_Calc_UpdateBoundaryPP_CopyCell(int n, const int* ijBD, const int* ijCVD, double* fiD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    fiD[ijBD[k]] = fiD[ijCVD[k]];
}

__global__ void Kernel_Calc_UpdateBoundaryPP_Wall(int n, const int* ijWallD, const int* ijWallCVD,
                                                  const int* FCRIMatchD, double* fiD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    fiD[ijWallD[k]] = FCRIMatchD[k] == 0 ? fiD[ijWallCVD[k]] : 0.0;
}

__global__ void Kernel_Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(int n, const int* ijInletD, double* fiD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    fiD[ijInletD[k]] = 0.0;
}

// ---------------------------------------------------------------------------
// Corrections after the solve
// ---------------------------------------------------------------------------

// iflag 0: pressure and velocities, 1: pressure only, 2: velocities only.
__global__ void Kernel_Calc_CorrectPressureVelocityCV(int n, double relax, double ppo, int iflag,
                                                      const double* volumeD, const double* APRD, const double* ppD,
                                                      double* pD, const double* dp_dxD, const double* dp_dyD,
                                                      const double* dp_dzD, double* uD, double* vD, double* wD,
                                                      double* SuD)
{
    const int c = rvz::pp::ThreadIndex();
    if (c >= n) return;
    if (iflag != 2) pD[c] = pD[c] + relax * (ppD[c] - ppo);
    if (iflag != 1) {
        rvz::pp::CorrectCellVelocity(c, volumeD, APRD, dp_dxD, dp_dyD, dp_dzD, uD, vD, wD);
        SuD[c] = 0.0;
    }
}

// The coefficient is read from the matrix at the face's owner-side position.
__global__ void Kernel_CalcPP_CorrectMassFlux(int n, int newNNU, const int* Px, const int* Py, const int* Ex,
                                              const double* AELLD, const double* ppD, double* MassFluxD)
{
    const int f = rvz::pp::ThreadIndex();
    if (f >= n) return;
    const int P = Px[f];
    const int E = Ex[f];
    MassFluxD[f] = MassFluxD[f] + AELLD[Py[f] * newNNU + P] * (ppD[E] - ppD[P]);
}

// Non-orthogonal part of the flux correction from the mean correction gradient.
__global__ void Kernel_Calc_InnerFluxPPCorr(int n, const int* ijPD, const int* ijED, rvz::pp::Fields3 area,
                                            rvz::pp::Fields3 centroid, const double* APRD, rvz::pp::Fields3 gradPP,
                                            double* MassFluxD, double* tempD)
{
    const int f = rvz::pp::ThreadIndex();
    if (f >= n) return;
    const int P = ijPD[f];
    const int E = ijED[f];
    const rvz::flow::FaceGeometry geo(area.At(f), rvz::flow::From(centroid.At(P), centroid.At(E)));
    const double t = rvz::pp::NonOrthogonalCorrectionFlux(P, E, geo, APRD, gradPP);
    MassFluxD[f] = MassFluxD[f] + t;
    tempD[f] = t;
}

// The slot velocity loses its normal component.
__global__ void Kernel_Calc_UpdateVelocitySymmetryBoundary(int n, const int* ijSymmCVD, const int* ijSymmD,
                                                           rvz::pp::Fields3 area, double* uD, double* vD, double* wD)
{
    const int k = rvz::pp::ThreadIndex();
    if (k >= n) return;
    const rvz::flow::Vec3 S = area.At(k);
    const double magS = sqrt(rvz::flow::Dot(S, S));
    const rvz::flow::Vec3 nrm{S.x / magS, S.y / magS, S.z / magS};
    const int c = ijSymmCVD[k];
    const int b = ijSymmD[k];
    const rvz::flow::Vec3 uc{uD[c], vD[c], wD[c]};
    const double un = rvz::flow::Dot(uc, nrm);
    uD[b] = uc.x - un * nrm.x;
    vD[b] = uc.y - un * nrm.y;
    wD[b] = uc.z - un * nrm.z;
}

// ---------------------------------------------------------------------------
// Inlet and vent corrections with their sums (block kernels)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(int n, const int* ijInletD, const double* uD,
                                                                     const double* vD, const double* wD,
                                                                     rvz::pp::Fields3 area, double* MassFluxInletD,
                                                                     double* inflowD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return 0.0;
            const int b = ijInletD[k];
            const rvz::flow::Vec3 u{uD[b], vD[b], wD[b]};
            const double F = rvz::flow::Dot(u, area.At(k));
            MassFluxInletD[k] = F;
            return -F;
        },
        inflowD);
}

__global__ void Kernel_Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(
    int n, const int* ijInletCVD, const int* ijInletD, rvz::pp::Fields3 centroid, double* uD, double* vD, double* wD,
    rvz::pp::Fields3 area, const double* volumeD, const double* APRD, const double* ppD, double* MassFluxInletD,
    double* inflowD, double* speedD)
{
    rvz::block_reduce2_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return rvz::Pair<double>{0.0, 0.0};
            const int P = ijInletCVD[k];
            const int b = ijInletD[k];
            const rvz::flow::FaceGeometry geo(area.At(k), rvz::flow::From(centroid.At(P), centroid.At(b)));
            const double f = rvz::pp::BoundaryCorrectionFactor(geo, volumeD[P], APRD[P]);
            const double c = f * (ppD[b] - ppD[P]);
            const double flux = MassFluxInletD[k] - rvz::pp::CorrectSlotVelocity(b, c, geo, uD, vD, wD);
            MassFluxInletD[k] = flux;
            return rvz::Pair<double>{-flux, rvz::pp::Speed(b, uD, vD, wD)};
        },
        inflowD, speedD);
}

__global__ void Kernel_Calc_CorrectVelocityWallOutlet(int n, const int* ijWallCVD, const int* ijWallD,
                                                      const int* FCRIMatchD, rvz::pp::Fields3 centroid, double* uD,
                                                      double* vD, double* wD, rvz::pp::Fields3 area,
                                                      const double* volumeD, const double* APRD, const double* ppD,
                                                      double* MassFluxWallD, double* outflowD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int k) {
            if (k >= n) return 0.0;
            const int P = ijWallCVD[k];
            const int b = ijWallD[k];
            const double m = FCRIMatchD[k];
            const rvz::flow::FaceGeometry geo(area.At(k), rvz::flow::From(centroid.At(P), centroid.At(b)));
            const double f = rvz::pp::BoundaryCorrectionFactor(geo, volumeD[P], APRD[P]);
            const double c = f * (ppD[b] - ppD[P]) * m;
            const double flux = MassFluxWallD[k] - rvz::pp::CorrectSlotVelocity(b, c, geo, uD, vD, wD);
            MassFluxWallD[k] = flux;
            return m * flux;
        },
        outflowD);
}
