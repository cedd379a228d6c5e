// Device helpers shared by the pressure-correction kernels of the basic and
// the extended-flow solver: field triples, the pressure differences of a
// face, boundary-face correction factors, the final diagonal of a row, and
// the correction of a cell or slot velocity by the correction gradient.
// Inline device functions only, so any number of kernel files may include it.
#pragma once

#include "CUK_FlowGeometry.cuh"

namespace rvz {
namespace pp {

using flow::Dot;
using flow::Load3;
using flow::Vec3;

__device__ __forceinline__ int ThreadIndex() { return static_cast<int>(blockIdx.x * blockDim.x + threadIdx.x); }

struct Fields3 {
    const double *x, *y, *z;
    __device__ __forceinline__ Vec3 At(int i) const { return Load3(x, y, z, i); }
};

// (p(E) - p(P)) - 1/2 (grad p(P) + grad p(E)).d: the pressure difference of
// an interior face net of the mean cell gradients.
__device__ __forceinline__ double PressureDifferenceNetOfMeanGradient(int P, int E, const Vec3& d, const double* pD,
                                                                      const Fields3& gradP)
{
    const Vec3 gP = gradP.At(P);
    const Vec3 gE = gradP.At(E);
    const Vec3 gMean{0.5 * (gP.x + gE.x), 0.5 * (gP.y + gE.y), 0.5 * (gP.z + gE.z)};
    return (pD[E] - pD[P]) - Dot(gMean, d);
}

// (p(b) - p(P)) - grad p(P).d: the pressure difference of a boundary face
// (slot b) net of the cell's gradient.
__device__ __forceinline__ double PressureDifferenceNetOfCellGradient(int P, int b, const Vec3& d, const double* pD,
                                                                      const Fields3& gradP)
{
    return (pD[b] - pD[P]) - Dot(gradP.At(P), d);
}

// f = V(P) APR(P)/sqrt(|S|^2 |d|^2): the correction factor of a boundary face.
__device__ __forceinline__ double BoundaryCorrectionFactor(const flow::FaceGeometry& geo, double volumeP, double aprP)
{
    return volumeP * aprP / sqrt(geo.S2 * Dot(geo.d, geo.d));
}

// Corrects the slot velocity by c S and returns the flux change c |S|^2.
__device__ __forceinline__ double CorrectSlotVelocity(int b, double c, const flow::FaceGeometry& geo, double* uD,
                                                      double* vD, double* wD)
{
    uD[b] = uD[b] - c * geo.S.x;
    vD[b] = vD[b] - c * geo.S.y;
    wD[b] = wD[b] - c * geo.S.z;
    return c * geo.S2;
}

__device__ __forceinline__ double Speed(int b, const double* uD, const double* vD, const double* wD)
{
    const Vec3 u{uD[b], vD[b], wD[b]};
    return sqrt(Dot(u, u));
}

// u(c) -= V APR dpp/dx, and likewise v and w: the SIMPLEC velocity
// correction of cell c from the correction gradient.
__device__ __forceinline__ void CorrectCellVelocity(int c, const double* volumeD, const double* APRD,
                                                    const double* dp_dxD, const double* dp_dyD, const double* dp_dzD,
                                                    double* uD, double* vD, double* wD)
{
    const double f = volumeD[c] * APRD[c];
    uD[c] = uD[c] - f * dp_dxD[c];
    vD[c] = vD[c] - f * dp_dyD[c];
    wD[c] = wD[c] - f * dp_dzD[c];
}

// Final diagonal of row i: AELLD(i,0) = (AELLD(i,0) - sum of columns 1..)/rr,
// then SuD[i] += (1 - rr) AELLD(i,0) ppD[i]. Returns the new SuD[i].
__device__ __forceinline__ double RelaxedDiagonalRow(int i, int newNNU, int nCol, double rr, const double* ppD,
                                                     double* AELLD, double* SuD)
{
    const double diagonal = (AELLD[i] - flow::OffDiagonalSum(i, newNNU, nCol, AELLD)) / rr;
    AELLD[i] = diagonal;
    const double su = (1.0 - rr) * diagonal * ppD[i] + SuD[i];
    SuD[i] = su;
    return su;
}

// t = -1/2 (APR(P) + APR(E)) k.g with k = (S.d) S - |S|^2 d and g the mean
// correction gradient: the non-orthogonal part of a face's flux correction.
__device__ __forceinline__ double NonOrthogonalCorrectionFlux(int P, int E, const flow::FaceGeometry& geo,
                                                              const double* APRD, const Fields3& gradPP)
{
    const Vec3 gP = gradPP.At(P);
    const Vec3 gE = gradPP.At(E);
    const Vec3 g{0.5 * (gP.x + gE.x), 0.5 * (gP.y + gE.y), 0.5 * (gP.z + gE.z)};
    const Vec3 k{geo.Sd * geo.S.x - geo.S2 * geo.d.x, geo.Sd * geo.S.y - geo.S2 * geo.d.y,
                 geo.Sd * geo.S.z - geo.S2 * geo.d.z};
    return -0.5 * (APRD[P] + APRD[E]) * Dot(k, g);
}

}  // namespace pp
}  // namespace rvz
