// Algebraic steps shared by the two energy families (the basic assembly of
// CUK_CalcSC.cuh and the extended-flow assembly of CUK_CalcSC_FlowE.cuh):
// face conductivity and gradient, the non-orthogonal cross term, upwind
// convection coefficients, wall conductances in series, the wall surface
// temperature and the capped viscous heating. Inline device functions only,
// so both kernel files may include the header.
#pragma once

#include "CUK_FlowGeometry.cuh"

namespace rvz {
namespace energy {

using flow::Dot;
using flow::Interp;
using flow::Load3;
using flow::Vec3;

// Harmonic face conductivity: the resistances of the two half-distances in
// series, 1 / ((1 - le)/k_E + le/k_P).
__device__ __forceinline__ double FaceConductivity(double le, double kP, double kE)
{
    return 1.0 / ((1.0 - le) / kE + le / kP);
}

// Face gradient le grad(E) + (1 - le) grad(P) of the temperature.
__device__ __forceinline__ Vec3 FaceGradient(double le, int P, int E, const double* dxD, const double* dyD,
                                             const double* dzD)
{
    return Vec3{Interp(le, dxD[E], dxD[P]), Interp(le, dyD[E], dyD[P]), Interp(le, dzD[E], dzD[P])};
}

// The explicit non-orthogonal part of the diffusive flux, k_f g.S - D g.d:
// the full flux through S less the part the implicit coefficient D already
// carries along d.
__device__ __forceinline__ double CrossDiffusion(double kf, const Vec3& g, const Vec3& S, double D, const Vec3& d)
{
    return kf * Dot(g, S) - D * Dot(g, d);
}

// First-order upwind convection of a face flux m carrying heat capacity cp,
// plus diffusion D: the coefficient of E in the owner's row and of P in the
// neighbour's row.
struct UpwindPair {
    double aE, aW;
};
__device__ __forceinline__ UpwindPair UpwindCoefficients(double m, double cp, double D)
{
    return UpwindPair{flow::NegativePart(m) * cp - D, -flow::PositivePart(m) * cp - D};
}

// Conductance of a heat-transfer coefficient h over the area |S| of list
// entry k: |S| h.
__device__ __forceinline__ double TransferConductance(int k, const double* sxD, const double* syD, const double* szD,
                                                      double h)
{
    const Vec3 S = Load3(sxD, syD, szD, k);
    return sqrt(Dot(S, S)) * h;
}

// A transfer conductance in series with a conduction conductance.
__device__ __forceinline__ double SeriesConductance(double transfer, double conduction)
{
    return transfer * conduction / (transfer + conduction);
}

// Wall surface temperature at which conduction from the cell (temperature
// Tc) balances transfer to the mould (Tm); beta = transfer/conduction.
__device__ __forceinline__ double SurfaceTemperature(double beta, double Tm, double Tc)
{
    return (beta * Tm + Tc) / (beta + 1.0);
}

// Viscous heating rate eta gamma-dot^2, capped.
__device__ __forceinline__ double CappedHeating(double eta, double shearRate, double cap)
{
    const double heating = eta * (shearRate * shearRate);
    return heating > cap ? cap : heating;
}

}  // namespace energy
}  // namespace rvz
